#include "control/smb_shares.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDeadlineTimer>
#include <QtCore/QEventLoop>
#include <QtCore/QProcess>
#include <QtCore/QTimer>
#include <QtCore/QVariant>
#include <algorithm>
#include <optional>

#include "persist/utilities.h"
#include "platform/secret_memory.h"
#include "shares/share_name.h"
#include "shares/share_request.h"

namespace kvmon {

namespace {

// Between two shares of one list, and less than between two tries of a user.
constexpr qint64 kSilentMs = 1000;
// A process that is connected takes its share off the desktop's folders when its input ends.
constexpr const char* kConnectedMark = "connected";
constexpr int kFarewellMs = 3000;
constexpr int kEndMs = 1500;
constexpr int kKilledMs = 200;
constexpr qint64 kMaxPath = 8 * 1024;

void Dismiss(QProcess& process) {
    if (process.property(kConnectedMark).toBool()) {
        process.closeWriteChannel();
    } else {
        process.kill();
    }
}

}  // namespace

SmbShares::SmbShares(Tell tell) : SmbShares(GetHelperPath(kShareProgram), kConnectMs, std::move(tell)) {}

SmbShares::SmbShares(std::string program, int connectMs, Tell tell)
    : m_program(std::move(program)), m_connectMs(connectMs), m_tell(std::move(tell)) {}

SmbShares::~SmbShares() {
    const auto processes = m_processes.findChildren<QProcess*>(QString(), Qt::FindDirectChildrenOnly);
    for (QProcess* const process : processes) {
        Dismiss(*process);
    }
    QDeadlineTimer deadline(kEndMs);
    for (QProcess* const process : processes) {
        if (!process->waitForFinished(static_cast<int>(deadline.remainingTime()))) {
            process->kill();
        }
    }
    for (QProcess* const process : processes) {
        process->waitForFinished(kKilledMs);
    }
}

void SmbShares::ReadAnswer(QProcess& process, Answer& answer) {
    if (!answer.result && process.canReadLine()) {
        bool bNumber = false;
        const int result = process.readLine(16).trimmed().toInt(&bNumber);
        answer.result = bNumber ? result : kShareNetworkFailed;
        process.setProperty(kConnectedMark, *answer.result == kShareConnected);
    }
    if (answer.result && !answer.path && process.canReadLine()) {
        answer.path = process.readLine(kMaxPath).trimmed().toStdString();
    }
}

int SmbShares::Connect(const std::string& user, const std::string& password, const std::string& share) {
    const auto name = ParseShareName(share);
    if (!name) {
        return kShareNoSuchShare;
    }
    auto request = MakeShareRequest(ShareUrl(*name), user, password);
    if (!request) {
        return kShareLoginRefused;
    }
    const WipeAtEnd wipe(request->password);
    if (IsSilent(name->host)) {
        m_silentSince.start();
        return kShareTimedOut;
    }
    const std::string key = ShareKey(*name);
    std::erase_if(m_held, [](const auto& held) { return held.second.isNull(); });
    if (m_held.size() >= kMaxHeld && !m_held.contains(key)) {
        return kShareTooMany;
    }
    auto* const process = new QProcess(&m_processes);
    ++m_connecting;
    std::string path;
    std::string told = WriteShareRequest(*request);
    const int result = Ask(*process, told, path);
    Wipe(told);
    --m_connecting;
    if (result == kShareTimedOut) {
        m_silentHost = name->host;
        m_silentSince.start();
    }
    // Not earlier: whatever ran an event loop meanwhile must not take it from Ask.
    QObject::connect(process, &QProcess::finished, process, &QObject::deleteLater);
    if (result != kShareConnected) {
        End(process);
        return result;
    }
    m_path = path;
    QPointer<QProcess>& held = m_held[key];
    End(held);
    held = process;
    return result;
}

int SmbShares::Ask(QProcess& process, const std::string& request, std::string& path) const {
    Answer answer;
    QEventLoop loop;
    QTimer limit;
    limit.setSingleShot(true);
    QObject::connect(&limit, &QTimer::timeout, &loop, &QEventLoop::quit);
    QObject::connect(&process, &QProcess::readyReadStandardOutput, &loop, &QEventLoop::quit);
    QObject::connect(&process, &QProcess::finished, &loop, &QEventLoop::quit);
    QObject::connect(&process, &QProcess::errorOccurred, &loop, &QEventLoop::quit);
    process.setProgram(QString::fromStdString(m_program));
    process.setStandardErrorFile(QProcess::nullDevice());
    limit.start(m_connectMs);
    process.start(QIODevice::ReadWrite);
    process.write(request.data(), static_cast<qint64>(request.size()));
    for (;;) {
        ReadAnswer(process, answer);
        // What is connected is so without a path as well.
        if (answer.IsWhole() || (answer.result && !limit.isActive())) {
            path = answer.path.value_or(std::string());
            const bool bHeld = process.state() != QProcess::NotRunning;
            return *answer.result != kShareConnected || bHeld ? *answer.result : kShareNetworkFailed;
        }
        if (process.error() == QProcess::FailedToStart) {
            return kShareNotSupported;
        }
        if (process.state() == QProcess::NotRunning) {
            return kShareNetworkFailed;
        }
        if (!limit.isActive()) {
            return kShareTimedOut;
        }
        if (loop.exec() != 0) {
            return kShareCancelled;  // the application ends
        }
    }
}

void SmbShares::End(QProcess* process) {
    if (process == nullptr) {
        return;
    }
    if (process->state() == QProcess::NotRunning) {
        process->deleteLater();
        return;
    }
    Dismiss(*process);
    // Also one that does not come to its end by itself.
    QTimer::singleShot(kFarewellMs, process, [process] { process->kill(); });
}

void SmbShares::OnTried(const std::string& share, int result) {
    if (m_tell) {
        m_tell(share, result, result == kShareConnected ? m_path : std::string());
    }
}

void SmbShares::Cancel(const std::string& share) {
    const auto name = ParseShareName(share);
    const auto held = name ? m_held.find(ShareKey(*name)) : m_held.end();
    if (held == m_held.end()) {
        return;
    }
    End(held->second);
    m_held.erase(held);
}

bool SmbShares::IsSilent(const std::string& host) const {
    return m_silentHost == host && m_silentSince.isValid() && !m_silentSince.hasExpired(kSilentMs);
}

std::size_t SmbShares::HeldCount() const {
    return static_cast<std::size_t>(
        std::count_if(m_held.begin(), m_held.end(), [](const auto& held) { return !held.second.isNull(); }));
}

}  // namespace kvmon
