// The lines of the recorder's documents. Plain functions of text: what a query reads off the wire, these
// understand.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "platform/secret_memory.h"
#include "server/documents/nvr_status.h"

namespace kvmon {

// A channel's index and the recorder's count of channels have three digits.
inline constexpr std::int32_t kMaxChannels = 1000;
// Line buffer of the documents.
inline constexpr std::size_t kDocumentLine = 2048;
inline constexpr std::string_view kRecordsBegin = "//----------";
inline constexpr std::string_view kRecordsEnd = "----------//";

// Up to the first NUL, as a text in an array ends.
std::string_view CText(std::string_view bytes);
// A header's blank line, or one that is taken for it.
bool IsBlankLine(std::string_view line);
// The text behind a key that the line holds somewhere, counted from the line's start as if the key stood
// there, without LFs at its end. Nothing if the line does not hold the key.
std::optional<std::string> ValueOfLine(std::string_view line, std::string_view key);

// Reads a line of groups of eight hexadecimal digits: the first is a key word, the others hold one
// character each. Fills all of `out` with blanks first and writes a NUL behind the last character. Gives
// 0, or -1 if `out` is too small.
int DecodeHexLine(std::string_view line, std::span<char> out);

// The first of a channel's two lines in get_init_info.cgi, decoded.
struct ChannelAddressLine {
    std::int32_t nIndex = -1;  // 0 to 999, else not to be used
    BoundedText<24> szCameraId;
    BoundedText<64> szLanAddress, szWanAddress;

    std::uint32_t VendorId() const;
    std::uint32_t ModelId() const;
};
ChannelAddressLine ParseChannelAddressLine(std::string_view decoded);

// The second one, in fixed columns.
struct ChannelAccountLine {
    BoundedText<64> szUser;
    SecretText<64> szPassword;
    std::uint32_t nLanPort = 0, nWanPort = 0;
};
// `decoded` is the whole buffer of DecodeHexLine, since columns behind the text read as blanks.
ChannelAccountLine ParseChannelAccountLine(std::span<const char> decoded);

// Stores what one decoded line of get_ext_info.cgi tells.
void ApplyExtLine(std::string_view decoded, CVideoSetting& setting);

// The first line of z_status.cgi: status, percentage and total size.
void ParseDiskLine(std::string_view line, CNvrStatus& status);
// Its second line: the channel count and five sections of one character a channel.
enum class RecordingLine {
    Good = 0,
    BadCount = 7,
    ShortA = 8,
    ShortB = 9,
    ShortC = 10,
    ShortD = 11,
    ShortE = 12,
};
RecordingLine ParseRecordingLine(std::string_view line, CNvrStatus& status);

// Number and unit for display.
void FormatDiskSize(std::string& strNumber, std::string& strUnit, std::int64_t nBytes);

// "YYYYMMDDhhmmss"; what stands behind it is not read.
std::optional<std::tm> ParseDateTime(std::string_view text);

}  // namespace kvmon
