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
#include "numbered_pictures.h"
#include "record_proxy.h"

namespace {

using kvbench::Box;
using kvbench::Display;
using kvbench::LiveWall;
using kvbench::Numbers;
using kvbench::RecordProxy;
using kvbench::SteadyNs;
using kvbench::WallKind;
using kvtest::Coding;

constexpr WallKind kWalls[] = {
    {Coding::H264, 640, 480, 1'000'000, 2, 2, 391, 274, kvbench::kStyleFour, 0},
    {Coding::H264, 640, 480, 1'000'000, 4, 4, 195, 137, kvbench::kStyleCustom, 0},
    {Coding::H264, 352, 240, 512'000, 7, 6, 111, 91, kvbench::kStyleCustom, 5},
};
constexpr std::chrono::seconds kSettle{4};
constexpr std::chrono::seconds kStartLimit{20};

using kvbench::Ms;

std::vector<double> Delays(const Numbers& numbers, const RecordProxy& proxy, int seconds) {
    std::vector<double> delays;
    std::vector<int> last = numbers.Look();
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    for (auto next = std::chrono::steady_clock::now(); next < end; next += kvbench::kLook) {
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

// From the start of the program to its window, to the first picture, and to the last cell's.
struct StartTimes {
    double windowMs = 0;
    double firstMs = 0;
    double allMs = 0;
};

StartTimes Start(const Display& display, const Numbers& numbers, std::int64_t began) {
    StartTimes times;
    const auto passed = [&] { return Ms(SteadyNs() - began); };
    while (SteadyNs() < began + kStartLimit / std::chrono::nanoseconds(1)) {
        if (times.windowMs == 0) {
            times.windowMs = display.HasWindow() ? passed() : 0;
            std::this_thread::sleep_for(kvbench::kLook);
            continue;
        }
        const auto seen = numbers.Look();
        const auto live = std::count_if(seen.begin(), seen.end(), [](int number) { return number >= 0; });
        if (live > 0 && times.firstMs == 0) {
            times.firstMs = passed();
        }
        if (live == static_cast<std::ptrdiff_t>(seen.size())) {
            times.allMs = passed();
            return times;
        }
        std::this_thread::sleep_for(kvbench::kLook);
    }
    throw std::runtime_error("not every cell shows a picture");
}

constexpr std::chrono::seconds kUnseen{4};

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
    return kvbench::WaitUntilLive(numbers, proxy, 0, kStartLimit).allMs;
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
    const kvbench::NumberedFilm film(wall, folder);
    Display display(folder);
    std::optional<RecordProxy> proxy;
    std::vector<Box> pictures;
    std::vector<double> delays;
    kvbench::Holding holding;
    Unseen unseen;
    {
        const LiveWall live(programs, wall, film.File(), folder, display, [&](int port) {
            proxy.emplace(port,
                          [&film](std::span<const std::uint8_t> payload) { return film.NumberOf(payload); });
            return proxy->Port();
        });
        std::this_thread::sleep_for(kSettle);
        pictures = kvbench::FindPictures(display, wall.Cells());
        delays = Delays(Numbers(display, pictures), *proxy, seconds);
        holding = kvbench::Look(live.Monitor());
        unseen = Leave(display, Numbers(display, pictures), *proxy, live.Monitor(), wall.Cells());
    }
    std::int64_t began = 0;
    const LiveWall again(programs, wall, film.File(), folder, display, [&](int port) {
        began = SteadyNs();
        return port;
    });
    const StartTimes start = Start(display, Numbers(display, pictures), began);
    const auto part = [&](double share) {
        return delays[static_cast<std::size_t>(share * static_cast<double>(delays.size() - 1))];
    };
    std::printf("%-34s %9zu %7.1f %7.1f %7.1f %7.0f %9.0f %9.0f %7.1f %8d\n", wall.Name().c_str(),
                delays.size(), part(0.5), part(0.95), part(0.99), start.windowMs, start.firstMs, start.allMs,
                holding.megabytes, holding.threads);
    std::printf(
        "    CPU ms a second for a cell: %.1f seen, %.1f hidden, %.1f covered; live %.0f ms after it is "
        "shown, "
        "%.0f after it is uncovered\n",
        unseen.seen, unseen.hidden, unseen.covered, unseen.backMs, unseen.uncoveredMs);
    std::fflush(stdout);
}

// The largest wall there is: 42 cells on each of two displays, the second one by its key.
void MeasureTwoDisplays(const kvbench::Programs& programs, const std::string& folder) {
    constexpr std::uint32_t kKeyD = 0x64;
    constexpr int kCells = 84;
    WallKind wall = kWalls[std::size(kWalls) - 1];
    wall.channels = kCells;
    const kvbench::NumberedFilm film(wall, folder);
    Display display(folder, Display::Monitors::Two);
    const LiveWall live(programs, wall, film.File(), folder, display);
    std::this_thread::sleep_for(kSettle);
    display.PressKey(kKeyD);
    std::this_thread::sleep_for(2 * kSettle);
    const Box second{Display::kWidth, 0, Display::kWidth, Display::kHeight};
    const auto before = display.See(second);
    std::this_thread::sleep_for(std::chrono::seconds(1));
    if (before == display.See(second)) {
        throw std::runtime_error("nothing moves on the second display");
    }
    const kvbench::Holding holding = kvbench::Look(live.Monitor());
    std::printf("%-34s %9s %7s %7s %7s %7s %9s %9s %7.1f %8d\n", "84 x 352x240 on two displays", "", "", "",
                "", "", "", "", holding.megabytes, holding.threads);
    std::printf("    CPU ms a second for a cell: %.1f seen\n", CostOf(live.Monitor(), kCells));
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
            "window, the first picture and the last cell's; memory and threads\n\n",
            static_cast<long long>(kvbench::kLook.count()));
        std::printf("%-34s %9s %7s %7s %7s %7s %9s %9s %7s %8s\n", "wall", "pictures", "p50", "p95", "p99",
                    "window", "first", "all", "MB", "threads");
        for (const WallKind& wall : kWalls) {
            Measure(programs, wall, seconds, folder);
        }
        MeasureTwoDisplays(programs, folder);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_delay: %s\n", error.what());
        status = 1;
    }
    std::filesystem::remove_all(folder);
    return status;
}
