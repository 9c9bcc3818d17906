// Credentials as a page hands them over.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace kvmon {

// User and password of base64 of "user:password". Nothing without a colon, or when the text or what it
// stands for is longer than 260 bytes.
std::optional<std::pair<std::string, std::string>> DecodeAuthText(std::string_view text);

}  // namespace kvmon
