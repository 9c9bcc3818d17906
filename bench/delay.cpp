// How long a picture takes from the computer's network to the display, how soon the first one is there, what
// a wall holds, and what it costs while nobody can see it. The whole program, on a display of its own.
//
// bench_delay [REPEATS [SECONDS [KVMON KVRECORDER]]]
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iterator>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "films.h"
#include "live_wall.h"
#include "numbered_pictures.h"
#include "record_proxy.h"
#include "spread.h"

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

// Those that a picture goes through.
const std::set<std::string> kChannelThreads{"kv-video", "kv-decode"};

struct Plan {
    int repeats = 5;
    int seconds = 4;
    kvbench::Programs programs;
};

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

// What one measure gives each time.
class Row {
public:
    void Add(double value) { m_values.push_back(value); }
    std::string Text(int decimals) const { return kvbench::SpreadOf(m_values).Text(decimals); }

private:
    std::vector<double> m_values;
};

double PartOf(const std::vector<double>& sorted, double share) {
    return sorted[static_cast<std::size_t>(share * static_cast<double>(sorted.size() - 1))];
}

// One wall, with a proxy before its recorder that notes when records go to the program.
struct NotedWall {
    NotedWall(const Plan& plan, const WallKind& wall, const kvbench::NumberedFilm& film,
              const std::string& folder, const Display& display)
        : live(plan.programs, wall, film.File(), folder, display, [&](int port) {
              proxy.emplace(
                  port, [&film](std::span<const std::uint8_t> payload) { return film.NumberOf(payload); });
              return proxy->Port();
          }) {}

    std::optional<RecordProxy> proxy;
    const LiveWall live;
};

void PrintHolding(pid_t process) {
    const kvbench::Holding holding = kvbench::Look(process);
    std::printf("    holds %.1f MB, %.1f of them its own, and %d threads\n", holding.megabytes,
                holding.ownMegabytes, holding.threads);
}

// How long pictures take, how often they wake a thread, what the program holds and what it costs unseen.
// Gives the places of the pictures.
std::vector<Box> MeasureLife(const Plan& plan, const WallKind& wall, const kvbench::NumberedFilm& film,
                             const std::string& folder) {
    Display display(folder);
    const NotedWall noted(plan, wall, film, folder, display);
    const pid_t process = noted.live.Monitor();
    std::this_thread::sleep_for(kSettle);
    const std::vector<Box> pictures = kvbench::FindPictures(display, wall.Cells());
    const Numbers numbers(display, pictures);
    Row middle;
    Row most;
    Row nearlyAll;
    Row wakeUps;
    for (int i = 0; i < plan.repeats; ++i) {
        const long before = kvbench::Sleeps(process, kChannelThreads);
        const auto delays = Delays(numbers, *noted.proxy, plan.seconds);
        wakeUps.Add(static_cast<double>(kvbench::Sleeps(process, kChannelThreads) - before) /
                    (plan.seconds * kvbench::kPicturesPerSecond * wall.Cells()));
        middle.Add(PartOf(delays, 0.5));
        most.Add(PartOf(delays, 0.95));
        nearlyAll.Add(PartOf(delays, 0.99));
    }
    std::printf("%s\n    delay, ms: p50 %s, p95 %s, p99 %s; wake-ups a picture %s\n", wall.Name().c_str(),
                middle.Text(1).c_str(), most.Text(1).c_str(), nearlyAll.Text(1).c_str(),
                wakeUps.Text(2).c_str());
    PrintHolding(process);
    Row seen;
    Row hidden;
    Row covered;
    Row back;
    Row uncovered;
    for (int i = 0; i < plan.repeats; ++i) {
        const Unseen unseen = Leave(display, numbers, *noted.proxy, process, wall.Cells());
        seen.Add(unseen.seen);
        hidden.Add(unseen.hidden);
        covered.Add(unseen.covered);
        back.Add(unseen.backMs);
        uncovered.Add(unseen.uncoveredMs);
    }
    std::printf(
        "    CPU ms a second for a cell: seen %s, hidden %s, covered %s\n    live again, ms: shown %s, "
        "uncovered %s\n",
        seen.Text(1).c_str(), hidden.Text(1).c_str(), covered.Text(1).c_str(), back.Text(0).c_str(),
        uncovered.Text(0).c_str());
    std::fflush(stdout);
    return pictures;
}

void Measure(const Plan& plan, const WallKind& wall, const std::string& folder) {
    const kvbench::NumberedFilm film(wall, folder);
    const std::vector<Box> pictures = MeasureLife(plan, wall, film, folder);
    Row window;
    Row first;
    Row all;
    for (int i = 0; i < plan.repeats; ++i) {
        const Display display(folder);
        std::int64_t began = 0;
        const LiveWall live(plan.programs, wall, film.File(), folder, display, [&](int port) {
            began = SteadyNs();
            return port;
        });
        const StartTimes start = Start(display, Numbers(display, pictures), began);
        window.Add(start.windowMs);
        first.Add(start.firstMs);
        all.Add(start.allMs);
    }
    std::printf("    start, ms: window %s, first picture %s, last cell's %s\n", window.Text(0).c_str(),
                first.Text(0).c_str(), all.Text(0).c_str());
    std::fflush(stdout);
}

// The largest wall there is: 42 cells on each of two displays, the second one by its key.
void MeasureTwoDisplays(const Plan& plan, const std::string& folder) {
    constexpr std::uint32_t kKeyD = 0x64;
    constexpr int kCells = 84;
    WallKind wall = kWalls[std::size(kWalls) - 1];
    wall.channels = kCells;
    const kvbench::NumberedFilm film(wall, folder);
    Display display(folder, Display::Monitors::Two);
    const LiveWall live(plan.programs, wall, film.File(), folder, display);
    std::this_thread::sleep_for(kSettle);
    display.PressKey(kKeyD);
    std::this_thread::sleep_for(2 * kSettle);
    const Box second{Display::kWidth, 0, Display::kWidth, Display::kHeight};
    const auto before = display.See(second);
    std::this_thread::sleep_for(std::chrono::seconds(1));
    if (before == display.See(second)) {
        throw std::runtime_error("nothing moves on the second display");
    }
    std::printf("84 x 352x240 on two displays\n");
    PrintHolding(live.Monitor());
    Row seen;
    for (int i = 0; i < plan.repeats; ++i) {
        seen.Add(CostOf(live.Monitor(), kCells));
    }
    std::printf("    CPU ms a second for a cell: seen %s\n", seen.Text(1).c_str());
}

}  // namespace

int main(int argc, char** argv) {
    Plan plan;
    plan.repeats = argc > 1 ? std::atoi(argv[1]) : plan.repeats;
    plan.seconds = argc > 2 ? std::atoi(argv[2]) : plan.seconds;
    plan.programs.monitor = argc > 3 ? argv[3] : plan.programs.monitor;
    plan.programs.recorder = argc > 4 ? argv[4] : plan.programs.recorder;
    if (plan.repeats < 1 || plan.seconds < 1) {
        std::fprintf(stderr, "bench_delay [REPEATS [SECONDS [KVMON KVRECORDER]]]\n");
        return 2;
    }
    const auto folder =
        std::filesystem::temp_directory_path() / ("bench_delay." + std::to_string(::getpid()));
    int status = 0;
    try {
        std::filesystem::create_directory(folder);
        std::printf(
            "Medians of %d (least to most). The delay is that from a record's last byte to the display, "
            "which "
            "is looked at every %lld ms.\n\n",
            plan.repeats, static_cast<long long>(kvbench::kLook.count()));
        for (const WallKind& wall : kWalls) {
            Measure(plan, wall, folder);
        }
        MeasureTwoDisplays(plan, folder);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_delay: %s\n", error.what());
        status = 1;
    }
    std::filesystem::remove_all(folder);
    return status;
}
