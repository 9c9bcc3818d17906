// kv-arrows FOLDER...: refuses sources whose includes run in a circle.
//
// Between folders the include roots make the directions hold; inside a folder any file can reach any other.
// There a header and the source of its name are one room, and a room may only include rooms that do not lead
// back to it: so each file can be read, and tested, with nothing but what stands below it.
#include <algorithm>
#include <filesystem>
#include <iostream>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "includes.h"

namespace {

namespace fs = std::filesystem;

// A room by its path without extension, with the rooms that it includes and the file that does so.
using Rooms = std::map<std::string, std::map<std::string, fs::path>>;

std::string RoomOf(const fs::path& file) {
    return (file.parent_path() / file.stem()).lexically_normal().string();
}

bool IsSource(const fs::path& file) {
    return file.extension() == ".h" || file.extension() == ".cpp";
}

Rooms Read(const std::vector<fs::path>& bases) {
    Rooms rooms;
    for (const auto& base : bases) {
        for (const auto& entry : fs::recursive_directory_iterator(base)) {
            if (!entry.is_regular_file() || !IsSource(entry.path()))
                continue;
            auto& room = rooms[RoomOf(entry.path())];
            for (const auto& name : IncludedNames(entry.path())) {
                const auto header = FindInclude(name, entry.path(), bases);
                if (header && RoomOf(*header) != RoomOf(entry.path())) {
                    room.emplace(RoomOf(*header), entry.path());
                }
            }
        }
    }
    return rooms;
}

// Goes down from each room; one that is met again on the way down closes a circle.
class CircleSearch {
public:
    explicit CircleSearch(const Rooms& rooms) : m_rooms(rooms) {}

    int Run() {
        for (const auto& [room, below] : m_rooms)
            Visit(room);
        return m_circles;
    }

private:
    void Visit(const std::string& room) {
        const auto met = std::find(m_way.begin(), m_way.end(), room);
        if (met != m_way.end())
            return Tell({met, m_way.end()});
        if (!m_done.insert(room).second)
            return;
        m_way.push_back(room);
        if (const auto found = m_rooms.find(room); found != m_rooms.end()) {
            for (const auto& [below, file] : found->second)
                Visit(below);
        }
        m_way.pop_back();
    }

    void Tell(std::vector<std::string> circle) {
        ++m_circles;
        std::cerr << "these includes run in a circle:\n";
        circle.push_back(circle.front());
        for (std::size_t i = 0; i + 1 < circle.size(); ++i)
            std::cerr << "  " << m_rooms.at(circle[i]).at(circle[i + 1]).string() << " includes "
                      << circle[i + 1] << ".h\n";
    }

    const Rooms& m_rooms;
    std::vector<std::string> m_way;
    std::set<std::string> m_done;
    int m_circles = 0;
};

}  // namespace

int main(int argc, char** argv) {
    const std::vector<fs::path> bases(argv + 1, argv + argc);
    if (bases.empty()) {
        std::cerr << "usage: kv-arrows FOLDER...\n";
        return 2;
    }
    for (const auto& base : bases) {
        if (!fs::is_directory(base)) {
            std::cerr << "no folder " << base << "\n";
            return 2;
        }
    }
    const auto rooms = Read(bases);
    return CircleSearch(rooms).Run() == 0 ? 0 : 1;
}
