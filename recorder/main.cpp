// kvrecorder: a small network video recorder.
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <iostream>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>

#include "cameras/camera_source.h"
#include "cameras/camera_talk.h"
#include "host/exit_status.h"
#include "host/journal.h"
#include "host/service_manager.h"
#include "media/media_hub.h"
#include "media/utf8.h"
#include "onvif/onvif_control.h"
#include "service/camera_finding.h"
#include "service/camera_tests.h"
#include "service/config_check.h"
#include "service/config_reader.h"
#include "service/control_socket.h"
#include "service/exposed_files.h"
#include "service/file_limit.h"
#include "service/options.h"
#include "service/probe_command.h"
#include "service/recorder_service.h"
#include "service/signals.h"

namespace {

using namespace kvrecorder;

// For an end in order: longer than the service takes at the most.
constexpr std::chrono::milliseconds kLongestEnd{4'200};
constexpr const char* kProgram = "kvrecorder";

// One line for the terminal or the journal, whoever made up the names in it.
void TellAs(kvhost::Level level, std::string_view text, const EventSubject& subject) {
    try {
        kvhost::Line line{level, PrintableUtf8(text, text.size()), {}};
        if (!subject.name.empty()) {
            line.fields.emplace_back("KV_EVENT", subject.name);
        }
        if (subject.channel >= 0) {
            line.fields.emplace_back("KV_CHANNEL", std::to_string(subject.channel));
        }
        if (!subject.user.empty()) {
            line.fields.emplace_back("KV_USER", subject.user);
        }
        if (!subject.address.empty()) {
            line.fields.emplace_back("KV_ADDRESS", subject.address);
        }
        kvhost::Journal(kProgram).Tell(line);
    } catch (const std::exception&) {
        std::fprintf(stderr, "%s: %.*s\n", kProgram, static_cast<int>(text.size()), text.data());
    }
}

void Tell(std::string_view text) {
    TellAs(kvhost::Level::Warning, text, {});
}

int Complain(std::string_view text, int status) {
    TellAs(kvhost::Level::Error, text, {});
    return status;
}

// On a terminal only who signs in; the journal keeps all, and can be asked for less.
void TellEvent(EventLevel level, const std::string& text, const EventSubject& subject) {
    if (subject.name.starts_with("sign-in") || kvhost::LeadsToJournal(STDERR_FILENO)) {
        TellAs(level == EventLevel::Error     ? kvhost::Level::Error
               : level == EventLevel::Warning ? kvhost::Level::Warning
                                              : kvhost::Level::Information,
               text, subject);
    }
}

// Tells whether a recorder could be started with the configuration.
int Check(Options options) {
    options.configFile = options.check;
    const std::vector<std::string> lines = CheckConfig(MakeConfig(options));
    for (const std::string& line : lines) {
        Complain(options.check + ": " + line, kvhost::kWrongUse);
    }
    if (lines.empty()) {
        std::cout << kProgram << ": " << options.check << " is right" << std::endl;
    }
    return lines.empty() ? kvhost::kDone : kvhost::kWrongUse;
}

int Send(const Options& options) {
    std::string reply;
    try {
        reply = SendControlCommand(options.controlPath, options.send);
    } catch (const ConfigError& failure) {
        return Complain(failure.what(), kvhost::kFailed);
    }
    for (std::size_t begin = 0; begin < reply.size();) {
        const std::size_t end = std::min(reply.find('\n', begin), reply.size());
        std::cout << PrintableUtf8(std::string_view(reply).substr(begin, end - begin), reply.size()) << '\n';
        begin = end + 1;
    }
    std::cout << std::flush;
    return reply.ends_with("ok\n") ? kvhost::kDone : kvhost::kFailed;
}

// A folder of another machine may hang for ever, and with it whoever waits for a file in it.
void EndAtTheLatest(std::chrono::milliseconds time) {
    try {
        std::thread([time] {
            std::this_thread::sleep_for(time);
            std::fputs("kvrecorder: something hangs; ended without waiting for it\n", stderr);
            ::_exit(kvhost::kCutShort);
        }).detach();
    } catch (const std::exception&) {
        // Without a thread to spare nobody looks at the time.
    }
}

ServiceOptions MakeService(const Options& options, const RecorderConfig& config,
                           const ListenAddress& listen) {
    ServiceOptions service;
    service.address = listen.address;
    service.port = listen.port;
    if (!config.cameraListen.empty()) {
        const ListenAddress cameras = ParseListen(config.cameraListen);
        service.cameraAddress = cameras.address;
        service.cameraPort = cameras.port;
    }
    if (const auto search = SearchPlace(config)) {
        service.searchAddress = search->address;
        service.searchPort = search->port;
    }
    service.controlPath = options.controlPath;
    service.onRefusals = Tell;
    return service;
}

std::shared_ptr<RecorderModel> MakeModel() {
    return std::make_shared<RecorderModel>(
        CreateMediaHub(nullptr, 0, CreateCameraSourceMaker({}, CreateOnvifStreamFinder())),
        CreateOnvifControlMaker(), CreateCameraTalkMaker({}, CreateOnvifStreamFinder()));
}

void Greet(const Options& options, const RecorderService& recorder) {
    std::cout << "kvrecorder: listening on " << recorder.Endpoint() << std::endl;
    if (!options.madePassword.Empty()) {
        std::cout << "kvrecorder: for this run the user is admin, the password "
                  << options.madePassword.View() << std::endl;
    }
    if (!recorder.CameraEndpoint().empty()) {
        std::cout << "kvrecorder: cameras on " << recorder.CameraEndpoint() << std::endl;
    }
    if (recorder.SearchPort() != 0) {
        std::cout << "kvrecorder: found by those who ask on port " << recorder.SearchPort() << std::endl;
    }
    if (const std::string problem = recorder.SearchProblem(); !problem.empty()) {
        Tell(problem);
    }
}

// Until a signal or a command ends it. The manager of services hears that the recorder lives as long as both
// this thread and those that serve clients go on.
void WaitForTheEnd(const Signals& signals, ConfigReader& reader, RecorderService& recorder) {
    for (;;) {
        const std::optional<int> signal = signals.Next(kvhost::WatchdogPause());
        if (signal && *signal != SIGHUP) {
            return;
        }
        try {
            if (signal) {
                kvhost::TellManager(kvhost::ReloadingState());
                reader.Read();
            } else {
                recorder.Ask([] { kvhost::TellManager("WATCHDOG=1"); });
            }
        } catch (const std::exception& failure) {
            // The next signal finds more memory.
            std::fprintf(stderr, "kvrecorder: %s: %s\n",
                         signal ? "configuration not read" : "no sign of life", failure.what());
        }
    }
}

// Serves until a signal or a command ends it.
int Serve(const Options& options) {
    const Signals signals;
    auto starting = std::make_unique<EndsAtOnce>();
    const std::size_t files = RaiseFileLimit();
    RecorderConfig config = MakeConfig(options);
    const ListenAddress listen = ParseListen(config.listen);
    if (const std::string words = FitConnections(config, files); !words.empty()) {
        Tell(words);
    }
    const auto model = MakeModel();
    model->Events().SetTeller(TellEvent);
    model->Begin(config);
    for (const std::string& line : TellExposed(config)) {
        Tell(line);
    }

    ServiceOptions service = MakeService(options, config, listen);
    service.onStop = [] { Signals::Send(SIGTERM); };
    const auto keeper = std::make_shared<ConfigKeeper>(options, config, files, *model, Tell);
    service.api = ApiSetup{KV_VERSION, keeper, MakeCameraTools()};
    RecorderService recorder(model, service);
    // Ends before the service whose clients it tells of changes, and is there before anybody is told of it.
    ConfigReader reader(*keeper, Tell, [] { kvhost::TellManager("READY=1"); });
    try {
        recorder.Start();
    } catch (const ConfigError& failure) {
        return Complain(failure.what(), kvhost::kFailed);
    }
    starting.reset();
    Greet(options, recorder);
    kvhost::TellManager("READY=1");
    WaitForTheEnd(signals, reader, recorder);
    kvhost::TellManager("STOPPING=1");
    EndAtTheLatest(kLongestEnd);
    recorder.Stop();
    return kvhost::kDone;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        std::signal(SIGPIPE, SIG_IGN);
        // It holds passwords, and makes files of what cameras see.
        ::prctl(PR_SET_DUMPABLE, 0);
        ::umask(077);
        Options options = ParseOptions(argc, argv, KV_VERSION);
        HideLogins(argc, argv);
        if (!options.exitText.empty()) {
            std::cout << options.exitText << std::flush;
            return kvhost::kDone;
        }
        if (!options.check.empty()) {
            return Check(options);
        }
        if (!options.send.empty()) {
            return Send(options);
        }
        if (options.discover) {
            return FindCameras(options, std::cout, AskPassword);
        }
        CompleteCameras(options, AskPassword);
        if (options.probe) {
            return ProbeForTerminal(options, std::cout, std::cerr) ? kvhost::kDone : kvhost::kFailed;
        }
        return Serve(options);
    } catch (const std::bad_alloc&) {
        return Complain("not enough memory on this computer", kvhost::kFailed);
    } catch (const std::system_error& failure) {
        const bool noThread = failure.code() == std::errc::resource_unavailable_try_again;
        return Complain(noThread ? "no more threads on this computer" : failure.what(), kvhost::kFailed);
    } catch (const ConfigError& failure) {
        return Complain(failure.what(), kvhost::kWrongUse);
    } catch (const std::exception& failure) {
        return Complain(failure.what(), kvhost::kFailed);
    }
}
