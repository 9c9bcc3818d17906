#include "channel/command/ptz_request.h"

#include <charconv>

#include "channel/base/cam_commands.h"
#include "channel/source/target_settings.h"
#include "persist/string_table.h"
#include "persist/utilities.h"
#include "platform/outside_text.h"
#include "platform/text.h"

namespace kvmon {

namespace {

// Near and far cross over, and Home stands apart from the moves: recorders know them so.
constexpr struct {
    std::uint32_t command;
    int wire;
} kWireCommands[] = {
    {kCmdUp, 0},        {kCmdDown, 1},       {kCmdLeft, 2},      {kCmdRight, 3},       {kCmdUpLeft, 4},
    {kCmdUpRight, 5},   {kCmdDownLeft, 6},   {kCmdDownRight, 7}, {kCmdZoomIn, 8},      {kCmdZoomOut, 9},
    {kCmdFocusFar, 10}, {kCmdFocusNear, 11}, {kCmdHome, 13},     {kCmdTrackingOn, 17}, {kCmdTrackingOff, 18},
};
constexpr int kWireGotoPreset = 12;
constexpr int kWireClickToCentre = 14;

constexpr std::size_t kMaxPresetName = 128;
constexpr std::size_t kMaxPresetArgument = 512;

std::optional<std::string> Fitting(std::string request) {
    if (request.size() >= kCommandRequestSize) {
        return std::nullopt;
    }
    return request;
}

// "GET ...&arg HTTP/1.0" with the head that all but the oldest requests share.
std::optional<std::string> PlainRequest(const std::string& query, const TargetSettings& settings) {
    return Fitting(
        FormatText("GET /cgi-bin/%s HTTP/1.0\r\nAccept: */*\r\nHost: %s:%d\r\n"
                   "Authorization: Basic %s\r\n\r\n",
                   query.c_str(), settings.szAddress.c_str(), static_cast<int>(settings.nPort),
                   settings.szBase64Auth.c_str()));
}

std::optional<std::string> MonitorRequest(const std::string& query, const TargetSettings& settings) {
    return Fitting(
        FormatText("GET /cgi-bin/%s HTTP/1.0\r\nUser-Agent: Monitor\r\nHost: %s\r\n"
                   "Connection: Keep-Alive\r\nAuthorization: Basic %s\r\n\r\n",
                   query.c_str(), settings.szAddress.c_str(), settings.szBase64Auth.c_str()));
}

// A decimal number at the front, as atoi reads it but within bounds.
std::optional<std::uint32_t> LeadingNumber(std::string_view text) {
    const std::size_t begin = text.find_first_not_of(" \t");
    if (begin == std::string_view::npos) {
        return std::nullopt;
    }
    text.remove_prefix(begin);
    std::uint32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() ? std::optional(value) : std::nullopt;
}

std::string PresetLabel(std::uint32_t nIndex) {
    return LoadString(kTextFirstPreset + nIndex);
}

std::string MenuText(std::string_view bytes) {
    std::string doubled;
    for (const char c : OutsideLine(IsValidUtf8(bytes) ? std::string(bytes) : FromLatin1(bytes))) {
        doubled.append(c == '&' ? 2 : 1, c);
    }
    return doubled;
}

// The bytes of pairs of hexadecimal digits; nothing if one of them is no digit.
std::optional<std::string> BytesOfHex(std::string_view digits) {
    std::string bytes;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
        unsigned value = 0;
        const char* const end = digits.data() + i + 2;
        const auto [rest, error] = std::from_chars(digits.data() + i, end, value, 16);
        if (error != std::errc() || rest != end) {
            return std::nullopt;
        }
        bytes.push_back(static_cast<char>(value));
    }
    return bytes;
}

}  // namespace

std::optional<std::string> BuildPtzRequest(std::uint32_t dwCmd, std::uint32_t dwArg,
                                           const TargetSettings& settings) {
    const auto nCh = static_cast<int>(settings.nCh);
    if (dwCmd == kCmdClickToCentre) {
        return PlainRequest(FormatText("ptz.cgi?ch=%d&command=%d&arg=%d%%20%d", nCh, kWireClickToCentre,
                                       static_cast<int>(dwArg >> 16), static_cast<int>(dwArg & 0xFFFF)),
                            settings);
    }
    if (dwCmd >= kCmdPresetFirst && dwCmd <= kCmdPresetLast) {
        return PlainRequest(FormatText("ptz.cgi?ch=%d&command=%d&arg=%d", nCh, kWireGotoPreset,
                                       static_cast<int>(dwCmd - kCmdPresetFirst)),
                            settings);
    }
    for (const auto& entry : kWireCommands) {
        if (entry.command == dwCmd) {
            return BuildPtzQuery(entry.wire, settings);
        }
    }
    return std::nullopt;
}

std::optional<std::string> BuildPtzQuery(int nWireCommand, const TargetSettings& settings) {
    return PlainRequest(FormatText("ptz.cgi?ch=%d&command=%d", static_cast<int>(settings.nCh), nWireCommand),
                        settings);
}

std::optional<std::string> BuildAudioQuery(const TargetSettings& settings) {
    return PlainRequest(FormatText("param.cgi?action=list&group=Recording.MediaProperty&channel_id=%d",
                                   static_cast<int>(settings.nCh)),
                        settings);
}

std::optional<std::string> BuildManualRecording(bool bOn, const TargetSettings& settings) {
    return MonitorRequest(FormatText("mrec.cgi?ch=%d&act=%d", static_cast<int>(settings.nCh), bOn ? 1 : 0),
                          settings);
}

std::optional<std::string> BuildPresetCommand(int nWireCommand, std::string_view argument,
                                              const TargetSettings& settings) {
    return MonitorRequest(FormatText("ptz.cgi?command=%d&ch=%u&arg=%s", nWireCommand, settings.nCh,
                                     std::string(argument).c_str()),
                          settings);
}

std::optional<std::string> FormatPresetArgument(std::uint32_t nIndex, std::string_view name,
                                                bool bNamesSupported) {
    if (!bNamesSupported) {
        return FormatText("%03uxx", nIndex);
    }
    if (name.empty() || name.size() >= kMaxPresetName) {
        return std::nullopt;
    }
    const std::size_t length = Utf16Length(name);
    std::string argument = FormatText("%03u%02u", nIndex, static_cast<unsigned>(length));
    for (const char c : name.substr(0, length)) {
        const auto byte = static_cast<unsigned char>(c);
        // The recorder gets no byte beyond ASCII, and nothing behind the first of them.
        if (byte >= 0x80 || argument.size() + 2 >= kMaxPresetArgument) {
            break;
        }
        argument += FormatText("%02x", byte);
    }
    return argument;
}

bool ParseCapabilities(std::string_view body, CameraInfo& info, bool& bHasPresets) {
    if (body.empty() || body.front() == '-') {
        return false;
    }
    // A body that is no number counts as no capability, as it has always done.
    const std::uint32_t word = LeadingNumber(body).value_or(0);
    info.bPan = (word & 1) != 0;
    info.bTilt = (word & 2) != 0;
    info.bZoomable = (word & 4) != 0;
    info.bFocusable = (word & 8) != 0;
    bHasPresets = (word & 16) != 0;
    info.bHome = (word & 32) != 0;
    info.bClickToCentre = (word & 64) != 0;
    info.bFurther = (word & 128) != 0;
    return true;
}

bool ParsePresetTable(std::string_view body, CameraInfo& info) {
    if (body.empty() || body.front() == '-') {
        return false;
    }
    const auto count =
        std::min<std::size_t>(LeadingNumber(body.substr(0, 3)).value_or(0), info.presetNames.size());
    body.remove_prefix(std::min<std::size_t>(3, body.size()));
    if (body.starts_with("xx")) {
        for (std::uint32_t i = 0; i < count; ++i) {
            info.presetNames[i] = PresetLabel(i);
            info.dwPresetMask |= 1u << i;
        }
        return true;
    }
    for (std::uint32_t i = 0; i < count && body.size() >= 2; ++i) {
        if (body.front() == '-') {
            body.remove_prefix(2);
            continue;
        }
        const auto length = LeadingNumber(body.substr(0, 2));
        body.remove_prefix(2);
        if (!length || body.size() < *length * 2) {
            break;  // a table cut short keeps what came whole
        }
        const auto name = BytesOfHex(body.substr(0, *length * 2));
        if (!name) {
            break;
        }
        body.remove_prefix(*length * 2);
        info.presetNames[i] = MenuText(*name);
        info.dwPresetMask |= 1u << i;
    }
    return true;
}

bool ParsePresetFormat(std::string_view body, PresetFormat& format) {
    if (body.empty() || body.front() == '-') {
        return false;
    }
    format.nPresetCount = static_cast<std::int32_t>(LeadingNumber(body.substr(0, 3)).value_or(0));
    if (format.nPresetCount == 0) {
        format.bNamesSupported = 0;
        format.nPresetMode = 2;
        return true;
    }
    format.bNamesSupported = body.size() > 3 && body[3] == '1' ? 1 : 0;
    format.nPresetMode = body.size() > 4 && body[4] != '0' ? 1 : 0;
    return true;
}

}  // namespace kvmon
