// What a connection is there for at present, and what it may ask of the connection.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "media/media_hub.h"
#include "state/recorder_model.h"

namespace kvrecorder {

using TimePoint = std::chrono::steady_clock::time_point;

// The connection as its roles see it. To be used on the connection's strand, but for the two functions that
// it gives out.
class Link {
public:
    virtual ~Link() = default;

    // Writes the text, then the bytes of the packet; the role is told when all is written. Not while
    // Sending().
    virtual void Send(std::string_view text, PacketPtr packet = nullptr) = 0;
    virtual bool Sending() const = 0;
    // Writes of both what the system takes at once, and gives how much that was: the whole, or SendRest does
    // the rest. Also for another thread, while nothing is Sending() and the role has not been released.
    virtual std::size_t SendNow(std::string_view text, const Packet& packet) = 0;
    virtual void SendRest(std::string_view text, PacketPtr packet, std::size_t sent) = 0;
    // The connection ends then. Sending sets a deadline of its own and takes it away at its end.
    virtual void SetDeadline(TimePoint at) = 0;
    // OnTimer() is called then. A connection has one such time.
    virtual void SetTimer(TimePoint at) = 0;

    virtual std::string PeerAddress() const = 0;
    virtual void SetSendBuffer(int bytes) = 0;
    virtual void SetReceiveBuffer(int bytes) = 0;

    // Another role follows that sends the text and ends in order.
    virtual void EndWith(std::string text) = 0;
    // All is said: waits a while for the peer to close.
    virtual void Linger() = 0;
    virtual void End() = 0;

    // For any thread, and for longer than the connection: calls OnWoken(), ends the connection.
    virtual std::function<void()> Waker() = 0;
    virtual std::function<void()> Ender() = 0;
};

// All is called on the connection's strand. A role that has ended its connection or asked for another role
// gets no further calls, and returns.
class Role {
public:
    virtual ~Role() = default;

    virtual void Begin() = 0;
    // Gives back what is for the role that follows it. Unless a role says otherwise, what peers send is
    // dropped: the keep-alive bytes of notification connections, and whatever else.
    virtual std::string_view OnBytes(std::string_view bytes) {
        static_cast<void>(bytes);
        return {};
    }
    virtual bool Reads() const { return true; }
    // Whether it goes on when the peer has closed its side.
    virtual bool OutlivesPeer() const { return false; }
    virtual void OnSent() {}
    virtual void OnTimer() {}
    virtual void OnWoken() {}
    virtual void OnChanged(Change change) { static_cast<void>(change); }
    // False if the connection may end at once; else the role ends it.
    virtual bool OnShutdown() { return false; }
    // Lets go of what it holds of the recorder.
    virtual void Release() {}
};

}  // namespace kvrecorder
