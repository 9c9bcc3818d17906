// How long a picture takes from the computer's network to the display, how soon the first one is there, what
// a wall holds, and what it costs while nobody can see it. The whole program, on a display of its own.
//
// bench_delay [SECONDS [KVMON KVRECORDER]]
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iterator>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>

#include "films.h"
#include "live_wall.h"
#include "record_proxy.h"

namespace {

using kvbench::Box;
using kvbench::Display;
using kvbench::LiveWall;
using kvbench::RecordProxy;
using kvbench::SteadyNs;
using kvbench::WallKind;
using kvtest::Coding;

constexpr WallKind kWalls[] = {
    {Coding::H264, 640, 480, 1'000'000, 2, 2, 391, 274, kvbench::kStyleFour, 0},
    {Coding::H264, 640, 480, 1'000'000, 4, 4, 195, 137, kvbench::kStyleCustom, 0},
    {Coding::H264, 352, 240, 512'000, 7, 6, 111, 91, kvbench::kStyleCustom, 5},
};
constexpr int kFilmSeconds = 2;
constexpr int kRepeatedSeconds = 60;
constexpr std::chrono::seconds kSettle{4};
constexpr std::chrono::milliseconds kLook{3};  // from one look at the display to the next
constexpr std::chrono::seconds kStartLimit{20};
constexpr std::size_t kTail = 48;

double Ms(std::int64_t ns) {
    return static_cast<double>(ns) / 1e6;
}

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

// The pictures on the display, in the order of their channels.
std::vector<Box> FindPictures(const Display& display, const WallKind& wall) {
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
    if (static_cast<int>(pictures.size()) != wall.Cells()) {
        throw std::runtime_error(std::to_string(pictures.size()) + " pictures move on the display");
    }
    return pictures;
}

// The numbers that the pictures tell at this moment.
class Numbers {
public:
    Numbers(const Display& display, const std::vector<Box>& pictures) : m_display(display) {
        for (const Box& picture : pictures) {
            m_rows.push_back({picture.left, picture.top + picture.height / 16, picture.width, 1});
        }
    }
    std::vector<int> Look() const {
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

private:
    const Display& m_display;
    std::vector<Box> m_rows;
};

std::vector<double> Delays(const Numbers& numbers, const RecordProxy& proxy, int seconds) {
    std::vector<double> delays;
    std::vector<int> last = numbers.Look();
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    for (auto next = std::chrono::steady_clock::now(); next < end; next += kLook) {
        std::this_thread::sleep_until(next);
        const std::int64_t now = SteadyNs();
        auto seen = numbers.Look();
        for (std::size_t i = 0; i < seen.size(); ++i) {
            const std::int64_t sent = proxy.SentNs(static_cast<int>(i), seen[i]);
            if (seen[i] >= 0 && seen[i] != last[i] && sent != 0 && sent < now) {
                delays.push_back(Ms(now - sent));
            }
        }
        last = std::move(seen);
    }
    std::sort(delays.begin(), delays.end());
    if (delays.empty()) {
        throw std::runtime_error("no picture is seen");
    }
    return delays;
}

// From the start of the program to the first picture, and to the last cell's.
std::pair<double, double> Start(const Numbers& numbers, std::int64_t began) {
    double first = 0;
    while (SteadyNs() < began + kStartLimit / std::chrono::nanoseconds(1)) {
        const auto seen = numbers.Look();
        const auto live = std::count_if(seen.begin(), seen.end(), [](int number) { return number >= 0; });
        if (live > 0 && first == 0) {
            first = Ms(SteadyNs() - began);
        }
        if (live == static_cast<std::ptrdiff_t>(seen.size())) {
            return {first, Ms(SteadyNs() - began)};
        }
        std::this_thread::sleep_for(kLook);
    }
    throw std::runtime_error("not every cell shows a picture");
}

constexpr std::chrono::seconds kUnseen{4};
constexpr double kLiveMs = 100;  // a picture that was sent so shortly before is of now

// Processor milliseconds of a second for each cell.
double CostOf(pid_t process, int cells) {
    const double before = kvbench::ProcessMs(process);
    std::this_thread::sleep_for(kUnseen);
    return (kvbench::ProcessMs(process) - before) / static_cast<double>(kUnseen.count()) / cells;
}

// What the wall costs while it is seen, and while it is not; and how soon after that all cells are live.
struct Unseen {
    double seen = 0;
    double hidden = 0;
    double covered = 0;
    double backMs = 0;
    double uncoveredMs = 0;
};

double UntilLive(const Numbers& numbers, const RecordProxy& proxy) {
    const std::int64_t began = SteadyNs();
    while (SteadyNs() < began + kStartLimit / std::chrono::nanoseconds(1)) {
        const auto seen = numbers.Look();
        const std::int64_t now = SteadyNs();
        int live = 0;
        for (std::size_t i = 0; i < seen.size(); ++i) {
            const std::int64_t sent = seen[i] < 0 ? 0 : proxy.SentNs(static_cast<int>(i), seen[i]);
            live += sent != 0 && Ms(now - sent) < kLiveMs ? 1 : 0;
        }
        if (live == static_cast<int>(seen.size())) {
            return Ms(SteadyNs() - began);
        }
        std::this_thread::sleep_for(kLook);
    }
    throw std::runtime_error("the wall is not live again");
}

Unseen Leave(Display& display, const Numbers& numbers, const RecordProxy& proxy, pid_t process, int cells) {
    Unseen cost;
    cost.seen = CostOf(process, cells);
    display.SetHidden(true);
    std::this_thread::sleep_for(std::chrono::seconds(1));
    cost.hidden = CostOf(process, cells);
    display.SetHidden(false);
    cost.backMs = UntilLive(numbers, proxy);
    std::this_thread::sleep_for(std::chrono::seconds(1));
    display.SetCovered(true);
    std::this_thread::sleep_for(std::chrono::seconds(1));
    cost.covered = CostOf(process, cells);
    display.SetCovered(false);
    cost.uncoveredMs = UntilLive(numbers, proxy);
    return cost;
}

void Measure(const kvbench::Programs& programs, const WallKind& wall, int seconds,
             const std::string& folder) {
    kvtest::CodingOptions options;
    options.frames = kFilmSeconds * kvbench::kPicturesPerSecond;
    options.bitrate = wall.bitrate;
    options.numbered = true;
    const auto units = kvtest::EncodeMovingPictures(wall.coding, wall.width, wall.height, options);
    const std::string film = folder + "/film.mkv";
    kvbench::WriteFilm(film, wall.coding, wall.width, wall.height, units, kRepeatedSeconds);
    std::map<std::string, int> byTail;
    for (std::size_t i = 0; i < units.size(); ++i) {
        byTail[TailOf(units[i].bytes)] = static_cast<int>(i);
    }
    Display display(folder);
    std::optional<RecordProxy> proxy;
    std::vector<Box> pictures;
    std::vector<double> delays;
    kvbench::Holding holding;
    Unseen unseen;
    {
        const LiveWall live(programs, wall, film, folder, display, [&](int port) {
            proxy.emplace(port, [&](std::span<const std::uint8_t> payload) {
                const auto found = byTail.find(TailOf(payload));
                return found == byTail.end() ? -1 : found->second;
            });
            return proxy->Port();
        });
        std::this_thread::sleep_for(kSettle);
        pictures = FindPictures(display, wall);
        delays = Delays(Numbers(display, pictures), *proxy, seconds);
        holding = kvbench::Look(live.Monitor());
        unseen = Leave(display, Numbers(display, pictures), *proxy, live.Monitor(), wall.Cells());
    }
    std::int64_t began = 0;
    const LiveWall again(programs, wall, film, folder, display, [&](int port) {
        began = SteadyNs();
        return port;
    });
    const auto [first, all] = Start(Numbers(display, pictures), began);
    const auto part = [&](double share) {
        return delays[static_cast<std::size_t>(share * static_cast<double>(delays.size() - 1))];
    };
    std::printf("%-34s %9zu %7.1f %7.1f %7.1f %9.0f %9.0f %7.1f %8d\n", wall.Name().c_str(), delays.size(),
                part(0.5), part(0.95), part(0.99), first, all, holding.megabytes, holding.threads);
    std::printf(
        "    CPU ms a second for a cell: %.1f seen, %.1f hidden, %.1f covered; live %.0f ms after it is "
        "shown, "
        "%.0f after it is uncovered\n",
        unseen.seen, unseen.hidden, unseen.covered, unseen.backMs, unseen.uncoveredMs);
    std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
    const int seconds = argc > 1 ? std::atoi(argv[1]) : 10;
    kvbench::Programs programs;
    programs.monitor = argc > 2 ? argv[2] : programs.monitor;
    programs.recorder = argc > 3 ? argv[3] : programs.recorder;
    if (seconds < 1) {
        std::fprintf(stderr, "bench_delay [SECONDS [KVMON KVRECORDER]]\n");
        return 2;
    }
    const auto folder =
        std::filesystem::temp_directory_path() / ("bench_delay." + std::to_string(::getpid()));
    int status = 0;
    try {
        std::filesystem::create_directory(folder);
        std::printf(
            "ms from a record's last byte to the display, looked at every %lld ms; ms from the start to the "
            "first "
            "picture and to the last cell's; memory and threads\n\n",
            static_cast<long long>(kLook.count()));
        std::printf("%-34s %9s %7s %7s %7s %9s %9s %7s %8s\n", "wall", "pictures", "p50", "p95", "p99",
                    "first", "all", "MB", "threads");
        for (const WallKind& wall : kWalls) {
            Measure(programs, wall, seconds, folder);
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_delay: %s\n", error.what());
        status = 1;
    }
    std::filesystem::remove_all(folder);
    return status;
}
