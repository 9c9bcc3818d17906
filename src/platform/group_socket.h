// Questions to a group of the networks that this computer is on, and what comes back.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/clock.h"

namespace kvmon {

// One thread uses it.
class GroupSocket {
public:
    GroupSocket() = default;
    ~GroupSocket();
    GroupSocket(const GroupSocket&) = delete;
    GroupSocket& operator=(const GroupSocket&) = delete;

    // From this IPv4 address of the computer; from all that it has for "". False where nobody can be asked.
    bool Open(const std::string& from);
    // It is an address of this computer that is asked from.
    bool IsOwn(const std::string& address) const;
    // On each of the networks, and no further.
    void Send(std::string_view datagram, const char* group, std::uint16_t port) const;
    // Waits for the first datagram, and tells those that are there, `most` of them, each with its sender's
    // address. One that is longer than `longest` comes cut, by more than that.
    using Taker = std::function<void(std::string_view datagram, const std::string& sender)>;
    void Receive(Milliseconds wait, std::size_t most, std::size_t longest, const Taker& take) const;

private:
    std::vector<int> m_sockets;
    std::vector<std::string> m_own;
};

}  // namespace kvmon
