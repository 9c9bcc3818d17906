// Answers to those who look for recorders, on a loopback port of the system's choice.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace kvtest {

// A whole answer as a recorder gives it.
std::string RecorderAnswer(const std::string& mark, const std::string& name, std::uint16_t port);
std::string RecorderQuestion(const std::string& mark);

class SearchBeacon {
public:
    // Gets the mark of each question, and gives the datagrams that come back.
    explicit SearchBeacon(std::function<std::vector<std::string>(const std::string& mark)> answers);
    ~SearchBeacon();
    SearchBeacon(const SearchBeacon&) = delete;

    std::uint16_t Port() const { return m_port; }
    int Questions() const { return m_questions; }

private:
    void Work();

    const std::function<std::vector<std::string>(const std::string& mark)> m_answers;
    int m_socket = -1;
    std::uint16_t m_port = 0;
    std::atomic<int> m_questions{0};
    std::atomic<bool> m_ended{false};
    std::thread m_thread;
};

}  // namespace kvtest
