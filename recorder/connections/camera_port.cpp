#include "connections/camera_port.h"

namespace kvrecorder {

CameraPort::CameraPort(asio::io_context& io, RecorderModel& model, const CameraConnection::Timing& timing)
    : model_(model),
      timing_(timing),
      listener_(io, [this](asio::ip::tcp::socket socket) { Admit(std::move(socket)); }) {}

void CameraPort::Open(const std::string& address, std::uint16_t port) {
    listener_.Open(address, port);
    model_.SetCameraPlace({address, listener_.Port()});
}

void CameraPort::Admit(asio::ip::tcp::socket socket) {
    const auto connection = std::make_shared<CameraConnection>(
        std::move(socket), model_, timing_, [this](const std::shared_ptr<CameraConnection>& gone) {
            const std::lock_guard lock(mutex_);
            connections_.erase(gone);
            gone_.notify_all();
        });
    {
        const std::lock_guard lock(mutex_);
        // Beyond the limit a new one is refused at once.
        if (connections_.size() >= static_cast<std::size_t>(model_.Current()->server.maxConnections)) {
            return;
        }
        connections_.insert(connection);
    }
    connection->Start();
}

std::vector<std::shared_ptr<CameraConnection>> CameraPort::All() const {
    const std::lock_guard lock(mutex_);
    return {connections_.begin(), connections_.end()};
}

void CameraPort::Changed() {
    for (const auto& connection : All()) {
        connection->Changed();
    }
}

bool CameraPort::Stop(std::chrono::milliseconds timeout) {
    listener_.Close([this] {
        for (const auto& connection : All()) {
            connection->Close();
        }
    });
    std::unique_lock lock(mutex_);
    return gone_.wait_for(lock, timeout, [this] { return connections_.empty(); });
}

void CameraPort::Abandon() {
    for (const auto& connection : All()) {
        connection->Abandon();
    }
}

}  // namespace kvrecorder
