// A wall watched for long: whether it goes on, and what client and recorder hold, minute by minute. All the
// while a channel changes its code, and the option for the cameras' own streams goes on and off.
#include <unistd.h>

#include <QtCore/QTimer>
#include <QtWidgets/QApplication>
#include <algorithm>
#include <array>
#include <cstdio>
#include <vector>

#include "channel/camera/base_camera.h"
#include "soaks.h"
#include "support/temp_folder.h"

namespace kvbench {

using namespace kvmon;

namespace {

constexpr int kRecodeMs = 20'000;
constexpr int kSourceMs = 45'000;
constexpr int kSampleMs = 60'000;
constexpr std::array<const char*, 6> kCodecs = {"mpeg4", "mjpeg", "mxpeg", "vivotek", "mpeg4-fields", "h264"};
// What may come on top of the second quarter's highest memory by the last quarter.
constexpr double kGrowth = 1.05;
constexpr double kGrowthMb = 4;

class Steady {
public:
    Steady(SoakWall& wall, const ChildProcess& recorder, std::string program, std::string control)
        : m_wall(wall), m_recorder(recorder), m_program(std::move(program)), m_control(std::move(control)) {}

    // True if nothing went wrong.
    bool Run(int minutes) {
        Every(m_recode, kRecodeMs, [this] { Recode(); });
        Every(m_source, kSourceMs, [this] { SwitchSource(); });
        Every(m_sample, kSampleMs, [this, minutes] {
            Sample();
            if (static_cast<int>(m_client.size()) == minutes) {
                QCoreApplication::quit();
            }
        });
        std::printf("%4s | %9s %7s %5s | %9s %7s %5s | %8s %6s %6s %6s\n", "min", "client MB", "threads",
                    "files", "recorder", "threads", "files", "pictures", "silent", "codes", "source");
        std::fflush(stdout);
        QApplication::exec();
        return !m_failed && Holds("client", m_client) && Holds("recorder", m_records);
    }

private:
    template <typename Action>
    static void Every(QTimer& timer, int ms, Action action) {
        QObject::connect(&timer, &QTimer::timeout, action);
        timer.start(ms);
    }

    void Recode() {
        const int last = m_wall.Parts().cameras.GetCount() - 1;
        const std::string command =
            "codec " + std::to_string(last) + " " + kCodecs[m_recoded++ % kCodecs.size()];
        if (RunCommand({m_program, "--control", m_control, "--send", command}) != 0) {
            std::printf("the recorder refused: %s\n", command.c_str());
        }
    }

    // As the settings do it.
    void SwitchSource() {
        ConsoleOptions options = m_wall.Parts().settings.options;
        options.bStreamFromCamera = !options.bStreamFromCamera;
        m_wall.Parts().settings.options = options;
        options.HandToChannels();
        for (int n = 0; n < m_wall.Parts().cameras.GetCount(); ++n) {
            const auto camera = m_wall.Parts().cameras.GetCameraByChannel(n);
            if (camera && camera->CanStreamFromCamera()) {
                camera->RestartPlaying();
            }
        }
        ++m_switched;
    }

    void Sample() {
        const auto [pictures, silent] = m_wall.LookAtChannels();
        m_failed = m_failed || silent > 0;
        m_client.push_back(Look(getpid()));
        m_records.push_back(Look(m_recorder.Process()));
        const Holding& c = m_client.back();
        const Holding& r = m_records.back();
        std::printf("%4zu | %9.1f %7d %5d | %9.1f %7d %5d | %8llu %6d %6zu %6d\n", m_client.size(),
                    c.megabytes, c.threads, c.descriptors, r.megabytes, r.threads, r.descriptors,
                    static_cast<unsigned long long>(pictures), silent, m_recoded, m_switched);
        std::fflush(stdout);
    }

    // The last quarter holds no more than the second did, when all had happened already.
    static bool Holds(const char* name, const std::vector<Holding>& samples) {
        const std::size_t quarter = samples.size() / 4;
        if (quarter == 0) {
            return true;
        }
        const auto most = [&](std::size_t from, auto what) {
            double value = 0;
            for (std::size_t i = from; i < from + quarter; ++i) {
                value = std::max(value, static_cast<double>(what(samples[i])));
            }
            return value;
        };
        const std::size_t last = samples.size() - quarter;
        const auto memory = [](const Holding& h) { return h.megabytes; };
        const auto threads = [](const Holding& h) { return h.threads; };
        const auto files = [](const Holding& h) { return h.descriptors; };
        const bool held = most(last, memory) <= most(quarter, memory) * kGrowth + kGrowthMb &&
                          most(last, threads) <= most(quarter, threads) + 2 &&
                          most(last, files) <= most(quarter, files) + 4;
        std::printf("%s: memory %.1f MB, then %.1f MB: %s\n", name, most(quarter, memory), most(last, memory),
                    held ? "holds" : "GROWS");
        return held;
    }

    SoakWall& m_wall;
    const ChildProcess& m_recorder;
    const std::string m_program;
    const std::string m_control;
    QTimer m_recode;
    QTimer m_source;
    QTimer m_sample;
    std::size_t m_recoded = 0;
    int m_switched = 0;
    bool m_failed = false;
    std::vector<Holding> m_client;
    std::vector<Holding> m_records;
};

}  // namespace

bool SoakSteadily(const SoakPrograms& programs, int minutes) {
    const kvtest::TempFolder folder;
    const std::string control = folder.File("control");
    const ChildProcess recorder(
        {programs.recorder, "--listen", "127.0.0.1:0", "--config", programs.config, "--control", control});
    SoakWall wall(recorder.Port());
    return Steady(wall, recorder, programs.recorder, control).Run(minutes);
}

}  // namespace kvbench
