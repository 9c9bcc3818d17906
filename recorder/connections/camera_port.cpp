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
    const auto connection = std::make_shared<CameraConnection>(
        std::move(socket), m_model, m_timing, [this](const std::shared_ptr<CameraConnection>& gone) {
            const std::lock_guard lock(m_mutex);
            m_connections.erase(gone);
            m_gone.notify_all();
        });
    {
        const std::lock_guard lock(m_mutex);
        // Beyond the limit a new one is refused at once.
        if (m_connections.size() >= static_cast<std::size_t>(m_model.Current()->server.maxConnections)) {
            return;
        }
        m_connections.insert(connection);
    }
    connection->Start();
}

std::vector<std::shared_ptr<CameraConnection>> CameraPort::All() const {
    const std::lock_guard lock(m_mutex);
    return {m_connections.begin(), m_connections.end()};
}

void CameraPort::Changed() {
    for (const auto& connection : All()) {
        connection->Changed();
    }
}

bool CameraPort::Stop(std::chrono::milliseconds timeout) {
    m_listener.Close([this] {
        for (const auto& connection : All()) {
            connection->Close();
        }
    });
    std::unique_lock lock(m_mutex);
    return m_gone.wait_for(lock, timeout, [this] { return m_connections.empty(); });
}

void CameraPort::Abandon() {
    for (const auto& connection : All()) {
        connection->Abandon();
    }
}

}  // namespace kvrecorder
