#include "app/web_host.h"

#include <QtCore/QCoreApplication>
#include <QtWidgets/QApplication>
#include <cstdio>

#include "app/guarded.h"
#include "app/process.h"
#include "app/termination.h"
#include "console/settings/console_options.h"
#include "persist/help_pages.h"
#include "persist/orvo_registry.h"
#include "persist/utilities.h"
#include "platform/diagnostics.h"
#include "platform/file_limit.h"
#include "skin/paint_threads.h"
#include "web/host/web_server.h"
#include "web/platform/remote_application.h"
#include "web/session/web_session.h"

namespace kvmon {

namespace {

// Less than the whole program may take to end.
constexpr int kSessionsEndMs = 4300;

WebHostSettings SettingsOf(const AppOptions& options) {
    WebHostSettings settings;
    settings.address = options.serveAddress;
    settings.port = options.servePort;
    settings.origins = options.webOrigins;
    settings.token = options.webToken;
    settings.session = {options.server,     options.port,     options.auth,     options.autoStart,
                        options.serverName, options.language, options.helpPath, options.dataDir};
    settings.fileLimit = RaiseFileLimit();
    settings.helpFolder = HelpFolder();
    return settings;
}

}  // namespace

int RunWebHost(const AppOptions& options, int, char** argv) {
    int argc = 1;
    Guarded<QCoreApplication> application(argc, argv);
    SetDiagnosticSink([](const char* text) { std::fprintf(stderr, "kvmon: %s", text); });
    Termination termination;
    const WebHostSettings settings = SettingsOf(options);
    if (const std::size_t places = WebServer::PlacesFor(settings.fileLimit);
        places < WebServer::kMaxConnections) {
        std::fprintf(stderr, "kvmon: the limit of %zu open files carries %zu requests at once, not %zu\n",
                     settings.fileLimit, places, WebServer::kMaxConnections);
    }
    WebServer server(settings, GetModuleFilePath());
    std::string problem;
    if (!server.Listen(problem)) {
        std::fprintf(stderr, "kvmon: cannot serve on %s:%u: %s\n", options.serveAddress.c_str(),
                     unsigned{options.servePort}, problem.c_str());
        return 1;
    }
    std::printf("kvmon: open %s\n", server.Url().c_str());
    std::fflush(stdout);
    const int status = QCoreApplication::exec();
    termination.Begin();
    server.EndSessions(kSessionsEndMs);
    return status;
}

int RunSession(char* program) {
    const std::optional<SessionOrder> order = ReceiveSessionOrder();
    if (!order) {
        std::fprintf(stderr, "kvmon: this option is for the web host's own use\n");
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
        std::fprintf(stderr, "kvmon: there is no thread left to paint by\n");
        return 1;
    }
    LookKeeper looks(application, LoadLook(Registry()), std::nullopt);
    Termination termination;
    int status = 0;
    {
        WebSession session(*order, looks);
        status = QApplication::exec();
        termination.Begin();
    }
    Registry().Close(termination.TimeToSave());
    return EndProcess(status);
}

}  // namespace kvmon
