#include "connections/camera_port.h"

namespace kvrecorder {

CameraPort::CameraPort(asio::io_context& io, RecorderModel& model, const CameraConnection::Timing& timing)
    : m_model(model),
      m_timing(timing),
      m_listener(io, [this](asio::ip::tcp::socket socket) { Admit(std::move(socket)); }) {}

void CameraPort::Open(const std::string& address, std::uint16_t port) {
    m_listener.Open(address, port);
    m_model.SetCameraPlace({address, m_listener.Port()});
}

void CameraPort::Admit(asio::ip::tcp::socket socket) {
    std::error_code ignored;
    const SourceAddress from(socket.remote_endpoint(ignored).address().to_string());
    const auto connection = std::make_shared<CameraConnection>(
        std::move(socket), m_model, m_timing,
        [this](const std::shared_ptr<CameraConnection>& gone) { m_places.Remove(gone); });
    if (m_places.Admit(Places(m_model.Current()->server), from, connection)) {
        connection->Start();
    }
}

void CameraPort::Changed() {
    for (const auto& connection : m_places.All()) {
        connection->Changed();
    }
}

bool CameraPort::Stop(std::chrono::milliseconds timeout) {
    m_listener.Close([this] {
        for (const auto& connection : m_places.All()) {
            connection->Close();
        }
    });
    return m_places.WaitEmpty(timeout);
}

void CameraPort::Abandon() {
    for (const auto& connection : m_places.All()) {
        connection->Abandon();
    }
}

}  // namespace kvrecorder
