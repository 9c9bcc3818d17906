// How long it takes from a key that changes page or arrangement to the pictures. The whole program, on a
// display of its own, with 16 channels.
//
// bench_switching [REPEATS [KVMON KVRECORDER]]
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <optional>
#include <thread>
#include <vector>

#include "live_wall.h"
#include "numbered_pictures.h"
#include "record_proxy.h"
#include "spread.h"

namespace {

using kvbench::Display;
using kvbench::Live;
using kvbench::Numbers;
using kvbench::RecordProxy;

constexpr kvbench::WallKind kWall{kvtest::Coding::H264, 640, 480, 1'000'000, 2, 2, 391, 274,
                                  kvbench::kStyleFour,  0,   0,   16};
constexpr int kPages = 4;
constexpr std::chrono::seconds kSettle{4};
constexpr std::chrono::seconds kLimit{20};
constexpr std::uint32_t kKeyFour = '3';
constexpr std::uint32_t kKeyNine = '6';
constexpr std::uint32_t kKeyPageUp = 0xff55;
constexpr std::uint32_t kKeyPageDown = 0xff56;

class Row {
public:
    explicit Row(const char* name) : m_name(name) {}

    void Add(const Live& live) {
        m_first.push_back(live.firstMs);
        m_all.push_back(live.allMs);
    }
    void Print() const {
        std::printf("%-34s %8zu", m_name, m_all.size());
        std::printf("  %-22s  %s\n", kvbench::SpreadOf(m_first).Text(0).c_str(),
                    kvbench::SpreadOf(m_all).Text(0).c_str());
    }

private:
    const char* m_name;
    std::vector<double> m_first;
    std::vector<double> m_all;
};

void Measure(const kvbench::Programs& programs, int repeats, const std::string& folder) {
    const kvbench::NumberedFilm film(kWall, folder);
    Display display(folder);
    std::optional<RecordProxy> proxy;
    const kvbench::LiveWall live(programs, kWall, film.File(), folder, display, [&](int port) {
        proxy.emplace(port,
                      [&film](std::span<const std::uint8_t> payload) { return film.NumberOf(payload); });
        return proxy->Port();
    });
    const auto press = [&](std::uint32_t key, const Numbers& numbers, int channel) {
        // Not always at the same moment of the stream's key interval.
        static int presses = 0;
        std::this_thread::sleep_for(std::chrono::milliseconds(1500 + 370 * (++presses % 5)));
        display.PressKey(key);
        return kvbench::WaitUntilLive(numbers, *proxy, channel, kLimit);
    };
    std::this_thread::sleep_for(kSettle);
    const Numbers four(display, kvbench::FindPictures(display, 4));
    Row pages("to another page of 4");
    for (int i = 0; i < repeats; ++i) {
        for (int page = 1; page < kPages; ++page) {
            pages.Add(press(kKeyPageDown, four, 4 * page));
        }
        for (int page = kPages - 2; page >= 0; --page) {
            pages.Add(press(kKeyPageUp, four, 4 * page));
        }
    }
    display.PressKey(kKeyNine);
    std::this_thread::sleep_for(kSettle);
    const Numbers nine(display, kvbench::FindPictures(display, 9));
    Row fewer("from 9 channels to 4");
    Row more("from 4 channels to 9");
    for (int i = 0; i < 2 * repeats; ++i) {
        fewer.Add(press(kKeyFour, four, 0));
        more.Add(press(kKeyNine, nine, 0));
    }
    for (const Row* const row : {&pages, &fewer, &more}) {
        row->Print();
    }
}

}  // namespace

int main(int argc, char** argv) {
    const int repeats = argc > 1 ? std::atoi(argv[1]) : 3;
    kvbench::Programs programs;
    programs.monitor = argc > 2 ? argv[2] : programs.monitor;
    programs.recorder = argc > 3 ? argv[3] : programs.recorder;
    if (repeats < 1) {
        std::fprintf(stderr, "bench_switching [REPEATS [KVMON KVRECORDER]]\n");
        return 2;
    }
    const auto folder =
        std::filesystem::temp_directory_path() / ("bench_switching." + std::to_string(::getpid()));
    int status = 0;
    try {
        std::filesystem::create_directory(folder);
        std::printf("ms from the key to a picture of now, median (least to most)\n\n%-34s %8s  %-22s  %s\n",
                    "switch", "times", "first cell", "all cells");
        Measure(programs, repeats, folder);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_switching: %s\n", error.what());
        status = 1;
    }
    std::filesystem::remove_all(folder);
    return status;
}
