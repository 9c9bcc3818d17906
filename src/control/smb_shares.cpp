#include "control/smb_shares.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QEventLoop>
#include <QtCore/QProcess>
#include <QtCore/QTimer>
#include <algorithm>
#include <optional>

#include "persist/utilities.h"
#include "shares/share_name.h"
#include "shares/share_request.h"

namespace kvmon {

namespace {

constexpr qint64 kSilentMs = 20000;
constexpr int kEndMs = 200;

// The process's answer, when all of it has come.
std::optional<int> AnswerOf(QProcess& process) {
    if (!process.canReadLine()) {
        return std::nullopt;
    }
    bool bNumber = false;
    const int result = process.readLine(16).trimmed().toInt(&bNumber);
    return bNumber ? result : kShareNetworkFailed;
}

}  // namespace

SmbShares::SmbShares() : SmbShares(GetModuleFileFolder() + "/" + kShareProgram) {}

SmbShares::SmbShares(std::string program, int connectMs)
    : m_program(std::move(program)), m_connectMs(connectMs) {}

SmbShares::~SmbShares() {
    const auto processes = m_processes.findChildren<QProcess*>(QString(), Qt::FindDirectChildrenOnly);
    for (QProcess* const process : processes) {
        process->kill();
    }
    for (QProcess* const process : processes) {
        process->waitForFinished(kEndMs);
    }
}

int SmbShares::Connect(const std::string& user, const std::string& password, const std::string& share) {
    const auto name = ParseShareName(share);
    if (!name) {
        return kShareNoSuchShare;
    }
    const auto request = MakeShareRequest(ShareUrl(*name), user, password);
    if (!request) {
        return kShareLoginRefused;
    }
    if (IsSilent(name->host)) {
        return kShareTimedOut;
    }
    const std::string key = ShareKey(*name);
    std::erase_if(m_held, [](const auto& held) { return held.second.isNull(); });
    if (m_held.size() >= kMaxHeld && !m_held.contains(key)) {
        return kShareTooMany;
    }
    auto* const process = new QProcess(&m_processes);
    // Also when this object's owner is being called from elsewhere: it goes when the system has let it go.
    QObject::connect(process, &QProcess::finished, process, &QObject::deleteLater);
    const QPointer<QProcess> alive = process;
    ++m_connecting;
    const int result = Ask(*process, WriteShareRequest(*request));
    --m_connecting;
    if (result == kShareTimedOut) {
        m_silentHost = name->host;
        m_silentSince.start();
    }
    if (result != kShareConnected) {
        End(alive);
        return result;
    }
    QPointer<QProcess>& held = m_held[key];
    End(held);
    held = alive;
    return result;
}

int SmbShares::Ask(QProcess& process, const std::string& request) const {
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
        if (const auto result = AnswerOf(process)) {
            return *result;
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
    process->kill();
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
