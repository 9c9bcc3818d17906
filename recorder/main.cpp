// kvrecorder: a small network video recorder.
#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <asio/signal_set.hpp>

#include <csignal>
#include <cstdio>
#include <iostream>

#include "media/media_hub.h"
#include "service/control_socket.h"
#include "service/options.h"
#include "service/recorder_service.h"

namespace {

using namespace kvrecorder;

constexpr int kUsageError = 2;

int Complain(const std::string& text) {
    std::cerr << "kvrecorder: " << text << std::endl;
    return kUsageError;
}

void Reload(const Options& options, RecorderModel& model) {
    try {
        const std::string problems = model.Reload(MakeConfig(options));
        std::cerr << (problems.empty() ? "kvrecorder: configuration read again\n" : problems) << std::flush;
    } catch (const ConfigError& failure) {
        Complain(failure.what());
    }
}

int Send(const Options& options) {
    const std::string reply = SendControlCommand(options.controlPath, options.send);
    std::cout << reply << std::flush;
    return reply.ends_with("ok\n") ? 0 : 1;
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

// Serves until a signal or a command ends it.
int Serve(const Options& options) {
    const RecorderConfig config = MakeConfig(options);
    const ListenAddress listen = ParseListen(config.listen);
    const auto model = std::make_shared<RecorderModel>(CreateMediaHub());
    model->Begin(config);

    asio::io_context loop;
    asio::signal_set ends(loop, SIGTERM, SIGINT);
    asio::signal_set reloads(loop, SIGHUP);
    ends.async_wait([&](const std::error_code& error, int) {
        if (!error) {
            loop.stop();
        }
    });
    std::function<void()> waitReload = [&] {
        reloads.async_wait([&](const std::error_code& error, int) {
            if (error) {
                return;
            }
            Reload(options, *model);
            waitReload();
        });
    };
    waitReload();

    ServiceOptions service;
    service.address = listen.address;
    service.port = listen.port;
    if (!config.cameraListen.empty()) {
        const ListenAddress cameras = ParseListen(config.cameraListen);
        service.cameraAddress = cameras.address;
        service.cameraPort = cameras.port;
    }
    service.controlPath = options.controlPath;
    service.onStop = [&] { loop.stop(); };
    RecorderService recorder(model, service);
    recorder.Start();
    std::cout << "kvrecorder: listening on " << recorder.Endpoint() << std::endl;
    if (!recorder.CameraEndpoint().empty()) {
        std::cout << "kvrecorder: cameras on " << recorder.CameraEndpoint() << std::endl;
    }
    RunOn(loop, waitReload);
    recorder.Stop();
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        std::signal(SIGPIPE, SIG_IGN);
        const Options options = ParseOptions(argc, argv, KV_VERSION);
        if (!options.exitText.empty()) {
            std::cout << options.exitText << std::flush;
            return 0;
        }
        return options.send.empty() ? Serve(options) : Send(options);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "kvrecorder: %s\n", failure.what());  // there may be no memory for more
        return kUsageError;
    }
}
