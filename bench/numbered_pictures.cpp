#include "numbered_pictures.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <thread>

#include "films.h"
#include "record_proxy.h"

namespace kvbench {

namespace {

constexpr int kFilmSeconds = 2;
constexpr int kRepeatedSeconds = 60;
constexpr std::size_t kTail = 48;
constexpr double kLiveMs = 100;

std::string TailOf(std::span<const std::uint8_t> bytes) {
    const auto tail = bytes.last(std::min(kTail, bytes.size()));
    return {tail.begin(), tail.end()};
}

// Places that change, with a gap or more between them.
struct Run {
    int begin;
    int size;
};
std::vector<Run> RunsOf(const std::vector<bool>& changes) {
    std::vector<Run> runs;
    int begin = -1;
    for (int i = 0; i <= static_cast<int>(changes.size()); ++i) {
        const bool bHere = i < static_cast<int>(changes.size()) && changes[static_cast<std::size_t>(i)];
        if (bHere && begin < 0) {
            begin = i;
        } else if (!bHere && begin >= 0) {
            runs.push_back({begin, i - begin});
            begin = -1;
        }
    }
    std::erase_if(runs, [](const Run& run) { return run.size < 16; });
    return runs;
}

}  // namespace

NumberedFilm::NumberedFilm(const WallKind& wall, const std::string& folder) : m_file(folder + "/film.mkv") {
    kvtest::CodingOptions options;
    options.frames = kFilmSeconds * kPicturesPerSecond;
    options.bitrate = wall.bitrate;
    options.numbered = true;
    const auto units = kvtest::EncodeMovingPictures(wall.coding, wall.width, wall.height, options);
    WriteFilm(m_file, wall.coding, wall.width, wall.height, units, kRepeatedSeconds);
    for (std::size_t i = 0; i < units.size(); ++i) {
        m_byTail[TailOf(units[i].bytes)] = static_cast<int>(i);
    }
}

int NumberedFilm::NumberOf(std::span<const std::uint8_t> payload) const {
    const auto found = m_byTail.find(TailOf(payload));
    return found == m_byTail.end() ? -1 : found->second;
}

std::vector<Box> FindPictures(const Display& display, int count) {
    const Box all{0, 0, Display::kWidth, Display::kHeight};
    std::vector<bool> columns(Display::kWidth);
    std::vector<bool> rows(Display::kHeight);
    auto before = display.See(all);
    for (int look = 0; look < 8; ++look) {
        std::this_thread::sleep_for(std::chrono::milliseconds(170));
        auto after = display.See(all);
        for (std::size_t i = 0; i < std::min(before.size(), after.size()); ++i) {
            if (before[i] != after[i]) {
                columns[i % Display::kWidth] = true;
                rows[i / Display::kWidth] = true;
            }
        }
        before = std::move(after);
    }
    std::vector<Box> pictures;
    for (const Run& row : RunsOf(rows)) {
        for (const Run& column : RunsOf(columns)) {
            pictures.push_back({column.begin, row.begin, column.size, row.size});
        }
    }
    if (static_cast<int>(pictures.size()) != count) {
        throw std::runtime_error(std::to_string(pictures.size()) + " pictures move on the display");
    }
    return pictures;
}

Numbers::Numbers(const Display& display, const std::vector<Box>& pictures) : m_display(display) {
    for (const Box& picture : pictures) {
        m_rows.push_back({picture.left, picture.top + picture.height / 16, picture.width, 1});
    }
}

std::vector<int> Numbers::Look() const {
    std::vector<int> numbers;
    for (const auto& row : m_display.See(m_rows)) {
        std::array<bool, 8> white{};
        for (std::size_t i = 0; i < white.size() && !row.empty(); ++i) {
            white[i] = (row[row.size() * (2 * i + 1) / 16] >> 8 & 255) > 128;
        }
        numbers.push_back(kvtest::NumberOf(white));
    }
    return numbers;
}

Live WaitUntilLive(const Numbers& numbers, const RecordProxy& proxy, int channel,
                   std::chrono::seconds limit) {
    const std::int64_t began = SteadyNs();
    Live waited;
    while (SteadyNs() < began + limit / std::chrono::nanoseconds(1)) {
        const auto seen = numbers.Look();
        const std::int64_t now = SteadyNs();
        int live = 0;
        for (std::size_t i = 0; i < seen.size(); ++i) {
            const std::int64_t sent = seen[i] < 0 ? 0 : proxy.SentNs(channel + static_cast<int>(i), seen[i]);
            live += sent != 0 && Ms(now - sent) < kLiveMs ? 1 : 0;
        }
        if (live > 0 && waited.firstMs == 0) {
            waited.firstMs = Ms(now - began);
        }
        if (live == static_cast<int>(seen.size())) {
            waited.allMs = Ms(now - began);
            return waited;
        }
        std::this_thread::sleep_for(kLook);
    }
    throw std::runtime_error("the wall is not live");
}

}  // namespace kvbench
