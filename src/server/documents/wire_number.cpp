#include "server/documents/wire_number.h"

#include <algorithm>
#include <limits>

namespace kvmon {

namespace {

bool IsBlank(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

bool IsHexDigit(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

}  // namespace

std::int64_t WireInt64(std::string_view text) {
    std::size_t at = 0;
    while (at < text.size() && IsBlank(text[at])) {
        ++at;
    }
    const bool negative = at < text.size() && text[at] == '-';
    if (at < text.size() && (text[at] == '-' || text[at] == '+')) {
        ++at;
    }
    constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
    std::int64_t value = 0;
    for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at) {
        const int digit = text[at] - '0';
        if (value > (kMax - digit) / 10) {
            return negative ? std::numeric_limits<std::int64_t>::min() : kMax;
        }
        value = value * 10 + digit;
    }
    return negative ? -value : value;
}

std::int32_t WireInt(std::string_view text) {
    using Limits = std::numeric_limits<std::int32_t>;
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(WireInt64(text), Limits::min(), Limits::max()));
}

std::uint32_t HexDigit(char digit) {
    if (!IsHexDigit(digit)) {
        return 0;
    }
    return static_cast<std::uint32_t>(digit <= '9' ? digit - '0' : (digit | 0x20) - 'a' + 10);
}

std::uint32_t WireHex(std::string_view text) {
    text = text.substr(0, 8);
    std::uint32_t value = 0;
    for (const char digit : text) {
        if (!IsHexDigit(digit)) {
            break;
        }
        value = value << 4 | HexDigit(digit);
    }
    return value;
}

}  // namespace kvmon
