#include "console/admin/told_words.h"

#include <QtCore/QLocale>
#include <algorithm>
#include <array>
#include <optional>
#include <string_view>

#include "console/settings/fill_pattern.h"
#include "persist/string_table.h"
#include "platform/outside_text.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kStrNeedsName = 7530;
constexpr std::uint32_t kStrAfter = 7697;
constexpr std::uint32_t kStrSubStream = 7698;

struct ToldText {
    std::string_view code;
    std::uint32_t text;
    // That the text has places for.
    std::array<const char*, 2> values = {};
};

constexpr auto kTexts = std::to_array<ToldText>({
    {"out_of_memory", 7670},
    {"no_thread", 7670},
    {"busy", 7670},
    {"failed", 7670},
    {"host_unknown", 7671},
    {"nothing_listens", 7672},
    {"onvif_nothing_listens", 7672},
    {"no_way", 7673},
    {"no_answer", 7674},
    {"onvif_no_answer", 7674},
    {"pictures_stopped", 7675},
    {"login_wanted", 7676},
    {"login_refused", 7677},
    {"path_unknown", 7678},
    {"stream_missing", 7678},
    {"pictures_refused", 7679},
    {"closed", 7680},
    {"onvif_closed", 7680},
    {"not_understood", 7681},
    {"onvif_no_xml", 7681},
    {"onvif_too_large", 7681},
    {"onvif_address", 7681},
    {"onvif_service_address", 7681},
    {"onvif_picture_address", 7681},
    {"no_pictures", 7682},
    {"onvif_no_service", 7682},
    {"onvif_no_profile", 7682},
    {"codec_unknown", 7683, {"codec"}},
    {"type_unknown", 7683, {"type"}},
    {"leads_elsewhere", 7684},
    {"not_encrypted", 7685},
    {"encrypted_not_read", 7720},
    {"camera_failed", 7686, {"reason"}},
    {"camera_says", 7686, {"reason"}},
    {"onvif_status", 7686, {"status"}},
    {"device_not_encoded", 7686, {"reason"}},
    {"certificate_not_trusted", 7651},
    {"certificate_other_host", 7652},
    {"certificate_expired", 7653},
    {"certificate_early", 7653},
    {"certificate_changed", 7654},
    {"certificate_invalid", 7655},
    {"device_missing", 7687},
    {"device_gone", 7687},
    {"device_denied", 7688},
    {"device_busy", 7689},
    {"device_other", 7690},
    {"kind_not_served", 7691},
    {"sound_unusable", 7692, {"sound"}},
    {"no_key_picture", 7693},
    {"key_pictures_rare", 7694, {"every_ms"}},
    {"no_second_key_picture", 7695, {"watched_ms"}},
    {"not_decoded", 7696},
    {"profile_unknown", 7699, {"profile"}},
    {"address_wanted", 7700},
    {"address_host", 7700},
    {"address_bracket", 7700},
    {"address_device", 7700},
    {"address_scheme", 7701, {"schemes"}},
    {"address_port", 7702, {"low", "high"}},
    {"address_blank", 7703},
    {"address_too_long", 7704, {"limit"}},
    {"text_wrong", 7704, {"limit"}},
    {"name_wanted", kStrNeedsName},
    {"password_wanted", 7705},
    {"cameras_changed", 7706},
    {"no_config_file", 7707},
    {"told_by_option", 7708, {"option"}},
    {"config_wrong", 7709, {"reason"}},
    {"config_not_written", 7709, {"reason"}},
    {"channels_full", 7710, {"limit"}},
    {"camera_missing", 7711},
    {"channel_missing", 7711},
    {"channel_not_in_file", 7711},
    {"tests_full", 7712, {"limit"}},
    {"cannot_search", 7713},
    {"cannot_test", 7713},
    {"not_served", 7714, {"reason"}},
});

std::optional<std::string> Value(const QJsonObject& values, const QString& name) {
    const QJsonValue value = values[name];
    if (value.isString()) {
        return OutsideLine(value.toString().toStdString());
    }
    if (!value.isDouble()) {
        return std::nullopt;
    }
    const QString text = name.endsWith(QLatin1String("_ms"))
                             ? QLocale().toString(value.toDouble() / 1000, 'f', 1)
                             : QString::number(value.toInteger());
    return text.toStdString();
}

std::optional<std::string> Fill(const ToldText& row, const QJsonObject& values) {
    std::array<std::string, 2> filled;
    for (std::size_t i = 0; i < row.values.size() && row.values[i] != nullptr; ++i) {
        auto value = Value(values, QLatin1String(row.values[i]));
        if (!value) {
            return std::nullopt;
        }
        filled[i] = *std::move(value);
    }
    return FillPattern(LoadString(row.text), {filled[0], filled[1]});
}

}  // namespace

std::string ToldWords(const QString& words, const QString& code, const QJsonObject& values) {
    const auto row = std::find_if(kTexts.begin(), kTexts.end(),
                                  [&](const ToldText& each) { return each.code == code.toStdString(); });
    const auto filled = row != kTexts.end() ? Fill(*row, values) : std::nullopt;
    if (!filled) {
        return OutsideLine(words.toStdString());
    }
    std::string text = *filled;
    if (const auto after = Value(values, QStringLiteral("after_ms"))) {
        text = FillPattern(LoadString(kStrAfter), {*after, text});
    }
    if (values[QStringLiteral("stream")].toString() == QLatin1String("sub")) {
        text = FillPattern(LoadString(kStrSubStream), {text});
    }
    return text;
}

std::string ToldWords(const QJsonObject& answer, const QString& name) {
    return ToldWords(answer[name].toString(), answer[name + QStringLiteral("_code")].toString(),
                     answer[name + QStringLiteral("_values")].toObject());
}

}  // namespace kvmon
