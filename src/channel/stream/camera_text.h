// Values out of the text that cameras reply with. Inside this folder and its tests only.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace kvmon {

// The text begins with the key, whatever the case of either.
bool HasPrefixNoCase(std::string_view text, std::string_view key);
// Kept: this and the next one are part of the helpers for kinds of camera.
// What stands between the key and the next line feed, without the carriage returns at its end, terminated in
// `out`. False if the key is not there or the value does not fit.
bool GetValueFromText(std::string_view text, std::string_view key, std::span<char> out);
// The number behind a key, whatever the case of either. False without the key, with a text of more than 2048
// characters, a key of more than 16 or a value of 32 and more.
bool GetNumberFromText(std::string_view text, std::string_view key, std::int32_t* pValue);

}  // namespace kvmon
