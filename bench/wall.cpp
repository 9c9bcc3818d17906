// What walls of the whole program cost, beside decoding alone and beside other players, on a display of its
// own.
//
// bench_wall [REPEATS [SECONDS [KVMON KVRECORDER [FILE]]]]: the figures' file keeps the last run, to compare
// with.
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <stdexcept>
#include <string>
#include <thread>

#include "display.h"
#include "films.h"
#include "live_wall.h"
#include "paced_decode.h"
#include "spread.h"
#include "started_program.h"

namespace {

using kvbench::Display;
using kvbench::kStyleCustom;
using kvbench::kStyleFour;
using kvbench::ProcessMs;
using kvbench::Spread;
using kvbench::SpreadOf;
using kvbench::StartedProgram;
using kvbench::WallKind;
using kvtest::Coding;

constexpr WallKind kWalls[] = {
    {Coding::H264, 640, 480, 1'000'000, 2, 2, 391, 274, kStyleFour, 0},
    {Coding::H264, 640, 480, 1'000'000, 4, 4, 195, 137, kStyleCustom, 0},
    {Coding::H264, 1920, 1080, 4'000'000, 2, 2, 391, 274, kStyleFour, 0},
    {Coding::H264, 352, 240, 512'000, 6, 6, 130, 91, kStyleCustom, 4},
    {Coding::H264, 352, 240, 512'000, 6, 6, 130, 91, kStyleCustom, 4, 2},
    {Coding::Mjpeg, 640, 480, 0, 2, 2, 391, 274, kStyleFour, 0},
};
constexpr int kFilmSeconds = 2;
constexpr std::chrono::seconds kSettle{4};

// Milliseconds of processor for a picture that is sent, and pictures that a cell shows in a second.
struct Cost {
    double ms = 0;
    double shown = 0;
};

struct Plan {
    int repeats = 3;
    int seconds = 5;
    int wall = 0;
    kvbench::Programs programs;
    std::string figures = "build/bench_wall.txt";
};

void Sleep(std::chrono::nanoseconds time) {
    std::this_thread::sleep_for(time);
}

// One wall's films and the folder that the programs work in.
class Bench {
public:
    Bench(const Plan& plan, const WallKind& wall, const std::string& folder)
        : m_plan(plan), m_wall(wall), m_folder(folder), m_film(folder + "/film.mkv") {
        kvtest::CodingOptions options;
        options.frames = kFilmSeconds * kvbench::kPicturesPerSecond;
        options.bitrate = wall.bitrate;
        options.reordered = wall.reordered;
        m_units = kvtest::EncodeMovingPictures(wall.coding, wall.width, wall.height, options);
        const auto need = plan.seconds + 2 * static_cast<int>(kSettle.count()) + 10;
        kvbench::WriteFilm(m_film, wall.coding, wall.width, wall.height, m_units, need);
    }

    Cost Decode() const {
        double shown = 0;
        double used = 0;
        kvbench::DecodePaced(
            m_wall.coding, m_units, m_wall.Cells(), [&](const std::function<long()>& decoded) {
                Sleep(std::chrono::seconds(1));
                const long before = decoded();
                used = Used(::getpid());
                shown = static_cast<double>(decoded() - before) / m_plan.seconds / m_wall.Cells();
            });
        return {used, shown};
    }

    Cost Monitor(const Display& display) const {
        const kvbench::LiveWall live(m_plan.programs, m_wall, m_film, m_folder, display);
        Sleep(kSettle);
        const double used = Used(live.Monitor());
        return {used, ShownRate(display)};
    }

    // A compositor with a decoder for each stream, as its makers would put it.
    Cost Compositor(const std::string& program, const Display& display) const {
        std::vector<std::string> words{program, "-q", "compositor", "name=c", "background=black"};
        const auto place = [&](int i, const char* axis, int pixels) {
            words.push_back("sink_" + std::to_string(i) + "::" + axis + "=" + std::to_string(pixels));
        };
        for (int i = 0; i < m_wall.Cells(); ++i) {
            place(i, "xpos", i % m_wall.columns * m_wall.cellWidth);
            place(i, "ypos", i / m_wall.columns * m_wall.cellHeight);
            place(i, "width", m_wall.cellWidth);
            place(i, "height", m_wall.cellHeight);
        }
        words.insert(words.end(),
                     {"!", "video/x-raw,framerate=25/1", "!", "videoconvert", "!", "ximagesink"});
        for (int i = 0; i < m_wall.Cells(); ++i) {
            words.insert(words.end(),
                         {"filesrc", "location=" + m_film, "!", "matroskademux", "!", "h264parse", "!",
                          "avdec_h264", "max-threads=1", "!", "c.sink_" + std::to_string(i)});
        }
        return Player(words, display);
    }

    Cost Stack(const std::string& program, const Display& display) const {
        std::string graph;
        std::string layout;
        for (int i = 0; i < m_wall.Cells(); ++i) {
            graph += "[vid" + std::to_string(i + 1) + "]scale=" + std::to_string(m_wall.cellWidth) + ":" +
                     std::to_string(m_wall.cellHeight) + "[s" + std::to_string(i) + "];";
            layout += (i > 0 ? "|" : "") + std::to_string(i % m_wall.columns * m_wall.cellWidth) + "_" +
                      std::to_string(i / m_wall.columns * m_wall.cellHeight);
        }
        for (int i = 0; i < m_wall.Cells(); ++i) {
            graph += "[s" + std::to_string(i) + "]";
        }
        graph += "xstack=inputs=" + std::to_string(m_wall.Cells()) + ":layout=" + layout + "[vo]";
        std::vector<std::string> words{
            program,      "--no-config",         "--really-quiet",           "--vo=x11",
            "--hwdec=no", "--vd-lavc-threads=1", "--lavfi-complex=" + graph, m_film};
        for (int i = 1; i < m_wall.Cells(); ++i) {
            words.push_back("--external-file=" + m_film);
        }
        return Player(words, display);
    }

private:
    Cost Player(const std::vector<std::string>& words, const Display& display) const {
        const StartedProgram player(words, m_folder + "/player.log", {display.Variable()});
        Sleep(kSettle);
        const double used = Used(player.Process());
        return {used, ShownRate(display)};
    }

    double Used(pid_t process) const {
        const double before = ProcessMs(process);
        Sleep(std::chrono::seconds(m_plan.seconds));
        return (ProcessMs(process) - before) /
               (m_plan.seconds * kvbench::kPicturesPerSecond * m_wall.Cells());
    }

    // Where the wall is: what changes from one look to the next.
    static kvbench::Box FindWall(const Display& display) {
        const kvbench::Box all{0, 0, Display::kWidth, Display::kHeight};
        const auto before = display.See(all);
        Sleep(std::chrono::milliseconds(600));
        const auto after = display.See(all);
        int left = Display::kWidth;
        int right = 0;
        int top = Display::kHeight;
        int bottom = 0;
        for (int y = 0; y < Display::kHeight && before.size() == after.size() && !after.empty(); ++y) {
            for (int x = 0; x < Display::kWidth; ++x) {
                const auto at = static_cast<std::size_t>(y) * Display::kWidth + static_cast<std::size_t>(x);
                if (before[at] != after[at]) {
                    left = std::min(left, x);
                    right = std::max(right, x + 1);
                    top = std::min(top, y);
                    bottom = std::max(bottom, y + 1);
                }
            }
        }
        return {left, top, right - left, bottom - top};
    }

    // How many pictures a second each cell shows: a wall that drops them costs little. The row that is looked
    // at lies where the film's block moves.
    double ShownRate(const Display& display) const {
        const kvbench::Box wall = FindWall(display);
        if (wall.width < m_wall.cellWidth || wall.height < m_wall.cellHeight) {
            throw std::runtime_error("nothing moves on the display");
        }
        std::vector<kvbench::Box> rows;
        for (int i = 0; i < m_wall.Cells(); ++i) {
            const int height = wall.height / m_wall.rows;
            rows.push_back({wall.left + wall.width * (i % m_wall.columns) / m_wall.columns + 1,
                            wall.top + height * (i / m_wall.columns) + height / 2, m_wall.cellWidth / 2, 1});
        }
        constexpr std::chrono::seconds kTime{2};
        std::vector<std::vector<std::uint32_t>> last(rows.size());
        int changes = 0;
        const auto begin = std::chrono::steady_clock::now();
        for (auto next = begin; next < begin + kTime; next += std::chrono::milliseconds(8)) {
            std::this_thread::sleep_until(next);
            auto seen = display.See(rows);
            for (std::size_t i = 0; i < rows.size(); ++i) {
                changes += !last[i].empty() && last[i] != seen[i] ? 1 : 0;
            }
            last = std::move(seen);
        }
        return changes / static_cast<double>(kTime.count()) / m_wall.Cells();
    }

    const Plan& m_plan;
    const WallKind& m_wall;
    const std::string m_folder;
    const std::string m_film;
    std::vector<kvtest::CodedUnit> m_units;
};

std::string ProcessorName() {
    std::ifstream file("/proc/cpuinfo");
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with("model name")) {
            return line.substr(line.find(':') + 2);
        }
    }
    return "unknown processor";
}

// The last run's figures by wall and program.
std::map<std::string, double> ReadFigures(const std::string& file) {
    std::map<std::string, double> figures;
    std::ifstream lines(file);
    for (std::string line; std::getline(lines, line);) {
        if (const auto tab = line.rfind('\t'); tab != std::string::npos) {
            figures[line.substr(0, tab)] = std::strtod(line.c_str() + tab + 1, nullptr);
        }
    }
    return figures;
}

constexpr char kFloor[] = "paced decode";
constexpr char kOurs[] = "kvmon";

using Way = std::pair<std::string, std::function<Cost()>>;

void MeasureWall(const Plan& plan, const WallKind& wall, const std::string& folder, const Display& display,
                 std::map<std::string, double>& figures) {
    const Bench bench(plan, wall, folder);
    const std::string launcher = kvbench::FindProgram("gst-launch-1.0");
    const std::string player = kvbench::FindProgram("mpv");
    std::vector<Way> ways{{kFloor, [&] { return bench.Decode(); }},
                          {kOurs, [&] { return bench.Monitor(display); }}};
    if (!launcher.empty() && wall.coding == Coding::H264) {
        ways.emplace_back("GStreamer", [&] { return bench.Compositor(launcher, display); });
    }
    if (!player.empty() && wall.coding == Coding::H264 && wall.Cells() == 4) {
        ways.emplace_back("mpv", [&] { return bench.Stack(player, display); });
    }
    // By turns: others use the machine, too.
    std::map<std::string, std::vector<double>> all;
    std::map<std::string, std::vector<double>> shown;
    for (int i = 0; i < plan.repeats; ++i) {
        for (const auto& [name, measure] : ways) {
            try {
                const Cost cost = measure();
                all[name].push_back(cost.ms);
                shown[name].push_back(cost.shown);
            } catch (const std::exception& error) {
                // Another player may lack a part; nothing is told of it then.
                if (name == kFloor || name == kOurs) {
                    throw;
                }
                std::fprintf(stderr, "bench_wall: %s\n", error.what());
            }
        }
    }
    const double floor = SpreadOf(all[kFloor]).middle;
    for (const auto& [name, measure] : ways) {
        if (all[name].empty()) {
            continue;
        }
        const Spread spread = SpreadOf(all[name]);
        const std::string key = wall.Name() + "\t" + name;
        const auto last = figures.find(key);
        std::printf("%-36s %-14s %7.2f %7.2f %7.2f %7.2f %7.1f", wall.Name().c_str(), name.c_str(),
                    spread.middle, spread.least, spread.most, spread.middle / floor,
                    SpreadOf(shown[name]).middle);
        if (last != figures.end()) {
            std::printf(" %9.2f", last->second);
        }
        std::printf("\n");
        std::fflush(stdout);
        figures[key] = spread.middle;
    }
}

void Measure(const Plan& plan) {
    utsname system{};
    ::uname(&system);
    const char* const commit = std::getenv("KV_COMMIT");
    std::printf("%s, %ld processors, Linux %s%s%s\n", ProcessorName().c_str(),
                ::sysconf(_SC_NPROCESSORS_ONLN), system.release, commit != nullptr ? ", commit " : "",
                commit != nullptr ? commit : "");
    std::printf(
        "CPU ms for a picture, median of %d, least, most; 25 pictures a second in each cell for %d s\n\n",
        plan.repeats, plan.seconds);
    std::printf("%-36s %-14s %7s %7s %7s %7s %7s %9s\n", "wall", "", "median", "least", "most", "x floor",
                "shown", "last run");
    const auto folder = std::filesystem::temp_directory_path() / ("bench_wall." + std::to_string(::getpid()));
    std::filesystem::create_directory(folder);
    auto figures = ReadFigures(plan.figures);
    try {
        const Display display(folder);
        for (std::size_t i = 0; i < std::size(kWalls); ++i) {
            if (plan.wall == 0 || plan.wall == static_cast<int>(i) + 1) {
                MeasureWall(plan, kWalls[i], folder, display, figures);
            }
        }
    } catch (...) {
        std::filesystem::remove_all(folder);
        throw;
    }
    std::filesystem::remove_all(folder);
    std::ofstream file(plan.figures);
    for (const auto& [key, figure] : figures) {
        file << key << '\t' << figure << '\n';
    }
}

}  // namespace

int main(int argc, char** argv) {
    Plan plan;
    plan.repeats = argc > 1 ? std::atoi(argv[1]) : plan.repeats;
    plan.seconds = argc > 2 ? std::atoi(argv[2]) : plan.seconds;
    plan.wall = argc > 3 ? std::atoi(argv[3]) : plan.wall;
    plan.programs.monitor = argc > 4 ? argv[4] : plan.programs.monitor;
    plan.programs.recorder = argc > 5 ? argv[5] : plan.programs.recorder;
    plan.figures = argc > 6 ? argv[6] : plan.figures;
    if (plan.repeats < 1 || plan.seconds < 1 || plan.wall < 0 ||
        plan.wall > static_cast<int>(std::size(kWalls))) {
        std::fprintf(stderr, "bench_wall [REPEATS [SECONDS [WALL [KVMON KVRECORDER FILE]]]]\n");
        return 2;
    }
    try {
        Measure(plan);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_wall: %s\n", error.what());
        return 1;
    }
    return 0;
}
