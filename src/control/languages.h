// Language numbers and language identifiers.
#pragma once

#include <cstdint>

namespace kvmon {

inline constexpr std::uint16_t kLanguageNone = 0xFFFF;
inline constexpr std::uint16_t kLanguageEnglish = 0x0409;
inline constexpr int kLanguageCount = 21;  // the numbers from 0

// English for a number without an entry.
std::uint16_t LanguageFromNumber(int number);
// By primary language and sublanguage; 0 for a language without a number.
int NumberFromLanguage(std::uint16_t langid);
// "eng" and so on, by primary language.
const char* HelpSuffix(std::uint16_t langid);

}  // namespace kvmon
