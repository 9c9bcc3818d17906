#include "app/run.h"

#include <QtCore/QTimer>
#include <QtWidgets/QApplication>
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <iostream>

#include "app/app_options.h"
#include "app/connection_check.h"
#include "app/cover_watch.h"
#include "app/decoding_device.h"
#include "app/desktop_preference.h"
#include "app/desktop_window.h"
#include "app/guarded.h"
#include "app/key_ring.h"
#include "app/main_loop_sleep.h"
#include "app/process.h"
#include "app/termination.h"
#include "app/web_host.h"
#include "app/x11_screen.h"
#include "channel/base/channel_globals.h"
#include "console/settings/console_options.h"
#include "persist/orvo_registry.h"
#include "persist/utilities.h"
#include "platform/clock.h"
#include "platform/process_privacy.h"
#include "platform/secret_memory.h"
#include "skin/direct_screen.h"
#include "skin/paint_threads.h"
#include "skin/repaint_hub.h"
#include "skin/sleep_gate.h"

namespace kvmon {

namespace {

// The program ends with the picture; what went wrong with it is the exit status.
void TakePictureLater(DesktopWindow& window, const AppOptions& options) {
    QTimer::singleShot(
        static_cast<int>(options.pictureAfterSeconds * 1000), &window, [&window, path = options.picture] {
            const bool bSaved = window.SavePicture(path);
            if (!bSaved) {
                std::fprintf(stderr, "kvmon: the picture could not be written to %s\n", path.c_str());
            }
            QCoreApplication::exit(bSaved ? 0 : 1);
        });
}

// A picture can be drawn without a display, a window cannot. False if there is none and one is needed.
bool PrepareDisplay(const AppOptions& options) {
    if (qEnvironmentVariableIsSet("QT_QPA_PLATFORM") || qEnvironmentVariableIsSet("DISPLAY") ||
        qEnvironmentVariableIsSet("WAYLAND_DISPLAY")) {
        return true;
    }
    qputenv("QT_QPA_PLATFORM", "offscreen");
    return !options.picture.empty();
}

// Qt ends the program where it finds no display, in many lines and with a core image.
void TellOfNoDisplay(QtMsgType type, const QMessageLogContext&, const QString& text) {
    if (type == QtFatalMsg) {
        std::fputs("kvmon: the display cannot be opened\n", stderr);
        std::_Exit(1);
    }
    // What it says before is its own trouble with each of its ways to a display.
    if (!text.startsWith(QLatin1String("qt.qpa"))) {
        std::fprintf(stderr, "%s\n", text.toLocal8Bit().constData());
    }
}

// Pictures go straight to the display where that is possible, while the user interface's thread sleeps if
// they can.
class PictureWay {
public:
    PictureWay() { UseDirectScreen(m_screen.get(), m_sleep.IsOn() ? &m_gate : nullptr); }
    ~PictureWay() { UseDirectScreen(nullptr); }
    PictureWay(const PictureWay&) = delete;
    PictureWay& operator=(const PictureWay&) = delete;

private:
    SleepGate m_gate;
    const MainLoopSleep m_sleep{m_gate};
    const std::unique_ptr<DirectScreen> m_screen = OpenX11Screen();
};

int RunDesktop(AppOptions& options, char* program) {
    if (!PrepareDisplay(options)) {
        std::fprintf(stderr, "kvmon: there is no display; --picture draws without one\n");
        return 1;
    }
    // Where a window moves inside another one the toolkit must paint it anew: its own copy lacks what went
    // past it.
    qputenv("QT_NO_FAST_MOVE", "1");
    // The command line is read: Qt takes its own options from the environment.
    int argc = 1;
    char* argv[] = {program, nullptr};
    const QtMessageHandler usual = qInstallMessageHandler(TellOfNoDisplay);
    Guarded<QApplication> application(argc, argv);
    qInstallMessageHandler(usual);
    if (!HoldPaintThreads()) {
        std::fprintf(stderr, "kvmon: there is no thread left to paint by\n");
        return 1;
    }
    const LookChoice look = options.look.value_or(LoadLook(Registry()));
    if (options.look && options.keep) {
        StoreLook(Registry(), look);
    }
    LookKeeper looks(application, look, LookOfToolkit());
    QGuiApplication::setDesktopFileName(QStringLiteral("kvmon"));
    Termination termination;
    const CoverWatch covers;
    const PictureWay pictures;
    int status = 0;
    {
        const std::unique_ptr<KeyRing> keyRing = MakeSecretServiceKeyRing();
        const std::unique_ptr<DesktopPreference> preference = WatchDesktopPreference(
            [&looks](std::optional<SkinLook> preferred) { looks.OnDesktop(preferred); });
        DesktopWindow window(options, SystemClock(), keyRing.get(), &looks);
        Wipe(options.auth);  // the control has it now
        window.Activate();
        window.show();
        if (!options.picture.empty()) {
            TakePictureLater(window, options);
        }
        status = QApplication::exec();
        termination.Begin();
    }
    Registry().Close(termination.TimeToSave());
    return status;
}

}  // namespace

int Run(int argc, char** argv) {
    KeepMemoryPrivate();
    std::vector<std::string> args(argv + std::min(argc, 1), argv + argc);
    ScrubArguments(argc, argv);
    std::signal(SIGXFSZ, SIG_IGN);  // a file that may not grow is a failed write, no more
    ParsedCommandLine parsed = ParseCommandLine(args, std::cin);
    std::for_each(args.begin(), args.end(), Wipe);
    if (!parsed.options) {
        std::FILE* const out = parsed.exitStatus == 0 ? stdout : stderr;
        std::fprintf(out, parsed.exitStatus == 0 ? "%s" : "%s\n", parsed.text.c_str());
        return parsed.exitStatus;
    }
    for (const std::string& warning : parsed.options->warnings) {
        std::fprintf(stderr, "kvmon: %s\n", warning.c_str());
    }
    const WipeAtEnd wipe(parsed.options->auth);
    if (parsed.options->checkConnection) {
        return EndProcess(CheckConnection(*parsed.options));
    }
    if (parsed.options->serve) {
        return RunWebHost(*parsed.options, argc, argv);
    }
    if (!parsed.options->dataDir.empty()) {
        SetDataFolder(parsed.options->dataDir);
    }
    Globals().decoderThreads = parsed.options->decoderThreads;
    PrepareProcess();
    int status = 0;
    {
        const DecodingDevice device(parsed.options->hardware);
        status = RunDesktop(*parsed.options, argv[0]);
    }
    return EndProcess(status);
}

}  // namespace kvmon
