// Manual pages: a page's own text, with what is printed from tables in the places that it names.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "pages/option_table.h"

namespace kvpages {

// Plain text as a page shows it.
std::string Escaped(const std::string& text);

// Copies the page. Lines that are "@OPTIONS@" and "@EXITS@" become lists, "@EXAMPLE@" the file; "@VERSION@"
// stands anywhere.
void PrintPage(std::istream& page, const std::vector<OptionRow>& rows, const std::string& version,
               std::istream& example, std::ostream& out);

}  // namespace kvpages
