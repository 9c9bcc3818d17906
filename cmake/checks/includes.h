// The include lines of sources, as the checks of the build read them.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

// The names between the quotes of a file's include lines, in their order.
std::vector<std::string> IncludedNames(const std::filesystem::path& file);

// The file that the name means: beside the includer, or in one of the folders.
std::optional<std::filesystem::path> FindInclude(const std::string& name,
                                                 const std::filesystem::path& includer,
                                                 const std::vector<std::filesystem::path>& folders);
