// Answers those who look for recorders on the network: with the recorder's name and port, and nothing else.
#pragma once

#include <asio/io_context.hpp>
#include <asio/ip/udp.hpp>
#include <asio/steady_timer.hpp>
#include <asio/strand.hpp>

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "state/recorder_model.h"
#include "wire/recorder_search.h"

namespace kvrecorder {

// Nothing for what is no question. Never longer than the question.
std::optional<std::string> SearchAnswer(std::string_view question, std::string_view name, std::uint16_t port);

// So many answers a second, to all and to one, that the recorder is no use to who wants to flood another.
class AnswerLimit {
public:
    static constexpr std::size_t kAll = 64;
    static constexpr std::size_t kOne = 8;

    bool Take(std::uint32_t asker, std::chrono::steady_clock::time_point now);

private:
    std::chrono::steady_clock::time_point m_begin;
    std::vector<std::uint32_t> m_askers;  // that got an answer in this second
};

// Must live as long as the context.
class SearchPort {
public:
    SearchPort(asio::io_context& io, RecorderModel& model);

    // On the network of this address of the computer; on all of them for 0.0.0.0. Port 0 is the system's
    // choice. Throws ConfigError if it cannot be.
    void Open(const std::string& address, std::uint16_t port, std::uint16_t servedPort);
    // Also after an exception has torn a handler. Any thread.
    void Begin();
    void Close();
    std::uint16_t Port() const { return m_port; }

private:
    void Join();
    void WatchNetworks();
    void Receive();
    void OnQuestion(std::size_t size);

    RecorderModel& m_model;
    asio::strand<asio::io_context::executor_type> m_strand;
    asio::ip::udp::socket m_questions{m_strand};
    asio::ip::udp::socket m_answers{m_strand};
    asio::steady_timer m_networks{m_strand};
    asio::steady_timer m_retry{m_strand};
    asio::ip::address_v4 m_address;
    std::uint16_t m_port = 0;
    std::uint16_t m_servedPort = 0;
    std::array<char, wire::kSearchQuestionSize + 1> m_question{};
    asio::ip::udp::endpoint m_asker;
    AnswerLimit m_limit;
    bool m_closed = false;  // on m_strand
};

}  // namespace kvrecorder
