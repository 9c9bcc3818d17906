// Stands between a client and a recorder, to know when a picture reached the client's computer.
#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <mutex>
#include <span>
#include <thread>
#include <utility>

namespace kvbench {

// Nanoseconds of the steady clock.
std::int64_t SteadyNs();

// Passes all bytes on as they come and notes the records of streams. It must outlive its clients'
// connections.
class RecordProxy {
public:
    // The number of a picture by its payload; -1: not to be noted.
    using Number = std::function<int(std::span<const std::uint8_t>)>;

    // Throws std::runtime_error when there is no port.
    RecordProxy(int recorderPort, Number number);
    ~RecordProxy();
    RecordProxy(const RecordProxy&) = delete;
    RecordProxy& operator=(const RecordProxy&) = delete;

    int Port() const { return m_port; }
    // When the last bytes of the channel's latest picture with this number went to the client; 0: none did.
    std::int64_t SentNs(int channel, int number) const;

private:
    class Records;

    void Accept();
    void Pass(int client);
    void Note(int channel, int number, std::int64_t ns);
    int Hold(int socket);

    const int m_recorderPort;
    const Number m_number;
    int m_listener = -1;
    int m_port = 0;
    mutable std::mutex m_mutex;
    std::map<std::pair<int, int>, std::int64_t> m_sent;
    std::list<int> m_sockets;
    std::list<std::jthread> m_threads;
    bool m_bEnd = false;
    std::jthread m_accepting;
};

}  // namespace kvbench
