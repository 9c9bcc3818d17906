// Sockets behind the operations and the numeric error codes that the logic works with.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace kvmon {

inline constexpr std::uint32_t kSocketInvalidArgument = 10022;
inline constexpr std::uint32_t kSocketWouldBlock = 10035;
inline constexpr std::uint32_t kSocketAborted = 10053;
inline constexpr std::uint32_t kSocketTimedOut = 10060;

// The code for an errno value; one without a counterpart gives 10022.
std::uint32_t SocketErrorFromErrno(int error);

// An IPv4 address in network order.
using Ipv4Address = std::uint32_t;

// Dotted text in all its old forms (1 to 4 numbers, decimal, octal or hexadecimal).
std::optional<Ipv4Address> ParseDottedAddress(const std::string& text);

// The first address of a name. The look-up runs on a thread of its own, since it may hang; `giveUp` is
// asked every 250 ms and ends the wait.
std::optional<Ipv4Address> ResolveName(const std::string& name, const std::function<bool()>& giveUp);

// A stream socket. One thread uses it; Shutdown alone may be called from any thread at any time.
class Socket {
public:
    Socket() = default;
    virtual ~Socket() = default;
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    virtual bool IsOpen() const = 0;
    // These give 0 on success, else a code.
    virtual std::uint32_t Open() = 0;
    virtual std::uint32_t BindAny() = 0;
    virtual std::uint32_t SetBlocking(bool blocking) = 0;
    virtual std::uint32_t Connect(Ipv4Address address, std::uint16_t port) = 0;
    // The outcome of a connection that was under way.
    virtual std::uint32_t PendingError() const = 0;
    virtual std::uint32_t SetKeepAlive(bool on) = 0;
    // A peer that is gone without a word ends a quiet connection after idle + interval * probes seconds, and
    // one with bytes under way after `unanswered`.
    struct DeadPeer {
        int idleSeconds = 0;
        int intervalSeconds = 0;
        int probes = 0;
        int unansweredMs = 0;
    };
    virtual std::uint32_t SetDeadPeer(const DeadPeer& times) = 0;
    // 0 means no limit.
    virtual std::uint32_t SetReceiveTimeout(std::uint32_t milliseconds) = 0;
    // How much the system keeps of what the peer has not taken yet; it may double the number.
    virtual std::uint32_t SetSendBuffer(int bytes) = 0;

    enum class Ready { Yes, No, Error };
    // Waits until the socket can be read or written.
    virtual Ready Poll(bool write, int milliseconds, std::uint32_t& error) = 0;

    // The number of bytes, 0 at the peer's end; nothing on an error, which is then in `error`. A signal
    // does not end them.
    virtual std::optional<std::size_t> Send(const void* data, std::size_t length, std::uint32_t& error) = 0;
    virtual std::optional<std::size_t> Receive(void* buffer, std::size_t length, std::uint32_t& error) = 0;
    // As Receive, but the bytes stay to be received.
    virtual std::optional<std::size_t> Peek(void* buffer, std::size_t length, std::uint32_t& error) = 0;

    // Ends blocked operations of the thread that uses the socket, and all later ones.
    virtual void Shutdown() = 0;
    virtual void Close() = 0;
};

// Makes the sockets of one owner.
using SocketMaker = std::function<std::unique_ptr<Socket>()>;

// The system's own.
class SystemSocket final : public Socket {
public:
    static std::unique_ptr<Socket> Make() { return std::make_unique<SystemSocket>(); }

    ~SystemSocket() override { SystemSocket::Close(); }

    bool IsOpen() const override { return m_fd >= 0; }
    std::uint32_t Open() override;
    std::uint32_t BindAny() override;
    std::uint32_t SetBlocking(bool blocking) override;
    std::uint32_t Connect(Ipv4Address address, std::uint16_t port) override;
    std::uint32_t PendingError() const override;
    std::uint32_t SetKeepAlive(bool on) override;
    std::uint32_t SetDeadPeer(const DeadPeer& times) override;
    std::uint32_t SetReceiveTimeout(std::uint32_t milliseconds) override;
    std::uint32_t SetSendBuffer(int bytes) override;
    Ready Poll(bool write, int milliseconds, std::uint32_t& error) override;
    std::optional<std::size_t> Send(const void* data, std::size_t length, std::uint32_t& error) override;
    std::optional<std::size_t> Receive(void* buffer, std::size_t length, std::uint32_t& error) override;
    std::optional<std::size_t> Peek(void* buffer, std::size_t length, std::uint32_t& error) override;
    void Shutdown() override;
    void Close() override;

private:
    std::optional<std::size_t> Receive(void* buffer, std::size_t length, int flags, std::uint32_t& error);

    int m_fd = -1;
    std::mutex m_closing;  // keeps Shutdown from a descriptor that was given back
};

}  // namespace kvmon
