// Texts that a user sees, by number.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "persist/language_module.h"

namespace kvmon {

// The text of a number in the loaded language, UTF-8, from any thread. A text that the language lacks is the
// English one; empty for a number that is not in the table.
std::string LoadString(std::uint32_t id);

// From now on texts come from the module first; from null, the built-in English alone. A text whose places
// for values ("%s", "%d") are not those of the English one is not used.
void UseLanguageModule(const std::shared_ptr<const LanguageModule>& module);

// All numbers of the built-in table, ascending, and the English text of one.
std::vector<std::uint32_t> StringIds();
std::string EnglishString(std::uint32_t id);
// The text's places for values in their order: "%s:%u (%1)" gives "%s%u%1".
std::string FormatPlaces(std::string_view text);

}  // namespace kvmon
