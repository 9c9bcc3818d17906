#include "recorder_client.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <sstream>

namespace kvtest {
namespace {

constexpr int kSilenceMs = 10'000;

bool Readable(int socket, int timeoutMs) {
    pollfd entry{socket, POLLIN, 0};
    return ::poll(&entry, 1, timeoutMs) == 1;
}

}  // namespace

RecorderClient::RecorderClient(std::uint16_t port, int receiveBuffer, const char* from)
    : m_socket(::socket(AF_INET, SOCK_STREAM, 0)) {
    if (receiveBuffer > 0) {
        ::setsockopt(m_socket, SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    sockaddr generic;
    bool bound = true;
    if (from) {
        ::inet_pton(AF_INET, from, &address.sin_addr);
        std::memcpy(&generic, &address, sizeof generic);
        bound = ::bind(m_socket, &generic, sizeof generic) == 0;
    }
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    std::memcpy(&generic, &address, sizeof generic);
    if (!bound || ::connect(m_socket, &generic, sizeof generic) != 0) {
        ::close(m_socket);
        m_socket = -1;
    }
}

RecorderClient::~RecorderClient() {
    if (m_socket >= 0) {
        ::close(m_socket);
    }
}

bool RecorderClient::Send(const std::string& bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t count = ::send(m_socket, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
        if (count <= 0) {
            return false;
        }
        done += static_cast<std::size_t>(count);
    }
    return true;
}

std::string RecorderClient::Read(std::size_t count) {
    std::string bytes(count, '\0');
    std::size_t done = 0;
    while (done < count && Readable(m_socket, kSilenceMs)) {
        const ssize_t got = ::recv(m_socket, bytes.data() + done, count - done, 0);
        if (got <= 0) {
            break;
        }
        done += static_cast<std::size_t>(got);
    }
    bytes.resize(done);
    return bytes;
}

std::string RecorderClient::ReadHead() {
    std::string head;
    for (std::string line = ReadLine(); !line.empty(); line = ReadLine()) {
        head += line;
        if (line == "\r\n") {
            break;
        }
    }
    return head;
}

std::string RecorderClient::ReadLine() {
    std::string line;
    do {
        const std::string byte = Read(1);
        if (byte.empty()) {
            break;
        }
        line += byte;
    } while (line.back() != '\n');
    return line;
}

std::string RecorderClient::ReadToEnd() {
    std::string all;
    for (std::string part = Read(1); !part.empty(); part = Read(1)) {
        all += part;
    }
    return all;
}

bool RecorderClient::WaitClosed(std::chrono::milliseconds timeout) {
    const auto end = std::chrono::steady_clock::now() + timeout;
    char dropped[65536];
    for (;;) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
        if (left.count() <= 0 || !Readable(m_socket, static_cast<int>(left.count()))) {
            return false;
        }
        if (::recv(m_socket, dropped, sizeof dropped, 0) <= 0) {
            return true;
        }
    }
}

bool RecorderClient::Silent(std::chrono::milliseconds time) {
    return !Readable(m_socket, static_cast<int>(time.count()));
}

void RecorderClient::CloseSending() {
    ::shutdown(m_socket, SHUT_WR);
}

std::string EncodeBase64(const std::string& plain) {
    static const char* kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (std::size_t i = 0; i < plain.size(); i += 3) {
        std::uint32_t word = 0;
        for (std::size_t k = 0; k < 3; ++k) {
            word = word << 8 | (i + k < plain.size() ? static_cast<unsigned char>(plain[i + k]) : 0u);
        }
        for (std::size_t k = 0; k < 4; ++k) {
            text.push_back(i + k > plain.size() ? '=' : kAlphabet[word >> (18 - 6 * k) & 63]);
        }
    }
    return text;
}

std::string Get(const std::string& target, const std::string& credentials) {
    return "GET " + target +
           " HTTP/1.0\r\nUser-Agent: Monitor\r\nHost: 127.0.0.1\r\nConnection:Keep-Alive\r\n" +
           "Authorization: Basic " + EncodeBase64(credentials) + "\r\n\r\n";
}

HttpAnswer Fetch(std::uint16_t port, const std::string& request, const char* from) {
    RecorderClient client(port, 0, from);
    HttpAnswer answer;
    if (!client.Send(request)) {
        return answer;
    }
    answer.head = client.ReadHead();
    answer.body = client.ReadToEnd();
    if (answer.head.starts_with("HTTP/1.0 ")) {
        answer.status = std::atoi(answer.head.c_str() + 9);
    }
    return answer;
}

std::vector<std::string> Lines(const std::string& body) {
    std::vector<std::string> lines;
    std::istringstream stream(body);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::string Unscramble(const std::string& line) {
    const auto word = [&](std::size_t i) {
        return static_cast<std::uint32_t>(std::strtoul(line.substr(8 * i, 8).c_str(), nullptr, 16));
    };
    std::string plain;
    for (std::size_t i = 1; i < line.size() / 8; ++i) {
        plain.push_back(static_cast<char>((word(i) ^ word(0)) & 0xFF));
    }
    return plain;
}

}  // namespace kvtest
