// Bytes as text, as protocols carry them.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kvrecorder {

// Leaves no copies of it behind, as it may be a password's.
std::string Base64Encode(std::string_view bytes);

// The bytes of a Base64 text; blanks and line ends inside are skipped. Nothing for any other character.
std::optional<std::string> Base64Decode(std::string_view text);

// The bytes of pairs of hexadecimal digits; nothing for any other text.
std::optional<std::string> HexDecode(std::string_view text);

}  // namespace kvrecorder
