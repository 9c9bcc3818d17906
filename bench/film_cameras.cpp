#include "film_cameras.h"

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

extern "C" {
#include <libavutil/base64.h>
}

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string_view>
#include <thread>

namespace kvbench {

namespace {

using Bytes = std::vector<std::uint8_t>;
using View = std::span<const std::uint8_t>;

constexpr std::uint32_t kKept = 1024;  // numbers of a camera whose times are kept
constexpr std::int64_t kPictureNs = 40'000'000;
constexpr std::size_t kPayload = 1400;
// A message to nobody that comes along with each picture: its number follows, in eight hexadecimal digits.
constexpr std::string_view kMark = "kvmon-bench-film";
constexpr std::size_t kDigits = 8;

// The units between start codes.
std::vector<View> Units(View picture) {
    std::vector<View> units;
    std::size_t begin = 0;
    for (std::size_t i = 0; i + 2 < picture.size(); ++i) {
        if (picture[i] == 0 && picture[i + 1] == 0 && picture[i + 2] == 1) {
            if (begin > 0) {
                units.push_back(picture.subspan(
                    begin, i - begin - (picture[i - 1] == 0 ? std::size_t{1} : std::size_t{0})));
            }
            begin = i + 3;
        }
    }
    units.push_back(picture.subspan(begin));
    return units;
}

Bytes NumberUnit(std::uint32_t number) {
    std::array<char, kDigits + 1> digits{};
    std::snprintf(digits.data(), digits.size(), "%08x", number);
    std::string unit = {6, 5, static_cast<char>(kMark.size() + kDigits)};
    unit += kMark;
    unit += digits.data();
    unit += '\x80';
    return {unit.begin(), unit.end()};
}

std::string Base64(View bytes) {
    std::string text(AV_BASE64_SIZE(bytes.size()), '\0');
    av_base64_encode(text.data(), static_cast<int>(text.size()), bytes.data(),
                     static_cast<int>(bytes.size()));
    return text.c_str();
}

void PutNumber(Bytes& to, std::uint32_t value, int bytes) {
    while (bytes-- > 0) {
        to.push_back(static_cast<std::uint8_t>(value >> (8 * bytes)));
    }
}

// One viewer's session.
class Session {
public:
    Session(int socket, const std::vector<kvtest::CodedUnit>& film, std::atomic<std::int64_t>* sent,
            int count)
        : m_socket(socket), m_film(film), m_sent(sent), m_count(count) {}
    ~Session() { ::close(m_socket); }

    void Run() {
        std::string request;
        while (Read(request)) {
            const std::string method = request.substr(0, request.find(' '));
            std::string more;
            std::string body;
            if (method == "DESCRIBE") {
                body = Description();
                more = "Content-Type: application/sdp\r\nContent-Length: " + std::to_string(body.size()) +
                       "\r\n";
            } else if (method == "SETUP") {
                more = "Transport: RTP/AVP/TCP;unicast;interleaved=0-1\r\nSession: 1\r\n";
            } else if (method == "PLAY") {
                more = "Session: 1\r\n";
            }
            const auto sequence = request.find("CSeq:");
            const std::string reply = "RTSP/1.0 200 OK\r\n" +
                                      request.substr(sequence, request.find("\r\n", sequence) - sequence) +
                                      "\r\n" + more + "\r\n" + body;
            if (!Write({reinterpret_cast<const std::uint8_t*>(reply.data()), reply.size()}) ||
                method == "TEARDOWN") {
                return;
            }
            if (method == "PLAY") {
                const auto path = request.find("/", request.find("rtsp://") + 7);
                Play(std::atoi(request.c_str() + path + 1) % m_count);
                return;
            }
        }
    }

private:
    bool Read(std::string& request) const {
        request.clear();
        while (!request.ends_with("\r\n\r\n")) {
            char c = 0;
            if (::recv(m_socket, &c, 1, 0) != 1) {
                return false;
            }
            request.push_back(c);
        }
        return true;
    }

    bool Write(View bytes) const {
        while (!bytes.empty()) {
            const ssize_t written = ::send(m_socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
            if (written <= 0) {
                return false;
            }
            bytes = bytes.subspan(static_cast<std::size_t>(written));
        }
        return true;
    }

    std::string Description() const {
        std::string sets;
        for (const View unit : Units(m_film[0].bytes)) {
            if ((unit[0] & 0x1F) == 7 || (unit[0] & 0x1F) == 8) {
                sets += (sets.empty() ? "" : ",") + Base64(unit);
            }
        }
        return "v=0\r\no=- 1 1 IN IP4 127.0.0.1\r\ns=film\r\nc=IN IP4 127.0.0.1\r\nt=0 0\r\n"
               "m=video 0 RTP/AVP 96\r\na=rtpmap:96 H264/90000\r\na=fmtp:96 packetization-mode=1;"
               "sprop-parameter-sets=" +
               sets + "\r\na=control:track1\r\n";
    }

    // One packet within the session's connection.
    void Pack(Bytes& to, View head, View payload, std::uint32_t number, bool last) {
        const std::size_t size = 12 + head.size() + payload.size();
        to.push_back('$');
        to.push_back(0);
        PutNumber(to, static_cast<std::uint32_t>(size), 2);
        to.push_back(0x80);
        to.push_back(static_cast<std::uint8_t>(96 | (last ? 0x80 : 0)));
        PutNumber(to, m_sequence++, 2);
        PutNumber(to, number * 3600, 4);
        PutNumber(to, 1, 4);
        to.insert(to.end(), head.begin(), head.end());
        to.insert(to.end(), payload.begin(), payload.end());
    }

    void PackUnit(Bytes& to, View unit, std::uint32_t number, bool last) {
        if (unit.size() <= kPayload) {
            Pack(to, {}, unit, number, last);
            return;
        }
        for (std::size_t at = 1; at < unit.size(); at += kPayload) {
            const std::size_t size = std::min(kPayload, unit.size() - at);
            const bool end = at + size == unit.size();
            const std::array<std::uint8_t, 2> head = {
                static_cast<std::uint8_t>((unit[0] & 0xE0) | 28),
                static_cast<std::uint8_t>((unit[0] & 0x1F) | (at == 1 ? 0x80 : 0) | (end ? 0x40 : 0))};
            Pack(to, head, unit.subspan(at, size), number, last && end);
        }
    }

    void Play(int camera) {
        const std::int64_t offset = kPictureNs * camera / m_count;
        auto number = static_cast<std::uint32_t>(NowNs() / kPictureNs);
        for (Bytes packets;; packets.clear()) {
            ++number;
            PackUnit(packets, NumberUnit(number), number, false);
            const std::vector<View> units = Units(m_film[number % m_film.size()].bytes);
            for (const View& unit : units) {
                PackUnit(packets, unit, number, &unit == &units.back());
            }
            std::this_thread::sleep_for(std::chrono::nanoseconds(number * kPictureNs + offset - NowNs()));
            // Written before: whoever is quick must find it.
            m_sent[static_cast<std::uint32_t>(camera) * kKept + number % kKept] = NowNs();
            if (!Write(packets)) {
                return;
            }
            m_sent[static_cast<std::uint32_t>(camera) * kKept + number % kKept] = NowNs();
        }
    }

    const int m_socket;
    const std::vector<kvtest::CodedUnit>& m_film;
    std::atomic<std::int64_t>* const m_sent;
    const int m_count;
    std::uint16_t m_sequence = 0;
};

}  // namespace

std::int64_t NowNs() {
    return std::chrono::steady_clock::now().time_since_epoch().count();
}

FilmCameras::FilmCameras(const std::vector<kvtest::CodedUnit>& film, int count)
    : m_size(static_cast<std::size_t>(count) * kKept * sizeof(std::atomic<std::int64_t>)) {
    void* const shared = mmap(nullptr, m_size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    const int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    socklen_t length = sizeof address;
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto* const name = reinterpret_cast<sockaddr*>(&address);
    if (shared == MAP_FAILED || ::bind(listener, name, length) != 0 || ::listen(listener, count) != 0 ||
        ::getsockname(listener, name, &length) != 0) {
        throw std::runtime_error("no place for cameras");
    }
    m_sent = static_cast<std::atomic<std::int64_t>*>(shared);
    m_port = ntohs(address.sin_port);
    m_process = fork();
    if (m_process == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        for (;;) {
            const int socket = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
            const int at_once = 1;
            ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &at_once, sizeof at_once);
            std::thread([=, this, &film] { Session(socket, film, m_sent, count).Run(); }).detach();
        }
    }
    ::close(listener);
}

FilmCameras::~FilmCameras() {
    kill(m_process, SIGKILL);
    waitpid(m_process, nullptr, 0);
    munmap(m_sent, m_size);
}

std::string FilmCameras::Url(int camera) const {
    return "rtsp://127.0.0.1:" + std::to_string(m_port) + "/" + std::to_string(camera);
}

std::int64_t FilmCameras::SentNs(int camera, std::uint32_t number) const {
    return m_sent[static_cast<std::uint32_t>(camera) * kKept + number % kKept];
}

std::uint32_t FilmCameras::NumberIn(View picture) {
    const auto found = std::search(picture.begin(), picture.end(), kMark.begin(), kMark.end());
    if (picture.end() - found < static_cast<std::ptrdiff_t>(kMark.size() + kDigits)) {
        return 0;
    }
    const std::string digits(found + kMark.size(), found + kMark.size() + kDigits);
    return static_cast<std::uint32_t>(std::strtoul(digits.c_str(), nullptr, 16));
}

}  // namespace kvbench
