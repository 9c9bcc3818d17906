// kvmon-session: the console of one page of the web host, which starts it. A program of its own, since its
// display is a platform of Qt's private interface, which changes from version to version; the desktop's
// program has nothing of it.
#include <QtWidgets/QApplication>
#include <csignal>
#include <cstdio>
#include <optional>

#include "app/decoding_device.h"
#include "app/guarded.h"
#include "app/process.h"
#include "app/termination.h"
#include "console/settings/console_options.h"
#include "persist/orvo_registry.h"
#include "persist/utilities.h"
#include "platform/caught.h"
#include "platform/heap_limits.h"
#include "platform/process_privacy.h"
#include "skin/paint_threads.h"
#include "web/platform/remote_application.h"
#include "web/session/web_session.h"

namespace {

using namespace kvmon;

int RunSession(char* program) {
    const std::optional<SessionOrder> order = ReceiveSessionOrder();
    if (!order) {
        std::fprintf(stderr, "kvmon-session: this program is for the web host's own use\n");
        return 2;
    }
    if (!order->defaults.dataDir.empty()) {
        SetDataFolder(order->defaults.dataDir);
    }
    PrepareProcess();
    RegisterRemotePlatform();
    qputenv("QT_QPA_PLATFORM", kRemotePlatform);
    int argc = 1;
    char* argv[] = {program, nullptr};
    // A page makes a mouse of its fingers itself, but for two that spread.
    QCoreApplication::setAttribute(Qt::AA_SynthesizeMouseForUnhandledTouchEvents, false);
    Guarded<QApplication> application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    if (!HoldPaintThreads()) {
        std::fprintf(stderr, "kvmon-session: there is no thread left to paint by\n");
        return 1;
    }
    LookKeeper looks(application, LoadLook(Registry()), std::nullopt);
    Termination termination;
    int status = 0;
    {
        const DecodingDevice device(order->defaults.hardware);
        WebSession session(*order, looks);
        status = QApplication::exec();
        termination.Begin();
    }
    Registry().Close(termination.TimeToSave());
    return EndProcess(status);
}

}  // namespace

int main(int, char** argv) {
    KeepHeapsFew();
    try {
        KeepMemoryPrivate();
        std::signal(SIGXFSZ, SIG_IGN);
        return RunSession(argv[0]);
    } catch (...) {
        std::fprintf(stderr, "kvmon-session: cannot go on: %s\n", TakeCaught().what.data());
        return 1;
    }
}
