// Which channels the four windows of picture-in-picture show, while a user chooses.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

namespace kvmon {

using PipList = std::array<std::uint32_t, 4>;

// Always four different channels.
class PipChoice {
public:
    // Channels from `channels` on, and doubles, become the smallest ones that are free.
    PipChoice(const PipList& list, std::uint32_t channels) {
        const std::uint32_t count = std::max<std::uint32_t>(channels, 4);
        for (std::size_t i = 0; i < m_list.size(); ++i) {
            const bool bTaken = list[i] >= count || IsAmong(i, list[i]);
            m_list[i] = bTaken ? count : list[i];
        }
        for (std::uint32_t& channel : m_list) {
            for (std::uint32_t free = 0; channel == count && free < count; ++free) {
                if (!IsAmong(m_list.size(), free)) {
                    channel = free;
                }
            }
        }
    }

    const PipList& List() const { return m_list; }
    // The window that held the channel takes what this one had.
    void Choose(std::size_t window, std::uint32_t channel) {
        const auto holder = std::find(m_list.begin(), m_list.end(), channel);
        if (holder != m_list.end()) {
            *holder = m_list[window];
        }
        m_list[window] = channel;
    }

private:
    bool IsAmong(std::size_t count, std::uint32_t channel) const {
        const auto* const end = m_list.begin() + count;
        return std::find(m_list.begin(), end, channel) != end;
    }

    PipList m_list{};
};

}  // namespace kvmon
