#include "app/demo_recorder.h"

#include <sys/prctl.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QFileInfo>
#include <csignal>
#include <utility>

namespace kvmon {

namespace {

constexpr int kStartMs = 10000;
constexpr int kEndMs = 500;
constexpr qsizetype kMostSaid = 4096;

QString Program() {
    return QCoreApplication::applicationDirPath() + QStringLiteral("/kvrecorder");
}

}  // namespace

DemoRecorder::DemoRecorder() {
    m_process.setProcessChannelMode(QProcess::SeparateChannels);
    m_process.setStandardErrorFile(QProcess::nullDevice());
    // However the program ends.
    m_process.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGTERM); });
    QObject::connect(&m_process, &QProcess::readyReadStandardOutput, &m_process, [this] { OnOutput(); });
    QObject::connect(&m_process, &QProcess::errorOccurred, &m_process, [this] { Tell(0); });
    QObject::connect(&m_process, &QProcess::finished, &m_process, [this] {
        m_port = 0;
        Tell(0);
    });
    m_limit.setSingleShot(true);
    m_limit.setInterval(kStartMs);
    QObject::connect(&m_limit, &QTimer::timeout, &m_process, [this] {
        m_process.kill();
        Tell(0);
    });
}

DemoRecorder::~DemoRecorder() {
    m_started = nullptr;
    if (m_process.state() == QProcess::NotRunning) {
        return;
    }
    m_process.disconnect();
    m_process.terminate();
    if (!m_process.waitForFinished(kEndMs)) {
        m_process.kill();
        m_process.waitForFinished(kEndMs);
    }
}

bool DemoRecorder::IsThere() const {
    return QFileInfo(Program()).isExecutable();
}

void DemoRecorder::Start(std::function<void(std::uint16_t)> started) {
    m_started = std::move(started);
    if (m_port != 0) {
        Tell(m_port);
        return;
    }
    if (m_process.state() == QProcess::NotRunning) {
        m_said.clear();
        m_limit.start();
        m_process.start(Program(), {QStringLiteral("--listen"), QStringLiteral("127.0.0.1:0")});
    }
}

void DemoRecorder::OnOutput() {
    if (m_said.size() < kMostSaid) {
        m_said += m_process.readAllStandardOutput();
    } else {
        m_process.readAllStandardOutput();
    }
    const QByteArray mark = QByteArrayLiteral("listening on 127.0.0.1:");
    const qsizetype at = m_said.indexOf(mark);
    const qsizetype end = at < 0 ? -1 : m_said.indexOf('\n', at);
    if (m_port == 0 && end >= 0) {
        m_port = m_said.mid(at + mark.size(), end - at - mark.size()).toUShort();
        Tell(m_port);
    }
}

void DemoRecorder::Tell(std::uint16_t port) {
    m_limit.stop();
    if (const auto started = std::exchange(m_started, nullptr)) {
        started(port);
    }
}

}  // namespace kvmon
