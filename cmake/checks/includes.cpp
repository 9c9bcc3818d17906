#include "includes.h"

#include <fstream>

namespace fs = std::filesystem;

namespace {

std::optional<std::string> IncludedName(const std::string& line) {
    const auto directive = line.find_first_not_of(" \t");
    if (directive == std::string::npos || line.compare(directive, 8, "#include") != 0) {
        return std::nullopt;
    }
    const auto first = line.find('"', directive);
    const auto last = first == std::string::npos ? first : line.find('"', first + 1);
    if (last == std::string::npos) {
        return std::nullopt;
    }
    return line.substr(first + 1, last - first - 1);
}

}  // namespace

std::vector<std::string> IncludedNames(const fs::path& file) {
    std::vector<std::string> names;
    std::ifstream stream(file);
    for (std::string line; std::getline(stream, line);) {
        if (auto name = IncludedName(line)) {
            names.push_back(std::move(*name));
        }
    }
    return names;
}

std::optional<fs::path> FindInclude(const std::string& name, const fs::path& includer,
                                    const std::vector<fs::path>& folders) {
    std::error_code ignored;
    if (fs::is_regular_file(includer.parent_path() / name, ignored)) {
        return (includer.parent_path() / name).lexically_normal();
    }
    for (const auto& folder : folders) {
        if (fs::is_regular_file(folder / name, ignored)) {
            return (folder / name).lexically_normal();
        }
    }
    return std::nullopt;
}
