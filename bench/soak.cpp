// A wall watched for long.
//   soak MINUTES RECORDER CONFIG
//   soak --night MINUTES RECORDER
//   soak --hostile MINUTES|SECONDSs RECORDER CONFIG HOSTILE [--seed N] [--bad SECONDS] [--moods
//   "WORDS,WORDS>WORDS"]
// with the recorder's program, a configuration that knows admin:admin, and the program that spoils what the
// recorder says.
#include <QtCore/QString>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <stdexcept>
#include <vector>

#include "platform/heap_limits.h"
#include "soaks.h"
#include "support/qt_ui_watchdog.h"

namespace {

constexpr char kUsage[] =
    "soak MINUTES RECORDER CONFIG\n"
    "soak --night MINUTES RECORDER\n"
    "soak --hostile MINUTES RECORDER CONFIG HOSTILE [--seed N] [--bad SECONDS] [--moods "
    "\"WORDS,WORDS>WORDS\"]\n";

struct Wanted {
    bool hostile = false;
    bool night = false;
    std::vector<std::string> words;
    kvbench::HostilePlan plan;
};

Wanted Read(int argc, char** argv) {
    Wanted wanted;
    wanted.plan.seed = static_cast<std::uint64_t>(std::time(nullptr));
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        if (word == "--hostile") {
            wanted.hostile = true;
        } else if (word == "--night") {
            wanted.night = true;
        } else if (word == "--seed" && i + 1 < argc) {
            wanted.plan.seed = std::strtoull(argv[++i], nullptr, 10);
        } else if (word == "--bad" && i + 1 < argc) {
            wanted.plan.badSeconds = std::atoi(argv[++i]);
        } else if (word == "--moods" && i + 1 < argc) {
            wanted.plan.moods = argv[++i];
        } else {
            wanted.words.push_back(word);
        }
    }
    return wanted;
}

// "30" is minutes, "20s" seconds.
int Seconds(const std::string& text) {
    return std::atoi(text.c_str()) * (text.ends_with('s') ? 1 : 60);
}

}  // namespace

int main(int argc, char** argv) {
    kvmon::KeepHeapsFew();  // as the program does
    Wanted wanted = Read(argc, argv);
    const std::size_t words = wanted.hostile ? 4 : wanted.night ? 2 : 3;
    const int seconds = wanted.words.size() == words ? Seconds(wanted.words[0]) : 0;
    wanted.plan.seconds = seconds;
    // The others count minutes.
    if (seconds < (wanted.hostile ? 1 : 60) || wanted.plan.badSeconds < 1) {
        std::fputs(kUsage, stderr);
        return 2;
    }
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    if (!qEnvironmentVariableIsSet("SDL_AUDIODRIVER")) {
        qputenv("SDL_AUDIODRIVER", "dummy");
    }
    std::signal(SIGPIPE, SIG_IGN);
    kvtest::WatchedApplication app(argc, argv);
    try {
        if (wanted.night) {
            return kvbench::SoakNight(wanted.words[1], seconds / 60) ? 0 : 1;
        }
        const kvbench::SoakPrograms programs{wanted.words[1], wanted.words[2],
                                             wanted.hostile ? wanted.words[3] : ""};
        const bool good = wanted.hostile ? kvbench::SoakHostile(programs, wanted.plan)
                                         : kvbench::SoakSteadily(programs, seconds / 60);
        return good ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "soak: %s\n", error.what());
        return 1;
    }
}
