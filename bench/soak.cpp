// A wall watched for long: whether it goes on, and what client and recorder hold, minute by minute. All the
// while a channel changes its code, and the option for the cameras' own streams goes on and off.
// soak MINUTES RECORDER CONFIG, with the recorder's program and a configuration that knows admin:admin.
#include <dirent.h>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QtCore/QTimer>
#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <vector>

#include "channel/camera/base_camera.h"
#include "console/console_parts.h"
#include "console/main_dlg.h"
#include "persist/orvo_registry.h"
#include "persist/utilities.h"
#include "support/qt_ui_watchdog.h"
#include "support/silent_site.h"
#include "support/temp_folder.h"

namespace {

using namespace kvmon;

constexpr int kRecodeMs = 20'000;
constexpr int kSourceMs = 45'000;
constexpr int kSampleMs = 60'000;
constexpr int kSettleMs = 8'000;
constexpr std::array<const char*, 6> kCodecs = {"mpeg4", "mjpeg", "mxpeg", "vivotek", "mpeg4-fields", "h264"};
// What may come on top of the second quarter's highest memory by the last quarter.
constexpr double kGrowth = 1.05;
constexpr double kGrowthMb = 4;

// What a process holds.
struct Holding {
    double megabytes = 0;
    int threads = 0;
    int descriptors = 0;
};

Holding Look(pid_t process) {
    const std::string folder = "/proc/" + std::to_string(process);
    Holding holding;
    std::ifstream status(folder + "/status");
    for (std::string word; status >> word;) {
        if (word == "VmRSS:") {
            status >> holding.megabytes;
            holding.megabytes /= 1024;
        } else if (word == "Threads:") {
            status >> holding.threads;
        }
    }
    holding.descriptors = -2;  // "." and ".."
    if (DIR* const files = opendir((folder + "/fd").c_str())) {
        while (readdir(files) != nullptr) {
            ++holding.descriptors;
        }
        closedir(files);
    }
    return holding;
}

// The recorder, as a process of its own.
class Recorder {
public:
    Recorder(std::string program, const char* config, std::string control)
        : m_program(std::move(program)), m_control(std::move(control)) {
        std::array<int, 2> ends{};
        if (pipe(ends.data()) != 0) {
            throw std::runtime_error("no pipe");
        }
        m_process = fork();
        if (m_process == 0) {
            prctl(PR_SET_PDEATHSIG, SIGTERM);
            dup2(ends[1], STDOUT_FILENO);
            execl(m_program.c_str(), m_program.c_str(), "--listen", "127.0.0.1:0", "--config", config,
                  "--control", m_control.c_str(), nullptr);
            _exit(127);
        }
        close(ends[1]);
        m_output = fdopen(ends[0], "r");
        std::array<char, 256> line{};
        if (m_output == nullptr || fgets(line.data(), line.size(), m_output) == nullptr ||
            std::sscanf(line.data(), "kvrecorder: listening on 127.0.0.1:%d", &m_port) != 1) {
            throw std::runtime_error("the recorder did not start");
        }
    }
    ~Recorder() {
        kill(m_process, SIGTERM);
        waitpid(m_process, nullptr, 0);
    }
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

    int Port() const { return m_port; }
    pid_t Process() const { return m_process; }
    void Send(const std::string& command) const {
        const pid_t child = fork();
        if (child == 0) {
            // Only its status is of interest.
            dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
            execl(m_program.c_str(), m_program.c_str(), "--control", m_control.c_str(), "--send",
                  command.c_str(), nullptr);
            _exit(127);
        }
        int status = 0;
        waitpid(child, &status, 0);
        if (status != 0) {
            std::printf("the recorder refused: %s\n", command.c_str());
        }
    }

private:
    const std::string m_program;
    const std::string m_control;
    pid_t m_process = -1;
    FILE* m_output = nullptr;
    int m_port = 0;
};

class Soak {
public:
    Soak(CMainDlg& console, const Recorder& recorder) : m_console(console), m_recorder(recorder) {}

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
        const int last = m_console.Parts().cameras.GetCount() - 1;
        m_recorder.Send("codec " + std::to_string(last) + " " + kCodecs[m_recoded++ % kCodecs.size()]);
    }

    // As the settings do it.
    void SwitchSource() {
        ConsoleOptions options = m_console.Parts().settings.options;
        options.bStreamFromCamera = !options.bStreamFromCamera;
        m_console.Parts().settings.options = options;
        options.HandToChannels();
        for (int n = 0; n < m_console.Parts().cameras.GetCount(); ++n) {
            const auto camera = m_console.Parts().cameras.GetCameraByChannel(n);
            if (camera && camera->CanStreamFromCamera()) {
                camera->RestartPlaying();
            }
        }
        ++m_switched;
    }

    void Sample() {
        std::uint64_t pictures = 0;
        int silent = 0;
        m_shown.resize(static_cast<std::size_t>(m_console.Parts().cameras.GetCount()));
        for (std::size_t n = 0; n < m_shown.size(); ++n) {
            const auto camera = m_console.Parts().cameras.GetCameraByChannel(static_cast<int>(n));
            const std::uint64_t shown = camera ? camera->GetStatistics().shown : 0;
            silent += shown == m_shown[n] ? 1 : 0;
            pictures += shown - m_shown[n];
            m_shown[n] = shown;
        }
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

    CMainDlg& m_console;
    const Recorder& m_recorder;
    QTimer m_recode;
    QTimer m_source;
    QTimer m_sample;
    std::size_t m_recoded = 0;
    int m_switched = 0;
    bool m_failed = false;
    std::vector<std::uint64_t> m_shown;
    std::vector<Holding> m_client;
    std::vector<Holding> m_records;
};

int Watch(int minutes, const char* program, const char* config) {
    const kvtest::TempFolder folder;
    const Recorder recorder(program, config, folder.File("control"));
    SetDataFolder(folder.Path());
    RegistryApp tree;
    tree.databasePath = folder.File("settings.db");
    Registry().InitRegistry(false, tree);
    kvtest::SilentSite site(static_cast<std::uint32_t>(recorder.Port()));
    CMainDlg console(site, nullptr, 0x0409, SystemClock());
    console.OnInitDialog();
    console.show();
    console.AutoLogin("admin", "admin");
    QTimer::singleShot(kSettleMs, qApp, &QCoreApplication::quit);
    QApplication::exec();
    if (console.Parts().cameras.GetCount() == 0) {
        throw std::runtime_error("the recorder shows no channels");
    }
    console.Press(StyleButtonId(CheckedViewStyle(VIEW_STYLE_9CH)));
    const bool good = Soak(console, recorder).Run(minutes);
    console.DestroyWindow();
    return good ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    const int minutes = argc == 4 ? std::atoi(argv[1]) : 0;
    if (minutes < 1) {
        std::fprintf(stderr, "soak MINUTES RECORDER CONFIG\n");
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
        return Watch(minutes, argv[2], argv[3]);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "soak: %s\n", error.what());
        return 1;
    }
}
