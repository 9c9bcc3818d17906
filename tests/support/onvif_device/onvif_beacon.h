// Answers to those who look for cameras, on a loopback port of the system's choice: asked directly, or as one
// of the group that all cameras are in.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

namespace kvtest {

class OnvifBeacon {
public:
    struct Camera {
        std::string endpoint;
        std::string addresses;
        std::string scopes;
    };

    // Each camera answers every question, each time twice, among other datagrams.
    // `at`: an address of this machine, also of IPv6.
    explicit OnvifBeacon(std::vector<Camera> cameras, const std::string& at = "0.0.0.0");
    ~OnvifBeacon();
    OnvifBeacon(const OnvifBeacon&) = delete;

    std::uint16_t Port() const { return m_port; }

private:
    void Work();

    const std::vector<Camera> m_cameras;
    int m_socket = -1;
    std::uint16_t m_port = 0;
    std::atomic<bool> m_ended{false};
    std::thread m_thread;
};

}  // namespace kvtest
