// Values as a page hands them over and gets them back.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

namespace kvmon {

// Nothing, text, a 32-bit whole number, or any other value, which no member wants as it is.
struct OtherValue {
    double number = 0;  // what it is as a number
    friend bool operator==(const OtherValue&, const OtherValue&) = default;
};
using Variant = std::variant<std::monostate, std::string, std::int32_t, OtherValue>;

// A whole number out of text, as far as its digits go; 0 without any. Clamped to 32 bits.
std::int32_t ParseDecimal(const std::string& text);

// What a property of the type takes; nothing counts as 0 and as empty text. Text that is no number, and a
// number out of range, cannot be converted.
std::optional<std::int32_t> ToLong(const Variant& value);
std::optional<std::string> ToText(const Variant& value);

}  // namespace kvmon
