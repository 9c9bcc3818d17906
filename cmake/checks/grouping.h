// Which sources can be looked at as one.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

struct Unit {
    std::filesystem::path source;
    std::string flags;
};

// Sources under all flags that any of them has.
struct Group {
    std::vector<std::filesystem::path> sources;
    std::string flags;
};

// Puts sources of one part of the tree together, as long as no name is defined by two of them: their own
// names, in unnamed namespaces, may mean different things. Names are told by how the lines look, so a group
// may fail to compile after all.
std::vector<Group> Grouped(const std::vector<Unit>& units, const std::filesystem::path& top);

// A file that includes them; each program's entry gets a name of its own.
std::string IncludingAll(const Group& group);
