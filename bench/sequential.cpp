// Sequential mode over all channels of a recorder: how soon each page lives, how long the user interface's
// thread is kept, and what the program holds. bench_sequential PORT [SECONDS [INTERVAL [STYLE]]] against a
// recorder of this machine with the account admin:admin; without arguments it does nothing.
#include <dirent.h>

#include <QtCore/QTimer>
#include <QtWidgets/QComboBox>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <vector>

#include "channel/camera/base_camera.h"
#include "channel/cell/video_wnd.h"
#include "console/console_parts.h"
#include "console/main_dlg.h"
#include "console/ports/console_messages.h"
#include "persist/orvo_registry.h"
#include "persist/utilities.h"
#include "platform/heap_limits.h"
#include "support/qt_ui_watchdog.h"
#include "support/silent_site.h"
#include "support/temp_folder.h"

namespace {

using namespace kvmon;

int CountEntries(const char* folder) {
    int count = -2;  // "." and ".."
    if (DIR* const dir = opendir(folder)) {
        while (readdir(dir) != nullptr) {
            ++count;
        }
        closedir(dir);
    }
    return count;
}

long ResidentKilobytes() {
    std::ifstream statm("/proc/self/statm");
    long total = 0;
    long resident = 0;
    statm >> total >> resident;
    return resident * 4;
}

// Watches one page after another.
class PageWatch {
public:
    explicit PageWatch(CMainDlg& console) : m_console(console) {}

    void Look() {
        const auto now = std::chrono::steady_clock::now();
        const int item = m_console.Parts().view.Combo().currentIndex();
        if (item != m_item) {
            m_item = item;
            m_begin = now;
            m_waiting = true;
        }
        if (m_waiting && AllLive()) {
            m_waiting = false;
            m_ms.push_back(std::chrono::duration<double, std::milli>(now - m_begin).count());
        }
    }
    std::vector<double>& Times() { return m_ms; }

private:
    bool AllLive() const {
        for (int n = 0; n < m_console.Parts().cells.GetCount(); ++n) {
            const CVideoWnd* const cell = m_console.Parts().cells.Get(n);
            const auto camera = cell->isHidden() ? nullptr : cell->GetCamera();
            if (camera && !camera->IsStreamRunning()) {
                return false;
            }
        }
        return true;
    }

    CMainDlg& m_console;
    int m_item = -1;
    bool m_waiting = false;
    std::chrono::steady_clock::time_point m_begin;
    std::vector<double> m_ms;
};

void Report(std::vector<double> ms) {
    if (ms.empty()) {
        std::printf("no page\n");
        return;
    }
    std::sort(ms.begin(), ms.end());
    std::printf("pages %zu  live after: median %.0f ms  95%% %.0f ms  longest %.0f ms\n", ms.size(),
                ms[ms.size() / 2], ms[ms.size() * 95 / 100], ms.back());
}

void RunFor(std::chrono::seconds time, PageWatch* watch) {
    QTimer poll;
    if (watch != nullptr) {
        QObject::connect(&poll, &QTimer::timeout, [watch] { watch->Look(); });
        poll.start(5);
    }
    QTimer::singleShot(time, qApp, &QCoreApplication::quit);
    QApplication::exec();
}

}  // namespace

int main(int argc, char** argv) {
    kvmon::KeepHeapsFew();  // as the program does
    if (argc < 2) {
        std::printf("bench_sequential PORT [SECONDS [INTERVAL [STYLE]]]\n");
        return 0;
    }
    const auto argument = [&](int n, int otherwise) {
        return argc > n ? static_cast<int>(std::strtol(argv[n], nullptr, 10)) : otherwise;
    };
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    const std::chrono::seconds time(argument(2, 60));
    const int interval = argument(3, 3);
    const int style = argument(4, VIEW_STYLE_4CH);
    kvtest::WatchedApplication app(argc, argv);
    const kvtest::TempFolder folder;
    SetDataFolder(folder.Path());
    RegistryApp tree;
    tree.databasePath = folder.File("settings.db");
    Registry().InitRegistry(false, tree);

    kvtest::SilentSite site(static_cast<std::uint32_t>(std::strtoul(argv[1], nullptr, 10)));
    CMainDlg console(site, nullptr, 0x0409, SystemClock());
    console.OnInitDialog();
    console.show();
    console.AutoLogin("admin", "admin");
    RunFor(std::chrono::seconds(5), nullptr);
    console.Press(StyleButtonId(CheckedViewStyle(style)));
    console.KillTimer(kTimerStopping);  // its ticks prepare pages, too
    PageWatch turned(console);
    for (int page = 0; page < 10; ++page) {
        RunFor(std::chrono::seconds(2), &turned);
        console.Parts().view.TurnPage(1);
    }
    std::printf("turned by hand:  ");
    Report(turned.Times());
    console.Parts().sequential.SetInterval(static_cast<std::uint32_t>(interval) * 1000);
    console.Parts().sequential.SetSequentialMode(true);
    RunFor(std::chrono::seconds(2 * interval), nullptr);

    PageWatch watch(console);
    app.ForgetLongest();
    constexpr int kParts = 6;
    for (int part = 0; part < kParts; ++part) {
        RunFor(time / kParts, &watch);
        std::printf("resident %ld kB  threads %d  descriptors %d\n", ResidentKilobytes(),
                    CountEntries("/proc/self/task"), CountEntries("/proc/self/fd"));
        std::fflush(stdout);
    }
    std::printf("in sequential mode:  ");
    Report(watch.Times());
    std::printf("the user interface's thread waited %.1f ms at most, in %s\n", app.LongestWaitMs(),
                app.LongestWait().c_str());
    std::printf("and worked %.1f ms at most, in %s\n", app.LongestWorkMs(), app.LongestWork().c_str());
    return 0;
}
