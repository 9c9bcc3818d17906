// Films whose pictures tell their number, and what a display shows of them.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "display.h"
#include "live_wall.h"

namespace kvbench {

class RecordProxy;

inline constexpr std::chrono::milliseconds kLook{3};  // from one look at the display to the next

inline double Ms(std::int64_t ns) {
    return static_cast<double>(ns) / 1e6;
}

// A film for a kind of wall, in a file for the recorder.
class NumberedFilm {
public:
    NumberedFilm(const WallKind& wall, const std::string& folder);

    const std::string& File() const { return m_file; }
    // Of the picture with these coded bytes; -1: of none.
    int NumberOf(std::span<const std::uint8_t> payload) const;

private:
    std::string m_file;
    std::map<std::string, int> m_byTail;
};

// Where pictures move on the display, from the top left on. Throws std::runtime_error unless they are so
// many.
std::vector<Box> FindPictures(const Display& display, int count);

// The numbers that pictures tell at this moment; -1: none.
class Numbers {
public:
    Numbers(const Display& display, const std::vector<Box>& pictures);
    std::vector<int> Look() const;

private:
    const Display& m_display;
    std::vector<Box> m_rows;
};

// From the call until the first cell and until all cells show a picture that was sent less than 100 ms
// before. The first cell's channel has the number `channel`. Throws std::runtime_error after the limit.
struct Live {
    double firstMs = 0;
    double allMs = 0;
};
Live WaitUntilLive(const Numbers& numbers, const RecordProxy& proxy, int channel, std::chrono::seconds limit);

}  // namespace kvbench
