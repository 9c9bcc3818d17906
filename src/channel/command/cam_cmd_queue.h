// The commands that wait for a channel's command thread.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>

namespace kvmon {

struct CamCmd {
    std::uint32_t dwCmd = 0;
    std::uint32_t dwArg = 0;
    friend bool operator==(const CamCmd&, const CamCmd&) = default;
};

// First in, first out. A command too many throws the oldest away, never the newest. Any thread.
class CamCmdQueue {
public:
    static constexpr std::size_t kMaxWaiting = 10;

    void Push(const CamCmd& command) {
        const std::lock_guard lock(m_cs);
        if (m_nCount == kMaxWaiting) {
            DropHead();
        }
        m_commands[(m_nHead + m_nCount) % kMaxWaiting] = command;
        ++m_nCount;
    }
    std::optional<CamCmd> Pop() {
        const std::lock_guard lock(m_cs);
        if (m_nCount == 0) {
            return std::nullopt;
        }
        const CamCmd command = m_commands[m_nHead];
        DropHead();
        return command;
    }
    std::size_t GetCount() const {
        const std::lock_guard lock(m_cs);
        return m_nCount;
    }

private:
    void DropHead() {
        m_nHead = (m_nHead + 1) % kMaxWaiting;
        --m_nCount;
    }

    mutable std::mutex m_cs;
    std::array<CamCmd, kMaxWaiting> m_commands{};
    std::size_t m_nHead = 0;
    std::size_t m_nCount = 0;
};

}  // namespace kvmon
