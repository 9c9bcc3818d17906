// Two ports side by side, by which one kind of media of a session goes.
#pragma once

#include <optional>
#include <string_view>

#include "media/descriptor.h"

namespace kvrecorder {

// One thread; nothing waits.
class DatagramPair {
public:
    // At the own address of a connection, the first port even; nothing without two free ones.
    static std::optional<DatagramPair> Beside(int socket);

    int Port() const { return m_port; }
    // All goes to this port of the connection's other end; false for a port that is none, or without a way.
    bool SendTo(int socket, int port);
    void Send(std::string_view packet);

private:
    DatagramPair(int port, Descriptor media, Descriptor reports)
        : m_port(port), m_media(std::move(media)), m_reports(std::move(reports)) {}

    int m_port;
    Descriptor m_media;
    Descriptor m_reports;  // what is told of the media, which nobody reads
};

}  // namespace kvrecorder
