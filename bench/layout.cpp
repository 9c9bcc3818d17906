// What a change of the view's style costs the user interface's thread, with a wall of running channels.
#include <QtCore/QTimer>
#include <QtWidgets/QApplication>
#include <algorithm>
#include <chrono>
#include <cstdio>

#include "channel/cell/video_wnd.h"
#include "console/console_parts.h"
#include "console/main_dlg.h"
#include "persist/orvo_registry.h"
#include "persist/utilities.h"
#include "support/fake_recorder.h"
#include "support/silent_site.h"
#include "support/temp_folder.h"

namespace {

using namespace kvmon;

constexpr int kChannels = 42;
constexpr int kRounds = 20;

// Milliseconds of the step and of the paint that follows it.
double Measure(CMainDlg& console, int style) {
    const auto begin = std::chrono::steady_clock::now();
    console.Parts().view.ViewStyleChanged(style, {.bUpdateButtons = true});
    QCoreApplication::sendPostedEvents();
    console.repaint();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count();
}

}  // namespace

int main(int argc, char** argv) {
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    QApplication app(argc, argv);
    const kvtest::TempFolder folder;
    SetDataFolder(folder.Path());
    RegistryApp tree;
    tree.databasePath = folder.File("settings.db");
    Registry().InitRegistry(false, tree);

    kvtest::FakeRecorder recorder("bench", kChannels);
    kvtest::SilentSite site(recorder.Port());
    CMainDlg console(site, nullptr, 0x0409, SystemClock());
    console.OnInitDialog();
    console.show();
    console.AutoLogin("admin", "admin");
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, [&] {
        if (console.Parts().cells.GetCount() == 0) {
            return;
        }
        if (console.Parts().view.GetStyle() != VIEW_STYLE_CUSTOM) {
            console.Parts().styles.SelectCustomStyle(5);
        } else if (recorder.StreamRequestCount() >= kChannels) {
            QApplication::quit();
        }
    });
    poll.start(10);
    QApplication::exec();
    poll.stop();

    double longest = 0;
    std::printf("style   ms from 42 cells   ms back to them   (the longest of %d)\n", kRounds);
    for (int style = VIEW_STYLE_SINGLE_1CH; style < VIEW_STYLE_CUSTOM; ++style) {
        double away = 0, back = 0;
        for (int round = 0; round < kRounds; ++round) {
            away = std::max(away, Measure(console, style));
            back = std::max(back, Measure(console, VIEW_STYLE_CUSTOM));
        }
        std::printf("%5d   %16.1f   %15.1f\n", style, away, back);
        longest = std::max({longest, away, back});
    }
    std::printf("longest step: %.1f ms (limit 100)\n", longest);
    return longest < 100 ? 0 : 1;
}
