// A wall before a recorder that lies, and is well again between its bad times and in the end.
#include <malloc.h>
#include <unistd.h>

#include <QtCore/QElapsedTimer>
#include <QtGui/QImage>
#include <QtWidgets/QApplication>
#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <sstream>
#include <vector>

#include "channel/base/cam_commands.h"
#include "channel/camera/base_camera.h"
#include "channel/cell/video_wnd.h"
#include "channel/picture/channel_picture.h"
#include "console/events/event_window.h"
#include "console/site/site_windows.h"
#include "soaks.h"

namespace kvbench {

using namespace kvmon;

namespace {

// How long it may take until all channels are live behind a bad time: a reply that stands still is waited for
// 30 s, the longest pause before a try is 15 s, a key frame comes after 6 s.
constexpr int kLiveMs = 90'000;
constexpr int kRoundMs = 500;
constexpr int kPaintMs = 1'000;
constexpr std::uint64_t kFirstLies = 1000;
constexpr double kGrowthMb = 4;

std::vector<std::string> Split(const std::string& text, char at) {
    std::vector<std::string> moods;
    std::istringstream rest(text);
    for (std::string mood; std::getline(rest, mood, at);) {
        moods.push_back(mood);
    }
    return moods;
}

class Hostile {
public:
    Hostile(SoakWall& wall, const ChildProcess& hostile, const HostilePlan& plan)
        : m_wall(wall),
          m_hostile(hostile),
          m_plan(plan),
          m_random(plan.seed),
          m_moods(Split(plan.moods, ',')) {}

    bool Run() {
        // What is made at its first use is no growth.
        Act(kEventsOpen);
        Act(kMapOpen);
        if (!BeWell()) {
            return false;
        }
        const Holding before = Settled(0, 0);
        QElapsedTimer time;
        time.start();
        std::printf("%4s %-28s | %8s %9s %9s %7s %5s | %s\n", "turn", "mood", "lies", "client MB",
                    "in use MB", "threads", "files", "live after");
        double megabytes = 0;
        bool bGood = true;
        for (int turn = 1; bGood && (turn == 1 || time.elapsed() < m_plan.seconds * 1000); ++turn) {
            const std::string mood = NextMood(turn);
            for (const std::string& part : Split(mood, '>')) {
                m_hostile.Tell(part);
                BeBad(m_plan.badSeconds * 1000);
            }
            const bool bWaits = !m_moods.empty() || m_random() % 3 == 0;
            bGood = !bWaits || BeWell();
            const Holding holding = Look(getpid());
            std::printf("%4d %-28s | %8" PRIu64 " %9.1f %9.1f %7d %5d | %s\n", turn, mood.c_str(), Lies(),
                        holding.megabytes, InUse(), holding.threads, holding.descriptors,
                        bWaits ? std::to_string(m_liveAfterMs / 1000.0).substr(0, 4).c_str() : "");
            std::fflush(stdout);
            if (megabytes == 0 && bWaits && Lies() >= kFirstLies) {
                megabytes = TrimmedMb();
            }
        }
        bGood = bGood && BeWell();
        return bGood && IsAsBefore(before, megabytes);
    }

private:
    enum Action {
        kCommand,
        kStyle,
        kSound,
        kRestart,
        kPage,
        kEventsOpen,
        kEventsClose,
        kMapOpen,
        kBoxesClose,
        kActions
    };

    std::string NextMood(int turn) {
        static constexpr const char* kMoods[] = {"all",         "streams",
                                                 "cut",         "replace",
                                                 "notify",      "streams notify",
                                                 "cut replace", "cut notify",
                                                 "all",         "streams>cut>replace"};
        return !m_moods.empty() ? m_moods[static_cast<std::size_t>(turn - 1) % m_moods.size()]
                                : kMoods[m_random() % std::size(kMoods)];
    }
    std::uint64_t Lies() const { return std::strtoull(m_hostile.Ask("lies").c_str(), nullptr, 10); }

    std::shared_ptr<CBaseCamera> AnyCamera() {
        const auto count = static_cast<std::size_t>(std::max(m_wall.Parts().cameras.GetCount(), 1));
        return m_wall.Parts().cameras.GetCameraByChannel(static_cast<int>(m_random() % count));
    }

    // What a user might do meanwhile.
    void Act(Action action) {
        constexpr std::uint32_t kCommands[] = {
            kCmdUp,          kCmdHome,        kCmdZoomIn,          kCmdPresetFirst,
            kCmdReadPresets, kCmdPresetIndex, kCmdManualRecording, kCmdReadCameraInfo};
        constexpr ViewStyle kStyles[] = {VIEW_STYLE_SINGLE_1CH, VIEW_STYLE_4CH, VIEW_STYLE_9CH,
                                         VIEW_STYLE_9CH};
        ConsoleParts& parts = m_wall.Parts();
        const auto camera = AnyCamera();
        switch (action) {
            case kCommand:
                if (camera) {
                    camera->AddCamCmd(kCommands[m_random() % std::size(kCommands)], 0);
                }
                break;
            case kStyle:
                m_wall.Console().Press(StyleButtonId(kStyles[m_random() % std::size(kStyles)]));
                break;
            case kSound:
                m_wall.Console().Press(kCtlAudio);
                break;
            case kRestart:
                if (camera) {
                    camera->RestartPlaying();
                }
                break;
            case kPage:
                parts.view.TurnPage(1);
                break;
            case kEventsOpen:
                parts.events.OpenWindow();
                break;
            case kEventsClose:
                if (auto* const window = parts.events.Window()) {
                    window->close();
                }
                break;
            case kMapOpen:
                parts.windows.OpenEMap();
                break;
            case kBoxesClose:
            case kActions:
                for (int i = 0; QApplication::activeModalWidget() != nullptr && i < 20; ++i) {
                    QApplication::activeModalWidget()->close();
                }
                break;
        }
    }

    void BeBad(int ms) {
        QElapsedTimer time;
        for (time.start(); time.elapsed() < ms;) {
            Act(static_cast<Action>(m_random() % kActions));
            Pass(kRoundMs);
        }
    }

    int CountLive() {
        int live = 0;
        for (int n = 0; n < m_wall.Parts().cameras.GetCount(); ++n) {
            const auto camera = m_wall.Parts().cameras.GetCameraByChannel(n);
            live += camera && camera->IsLive() && camera->GetVideoWnd() ? 1 : 0;
        }
        return live;
    }

    // All is well again: the channels are there, each in its cell with pictures that come, for longer than
    // one stands for live.
    bool BeWell() {
        m_hostile.Tell("good");
        Act(kBoxesClose);
        Act(kEventsClose);
        m_wall.ShowNine();
        QElapsedTimer time;
        QElapsedTimer live;
        time.start();
        live.start();
        while (time.elapsed() < kLiveMs) {
            Pass(kRoundMs);
            if (m_wall.Parts().cameras.GetCount() != m_channels || CountLive() != m_channels) {
                live.restart();
            } else if (live.elapsed() > static_cast<qint64>(kStillMs) + 2 * kRoundMs) {
                m_liveAfterMs = static_cast<double>(time.elapsed() - live.elapsed());
                return IsPainted();
            }
        }
        TellChannels();
        return false;
    }

    // What is drawn in the middle of each cell is another picture after a while.
    bool IsPainted() {
        const QImage before = Screen();
        Pass(2 * kPaintMs);
        for (int i = 0; i < 3; ++i) {
            int still = 0;
            const QImage now = Screen();
            for (int n = 0; n < m_wall.Parts().cells.GetCount(); ++n) {
                const CVideoWnd* const cell = m_wall.Parts().cells.Get(n);
                if (cell->GetCamera()) {
                    const QRect rect(cell->mapTo(&m_wall.Console(), QPoint(0, 0)), cell->size());
                    const QRect middle = rect.adjusted(rect.width() / 4, rect.height() / 4, -rect.width() / 4,
                                                       -rect.height() / 4);
                    still += now.copy(middle) == before.copy(middle) ? 1 : 0;
                }
            }
            if (still == 0) {
                return true;
            }
            std::printf("%d cells show what they did\n", still);
            Pass(kPaintMs);
        }
        return false;
    }
    QImage Screen() { return m_wall.Console().grab().toImage(); }

    void TellChannels() {
        std::printf("%d of %d channels live after %d s:\n", CountLive(), m_channels, kLiveMs / 1000);
        for (int n = 0; n < m_wall.Parts().cameras.GetCount(); ++n) {
            const auto camera = m_wall.Parts().cameras.GetCameraByChannel(n);
            const ChannelStatistics counts = camera ? camera->GetStatistics() : ChannelStatistics();
            std::printf(
                "  channel %d: %s cell %d, runs %d, live %d, camera %d, received %llu, decoded %llu, failed "
                "%llu, shown %llu, stream of %zu\n",
                n, camera ? camera->GetCameraName().c_str() : "none", camera && camera->GetVideoWnd(),
                camera && camera->IsVideoRunning(), camera && camera->IsLive(),
                camera && camera->IsStreamFromCamera(), static_cast<unsigned long long>(counts.received),
                static_cast<unsigned long long>(counts.decoded),
                static_cast<unsigned long long>(counts.failed), static_cast<unsigned long long>(counts.shown),
                camera ? camera->GetStreamProfiles().size() : 0);
        }
        std::fflush(stdout);
    }

    // What the allocator keeps for later is not held, and what is on its way at one moment is there by
    // chance: the least of a while.
    static double TrimmedMb() {
        double least = 0;
        for (int i = 0; i < 40; ++i) {
            malloc_trim(0);
            const double now = Look(getpid()).megabytes;
            least = i == 0 ? now : std::min(least, now);
            Pass(kRoundMs);
        }
        return least;
    }

    // What is held when threads that were told to end have ended.
    static Holding Settled(int threads, int descriptors) {
        Holding holding;
        int same = 0;
        for (int i = 0; i < 60 && same < 10; ++i) {
            Pass(kRoundMs);
            const Holding now = Look(getpid());
            const bool bSame = now.threads == holding.threads && now.descriptors == holding.descriptors;
            same = bSame && (threads == 0 || (now.threads <= threads && now.descriptors <= descriptors))
                       ? same + 1
                       : 0;
            holding = now;
        }
        return holding;
    }

    static bool IsAsBefore(const Holding& before, double megabytes) {
        const Holding after = Settled(before.threads, before.descriptors);
        const double trimmed = TrimmedMb();
        std::printf("threads: %d before, %d now; files: %d before, %d now\n", before.threads, after.threads,
                    before.descriptors, after.descriptors);
        bool bGood = after.threads <= before.threads && after.descriptors <= before.descriptors;
        if (megabytes > 0) {
            std::printf("memory: %.1f MB after the first %" PRIu64 " lies, %.1f MB now\n", megabytes,
                        kFirstLies, trimmed);
            bGood = bGood && trimmed <= megabytes + kGrowthMb;
        }
        return bGood;
    }

    SoakWall& m_wall;
    const ChildProcess& m_hostile;
    const HostilePlan m_plan;
    std::mt19937 m_random;
    const std::vector<std::string> m_moods;
    const int m_channels = m_wall.Parts().cameras.GetCount();
    double m_liveAfterMs = 0;
};

}  // namespace

bool SoakHostile(const SoakPrograms& programs, const HostilePlan& plan) {
    std::printf("seed %" PRIu64 "\n", plan.seed);
    std::fflush(stdout);
    const ChildProcess recorder({programs.recorder, "--listen", "127.0.0.1:0", "--config", programs.config});
    const ChildProcess hostile(
        {programs.hostile, "--to", std::to_string(recorder.Port()), "--seed", std::to_string(plan.seed)});
    SoakWall wall(hostile.Port());
    const bool bGood = Hostile(wall, hostile, plan).Run();
    std::printf("%s\n", bGood ? "good" : ("FAILED; again with --seed " + std::to_string(plan.seed)).c_str());
    return bGood;
}

}  // namespace kvbench
