// A guard's wall left alone: 16 cells, full screen, two views in sequence. Nothing grows once all has been
// shown a few times, and the user interface's thread is never kept from its user.
#include <unistd.h>

#include <QtCore/QTimer>
#include <QtWidgets/QApplication>
#include <algorithm>
#include <cstdio>
#include <fstream>
#include <vector>

#include "channel/cell/video_wnd.h"
#include "soaks.h"
#include "support/qt_ui_watchdog.h"
#include "support/temp_folder.h"

namespace kvbench {

using namespace kvmon;

namespace {

constexpr int kChannels = 32;
constexpr std::uint32_t kSixteenCells = 0;  // of the custom grids
constexpr int kCells = 16;
constexpr int kViewSeconds = 20;
constexpr int kPauseMs = 1000;
constexpr int kSampleMs = 60'000;
// By then each view has been opened many times.
constexpr std::size_t kSettledMinutes = 10;
constexpr double kGrowthMb = 4;
constexpr double kBlockedMs = 50;

// Small pictures, so that the wall can run beside other work.
std::string WriteConfig(const kvtest::TempFolder& folder) {
    std::string path = folder.File("wall.toml");
    std::ofstream file(path);
    file << "[[users]]\nname = \"admin\"\npassword = \"admin\"\n";
    for (int n = 1; n <= kChannels; ++n) {
        file << "[[channels]]\nname = \"Camera " << n
             << "\"\nstreams = [{ codec = \"h264\", width = 352, height = 240, fps = 5 }]\n";
    }
    file << "# end\n";
    return path;
}

class Night {
public:
    explicit Night(SoakWall& wall) : m_wall(wall) {}

    // True if nothing went wrong.
    bool Run(int minutes) {
        Arrange();
        QTimer sample;
        QObject::connect(&sample, &QTimer::timeout, [this, minutes] {
            Sample();
            if (static_cast<int>(m_samples.size()) == minutes) {
                // Quit would ask the full screen to close, which it takes for a leave.
                QCoreApplication::exit(0);
            }
        });
        std::printf("%4s | %9s %9s %7s %5s | %8s %6s | %8s %8s\n", "min", "client MB", "in use MB", "threads",
                    "files", "pictures", "silent", "wait ms", "work ms");
        std::fflush(stdout);
        kvtest::WatchedApplication::Instance().ForgetLongest();
        sample.start(kSampleMs);
        QApplication::exec();
        return !m_failed && Holds();
    }

private:
    // Two views of 16 cells, with other cameras each, and a sequence of the two, as one leaves it at night.
    void Arrange() {
        ConsoleParts& parts = m_wall.Parts();
        Pass(kPauseMs);  // until the wall has taken its first style
        parts.styles.SelectCustomStyle(kSixteenCells);
        m_wall.Console().Press(kCtlFullScreen);
        Pass(kPauseMs);
        parts.views.Save("Front");
        parts.view.TurnPage(1);
        Pass(kPauseMs);
        parts.views.Save("Back");
        NamedView night;
        night.name = "Night";
        night.steps = {{"Front", kViewSeconds}, {"Back", kViewSeconds}};
        parts.views.List().Put(night);
        const bool bOpened = parts.views.Open("Night");
        Pass(kPauseMs);
        if (!bOpened || !parts.screens.IsFullScreen() || CountShown() != kCells) {
            throw std::runtime_error("the wall cannot be arranged: " + std::to_string(CountShown()) +
                                     " cells" + (parts.screens.IsFullScreen() ? "" : ", no full screen") +
                                     (bOpened ? "" : ", no views"));
        }
    }

    int CountShown() {
        CellPool& cells = m_wall.Parts().cells;
        int shown = 0;
        for (int n = 0; n < cells.GetCount(); ++n) {
            shown += cells.Get(n)->GetCamera() ? 1 : 0;
        }
        return shown;
    }

    void Sample() {
        kvtest::WatchedApplication& app = kvtest::WatchedApplication::Instance();
        const auto [pictures, silent] = m_wall.LookAtChannels();
        m_samples.push_back(Look(getpid()));
        const Holding& now = m_samples.back();
        std::printf("%4zu | %9.1f %9.1f %7d %5d | %8llu %6d | %8.1f %8.1f\n", m_samples.size(), now.megabytes,
                    InUse(), now.threads, now.descriptors, static_cast<unsigned long long>(pictures), silent,
                    app.LongestWaitMs(), app.LongestWorkMs());
        if (const double longest = std::max(app.LongestWaitMs(), app.LongestWorkMs()); longest > kBlockedMs) {
            std::printf(
                "blocked for %.1f ms: %s\n", longest,
                (app.LongestWaitMs() > app.LongestWorkMs() ? app.LongestWait() : app.LongestWork()).c_str());
            m_failed = true;
        }
        m_failed = m_failed || silent > 0;
        app.ForgetLongest();
        std::fflush(stdout);
    }

    bool Holds() const {
        if (m_samples.size() <= kSettledMinutes) {
            return true;
        }
        Holding most;
        for (std::size_t i = 0; i < kSettledMinutes; ++i) {
            most.megabytes = std::max(most.megabytes, m_samples[i].megabytes);
            most.threads = std::max(most.threads, m_samples[i].threads);
            most.descriptors = std::max(most.descriptors, m_samples[i].descriptors);
        }
        const Holding& last = m_samples.back();
        const bool bHeld = last.megabytes <= most.megabytes + kGrowthMb && last.threads <= most.threads &&
                           last.descriptors <= most.descriptors;
        std::printf("up to minute %zu: %.1f MB, %d threads, %d files; now %.1f MB, %d, %d: %s\n",
                    kSettledMinutes, most.megabytes, most.threads, most.descriptors, last.megabytes,
                    last.threads, last.descriptors, bHeld ? "holds" : "GROWS");
        return bHeld;
    }

    SoakWall& m_wall;
    std::vector<Holding> m_samples;
    bool m_failed = false;
};

}  // namespace

bool SoakNight(const std::string& program, int minutes) {
    const kvtest::TempFolder folder;
    const ChildProcess recorder({program, "--listen", "127.0.0.1:0", "--config", WriteConfig(folder)});
    SoakWall wall(recorder.Port());
    return Night(wall).Run(minutes);
}

}  // namespace kvbench
