// A recorder that lies: it stands in front of a true one and spoils what that one says, by a seed.
//   hostile_recorder --to PORT [--seed N]
// It prints where it listens, as kvrecorder does. Standard input takes its moods, a line each: words of good,
// streams, cut, replace, notify and all; "lies" is answered with the number of lies told. It ends with its
// input.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <sstream>
#include <thread>

#include "relay.h"

namespace {

using namespace hostile;

constexpr int kMostConnections = 600;

int Listen(std::uint16_t* pPort) {
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto* const generic = static_cast<sockaddr*>(static_cast<void*>(&address));
    if (fd < 0 || ::bind(fd, generic, length) != 0 || ::getsockname(fd, generic, &length) != 0 ||
        ::listen(fd, SOMAXCONN) != 0) {
        std::perror("hostile_recorder");
        std::exit(1);
    }
    *pPort = ntohs(address.sin_port);
    return fd;
}

// All that connections share; it lives until the last of them has ended.
struct HostileRecorder {
    explicit HostileRecorder(std::uint64_t seed) : mood(seed) {}

    Mood mood;
    Truth truth;
    std::atomic<bool> ending{false};
    std::atomic<int> connections{0};

    void Accept(int listener, void (Relay::*serve)()) {
        const int fd = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd < 0 || connections >= kMostConnections) {
            ::close(fd);
            return;
        }
        ++connections;
        std::thread([this, fd, serve] {
            {
                Link client(fd, ending);
                Relay relay(client, mood, truth, ending);
                (relay.*serve)();
            }
            --connections;
        }).detach();
    }
    // False for a word that it does not know.
    bool Obey(const std::string& line) {
        constexpr struct {
            const char* word;
            unsigned mood;
        } kWords[] = {{"good", kGood},
                      {"streams", kSpoilsStreams},
                      {"cut", kCutsDocuments},
                      {"replace", kReplacesDocuments},
                      {"notify", kSpoilsNotifications},
                      {"all", kAll}};
        if (line == "lies") {
            std::printf("%llu\n", static_cast<unsigned long long>(mood.Lies()));
            return true;
        }
        unsigned wanted = kGood;
        std::istringstream words(line);
        for (std::string word; words >> word;) {
            const auto* const found = std::find_if(std::begin(kWords), std::end(kWords),
                                                   [&](const auto& entry) { return word == entry.word; });
            if (found == std::end(kWords)) {
                return false;
            }
            wanted |= found->mood;
        }
        mood.Set(wanted);
        return true;
    }
    // Until the input ends.
    void Serve(int recorder, int cameras) {
        std::string input;
        for (;;) {
            pollfd waits[] = {{STDIN_FILENO, POLLIN, 0}, {recorder, POLLIN, 0}, {cameras, POLLIN, 0}};
            if (::poll(waits, 3, -1) < 0) {
                continue;
            }
            if (waits[1].revents != 0) {
                Accept(recorder, &Relay::ServeRecorder);
            }
            if (waits[2].revents != 0) {
                Accept(cameras, &Relay::ServeCamera);
            }
            if (waits[0].revents == 0) {
                continue;
            }
            char part[256];
            const ssize_t got = ::read(STDIN_FILENO, part, sizeof part);
            if (got <= 0) {
                return;
            }
            input.append(part, static_cast<std::size_t>(got));
            for (std::size_t end = input.find('\n'); end != std::string::npos; end = input.find('\n')) {
                if (!Obey(input.substr(0, end))) {
                    std::fprintf(stderr, "hostile_recorder: what is \"%s\"?\n", input.substr(0, end).c_str());
                }
                input.erase(0, end + 1);
            }
        }
    }
};

}  // namespace

int main(int argc, char** argv) {
    std::uint64_t seed = 1;
    int port = 0;
    for (int i = 1; i + 1 < argc; i += 2) {
        if (std::strcmp(argv[i], "--to") == 0) {
            port = std::atoi(argv[i + 1]);
        } else if (std::strcmp(argv[i], "--seed") == 0) {
            seed = std::strtoull(argv[i + 1], nullptr, 10);
        }
    }
    if (port <= 0 || port > 0xFFFF) {
        std::fprintf(stderr, "hostile_recorder --to PORT [--seed N]\n");
        return 2;
    }
    std::signal(SIGPIPE, SIG_IGN);
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    HostileRecorder hostile(seed);
    hostile.truth.port = static_cast<std::uint16_t>(port);
    std::uint16_t own = 0;
    const int recorder = Listen(&own);
    const int cameras = Listen(&hostile.truth.ownCameraPort);
    std::printf("hostile_recorder: listening on 127.0.0.1:%u\n", own);
    hostile.Serve(recorder, cameras);
    hostile.ending = true;
    while (hostile.connections > 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return 0;
}
