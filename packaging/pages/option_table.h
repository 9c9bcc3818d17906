// A program's options as manual pages and completions need them.
#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace kvpages {

enum class ValueKind { None, Text, File, Folder };

struct OptionRow {
    std::string name;       // with its hyphens, the long one
    std::string shortName;  // "" without
    ValueKind kind = ValueKind::None;
    std::string value;                 // what it is called, as FILE
    std::vector<std::string> choices;  // the only values; empty where others are taken
    std::string fallback;              // its value when it is not given; "" where that goes without saying
    bool repeated = false;
    std::string about;
};

// In the order of --help.
std::vector<OptionRow> ReadTable(const CLI::App& options);

}  // namespace kvpages
