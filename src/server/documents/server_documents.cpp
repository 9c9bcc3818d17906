#include "server/documents/server_documents.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "server/documents/wire_number.h"
#include "wire/channel_states.h"

namespace kvmon {

namespace {

constexpr std::size_t kGroup = 8;  // hexadecimal digits of a scrambled word

std::string_view From(std::string_view text, std::size_t position) {
    return text.substr(std::min(position, text.size()));
}

// Reads fields as scanf does: blanks are skipped, a word ends at a blank or at its width.
class FieldReader {
public:
    explicit FieldReader(std::string_view text) : m_rest(text) {}

    std::string_view Word(std::size_t width) {
        SkipBlanks();
        std::size_t length = 0;
        while (length < width && length < m_rest.size() && !IsBlank(m_rest[length])) {
            ++length;
        }
        return Take(length);
    }

    // At most `width` characters, sign included; nothing, and no later field, if there is no number.
    std::optional<std::int32_t> Number(std::size_t width) {
        SkipBlanks();
        std::size_t length = !m_rest.empty() && (m_rest[0] == '-' || m_rest[0] == '+') ? 1 : 0;
        const std::size_t firstDigit = length;
        while (length < width && length < m_rest.size() && m_rest[length] >= '0' && m_rest[length] <= '9') {
            ++length;
        }
        if (length == firstDigit) {
            m_rest = {};
            return std::nullopt;
        }
        return WireInt(Take(length));
    }

private:
    static bool IsBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
    void SkipBlanks() {
        while (!m_rest.empty() && IsBlank(m_rest[0])) {
            m_rest.remove_prefix(1);
        }
    }
    std::string_view Take(std::size_t length) {
        const std::string_view taken = m_rest.substr(0, length);
        m_rest.remove_prefix(length);
        return taken;
    }

    std::string_view m_rest;
};

std::uint32_t PortOf(std::int64_t number) {
    return number < 0 ? 0 : static_cast<std::uint32_t>(number);
}

// The states of a channel, each with the mask of the word that it goes to.
constexpr std::pair<wire::ChannelState, std::uint32_t> kStateWords[] = {
    {wire::kConnect, kStatusConnected}, {wire::kRecord, kStatusRecording}, {wire::kEvent, kStatusEvent},
    {wire::kManual, kStatusManual},     {wire::kMotion, kStatusMotion},    {wire::kLoss, kStatusSignalLoss},
    {wire::kInput, kStatusInput},       {wire::kAlarm, kStatusAlarm},
};

void ApplyDigit(std::size_t section, char digit, CVideoSetting& setting) {
    const std::uint32_t value = HexDigit(digit);
    for (const auto& [state, mask] : kStateWords) {
        if (state.section == section) {
            setting.SetStatus(mask, (value & state.bit) != 0 ? 1 : 0);
        }
    }
}

// What is wrong with a line that ends in this section. The last one tells the right to watch.
constexpr RecordingLine kTooShort[] = {RecordingLine::ShortA, RecordingLine::ShortB, RecordingLine::ShortC,
                                       RecordingLine::ShortD, RecordingLine::ShortE};
constexpr std::size_t kMonitorRightSection = 4;

struct ExtKey {
    std::string_view key;
    void (*store)(std::string_view value, CVideoSetting& setting);
};

// A value that does not fit is ignored.
template <std::size_t N>
void StoreText(std::string_view value, BoundedText<N>& text) {
    if (value.size() < N) {
        text = value;
    }
}

constexpr ExtKey kExtKeys[] = {
    {"rtsp port=",
     [](std::string_view value, CVideoSetting& setting) {
         setting.m_NetworkSetting[0].nRtspPort = PortOf(WireInt(value));
     }},
    {"rtsp port2=",
     [](std::string_view value, CVideoSetting& setting) {
         setting.m_NetworkSetting[1].nRtspPort = PortOf(WireInt(value));
     }},
    {"admin password=",
     [](std::string_view value, CVideoSetting& setting) { StoreText(value, setting.m_lpszAdminPasswd); }},
    {"guest password=",
     [](std::string_view value, CVideoSetting& setting) { StoreText(value, setting.m_lpszGuestPasswd); }},
    {"http_video_url=",
     [](std::string_view value, CVideoSetting& setting) { StoreText(value, setting.m_lpszVideoURL); }},
    {"wan address=", [](std::string_view value,
                        CVideoSetting& setting) { StoreText(value, setting.m_NetworkSetting[1].szAddress); }},
    {"lan address=", [](std::string_view value,
                        CVideoSetting& setting) { StoreText(value, setting.m_NetworkSetting[0].szAddress); }},
};

// Raises the kept digits by one in their last place. A carry out of the first digit is lost.
void RoundUp(std::string& kept) {
    for (auto digit = kept.rbegin(); digit != kept.rend(); ++digit) {
        if (*digit == '.') {
            continue;
        }
        if (*digit != '9') {
            ++*digit;
            return;
        }
        *digit = '0';
    }
}

}  // namespace

std::string_view CText(std::string_view bytes) {
    return bytes.substr(0, bytes.find('\0'));
}

bool IsBlankLine(std::string_view line) {
    return line.starts_with('\r') || line.starts_with('\n');
}

std::optional<std::string> ValueOfLine(std::string_view line, std::string_view key) {
    if (line.find(key) == std::string_view::npos) {
        return std::nullopt;
    }
    return std::string(TrimRight(From(line, key.size()), "\n"));
}

int DecodeHexLine(std::string_view line, std::span<char> out) {
    line = CText(line);
    const std::size_t groups = line.size() / kGroup;
    const std::size_t count = groups > 0 ? groups - 1 : 0;
    if (out.size() < count + 1) {
        return -1;
    }
    std::fill(out.begin(), out.end(), ' ');
    const std::uint32_t key = WireHex(line);
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint32_t word = WireHex(line.substr((i + 1) * kGroup, kGroup));
        out[i] = static_cast<char>(static_cast<unsigned char>(word ^ key));
    }
    out[count] = '\0';
    return 0;
}

std::uint32_t ChannelAddressLine::VendorId() const {
    return WireHex(szCameraId.View());
}

std::uint32_t ChannelAddressLine::ModelId() const {
    return WireHex(From(szCameraId.View(), kGroup));
}

ChannelAddressLine ParseChannelAddressLine(std::string_view decoded) {
    FieldReader fields(CText(decoded));
    ChannelAddressLine line;
    line.nIndex = fields.Number(3).value_or(-1);
    line.szCameraId = fields.Word(16);
    line.szLanAddress = fields.Word(64);
    line.szWanAddress = fields.Word(64);
    return line;
}

ChannelAccountLine ParseChannelAccountLine(std::span<const char> decoded) {
    constexpr std::size_t kColumns = 32;
    std::string columns(decoded.data(), decoded.size());
    columns.resize(std::max(columns.size(), 2 * kColumns), ' ');
    // Texts stand at the right end of their columns, so a blank there means none.
    const auto text = [&](std::size_t column) {
        const std::string_view field = std::string_view(columns).substr(column, kColumns);
        return field.back() == ' ' ? std::string_view() : FieldReader(CText(field)).Word(kColumns);
    };
    ChannelAccountLine line;
    line.szUser = text(0);
    line.szPassword = text(kColumns);
    FieldReader ports(CText(std::string_view(columns).substr(2 * kColumns)));
    line.nLanPort = PortOf(ports.Number(6).value_or(0));
    line.nWanPort = PortOf(ports.Number(6).value_or(0));
    return line;
}

void ApplyExtLine(std::string_view decoded, CVideoSetting& setting) {
    decoded = CText(decoded);
    for (const ExtKey& row : kExtKeys) {
        if (const auto at = decoded.find(row.key); at != std::string_view::npos) {
            row.store(decoded.substr(at + row.key.size()), setting);
        }
    }
}

void ParseDiskLine(std::string_view line, CNvrStatus& status) {
    line = CText(line);
    status.m_nDiskStatus = line.empty() ? 100 : WireInt(line);
    status.m_nDiskUsed = line.empty() ? 100 : WireInt(From(line, 5));
    constexpr std::int64_t kMaxKilobytes = INT64_MAX / 1024;
    const std::int64_t kilobytes = std::clamp<std::int64_t>(WireInt64(From(line, 9)), 0, kMaxKilobytes);
    FormatDiskSize(status.m_strDiskSize, status.m_strDiskUnit, kilobytes * 1024);
}

RecordingLine ParseRecordingLine(std::string_view line, CNvrStatus& status) {
    line = CText(line);
    line = line.substr(0, line.find('\n'));
    std::int32_t count = 0;
    for (std::size_t i = 0; i < 3; ++i) {
        if (i >= line.size() || line[i] < '0' || line[i] > '9') {
            return RecordingLine::BadCount;
        }
        count = count * 10 + (line[i] - '0');
    }
    status.m_nChannelCount = count;
    line.remove_prefix(3);
    auto& list = status.m_VideoSettingList;
    for (std::size_t section = 0; section < std::size(kTooShort); ++section) {
        const auto width = static_cast<std::size_t>(count);
        const std::size_t known = std::min({line.size(), list.size(), width});
        for (std::size_t channel = 0; channel < known; ++channel) {
            if (section != kMonitorRightSection) {
                ApplyDigit(section, line[channel], list[channel]);
            } else if (line[channel] == '1') {
                list[channel].SetStatus(kStatusMonitorRight, 1);
            }
        }
        if (line.size() < width) {
            return kTooShort[section];
        }
        line.remove_prefix(width);
    }
    return RecordingLine::Good;
}

void FormatDiskSize(std::string& strNumber, std::string& strUnit, std::int64_t nBytes) {
    const std::string digits = std::to_string(nBytes);
    if (digits.size() < 4) {
        strNumber = digits;
        strUnit = nBytes >= 2 ? "Bytes" : "Byte";
        return;
    }
    if (digits.size() >= 12) {
        strNumber = std::to_string(nBytes / (std::int64_t{1} << 30)) + " ";
        strUnit = "GB";
        return;
    }
    const int divisions = digits.size() > 9 ? 3 : digits.size() > 6 ? 2 : 1;
    strUnit = divisions == 3 ? "GB" : divisions == 2 ? "MB" : "KB";
    double value = static_cast<double>(nBytes);
    for (int i = 0; i < divisions; ++i) {
        value /= 1024;
    }
    const std::string printed = FormatText("%0.3f", value);
    const std::size_t length = printed.substr(0, 3).find('.') == std::string::npos ? 3 : 4;
    strNumber = printed.substr(0, length);
    // A next digit of exactly 5 rounds down; so does the point.
    if (length < printed.size() && printed[length] > '5') {
        RoundUp(strNumber);
    }
}

std::optional<std::tm> ParseDateTime(std::string_view text) {
    constexpr std::size_t kDigits = 14;
    if (text.size() < kDigits ||
        !std::all_of(text.begin(), text.begin() + kDigits, [](char c) { return c >= '0' && c <= '9'; })) {
        return std::nullopt;
    }
    const auto number = [&](std::size_t at, std::size_t length) { return WireInt(text.substr(at, length)); };
    std::tm time{};
    time.tm_year = number(0, 4) - 1900;
    time.tm_mon = number(4, 2) - 1;
    time.tm_mday = number(6, 2);
    time.tm_hour = number(8, 2);
    time.tm_min = number(10, 2);
    time.tm_sec = number(12, 2);
    const bool real = time.tm_mon >= 0 && time.tm_mon <= 11 && time.tm_mday >= 1 && time.tm_mday <= 31 &&
                      time.tm_hour <= 23 && time.tm_min <= 59 && time.tm_sec <= 60;
    return real ? std::optional(time) : std::nullopt;
}

}  // namespace kvmon
