// Numbers in text off the wire.
#pragma once

#include <cstdint>
#include <string_view>

namespace kvmon {

// A 64-bit decimal number as C reads it: blanks, a sign, digits up to the first other character. 0 if
// there is none, the nearest limit if it does not fit.
std::int64_t WireInt64(std::string_view text);
// Likewise with the limits of 32 bits.
std::int32_t WireInt(std::string_view text);
// The value of one hexadecimal digit; 0 for any other character.
std::uint32_t HexDigit(char digit);
// Up to eight hexadecimal digits, up to the first other character.
std::uint32_t WireHex(std::string_view text);

}  // namespace kvmon
