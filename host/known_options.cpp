#include "host/known_options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <stdexcept>

namespace kvhost {

std::vector<std::string> NamesOf(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::Option* const option : app.get_options()) {
        for (const std::string& name : option->get_lnames()) {
            names.push_back("--" + name);
        }
    }
    return names;
}

CLI::Option* OptionNamed(CLI::App& app, std::string_view name) {
    for (CLI::Option* const option : app.get_options({})) {
        const auto& names = option->get_lnames();
        if (std::find(names.begin(), names.end(), name.substr(2)) != names.end()) {
            return option;
        }
    }
    throw std::logic_error("there is no option " + std::string(name));
}

}  // namespace kvhost
