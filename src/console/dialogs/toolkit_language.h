// What the toolkit has of a language: the words of its own dialogs, the locale, the letters' shapes.
#pragma once

#include <cstdint>

namespace kvmon {

// Follows the language whose module is in use; 0 for the built-in English. What a window has drawn already
// stays. User interface thread only; does nothing without an application.
void UseToolkitLanguage(std::uint16_t langid);

}  // namespace kvmon
