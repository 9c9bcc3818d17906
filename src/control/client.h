// The control, as a host embeds it.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "control/client_events.h"
#include "control/client_impl.h"
#include "control/property_map.h"
#include "platform/clock.h"

namespace kvmon {

// The host-facing side: a window of its own, and the connections that events go to. User interface thread
// only.
class CTR450Client {
public:
    // The clock is what the recorders' threads wait by.
    explicit CTR450Client(Clock& clock = SystemClock());
    ~CTR450Client();
    CTR450Client(const CTR450Client&) = delete;
    CTR450Client& operator=(const CTR450Client&) = delete;

    CTR450ClientImpl& Impl() { return m_impl; }

    // The properties that a document keeps.
    bool Load(const PropertyBag& bag) { return LoadProperties(m_impl, m_extent, bag); }
    PropertyBag Save() { return SaveProperties(m_impl, m_extent); }
    bool Load(std::span<const std::uint8_t> stream) { return LoadFromStream(m_impl, m_extent, stream); }
    std::vector<std::uint8_t> SaveStream() { return SaveToStream(m_impl, m_extent); }

    // Makes the control's window in the host's, with the console in it. Properties come before.
    WindowBase& CreateControlWindow(QWidget* host);
    // Ends the session. Not to be called from within an event: the event comes out of what this ends.
    void DestroyControlWindow();
    // Null before CreateControlWindow.
    WindowBase* ControlWindow();

    // Events go to the sinks in the order of their connection. Gives the connection's number.
    std::size_t Connect(ClientEvents* sink);
    void Disconnect(std::size_t connection);

private:
    class Window;
    void Fire(WParam event, int value);
    void FireGotoServer(int value);
    void FireLoginEnd();

    CTR450ClientImpl m_impl;
    ControlExtent m_extent;
    std::unique_ptr<Window> m_window;
    std::vector<ClientEvents*> m_sinks;  // null where a connection ended
};

}  // namespace kvmon
