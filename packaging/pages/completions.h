// What shells complete behind a program's name.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "pages/option_table.h"

namespace kvpages {

void PrintBash(const std::string& program, const std::vector<OptionRow>& rows, std::ostream& out);
void PrintZsh(const std::string& program, const std::vector<OptionRow>& rows, std::ostream& out);
void PrintFish(const std::string& program, const std::vector<OptionRow>& rows, std::ostream& out);

}  // namespace kvpages
