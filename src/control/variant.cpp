#include "control/variant.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace kvmon {

namespace {

constexpr std::int32_t kMin = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kMax = std::numeric_limits<std::int32_t>::max();

std::optional<std::int32_t> WholeText(const std::string& text) {
    const std::size_t begin = text.find_first_not_of(" \t");
    const std::size_t end = text.find_last_not_of(" \t");
    if (begin == std::string::npos) {
        return std::nullopt;
    }
    std::int32_t number = 0;
    const char* const last = text.data() + end + 1;
    const auto [stop, error] = std::from_chars(text.data() + begin, last, number);
    return error == std::errc() && stop == last ? std::optional(number) : std::nullopt;
}

}  // namespace

std::int32_t ParseDecimal(const std::string& text) {
    errno = 0;
    const long long number = std::strtoll(text.c_str(), nullptr, 10);
    return static_cast<std::int32_t>(std::clamp<long long>(number, kMin, kMax));
}

std::optional<std::int32_t> ToLong(const Variant& value) {
    if (std::holds_alternative<std::monostate>(value)) {
        return 0;
    }
    if (const auto* const number = std::get_if<std::int32_t>(&value)) {
        return *number;
    }
    if (const auto* const text = std::get_if<std::string>(&value)) {
        return WholeText(*text);
    }
    if (const auto* const other = std::get_if<OtherValue>(&value)) {
        const double rounded = std::nearbyint(other->number);
        if (rounded >= kMin && rounded <= kMax) {
            return static_cast<std::int32_t>(rounded);
        }
    }
    return std::nullopt;
}

std::optional<std::string> ToText(const Variant& value) {
    if (std::holds_alternative<std::monostate>(value)) {
        return std::string();
    }
    if (const auto* const text = std::get_if<std::string>(&value)) {
        return *text;
    }
    if (const auto* const number = std::get_if<std::int32_t>(&value)) {
        return std::to_string(*number);
    }
    return std::nullopt;
}

}  // namespace kvmon
