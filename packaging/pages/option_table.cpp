#include "pages/option_table.h"

#include <CLI/CLI.hpp>
#include <sstream>

namespace kvpages {
namespace {

// The library tells a value's name and, behind it, what each check takes: "LOOK:{dark,light}", "PORT:INT in
// [1 - 65535]".
std::string ValueName(const std::string& told) {
    const std::size_t check = std::min(told.find(":{"), told.find(" in ["));
    if (check == std::string::npos || told[check] == ':') {
        return told.substr(0, check);
    }
    return told.substr(0, told.rfind(':', check));
}

std::vector<std::string> Choices(const std::string& told) {
    std::vector<std::string> choices;
    const std::size_t begin = told.find(":{");
    if (begin == std::string::npos) {
        return choices;
    }
    std::istringstream list(told.substr(begin + 2, told.find('}', begin) - begin - 2));
    for (std::string choice; std::getline(list, choice, ',');) {
        choices.push_back(choice);
    }
    return choices;
}

ValueKind KindOf(const std::string& value) {
    return value == "FILE" || value == "PATH" ? ValueKind::File
           : value == "FOLDER"                ? ValueKind::Folder
                                              : ValueKind::Text;
}

}  // namespace

std::vector<OptionRow> ReadTable(const CLI::App& options) {
    std::vector<OptionRow> rows;
    for (const CLI::Option* const option : options.get_options()) {
        if (option->get_lnames().empty() || option->get_group().empty()) {
            continue;
        }
        OptionRow row;
        row.name = "--" + option->get_lnames().front();
        row.shortName = option->get_snames().empty() ? "" : "-" + option->get_snames().front();
        row.about = option->get_description();
        if (option->get_items_expected_max() > 0) {
            const std::string told = option->get_type_name();
            row.value = ValueName(told);
            row.choices = Choices(told);
            row.kind = KindOf(row.value);
            row.fallback = option->get_default_str();
            row.repeated = option->get_items_expected_max() > 1;
        }
        rows.push_back(std::move(row));
    }
    return rows;
}

}  // namespace kvpages
