// The share port over SMB.
#pragma once

#include <QtCore/QElapsedTimer>
#include <QtCore/QObject>
#include <QtCore/QPointer>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "control/host_ports.h"

class QProcess;

namespace kvmon {

// Each share that is connected is held by a process of its own (see share_request.h). User interface thread
// only, with an application.
class SmbShares final : public SharePort {
public:
    static constexpr int kConnectMs = 10000;
    static constexpr std::size_t kMaxHeld = 64;

    // Told of each share of a list, with the path of the folder in which programs read it, if there is one.
    using Tell = std::function<void(const std::string& share, int result, const std::string& path)>;

    // The program that comes with this one.
    explicit SmbShares(Tell tell = {});
    // `program` holds a share; one that cannot be started makes each connection fail.
    explicit SmbShares(std::string program, int connectMs = kConnectMs, Tell tell = {});
    // Ends all connections, also those that nobody cancels any more.
    ~SmbShares() override;
    SmbShares(const SmbShares&) = delete;
    SmbShares& operator=(const SmbShares&) = delete;

    // Events are handled until the answer is there, or the time of `connectMs` is over: the caller's thread
    // goes on, and the caller may be called again meanwhile. The end of the application cancels it. A share
    // that is connected already is connected anew, with this credential; if that fails the older connection
    // stays.
    int Connect(const std::string& user, const std::string& password, const std::string& share) override;
    // Does not wait.
    void Cancel(const std::string& share) override;
    void OnTried(const std::string& share, int result) override;

    // A Connect is under way.
    bool IsConnecting() const { return m_connecting > 0; }
    std::size_t HeldCount() const;

private:
    struct Answer {
        std::optional<int> result;
        std::optional<std::string> path;
        // All of it has come.
        bool IsWhole() const { return path || (result && *result != 0); }
    };
    // Takes what has come of the process's lines.
    static void ReadAnswer(QProcess& process, Answer& answer);
    int Ask(QProcess& process, const std::string& request, std::string& path) const;
    static void End(QProcess* process);
    bool IsSilent(const std::string& host) const;

    const std::string m_program;
    const int m_connectMs;
    const Tell m_tell;
    std::string m_path;  // of the share that was connected last
    // The parent of all processes, also of those that end.
    QObject m_processes;
    // By ShareKey. Null for one that ended by itself.
    std::map<std::string, QPointer<QProcess>> m_held;
    int m_connecting = 0;
    // The host that did not answer last, and when that was told: further shares of a list do not wait again.
    std::string m_silentHost;
    QElapsedTimer m_silentSince;
};

}  // namespace kvmon
