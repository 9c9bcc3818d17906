// kvmon: logs in, shows four channels, turns the page, takes a snapshot, logs out and closes. The keys are
// pressed, and the pixels looked at, by driver.cpp inside it.
#include <algorithm>
#include <csignal>
#include <filesystem>
#include <thread>

#include "persist/settings_file.h"
#include "torture/process.h"
#include "torture/session.h"

namespace torture {

namespace {

namespace fs = std::filesystem;
using std::chrono::seconds;

constexpr seconds kOnceLimit{150};
constexpr seconds kLastingLimit{120};

std::string RecorderConfig() {
    std::string text =
        "listen = \"127.0.0.1:0\"\n[server]\nname = \"Hall\"\n[[users]]\nname = \"admin\"\npassword = "
        "\"secret\"\n"
        "monitor = \"all\"\nptz = \"all\"\naudio = \"all\"\n";
    const char* const codecs[] = {"mjpeg", "h264", "mpeg4", "mxpeg", "mjpeg", "h264", "mpeg4", "mjpeg"};
    for (const char* const codec : codecs) {
        text += std::string("[[channels]]\nname = \"Camera\"\naudio = true\nstreams = [{ codec = \"") +
                codec + "\", width = 176, height = 144, fps = 8, gop = 8 }]\n";
    }
    return text;
}

kvmon::SettingsRows Rows(const std::string& path, std::string& problem) {
    kvmon::SettingsRows rows;
    kvmon::SettingsFile file(path, kvmon::Milliseconds(2000));
    if (file.Load(rows) != kvmon::FileResult::Done) {
        problem = "the settings cannot be read: " + file.Error();
    }
    return rows;
}

class MonitorSession final : public Session {
public:
    MonitorSession(const std::string& programs, const std::string& folder, bool bDisplay)
        : m_programs(programs), m_folder(folder), m_bDisplay(bDisplay) {
        fs::create_directories(folder);
        WriteWhole(folder + "/recorder.toml", RecorderConfig());
        WriteWhole(folder + "/auth", "YWRtaW46c2VjcmV0\n");
        m_recorder = std::make_unique<Process>(Launch{programs + "/kvrecorder",
                                                      {"--config", folder + "/recorder.toml"},
                                                      {"ASAN_OPTIONS=detect_leaks=0"},
                                                      "",
                                                      folder + "/recorder.out",
                                                      folder + "/recorder.err"});
        for (int i = 0; i < 600 && m_port.empty(); ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
            const std::string said = ReadWhole(folder + "/recorder.out");
            const std::size_t end = said.find('\n');
            m_port = end == std::string::npos
                         ? ""
                         : said.substr(said.rfind(':', end) + 1, end - said.rfind(':', end) - 1);
        }
        // The state before each session: a wall of four.
        Start({}, folder + "/record", {"KV_DRIVE_STYLE=1", "KV_DRIVE_PATIENCE=30"}, kOnceLimit);
        fs::rename(Data(), m_folder + "/old");
        std::string ignored;
        m_old = Rows(m_folder + "/old/settings.db", ignored);
    }

    std::string Program() const override { return m_programs + "/kvmon"; }

    Outcome Run(const Fault& fault, const std::string& record) override {
        Outcome outcome;
        const auto limit = fault.bLasts ? kLastingLimit : kOnceLimit;
        const bool bEnded =
            Start(fault, record, {fault.bLasts ? "KV_DRIVE_PATIENCE=3" : "KV_DRIVE_PATIENCE=45"}, limit);
        const std::string errors = ReadWhole(m_folder + "/err");
        const std::string seen = ReadWhole(m_folder + "/seen");
        const bool bStarted = seen.find("window") != std::string::npos;
        outcome.heard = seen + "--- said:\n" + errors;
        if (!bEnded) {
            outcome.problem = "did not end by itself";
            return outcome;
        }
        outcome.problem = JudgeEnd(m_status, errors, "kvmon", bStarted && !fault.bLasts);
        if (outcome.problem.empty() && bStarted && !fault.bLasts) {
            for (const char* const step :
                 {"live\n", "live on the second page\n", "logged out\n", "close\n"}) {
                if (outcome.problem.empty() &&
                    ("\n" + seen).find(std::string("\n") + step) == std::string::npos) {
                    outcome.problem = std::string("never: ") + step;
                }
            }
        }
        if (outcome.problem.empty()) {
            outcome.problem = JudgeFiles(fault.choice.empty());
        }
        return outcome;
    }

private:
    std::string Data() const { return m_folder + "/data"; }

    bool Start(const Fault& fault, const std::string& record, const std::vector<std::string>& drive,
               seconds limit) {
        for (const char* const name : {"/data", "/home", "/err", "/out", "/seen", "/seen.png"}) {
            fs::remove_all(m_folder + name);
        }
        fs::create_directories(m_folder + "/home");
        fs::permissions(m_folder + "/home", fs::perms::owner_all);
        if (fs::exists(m_folder + "/old")) {
            fs::copy(m_folder + "/old", Data());
        }
        std::vector<std::string> environment = TortureEnvironment(m_programs, "kvmon", fault, record);
        environment.insert(environment.end(), drive.begin(), drive.end());
        if (!m_bDisplay) {
            environment.push_back("QT_QPA_PLATFORM=offscreen");
        }
        environment.push_back("HOME=" + m_folder + "/home");
        environment.push_back("XDG_RUNTIME_DIR=" + m_folder + "/home");
        environment.push_back("KV_DRIVE_LOG=" + m_folder + "/seen");
        Process monitor(
            {Program(),
             {"--server", "127.0.0.1", "--port", m_port, "--auth", "-", "--auto-start", "--data-dir", Data()},
             environment,
             m_folder + "/auth",
             m_folder + "/out",
             m_folder + "/err"});
        const bool bEnded = monitor.WaitForEnd(limit);
        m_status = monitor.Status();
        return bEnded;
    }

    // Settings of before or of after, and nothing half.
    std::string JudgeFiles(bool bReference) {
        std::string problem;
        for (const auto& entry : fs::directory_iterator(Data())) {
            const std::string name = entry.path().filename().string();
            if (name != "~Monitor.tmp" && !name.starts_with("settings.db")) {
                return "left behind: " + name;
            }
            if (name.find("damaged") != std::string::npos) {
                return "whole settings were set aside as " + name;
            }
        }
        const kvmon::SettingsRows rows = Rows(Data() + "/settings.db", problem);
        if (!problem.empty()) {
            return problem;
        }
        if (bReference) {
            m_new = rows;
        }
        for (const auto& [key, value] : rows) {
            const auto before = m_old.find(key);
            const auto after = m_new.find(key);
            if ((before == m_old.end() || before->second != value) &&
                (after == m_new.end() || after->second != value)) {
                return "a setting is neither old nor new: " + key.path + " " + key.name;
            }
        }
        for (const auto& [key, value] : m_old) {
            if (m_new.contains(key) && !rows.contains(key)) {
                return "a setting is gone: " + key.path + " " + key.name;
            }
        }
        return JudgeSnapshots();
    }

    std::string JudgeSnapshots() const {
        if (!fs::exists(m_folder + "/home/Documents")) {
            return {};
        }
        for (const auto& entry : fs::recursive_directory_iterator(m_folder + "/home/Documents")) {
            if (!entry.is_regular_file()) {
                continue;
            }
            const std::string picture = ReadWhole(entry.path().string());
            if (entry.path().extension() != ".jpg" || !picture.starts_with("\xFF\xD8") ||
                !picture.ends_with("\xFF\xD9")) {
                return "no whole snapshot: " + entry.path().filename().string();
            }
        }
        return {};
    }

    const std::string m_programs;
    const std::string m_folder;
    const bool m_bDisplay;
    std::unique_ptr<Process> m_recorder;
    std::string m_port;
    int m_status = -1;
    kvmon::SettingsRows m_old;
    kvmon::SettingsRows m_new;
};

}  // namespace

std::unique_ptr<Session> MakeMonitorSession(const std::string& programs, const std::string& folder) {
    return std::make_unique<MonitorSession>(programs, folder, false);
}

std::unique_ptr<Session> MakeDisplaySession(const std::string& programs, const std::string& folder) {
    return std::make_unique<MonitorSession>(programs, folder, true);
}

}  // namespace torture
