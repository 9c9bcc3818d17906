// What a recorder costs that passes cameras on, and how long a picture stays in it, against reading alone.
//
// bench_cameras KVRECORDER [CAMERAS [SECONDS]]
extern "C" {
#include <libavformat/avformat.h>
}
#include <arpa/inet.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <mutex>
#include <thread>

#include "child_process.h"
#include "film_cameras.h"
#include "started_program.h"
#include "wire/frame_header.h"

namespace {

using kvbench::FilmCameras;
using kvbench::NowNs;
using kvbench::ProcessMs;

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;
constexpr int kBitrate = 4'000'000;
constexpr int kKeyInterval = 50;
// Sessions open and queues fill; none of this is counted.
constexpr std::int64_t kSettleNs = 3'000'000'000;

double Ms(std::int64_t ns) {
    return static_cast<double>(ns) / 1e6;
}

// What all who take pictures have seen. Any thread.
class Times {
public:
    void First(std::int64_t ns) {
        const std::lock_guard lock(m_mutex);
        m_first.push_back(Ms(ns));
    }
    void Picture(std::int64_t ns) {
        const std::lock_guard lock(m_mutex);
        m_pictures.push_back(Ms(ns));
    }
    void Print(const char* who, double cpuPercent, const kvbench::Holding& holding) {
        const std::lock_guard lock(m_mutex);
        if (m_pictures.empty()) {
            throw std::runtime_error("no pictures came");
        }
        std::sort(m_pictures.begin(), m_pictures.end());
        std::sort(m_first.begin(), m_first.end());
        const auto part = [this](double share) {
            return m_pictures[static_cast<std::size_t>(share * static_cast<double>(m_pictures.size() - 1))];
        };
        std::printf("%-22s %7.1f %7.1f %8d %9zu %8.2f %8.2f %8.2f %9.0f\n", who, cpuPercent,
                    holding.megabytes, holding.threads, m_pictures.size(), part(0.5), part(0.95), part(0.99),
                    m_first.back());
        std::fflush(stdout);
    }

private:
    std::mutex m_mutex;
    std::vector<double> m_pictures;
    std::vector<double> m_first;
};

// Looks at a camera's pictures from `began` to `end`.
class Looker {
public:
    Looker(const FilmCameras& cameras, int camera, std::int64_t began, Times& times)
        : m_cameras(cameras), m_camera(camera), m_began(began), m_times(times) {}

    // A whole picture.
    void See(std::span<const std::uint8_t> picture) {
        Note(NowNs());
        Tell(FilmCameras::NumberIn(picture), NowNs());
    }
    // Some of a picture: the piece before the next picture's first one was its last.
    void SeePiece(std::span<const std::uint8_t> piece) {
        const std::int64_t now = NowNs();
        Note(now);
        if (const std::uint32_t number = FilmCameras::NumberIn(piece); number > 0) {
            Tell(m_number, m_lastNs);
            m_number = number;
        }
        m_lastNs = now;
    }

private:
    void Note(std::int64_t now) {
        if (!m_bAny) {
            m_bAny = true;
            m_times.First(now - m_began);
        }
    }
    void Tell(std::uint32_t number, std::int64_t now) {
        if (number > 0 && now > m_began + kSettleNs) {
            m_times.Picture(std::max<std::int64_t>(now - m_cameras.SentNs(m_camera, number), 0));
        }
    }

    const FilmCameras& m_cameras;
    const int m_camera;
    const std::int64_t m_began;
    Times& m_times;
    bool m_bAny = false;
    std::uint32_t m_number = 0;
    std::int64_t m_lastNs = 0;
};

// As a client does it.
void WatchChannel(int port, int channel, std::int64_t end, Looker looker) {
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    if (::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        std::fprintf(stderr, "bench_cameras: channel %d cannot be reached\n", channel);
    }
    const timeval patience{2, 0};
    ::setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    const std::string request = "GET /cgi-bin/getstream.cgi?ch=" + std::to_string(channel) +
                                " HTTP/1.0\r\nAuthorization: Basic YmVuY2g6YmVuY2g=\r\n\r\n";
    ::send(socket, request.data(), request.size(), MSG_NOSIGNAL);
    const auto read = [socket](void* to, std::size_t size) {
        return ::recv(socket, to, size, MSG_WAITALL) == static_cast<ssize_t>(size);
    };
    std::string head;
    for (char c = 0; !head.ends_with("\r\n\r\n") && read(&c, 1);) {
        head.push_back(c);
    }
    std::array<std::uint8_t, wire::kFrameHeaderSize> frame{};
    std::vector<std::uint8_t> payload;
    while (NowNs() < end && read(frame.data(), frame.size())) {
        std::uint32_t size = 0;
        for (std::size_t i = 0; i < 4; ++i) {
            size |= std::uint32_t{frame[wire::kDataSizeOffset + i]} << (8 * i);
        }
        payload.resize(size);
        if (!read(payload.data(), size)) {
            break;
        }
        looker.See(payload);
    }
    ::close(socket);
}

// The floor: the library that the recorder reads cameras with, and nothing else.
void ReadCamera(const std::string& url, std::int64_t end, Looker looker) {
    AVDictionary* options = nullptr;
    av_dict_set(&options, "rtsp_transport", "tcp", 0);
    AVFormatContext* session = avformat_alloc_context();
    session->flags |= AVFMT_FLAG_NOPARSE;  // it would wait for the next picture to find the end of one
    if (avformat_open_input(&session, url.c_str(), nullptr, &options) == 0) {
        AVPacket* const packet = av_packet_alloc();
        while (NowNs() < end && av_read_frame(session, packet) == 0) {
            looker.SeePiece({packet->data, static_cast<std::size_t>(packet->size)});
            av_packet_unref(packet);
        }
        AVPacket* gone = packet;
        av_packet_free(&gone);
        avformat_close_input(&session);
    }
    av_dict_free(&options);
}

void MeasureFloor(const FilmCameras& cameras, int count, int seconds) {
    Times times;
    const std::int64_t began = NowNs();
    const std::int64_t end = began + kSettleNs + seconds * std::int64_t{1'000'000'000};
    std::vector<std::jthread> threads;
    for (int i = 0; i < count; ++i) {
        threads.emplace_back([&, i] { ReadCamera(cameras.Url(i), end, {cameras, i, began, times}); });
    }
    std::this_thread::sleep_for(std::chrono::nanoseconds(kSettleNs));
    const double before = ProcessMs(getpid());
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
    const double used = ProcessMs(getpid()) - before;
    kvbench::Holding holding = kvbench::Look(getpid());
    threads.clear();
    times.Print("reading alone", used / (seconds * 10.0), holding);
}

void MeasureRecorder(const std::string& program, const FilmCameras& cameras, int count, int seconds) {
    const auto folder =
        std::filesystem::temp_directory_path() / ("bench_cameras." + std::to_string(getpid()));
    std::filesystem::create_directory(folder);
    const std::string file = folder / "recorder.toml";
    {
        std::ofstream config(file);
        config << "listen = \"127.0.0.1:0\"\n[[users]]\nname = \"bench\"\npassword = \"bench\"\n";
        for (int i = 0; i < count; ++i) {
            config << "[[channels]]\nname = \"" << i << "\"\nsource = { url = \"" << cameras.Url(i)
                   << "\" }\n";
        }
    }
    Times times;
    {
        const kvbench::ChildProcess recorder({program, "--config", file});
        const std::int64_t began = NowNs();
        const std::int64_t end = began + kSettleNs + seconds * std::int64_t{1'000'000'000};
        std::vector<std::jthread> threads;
        for (int i = 0; i < count; ++i) {
            threads.emplace_back([&, i] {
                WatchChannel(recorder.Port(), i, end, {cameras, i, began, times});
            });
        }
        std::this_thread::sleep_for(std::chrono::nanoseconds(kSettleNs));
        const double before = ProcessMs(recorder.Process());
        std::this_thread::sleep_for(std::chrono::seconds(seconds));
        const double used = ProcessMs(recorder.Process()) - before;
        const kvbench::Holding holding = kvbench::Look(recorder.Process());
        threads.clear();
        times.Print("kvrecorder", used / (seconds * 10.0), holding);
    }
    std::filesystem::remove_all(folder);
}

}  // namespace

int main(int argc, char** argv) {
    try {
        const std::string program = argc > 1 ? argv[1] : "build/bin/kvrecorder";
        const int count = argc > 2 ? std::atoi(argv[2]) : 16;
        const int seconds = argc > 3 ? std::atoi(argv[3]) : 20;
        if (count < 1 || count > 128 || seconds < 1) {
            std::fprintf(stderr, "bench_cameras KVRECORDER [CAMERAS [SECONDS]]\n");
            return 2;
        }
        av_log_set_level(AV_LOG_QUIET);
        kvtest::CodingOptions options;
        options.frames = 2 * kKeyInterval;
        options.keyInterval = kKeyInterval;
        options.bitrate = kBitrate;
        const auto film = kvtest::EncodeMovingPictures(kvtest::Coding::H264, kWidth, kHeight, options);
        std::size_t bytes = 0;
        for (const kvtest::CodedUnit& unit : film) {
            bytes += unit.bytes.size();
        }
        std::printf(
            "%d cameras of %dx%d, 25 pictures a second, %.1f Mbit/s each, a key picture every 2 s\n\n", count,
            kWidth, kHeight, static_cast<double>(bytes) * 8 * 25 / static_cast<double>(film.size()) / 1e6);
        std::printf("%-22s %7s %7s %8s %9s %26s %9s\n", "", "CPU %", "MB", "threads", "pictures",
                    "ms in it: p50   p95   p99", "first ms");
        const FilmCameras cameras(film, count);
        MeasureFloor(cameras, count, seconds);
        MeasureRecorder(program, cameras, count, seconds);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_cameras: %s\n", error.what());
        return 1;
    }
    return 0;
}
