// A recorder whose only stream goes on as the test says.
#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "support/scripted_server.h"

namespace kvtest {

// A recorder that sends as many records as the test has asked for.
class Film {
public:
    explicit Film(std::vector<std::string> records) : m_records(std::move(records)) {}

    // A script that waits for the test's word gets it.
    ~Film() { m_wanted = m_records.size(); }
    Film(const Film&) = delete;
    Film& operator=(const Film&) = delete;

    void SendTo(std::size_t count) { m_wanted = count; }
    std::uint16_t Port() const { return m_server.Port(); }

private:
    void Run(Peer& peer) {
        peer.ReadHead();
        bool bThere = peer.Write(HttpReply(200, "OK", ""));
        for (std::size_t next = 0; bThere && next < m_records.size();) {
            if (next < m_wanted) {
                bThere = peer.Write(m_records[next++]);
            } else {
                bThere = !peer.WaitClosed(milliseconds(1));
            }
        }
        peer.Hold();
    }

    const std::vector<std::string> m_records;
    std::atomic<std::size_t> m_wanted{0};
    ScriptedServer m_server{[this](Peer& peer) { Run(peer); }, "getstream.cgi"};
};

}  // namespace kvtest
