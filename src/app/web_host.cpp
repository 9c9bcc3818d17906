#include "app/web_host.h"

#include <unistd.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QTimer>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "app/guarded.h"
#include "app/termination.h"
#include "host/exit_status.h"
#include "host/journal.h"
#include "host/service_manager.h"
#include "persist/help_pages.h"
#include "persist/utilities.h"
#include "platform/diagnostics.h"
#include "platform/file_limit.h"
#include "web/host/web_server.h"

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
    settings.session = {options.server,    options.port,       options.auth,
                        options.autoStart, options.serverName, options.language,
                        options.helpPath,  options.dataDir,    options.hardware};
    settings.listener = kvhost::TakeListeningSocket();
    settings.fileLimit = RaiseFileLimit();
    settings.helpFolder = HelpFolder();
    return settings;
}

bool IsService() {
    return std::getenv("NOTIFY_SOCKET") != nullptr || kvhost::LeadsToJournal(STDOUT_FILENO);
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
    const std::string session = GetHelperPath(kSessionProgram);
    if (std::error_code error; !std::filesystem::exists(session, error)) {
        std::fprintf(stderr, "kvmon: the program for web pages is not installed: %s\n", session.c_str());
        return kvhost::kFailed;
    }
    WebServer server(settings, session);
    std::string problem;
    if (!server.Listen(problem)) {
        std::fprintf(stderr, "kvmon: cannot serve on %s:%u: %s\n", options.serveAddress.c_str(),
                     unsigned{options.servePort}, problem.c_str());
        return kvhost::kFailed;
    }
    // A log is read by others: none gets the token.
    std::printf("kvmon: open %s\n", IsService() ? server.Origin().c_str() : server.Url().c_str());
    std::fflush(stdout);
    kvhost::TellManager("READY=1");
    QTimer watchdog;
    if (const auto pause = kvhost::WatchdogPause()) {
        QObject::connect(&watchdog, &QTimer::timeout, [] { kvhost::TellManager("WATCHDOG=1"); });
        watchdog.start(*pause);
    }
    const int status = QCoreApplication::exec();
    kvhost::TellManager("STOPPING=1");
    termination.Begin();
    server.EndSessions(kSessionsEndMs);
    return status;
}

}  // namespace kvmon
