// Texts that tell a number of things.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace kvmon {

// A text with forms for numbers has them one behind the other with this between them: "%d camera|%d cameras".
inline constexpr char kBetweenForms = '|';

// Which form of a word a language has for this number of things, from 0: first that for one, then, where a
// language tells few from many, that for few.
std::size_t PluralForm(std::uint16_t language, std::uint64_t number);

// The form of the text for this number, in the loaded language; the last one where the text has fewer. The
// number itself is still to be filled in. Any thread.
std::string LoadPlural(std::uint32_t id, std::uint64_t number);

}  // namespace kvmon
