// The help that comes with the program: a folder of pages for each language, and beside those what all use.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kvmon {

// Beside the program as it was built, or where an installed tree has it, without detours; empty when there is
// none.
std::string HelpFolder();
// The path of a file below the folder, such as "ger/help.html" or "help.css"; English where the language has
// no such file. Nothing for a name of any other form, as it may come from a stranger, and for what is not
// there.
std::optional<std::string> FindHelpFile(const std::string& folder, std::string_view name);

}  // namespace kvmon
