#include "cameras/rtsp_connection.h"

#include <netdb.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/random.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <thread>

#include "cameras/camera_url.h"
#include "cameras/camera_words.h"

namespace kvrecorder {
namespace {

using std::chrono::milliseconds;

// The largest packet and much of what comes behind it.
constexpr std::size_t kBuffer = 128 << 10;
constexpr std::size_t kLongestHead = 16 << 10;
constexpr std::size_t kLongestBody = 64 << 10;
constexpr std::size_t kPacketHead = 4;
// Whoever waits is asked so often whether he still does.
constexpr milliseconds kLongestWait{100};
// A net brings a picture in many small pieces, of which each would wake the thread.
constexpr std::chrono::microseconds kGather{1'000};
constexpr int kMostReplies = 8;
constexpr std::uint8_t kMostChannels = 8;

struct FreeAddresses {
    void operator()(addrinfo* addresses) const { ::freeaddrinfo(addresses); }
};

// "rtsp://[host]:port/path" without a login.
std::string PortOf(const std::string& url) {
    std::size_t begin = url.find("://") + 3;
    if (url.compare(begin, 1, "[") == 0) {
        begin = url.find(']', begin);
    }
    const std::size_t port = url.find_first_of(":/?", begin);
    if (port == std::string::npos || url[port] != ':') {
        return "554";
    }
    return url.substr(port + 1, url.find_first_of("/?", port) - port - 1);
}

// A packet of a channel that may have been asked for, or a word.
bool BeginsItem(const std::uint8_t* bytes) {
    return (bytes[0] == '$' && bytes[1] < kMostChannels) ||
           std::all_of(bytes, bytes + kPacketHead,
                       [](std::uint8_t byte) { return (byte >= 'A' && byte <= 'Z') || byte == '_'; });
}

std::string Random() {
    std::array<unsigned char, 8> bytes{};
    std::string text;
    if (::getrandom(bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size())) {
        for (const unsigned char byte : bytes) {
            text += static_cast<char>('a' + byte % 16);
            text += static_cast<char>('a' + byte / 16);
        }
    }
    return text;
}

}  // namespace

RtspConnection::RtspConnection(const NetworkCamera& camera, const std::string& url, InputLimit& limit)
    : m_camera(camera), m_limit(limit), m_buffer(kBuffer) {
    Connect(ReadCameraUrl(url).host, PortOf(url));
}

void RtspConnection::Connect(const std::string& host, const std::string& port) {
    addrinfo wanted{};
    wanted.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (::getaddrinfo(host.c_str(), port.c_str(), &wanted, &found) != 0) {
        throw CameraError(words::kUnknownHost);
    }
    const std::unique_ptr<addrinfo, FreeAddresses> addresses(found);
    int error = EHOSTUNREACH;
    for (const addrinfo* at = found; at && error != 0; at = at->ai_next) {
        Descriptor socket(::socket(at->ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        if (socket.Get() < 0) {
            throw CameraError(words::kNoMemory);
        }
        m_socket.emplace(std::move(socket));
        error = ::connect(m_socket->Get(), at->ai_addr, at->ai_addrlen) == 0 ? 0 : errno;
        if (error == EINPROGRESS) {
            WaitFor(POLLOUT);
            socklen_t size = sizeof error;
            ::getsockopt(m_socket->Get(), SOL_SOCKET, SO_ERROR, &error, &size);
        }
    }
    if (error != 0) {
        Fail(error);
    }
    const int on = 1;
    ::setsockopt(m_socket->Get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

void RtspConnection::Fail(int error) const {
    switch (error) {
        case ECONNREFUSED:
            throw CameraError(words::kNothingListens);
        case EHOSTUNREACH:
        case ENETUNREACH:
            throw CameraError(words::kNoWay);
        case ETIMEDOUT:
            throw CameraError(words::kNoAnswer);
        default:
            throw CameraError(words::kClosed);
    }
}

void RtspConnection::WaitFor(short events) {
    pollfd waited{m_socket->Get(), events, 0};
    do {
        // Also of a camera that lets nobody wait.
        if (m_limit.IsOver()) {
            throw CameraError(m_isOpen ? words::kNoMorePictures : words::kNoAnswer);
        }
        if (m_limit.Ended()) {
            throw CameraError(words::kClosed);
        }
    } while (::poll(&waited, 1, static_cast<int>(kLongestWait.count())) <= 0);
}

void RtspConnection::Tell(std::string_view method, const std::string& url, std::string_view fields) {
    std::string request = std::string(method) + " " + url +
                          " RTSP/1.0\r\nCSeq: " + std::to_string(++m_sequence) +
                          "\r\nUser-Agent: kvrecorder\r\n" + std::string(fields);
    m_signed = m_challenge && !m_camera.user.empty();
    if (m_signed) {
        std::string answer = AnswerRtspChallenge(*m_challenge, m_camera.user, m_camera.password.View(),
                                                 method, url, ++m_signedCount, Random());
        AppendSecret(request, "Authorization: ");
        AppendSecret(request, answer);
        AppendSecret(request, "\r\n");
        Wipe(answer);
    }
    AppendSecret(request, "\r\n");
    // It is far less than the system takes at once.
    const ssize_t sent = ::send(m_socket->Get(), request.data(), request.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    const bool whole = sent == static_cast<ssize_t>(request.size());
    Wipe(request);
    if (!whole) {
        throw CameraError(words::kClosed);
    }
}

RtspConnection::Reply RtspConnection::Ask(std::string_view method, const std::string& url,
                                          std::string_view fields) {
    for (int tries = 0; tries < 3; ++tries) {
        Tell(method, url, fields);
        Reply reply = ReadReply();
        if (!Judge(reply.head)) {
            return reply;
        }
    }
    throw CameraError(words::kRefusesLogin);
}

bool RtspConnection::Judge(const RtspHead& head) {
    if (head.status >= 200 && head.status < 300) {
        return false;
    }
    if (head.status == 401) {
        auto challenge = ReadRtspChallenge(head);
        if (m_camera.user.empty()) {
            throw CameraError(words::kWantsLogin);
        }
        if (!challenge) {
            throw StrangeRtsp();
        }
        // Another nonce, as the old one is too old, is no refusal.
        if (m_signed && m_challenge &&
            (challenge->kind == RtspChallenge::Kind::Basic || challenge->nonce == m_challenge->nonce)) {
            throw CameraError(words::kRefusesLogin);
        }
        m_challenge = std::move(challenge);
        m_signedCount = 0;
        return true;
    }
    switch (head.status) {
        case 403:
            throw CameraError(m_camera.user.empty() ? words::kWantsLogin : words::kRefusesLogin);
        case 404:
            throw CameraError(words::kNoPath);
        default:
            if (head.status >= 500 || head.status == 400) {
                throw CameraError(words::kRefuses);
            }
            throw StrangeRtsp();
    }
}

RtspConnection::Reply RtspConnection::ReadReply() {
    for (int others = 0; others < kMostReplies;) {
        const Item* const item = NextItem();
        if (!item) {
            Receive(false);
            continue;
        }
        if (item->isPacket || item->head.status == 0) {
            others += item->isPacket ? 0 : 1;
            DropItem();
            continue;
        }
        Reply reply{item->head, {item->bytes.begin(), item->bytes.end()}};
        DropItem();
        return reply;
    }
    throw StrangeRtsp();
}

const RtspConnection::Item* RtspConnection::NextItem() {
    if (m_item) {
        return &*m_item;
    }
    // Some cameras send a line's end too much; of what is damaged a beginning is looked for.
    while (m_end - m_begin >= kPacketHead && !BeginsItem(m_buffer.data() + m_begin)) {
        ++m_begin;
    }
    const std::span<const std::uint8_t> rest(m_buffer.data() + m_begin, m_end - m_begin);
    if (rest.size() < kPacketHead) {
        return nullptr;
    }
    if (rest[0] == '$') {
        const std::size_t size = static_cast<std::size_t>(rest[2]) << 8 | rest[3];
        if (rest.size() < kPacketHead + size) {
            return nullptr;
        }
        m_item.emplace();
        m_item->isPacket = true;
        m_item->channel = rest[1];
        m_item->bytes = rest.subspan(kPacketHead, size);
        m_itemSize = kPacketHead + size;
        return &*m_item;
    }
    const std::string_view text(reinterpret_cast<const char*>(rest.data()), rest.size());
    const std::size_t end = text.substr(0, kLongestHead).find("\r\n\r\n");
    if (end == std::string_view::npos) {
        if (rest.size() > kLongestHead) {
            throw CameraError(words::kNotUnderstood);
        }
        return nullptr;
    }
    auto head = ReadRtspHead(text.substr(0, end + 2));
    const auto size = head ? head->BodySize() : std::nullopt;
    if (!size || *size > kLongestBody) {
        throw CameraError(words::kNotUnderstood);
    }
    if (rest.size() < end + 4 + *size) {
        return nullptr;
    }
    m_item.emplace();
    m_item->head = std::move(*head);
    m_item->bytes = rest.subspan(end + 4, *size);
    m_itemSize = end + 4 + *size;
    return &*m_item;
}

void RtspConnection::DropItem() {
    m_begin += m_itemSize;
    m_item.reset();
    m_itemSize = 0;
}

void RtspConnection::Receive(bool gather) {
    if (gather) {
        std::this_thread::sleep_for(kGather);
    }
    if (m_begin > 0) {
        std::copy(m_buffer.begin() + static_cast<std::ptrdiff_t>(m_begin),
                  m_buffer.begin() + static_cast<std::ptrdiff_t>(m_end), m_buffer.begin());
        m_end -= m_begin;
        m_begin = 0;
    }
    while (true) {
        WaitFor(POLLIN);
        const ssize_t size = ::recv(m_socket->Get(), m_buffer.data() + m_end, m_buffer.size() - m_end, 0);
        if (size > 0) {
            m_end += static_cast<std::size_t>(size);
            return;
        }
        if (size == 0 || (errno != EAGAIN && errno != EINTR)) {
            throw CameraError(words::kClosed);
        }
    }
}

}  // namespace kvrecorder
