#include "channel/stream/camera_text.h"

#include <algorithm>
#include <array>
#include <string>

#include "server/documents/wire_number.h"

namespace kvmon {

namespace {

constexpr std::size_t kMaxText = 2048;
constexpr std::size_t kMaxKey = 16;
constexpr std::size_t kValueSize = 32;

std::string Lowered(std::string_view text) {
    std::string lowered(text);
    std::transform(lowered.begin(), lowered.end(), lowered.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return lowered;
}

}  // namespace

bool HasPrefixNoCase(std::string_view text, std::string_view key) {
    return Lowered(text.substr(0, key.size())) == Lowered(key);
}

bool GetValueFromText(std::string_view text, std::string_view key, std::span<char> out) {
    const std::size_t found = text.find(key);
    if (found == std::string_view::npos) {
        return false;
    }
    std::string_view value = text.substr(found + key.size());
    value = value.substr(0, value.find('\n'));
    while (value.ends_with('\r')) {
        value.remove_suffix(1);
    }
    if (value.size() >= out.size()) {
        return false;
    }
    out[value.copy(out.data(), value.size())] = '\0';
    return true;
}

bool GetNumberFromText(std::string_view text, std::string_view key, std::int32_t* pValue) {
    std::array<char, kValueSize> value;
    if (text.size() > kMaxText || key.size() > kMaxKey ||
        !GetValueFromText(Lowered(text), Lowered(key), value)) {
        return false;
    }
    *pValue = WireInt(value.data());
    return true;
}

}  // namespace kvmon
