// A recorder as a process of its own that a test sets to states and stops.
#pragma once

#include <gtest/gtest.h>

#include <QtCore/QByteArray>
#include <QtCore/QProcess>
#include <csignal>
#include <fstream>
#include <string>

#include "support/temp_folder.h"

namespace kvtest {

class RecorderProcess {
public:
    // `stream`: of each channel, as its file tells it; small pictures if nothing else is said.
    explicit RecorderProcess(
        int channels, bool talk = false,
        const std::string& stream = "codec = \"mjpeg\", width = 176, height = 144, fps = 5") {
        std::ofstream config(folder.File("recorder.toml"));
        config << "listen = \"127.0.0.1:0\"\n[server]\nname = \"Hall\"\n"
               << "[[users]]\nname = \"admin\"\npassword = \"secret\"\nrecord = \"all\"\n"
               << (talk ? "monitor = \"all\"\ntalk = \"all\"\n" : "");
        for (int n = 0; n < channels; ++n) {
            config << "[[channels]]\nname = \"Camera " << n << "\"\nstreams = [{ " << stream << " }]\n"
                   << (talk ? "talk = true\n" : "");
        }
        config.close();
        process.start(KVRECORDER_PROGRAM, {"--config", Path("recorder.toml"), "--control", Path("control")});
        QByteArray line;
        while (!line.contains("listening on") && process.waitForReadyRead(20000)) {
            while (process.canReadLine() && !line.contains("listening on")) {
                line = process.readLine();
            }
        }
        port = line.mid(line.lastIndexOf(':') + 1).trimmed().toUShort();
        EXPECT_NE(port, 0) << line.toStdString() << process.readAllStandardError().toStdString();
    }
    ~RecorderProcess() {
        Continue();
        process.terminate();
        if (!process.waitForFinished(10000)) {
            process.kill();
            process.waitForFinished();
        }
    }

    std::uint16_t Port() const { return port; }
    // What the recorder replies to a command.
    std::string Send(const std::string& command) {
        QProcess sender;
        sender.start(KVRECORDER_PROGRAM,
                     {"--control", Path("control"), "--send", QString::fromStdString(command)});
        sender.waitForFinished();
        const std::string reply = sender.readAllStandardOutput().toStdString();
        EXPECT_NE(reply.find("ok\n"), std::string::npos) << command << ": " << reply;
        return reply;
    }
    // The line of a channel in the recorder's list, with its states at the end.
    std::string Line(int channel) {
        const std::string list = Send("list");
        std::size_t at = 0;
        for (int n = 0; n < channel; ++n) {
            at = list.find('\n', at) + 1;
        }
        return list.substr(at, list.find('\n', at) - at);
    }
    void Freeze() { Signal(SIGSTOP); }
    void Continue() { Signal(SIGCONT); }

private:
    QString Path(const char* name) const { return QString::fromStdString(folder.File(name)); }
    void Signal(int signal) {
        if (process.processId() > 0) {
            ::kill(static_cast<pid_t>(process.processId()), signal);
        }
    }

    TempFolder folder;
    QProcess process;
    std::uint16_t port = 0;
};

}  // namespace kvtest
