// kvrecorder: a small network video recorder.
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <asio/signal_set.hpp>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <iostream>
#include <new>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>

#include "cameras/camera_source.h"
#include "cameras/camera_talk.h"
#include "media/media_hub.h"
#include "media/utf8.h"
#include "onvif/onvif_control.h"
#include "service/camera_finding.h"
#include "service/camera_tests.h"
#include "service/config_reader.h"
#include "service/control_socket.h"
#include "service/exposed_files.h"
#include "service/file_limit.h"
#include "service/options.h"
#include "service/probe_command.h"
#include "service/recorder_service.h"

namespace {

using namespace kvrecorder;

constexpr int kUsageError = 2;
constexpr int kCutShort = 3;
// For an end in order: longer than the service takes at the most.
constexpr std::chrono::milliseconds kLongestEnd{4'200};

// One line for the terminal, whoever made up the names in it.
void Tell(std::string_view text) {
    std::cerr.clear();  // one line that could not be written does not silence those after it
    try {
        std::cerr << "kvrecorder: " + PrintableUtf8(text, text.size()) + "\n" << std::flush;
    } catch (const std::exception&) {
        std::fprintf(stderr, "kvrecorder: %.*s\n", static_cast<int>(text.size()), text.data());
    }
}

int Complain(std::string_view text) {
    Tell(text);
    return kUsageError;
}

int Send(const Options& options) {
    const std::string reply = SendControlCommand(options.controlPath, options.send);
    for (std::size_t begin = 0; begin < reply.size();) {
        const std::size_t end = std::min(reply.find('\n', begin), reply.size());
        std::cout << PrintableUtf8(std::string_view(reply).substr(begin, end - begin), reply.size()) << '\n';
        begin = end + 1;
    }
    std::cout << std::flush;
    return reply.ends_with("ok\n") ? 0 : 1;
}

// A folder of another machine may hang for ever, and with it whoever waits for a file in it.
void EndAtTheLatest(std::chrono::milliseconds time) {
    try {
        std::thread([time] {
            std::this_thread::sleep_for(time);
            std::fputs("kvrecorder: something hangs; ended without waiting for it\n", stderr);
            ::_exit(kCutShort);
        }).detach();
    } catch (const std::exception&) {
        // Without a thread to spare nobody looks at the time.
    }
}

// A configuration that could not be read for want of memory is told, and the next signal waited for.
void RunOn(asio::io_context& loop, const std::function<void()>& waitReload) {
    while (!loop.stopped()) {
        try {
            loop.run();
        } catch (const std::exception& failure) {
            std::fprintf(stderr, "kvrecorder: configuration not read: %s\n", failure.what());
            waitReload();
        }
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

// Serves until a signal or a command ends it.
int Serve(const Options& options) {
    const std::size_t files = RaiseFileLimit();
    RecorderConfig config = MakeConfig(options);
    const ListenAddress listen = ParseListen(config.listen);
    if (const std::string words = FitConnections(config, files); !words.empty()) {
        Tell(words);
    }
    const auto model = MakeModel();
    model->Begin(config);
    for (const std::string& line : TellExposed(config)) {
        Tell(line);
    }

    asio::io_context loop;
    asio::signal_set ends(loop, SIGTERM, SIGINT);
    asio::signal_set reloads(loop, SIGHUP);
    ends.async_wait([&](const std::error_code& error, int) {
        if (!error) {
            loop.stop();
        }
    });
    ServiceOptions service = MakeService(options, config, listen);
    service.onStop = [&] { loop.stop(); };
    const auto keeper = std::make_shared<ConfigKeeper>(options, config, files, *model, Tell);
    service.api = ApiSetup{KV_VERSION, keeper, MakeCameraTools()};
    RecorderService recorder(model, service);
    // Ends before the service whose clients it tells of changes, and is there before anybody is told of it.
    ConfigReader reader(*keeper, Tell);
    recorder.Start();
    Greet(options, recorder);
    std::function<void()> waitReload = [&] {
        reloads.async_wait([&](const std::error_code& error, int) {
            if (error) {
                return;
            }
            reader.Read();
            waitReload();
        });
    };
    waitReload();

    RunOn(loop, waitReload);
    EndAtTheLatest(kLongestEnd);
    recorder.Stop();
    return 0;
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
            return 0;
        }
        if (!options.send.empty()) {
            return Send(options);
        }
        if (options.discover) {
            return FindCameras(options, std::cout, AskPassword);
        }
        CompleteCameras(options, AskPassword);
        if (options.probe) {
            return ProbeForTerminal(options, std::cout, std::cerr) ? 0 : 1;
        }
        return Serve(options);
    } catch (const std::bad_alloc&) {
        return Complain("not enough memory on this computer");
    } catch (const std::system_error& failure) {
        const bool noThread = failure.code() == std::errc::resource_unavailable_try_again;
        return Complain(noThread ? "no more threads on this computer" : failure.what());
    } catch (const std::exception& failure) {
        return Complain(failure.what());
    }
}
