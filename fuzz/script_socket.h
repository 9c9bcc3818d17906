// Sockets whose peer is the fuzzer, and a clock on which nobody waits.
#pragma once

#include <algorithm>
#include <cstring>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <utility>

#include "platform/clock.h"
#include "platform/socket.h"

namespace kvfuzz {

// Each wait moves it on and is over. What waits without limit must be set.
class StepClock final : public kvmon::Clock {
public:
    std::uint64_t TickMs() override { return ++m_tick; }
    std::chrono::system_clock::time_point Now() override {
        return std::chrono::system_clock::time_point(std::chrono::milliseconds(m_tick));
    }
    int WaitAny(std::span<kvmon::Event* const> events, std::optional<kvmon::Milliseconds> timeout) override {
        for (std::size_t i = 0; i < events.size(); ++i) {
            if (events[i]->IsSet()) {
                return static_cast<int>(i);
            }
        }
        if (!timeout) {
            std::abort();
        }
        m_tick += static_cast<std::uint64_t>(timeout->count());
        return kvmon::kWaitTimeout;
    }
    kvmon::Milliseconds SocketRound(kvmon::Milliseconds) override { return kvmon::Milliseconds(0); }

private:
    std::uint64_t m_tick = 1'700'000'000'000;
};

// One connection's peer: what it says, and how.
struct Script {
    std::string bytes;
    std::size_t piece = 0;  // at most so many at a time; 0: as they are wanted
    bool refused = false;
    bool stallsOnce = false;  // nothing comes for a while in the middle
    enum class End { Closed, Reset, Silent } end = End::Closed;

    // By a byte of the fuzzer's.
    void SetManner(std::uint8_t manner) {
        constexpr std::size_t kPieces[] = {0, 1, 2, 3, 7, 16, 100, 1000};
        constexpr End kEnds[] = {End::Closed, End::Closed, End::Reset, End::Silent};
        piece = kPieces[manner & 7];
        end = kEnds[manner >> 3 & 3];
        stallsOnce = (manner & 32) != 0;
        refused = manner >> 6 == 3;
    }
};

// The peer of all connections of one run.
class ScriptPeer {
public:
    // Gives the script for what was sent. `request` is empty if the other side reads before it sends.
    using Answer = std::function<Script(std::string_view request)>;

    explicit ScriptPeer(Answer answer) : m_answer(std::move(answer)) {}

    kvmon::SocketMaker Maker() {
        return [this] { return std::make_unique<ScriptSocket>(*this); };
    }
    std::unique_ptr<kvmon::Socket> Make() { return std::make_unique<ScriptSocket>(*this); }
    // True for a connection that does not come about. Without it the script's own word is late.
    std::function<bool()> refuses;

private:
    class ScriptSocket final : public kvmon::Socket {
    public:
        explicit ScriptSocket(ScriptPeer& peer) : m_peer(peer) {}

        bool IsOpen() const override { return m_open; }
        std::uint32_t Open() override {
            m_open = true;
            return 0;
        }
        std::uint32_t BindAny() override { return 0; }
        std::uint32_t SetBlocking(bool) override { return 0; }
        std::uint32_t Connect(kvmon::Ipv4Address, std::uint16_t) override {
            return m_peer.refuses && m_peer.refuses() ? kRefused : 0;
        }
        std::uint32_t PendingError() const override { return 0; }
        std::uint32_t SetKeepAlive(bool) override { return 0; }
        std::uint32_t SetDeadPeer(const DeadPeer&) override { return 0; }
        std::uint32_t SetReceiveTimeout(std::uint32_t) override { return 0; }
        std::uint32_t SetSendBuffer(int) override { return 0; }

        Ready Poll(bool write, int, std::uint32_t& error) override {
            if (m_shut) {
                return Ready::Yes;
            }
            if (write) {
                return Ready::Yes;
            }
            Begin();
            if (m_script.refused) {
                error = kReset;
                return Ready::Error;
            }
            return Stalls() ? Ready::No : Ready::Yes;
        }
        std::optional<std::size_t> Send(const void* data, std::size_t length, std::uint32_t&) override {
            if (!m_begun) {
                m_request.append(static_cast<const char*>(data), length);
            }
            return length;
        }
        std::optional<std::size_t> Receive(void* buffer, std::size_t length, std::uint32_t& error) override {
            const auto count = Peek(buffer, length, error);
            m_at += count.value_or(0);
            return count;
        }
        std::optional<std::size_t> Peek(void* buffer, std::size_t length, std::uint32_t& error) override {
            if (m_shut) {
                return 0;
            }
            Begin();
            if (m_script.refused || (IsAtEnd() && m_script.end == Script::End::Reset)) {
                error = kReset;
                return std::nullopt;
            }
            if (IsAtEnd() && m_script.end == Script::End::Silent && m_peer.m_stalls > 0) {
                --m_peer.m_stalls;
                error = kvmon::kSocketWouldBlock;
                return std::nullopt;
            }
            const std::size_t piece = m_script.piece == 0 ? length : m_script.piece;
            const std::size_t count = std::min({length, piece, m_script.bytes.size() - m_at});
            std::memcpy(buffer, m_script.bytes.data() + m_at, count);
            return count;
        }
        void Shutdown() override { m_shut = true; }
        void Close() override { m_open = false; }

    private:
        static constexpr std::uint32_t kReset = 10054;
        static constexpr std::uint32_t kRefused = 10061;
        static constexpr int kMiddleStall = 4;

        void Begin() {
            if (!std::exchange(m_begun, true)) {
                m_script = m_peer.m_answer(m_request);
                m_stall = m_script.stallsOnce ? kMiddleStall : 0;
            }
        }
        bool IsAtEnd() const { return m_at == m_script.bytes.size(); }
        // Of all connections together there is no more silence than this.
        bool Stalls() {
            const bool silent = IsAtEnd() && m_script.end == Script::End::Silent;
            const bool waits = m_stall > 0 && m_at >= m_script.bytes.size() / 2;
            if ((!silent && !waits) || m_peer.m_stalls == 0) {
                return false;
            }
            m_stall -= waits ? 1 : 0;
            --m_peer.m_stalls;
            return true;
        }

        ScriptPeer& m_peer;
        Script m_script;
        std::string m_request;
        std::size_t m_at = 0;
        int m_stall = 0;
        bool m_open = false;
        bool m_begun = false;
        bool m_shut = false;
    };

    const Answer m_answer;
    int m_stalls = 300;
};

}  // namespace kvfuzz
