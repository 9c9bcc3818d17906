// What a wall of 42 live channels takes: memory, threads and CPU. The recorder is a process of its own.
#include <netinet/in.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QtCore/QTimer>
#include <QtWidgets/QApplication>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <exception>
#include <fstream>
#include <stdexcept>
#include <string>

#include "channel/camera/base_camera.h"
#include "channel/cell/channel_view.h"
#include "records.h"

namespace {

using namespace kvmon;
using kvbench::Record;

constexpr int kChannels = 42;
constexpr int kColumns = 7;
constexpr int kCellWidth = 111;
constexpr int kCellHeight = 84;
constexpr int kSettleMs = 3000;
constexpr int kMeasureMs = 5000;
constexpr int kPictureMs = 40;
constexpr kvbench::StreamKind kStream{"H.264 352x240", kvtest::Coding::H264, 352, 240, 512'000};

int Listen(std::uint16_t& port) {
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto* const generic = static_cast<sockaddr*>(static_cast<void*>(&address));
    if (fd < 0 || ::bind(fd, generic, length) != 0 || ::listen(fd, kChannels) != 0 ||
        ::getsockname(fd, generic, &length) != 0) {
        throw std::runtime_error("no loopback port");
    }
    port = ntohs(address.sin_port);
    return fd;
}

// A client of the recorder, until it has asked and then, if it asked for a stream, for good.
struct Client {
    int fd = -1;
    std::string head;
    bool bStream = false;
};

// False when it is done: everything but a stream is answered at once, as by a recorder that has no such page.
bool TakeRequest(Client& client) {
    char block[1024];
    const ssize_t count = ::recv(client.fd, block, sizeof block, MSG_DONTWAIT);
    if (count < 0 && errno == EAGAIN) {
        return true;
    }
    if (count <= 0) {
        return false;
    }
    client.head.append(block, static_cast<std::size_t>(count));
    if (client.head.find("\r\n\r\n") == std::string::npos) {
        return true;
    }
    client.bStream = client.head.find("/getstream.cgi") < client.head.find("\r\n");
    const std::string reply =
        client.bStream ? "HTTP/1.0 200 OK\r\n\r\n" : "HTTP/1.0 404 Not Found\r\nContent-Length: 0\r\n\r\n";
    ::send(client.fd, reply.data(), reply.size(), MSG_NOSIGNAL);
    return client.bStream;
}

// Sends each client that asked for a stream the records at their pace, over and over, a picture apart from
// its neighbour's.
[[noreturn]] void Serve(int listener) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    const std::vector<Record> records = kvbench::MakeRecords(kStream, 2 * kvbench::kKeyInterval);
    std::vector<Client> clients;
    timespec next{};
    ::clock_gettime(CLOCK_MONOTONIC, &next);
    for (std::size_t tick = 0;; ++tick) {
        pollfd entry{listener, POLLIN, 0};
        while (::poll(&entry, 1, 0) > 0) {
            clients.push_back({::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC), {}, false});
        }
        std::erase_if(clients, [&](Client& client) {
            const auto& bytes = records[tick % records.size()].bytes;
            const bool bStays = client.bStream
                                    ? ::send(client.fd, bytes.data(), bytes.size(), MSG_NOSIGNAL) > 0
                                    : TakeRequest(client);
            if (!bStays) {
                ::close(client.fd);
            }
            return !bStays;
        });
        // By the clock, so that a busy machine does not slow the stream down.
        next.tv_nsec += kPictureMs * 1'000'000L;
        if (next.tv_nsec >= 1'000'000'000L) {
            next.tv_nsec -= 1'000'000'000L;
            ++next.tv_sec;
        }
        ::clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &next, nullptr);
    }
}

// A number of /proc/self/status.
long StatusNumber(const std::string& name) {
    std::ifstream file("/proc/self/status");
    std::string word;
    while (file >> word) {
        if (word == name + ":") {
            long value = 0;
            file >> value;
            return value;
        }
    }
    throw std::runtime_error("no " + name);
}

double ProcessMs() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

class Wall {
public:
    explicit Wall(std::uint16_t port) {
        m_window.resize(kColumns * kCellWidth, kChannels / kColumns * kCellHeight);
        for (int i = 0; i < kChannels; ++i) {
            CameraSettings settings;
            settings.m_NetworkSetting[0].szAddress = "127.0.0.1";
            settings.m_nCh = i;
            settings.m_nSvrPort = port;
            settings.m_lpszSvrIP = "127.0.0.1";
            settings.m_bMonitorRight = 1;
            auto camera = CreateCamera(&settings);
            camera->SetCHInMainDlg(static_cast<std::uint32_t>(i));
            *camera = settings;
            auto* const view = new CChannelView(&m_window);
            view->setGeometry(i % kColumns * kCellWidth, i / kColumns * kCellHeight, kCellWidth, kCellHeight);
            view->SetCamera(camera);
            camera->StartCameraThreads();
            camera->StartPlaying(PlaySound::No);
            m_cameras.push_back(std::move(camera));
            m_views.push_back(view);
        }
        m_window.show();
    }
    ~Wall() {
        for (auto* view : m_views) {
            view->SetCamera(nullptr);
        }
        for (const auto& camera : m_cameras) {
            camera->StopCameraThreads(StopWait::ToTheEnd);
        }
    }
    Wall(const Wall&) = delete;
    Wall& operator=(const Wall&) = delete;

    std::uint64_t Shown() const {
        std::uint64_t sum = 0;
        for (const auto& camera : m_cameras) {
            sum += camera->GetStatistics().shown;
        }
        return sum;
    }
    int Running() const {
        int count = 0;
        for (const auto& camera : m_cameras) {
            count += camera->IsStreamRunning() ? 1 : 0;
        }
        return count;
    }

private:
    QWidget m_window;
    std::vector<std::shared_ptr<CBaseCamera>> m_cameras;
    std::vector<CChannelView*> m_views;
};

void RunEvents(int milliseconds) {
    QEventLoop loop;
    QTimer::singleShot(milliseconds, &loop, &QEventLoop::quit);
    loop.exec();
}

void Measure(std::uint16_t port) {
    const long memoryBefore = StatusNumber("VmRSS");
    const long threadsBefore = StatusNumber("Threads");
    Wall wall(port);
    RunEvents(kSettleMs);
    if (wall.Running() != kChannels) {
        throw std::runtime_error("only " + std::to_string(wall.Running()) + " channels run");
    }
    const std::uint64_t shownBefore = wall.Shown();
    const double cpuBefore = ProcessMs();
    RunEvents(kMeasureMs);
    const double cpu = (ProcessMs() - cpuBefore) / kMeasureMs * 100;
    const double shown = static_cast<double>(wall.Shown() - shownBefore) * 1000 / kMeasureMs;
    const long memory = StatusNumber("VmRSS");
    const long threads = StatusNumber("Threads");
    std::printf("%d channels of %s in cells of %dx%d, %.0f pictures a second in all\n\n", kChannels,
                kStream.name, kCellWidth, kCellHeight, shown);
    std::printf("%-10s %12s %12s %12s\n", "", "program", "wall", "a channel");
    std::printf("%-10s %9.1f MB %9.1f MB %9.2f MB\n", "memory", static_cast<double>(memory) / 1024,
                static_cast<double>(memory - memoryBefore) / 1024,
                static_cast<double>(memory - memoryBefore) / 1024 / kChannels);
    std::printf("%-10s %12ld %12ld %12.2f\n", "threads", threads, threads - threadsBefore,
                static_cast<double>(threads - threadsBefore) / kChannels);
    std::printf("%-10s %10.1f %% %12s %10.2f %%\n", "CPU", cpu, "", cpu / kChannels);
}

}  // namespace

int main(int argc, char** argv) {
    if (std::getenv("QT_QPA_PLATFORM") == nullptr) {
        ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
    }
    int status = 0;
    pid_t recorder = -1;
    try {
        std::uint16_t port = 0;
        const int listener = Listen(port);
        recorder = ::fork();  // before there is any thread
        if (recorder == 0) {
            Serve(listener);
        }
        ::close(listener);
        const QApplication application(argc, argv);
        Measure(port);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_wall: %s\n", error.what());
        status = 1;
    }
    if (recorder > 0) {
        ::kill(recorder, SIGKILL);
        ::waitpid(recorder, nullptr, 0);
    }
    return status;
}
