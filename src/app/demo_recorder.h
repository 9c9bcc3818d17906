// The recorder that comes with the program, for who has none at hand.
#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QProcess>
#include <QtCore/QTimer>
#include <cstdint>
#include <functional>

namespace kvmon {

// A child of the program that serves generated scenes on this computer alone, and ends with it. User
// interface thread only.
class DemoRecorder {
public:
    DemoRecorder();
    ~DemoRecorder();
    DemoRecorder(const DemoRecorder&) = delete;
    DemoRecorder& operator=(const DemoRecorder&) = delete;

    static constexpr const char* kAddress = "127.0.0.1";
    static constexpr const char* kUser = "admin";
    static constexpr const char* kPassword = "admin";

    // It stands beside the program.
    bool IsThere() const;
    // Tells the port at which it serves, of the one that runs already if there is one; 0 when it does not
    // start. One call at a time.
    void Start(std::function<void(std::uint16_t port)> started);

private:
    void OnOutput();
    void Tell(std::uint16_t port);

    QProcess m_process;
    QTimer m_limit;
    QByteArray m_said;
    std::uint16_t m_port = 0;
    std::function<void(std::uint16_t)> m_started;
};

}  // namespace kvmon
