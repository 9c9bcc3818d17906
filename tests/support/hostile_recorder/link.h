// One end of a connection, which the program may leave in every way that there is.
#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace hostile {

class Link {
public:
    // Takes the socket over.
    Link(int socket, const std::atomic<bool>& ending) : m_socket(socket), m_ending(ending) {}
    ~Link();
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;

    // A socket that is connected to this port of the machine; -1 if nobody listens.
    static int Connect(std::uint16_t port);

    // False if the peer is gone or takes nothing for ten seconds.
    bool Send(std::string_view bytes);
    // What comes within the time, empty if nothing does. Nothing at all if the peer has ended.
    std::optional<std::string> Take(int waitMs);
    // Up to and including the blank line that ends a head.
    std::string TakeHead();
    // At least so many bytes, of which the first `count` are given and the rest is kept. Fewer at the end.
    std::string TakeExactly(std::size_t count, const Link* watched = nullptr);
    // What comes until the peer ends, is silent for five seconds, or has said too much.
    std::string TakeAll();
    // Says nothing until the peer leaves or the time is over.
    void Stall(int ms);
    bool HasLeft() const;
    // The end will be a reset.
    void MakeReset();

private:
    bool Wait(short events, int ms) const;

    const int m_socket;
    const std::atomic<bool>& m_ending;
    std::string m_ahead;
};

}  // namespace hostile
