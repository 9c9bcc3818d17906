// A blocking client that shares no code with the recorder.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace kvtest {

class RecorderClient {
public:
    // `from` is an address of this machine to call from.
    explicit RecorderClient(std::uint16_t port, int receiveBuffer = 0, const char* from = nullptr);
    ~RecorderClient();
    RecorderClient(RecorderClient&& other) noexcept : m_socket(other.m_socket) { other.m_socket = -1; }
    RecorderClient(const RecorderClient&) = delete;

    // False if the peer is gone.
    bool Send(const std::string& bytes);
    // Exactly `count` bytes, fewer at the peer's end or after ten seconds of silence.
    std::string Read(std::size_t count);
    // Up to and including a blank line.
    std::string ReadHead();
    std::string ReadLine();
    std::string ReadToEnd();
    // True if the peer closes within the time; what it sends meanwhile is dropped.
    bool WaitClosed(std::chrono::milliseconds timeout = std::chrono::seconds(10));
    // True if nothing comes within the time.
    bool Silent(std::chrono::milliseconds time);
    void CloseSending();

private:
    int m_socket;
};

std::string EncodeBase64(const std::string& plain);
// A request of the form that clients send.
std::string Get(const std::string& target, const std::string& credentials = "admin:secret");

struct HttpAnswer {
    int status = 0;
    std::string head;
    std::string body;
};
HttpAnswer Fetch(std::uint16_t port, const std::string& request, const char* from = nullptr);

std::vector<std::string> Lines(const std::string& body);
// The plain text of a line of hexadecimal words, the first of which is the key to the others.
std::string Unscramble(const std::string& line);

}  // namespace kvtest
