#include "server/http/socket_fetch.h"

#include <algorithm>
#include <array>

#include "persist/utilities.h"
#include "platform/clock.h"
#include "platform/text.h"
#include "server/documents/wire_number.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kReceiveTimeoutMs = 5000;
constexpr int kFetchRoundMs = 250;
constexpr std::uint64_t kConnectLimitMs = 15000;
constexpr std::uint64_t kFetchLimitMs = 120000;
constexpr std::size_t kHeadBytes = 8192;
constexpr std::size_t kLongestRequest = 8191;
constexpr std::size_t kMaxCredentials = 255;
constexpr std::string_view kHeadEnd = "\r\n\r\n";

// Ends an exchange that the caller gave up or that takes too long.
class Deadline {
public:
    explicit Deadline(const FlagWord* abortFlag) : m_abortFlag(abortFlag) {}
    bool Passed(std::uint64_t limitMs = kFetchLimitMs) const {
        return (m_abortFlag != nullptr && *m_abortFlag != 0) || SystemClock().TickMs() - m_start >= limitMs;
    }

private:
    const FlagWord* m_abortFlag;
    const std::uint64_t m_start = SystemClock().TickMs();
};

bool ConnectSocket(Socket& socket, const SplitUrl& url, const Deadline& deadline) {
    if (socket.Open() != 0 || socket.BindAny() != 0) {
        return false;
    }
    const auto late = [&] { return deadline.Passed(kConnectLimitMs); };
    auto address = ParseDottedAddress(url.server);
    if (!address) {
        address = ResolveName(url.server, late);
    }
    if (!address || socket.SetBlocking(false) != 0) {
        return false;
    }
    const std::uint32_t code = socket.Connect(*address, static_cast<std::uint16_t>(url.port));
    if (code != 0 && code != kSocketWouldBlock) {
        return false;
    }
    std::uint32_t error = 0;
    auto ready = code == 0 ? Socket::Ready::Yes : Socket::Ready::No;
    while (ready == Socket::Ready::No && !late()) {
        ready = socket.Poll(true, kFetchRoundMs, error);
    }
    return ready == Socket::Ready::Yes && socket.PendingError() == 0 && socket.SetBlocking(true) == 0;
}

std::string MakeRequest(const SplitUrl& url, const std::string& contentType, const std::string& user,
                        const std::string& password) {
    std::string text = FormatText("GET %s HTTP/1.0\r\nAccept */*\r\nHost: %s:%u\r\n", url.object.c_str(),
                                  url.server.c_str(), url.port);
    if (!user.empty()) {
        const std::string plain = Utf16Left(user + ":" + password, kMaxCredentials);
        text += "Authorization: Basic " + EncodeBasicAuth(plain) + "\r\n";
    }
    return text + "Content-type: " + contentType + "\r\n\r\n";
}

bool SendAll(Socket& socket, std::string_view text) {
    std::uint32_t error = 0;
    while (!text.empty()) {
        const auto sent = socket.Send(text.data(), text.size(), error);
        if (!sent) {
            return false;
        }
        text.remove_prefix(*sent);
    }
    return true;
}

// One receive that looks at the abort flag every round; 0 at the end, on an error and when nothing came
// for the receive time-out.
std::size_t ReceiveSome(Socket& socket, char* buffer, std::size_t length, const Deadline& deadline) {
    std::uint32_t error = 0;
    for (std::uint32_t waited = 0; waited < kReceiveTimeoutMs && !deadline.Passed();
         waited += kFetchRoundMs) {
        const auto ready = socket.Poll(false, kFetchRoundMs, error);
        if (ready == Socket::Ready::Error) {
            return 0;
        }
        if (ready == Socket::Ready::Yes) {
            return socket.Receive(buffer, length, error).value_or(0);
        }
    }
    return 0;
}

}  // namespace

ResourceHead ParseResourceHead(std::string_view head) {
    ResourceHead result;
    constexpr std::string_view kNewer = "HTTP/1.1 ";
    constexpr std::string_view kOlder = "HTTP/1.0 ";
    // The number of a 1.1 line is read one character late, so that 200 gives 0: such servers are refused
    // here, and the recorders' own 1.0 is taken.
    if (const auto at = head.find(kNewer); at != std::string_view::npos) {
        result.nStatus = WireInt(head.substr(std::min(head.size(), at + kNewer.size() + 1)));
    } else if (const auto older = head.find(kOlder); older != std::string_view::npos) {
        result.nStatus = WireInt(head.substr(older + kOlder.size()));
    }
    constexpr std::string_view kLength = "Content-length:";
    if (const auto at = head.find(kLength); at != std::string_view::npos) {
        std::string_view digits = head.substr(at + kLength.size());
        digits.remove_prefix(std::min(digits.find_first_not_of(" \t"), digits.size()));
        if (!digits.empty() && digits[0] >= '0' && digits[0] <= '9') {
            result.nContentLength = static_cast<std::uint64_t>(WireInt64(digits));
        }
    }
    return result;
}

bool FetchBySocket(Socket& socket, std::vector<std::uint8_t>& data, const SplitUrl& url,
                   const std::string& contentType, const std::string& user, const std::string& password,
                   const FlagWord* abortFlag) {
    const std::string request = MakeRequest(url, contentType, user, password);
    const Deadline deadline(abortFlag);
    if (Utf16Length(request) > kLongestRequest || !ConnectSocket(socket, url, deadline) ||
        !SendAll(socket, request)) {
        return false;
    }
    socket.SetKeepAlive(true);
    socket.SetReceiveTimeout(kReceiveTimeoutMs);

    std::array<char, kHeadBytes> buffer;
    std::size_t have = 0;
    std::size_t headEnd = std::string_view::npos;
    while (headEnd == std::string_view::npos) {
        const std::size_t got = ReceiveSome(socket, buffer.data() + have, buffer.size() - have, deadline);
        if (got == 0) {
            return false;
        }
        have += got;
        headEnd = std::string_view(buffer.data(), have).find(kHeadEnd);
    }
    const ResourceHead head = ParseResourceHead(std::string_view(buffer.data(), headEnd));
    if (head.nStatus != 200 || head.nContentLength > kMaxResourceBytes) {
        return false;
    }
    const auto length = static_cast<std::size_t>(head.nContentLength);
    const std::size_t body = headEnd + kHeadEnd.size();
    const auto append = [&](std::size_t from, std::size_t to) {
        const auto room = static_cast<std::ptrdiff_t>(length - data.size());
        const auto count = std::min(static_cast<std::ptrdiff_t>(to - from), room);
        const auto first = buffer.begin() + static_cast<std::ptrdiff_t>(from);
        data.insert(data.end(), first, first + count);
    };
    // Grows with what really came, whatever the head promises.
    append(body, have);
    while (data.size() < length) {
        const std::size_t got = ReceiveSome(socket, buffer.data(), buffer.size(), deadline);
        if (got == 0) {
            return false;
        }
        append(0, got);
    }
    return true;
}

}  // namespace kvmon
