// Finding and loading the texts of a language.
#pragma once

#include <cstdint>
#include <string>

namespace kvmon {

// The language of the desktop's user, 0 if it has none of ours.
std::uint16_t UserLanguage();
// The same of a locale's name, such as "pt_BR" or "zh_Hant_TW".
std::uint16_t LanguageOfLocale(const std::string& name);

// Loads the best module there is for the wanted language for the whole program, and gives its language: 0
// when there is none that can be read, with the built-in English in use.
std::uint16_t LoadLanguage(std::uint16_t wanted);
// Back to the built-in English.
void UnloadLanguage();

}  // namespace kvmon
