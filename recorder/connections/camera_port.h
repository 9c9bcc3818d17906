// The cameras' own port: clients that are told of it fetch a channel's pictures past the recorder's protocol.
#pragma once

#include <string>

#include "connections/camera_connection.h"
#include "connections/listener.h"
#include "connections/place_book.h"

namespace kvrecorder {

// May be used from any thread, but for Open. Must live as long as the context.
class CameraPort {
public:
    CameraPort(asio::io_context& io, RecorderModel& model, const CameraConnection::Timing& timing);

    // Tells the model where clients find the cameras. Throws ConfigError if the address cannot be used.
    void Open(const std::string& address, std::uint16_t port);
    void Begin() { m_listener.Begin(); }
    std::string Endpoint() const { return m_listener.Endpoint(); }
    void Changed();
    // Ends all connections; false if some are left at the time's end.
    bool Stop(std::chrono::milliseconds timeout);
    // Only when the context does not run any more.
    void Abandon();

private:
    void Admit(asio::ip::tcp::socket socket);

    RecorderModel& m_model;
    const CameraConnection::Timing m_timing;
    PlaceBook<CameraConnection> m_places;
    Listener m_listener;
};

}  // namespace kvrecorder
