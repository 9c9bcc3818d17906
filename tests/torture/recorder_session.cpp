// kvrecorder: answers a login, streams, notifies, hears a voice, keeps a place, records, reads its
// configuration anew and stops.
#include <algorithm>
#include <csignal>
#include <filesystem>
#include <functional>
#include <thread>

#include "recorder_client.h"
#include "torture/process.h"
#include "torture/session.h"

namespace torture {

namespace {

namespace fs = std::filesystem;
using kvtest::Fetch;
using kvtest::Get;
using kvtest::RecorderClient;
using std::chrono::milliseconds;
using std::chrono::seconds;
using SteadyClock = std::chrono::steady_clock;

constexpr seconds kStartLimit{60};
constexpr seconds kEndLimit{30};         // a sanitizer looks through the memory at the end
constexpr std::size_t kRecords = 40000;  // bytes of several pictures

std::string Config(const std::string& name) {
    std::string text =
        "listen = \"127.0.0.1:0\"\n[server]\nname = \"" + name +
        "\"\nstate = \"state\"\nrecordings = \"recordings\"\ntalk_folder = \"talk\"\n"
        "[[users]]\nname = \"admin\"\npassword = \"secret\"\nmonitor = \"all\"\nptz = \"all\"\n"
        "audio = \"all\"\ntalk = \"all\"\nrecord = \"all\"\n";
    for (const char* const codec : {"mjpeg", "h264", "mxpeg", "mpeg4"}) {
        text += std::string(
                    "[[channels]]\nname = \"Camera\"\naudio = true\ntalk = true\nwatch_motion = true\n"
                    "presets = [\"Door\"]\nptz = { steerable = true }\nstreams = [{ codec = \"") +
                codec + "\", width = 176, height = 144, fps = 10, gop = 5 }]\n";
    }
    return text + "# end\n";
}

class RecorderSession final : public Session {
public:
    RecorderSession(const std::string& programs, const std::string& folder)
        : m_programs(programs), m_folder(folder) {
        fs::create_directories(folder);
    }

    std::string Program() const override { return m_programs + "/kvrecorder"; }

    Outcome Run(const Fault& fault, const std::string& record) override {
        for (const auto& entry : fs::directory_iterator(m_folder)) {
            fs::remove_all(entry.path());
        }
        fs::create_directories(m_folder + "/talk");
        if (!m_oldPlaces.empty()) {
            fs::create_directories(m_folder + "/state");
            WriteWhole(m_folder + "/state/" + m_placesName, m_oldPlaces);
        }
        WriteWhole(m_folder + "/recorder.toml", Config("Hall"));
        m_patience = fault.bLasts ? seconds(2) : seconds(25);
        m_seen.clear();
        Process recorder({Program(),
                          {"--config", m_folder + "/recorder.toml", "--control", m_folder + "/control"},
                          TortureEnvironment(m_programs, "kvrecorder", fault, record),
                          "",
                          m_folder + "/out",
                          m_folder + "/err"});
        Outcome outcome;
        const bool bStarted = WaitForStart(recorder);
        if (bStarted) {
            Use(recorder);
        }
        const bool bEnded = recorder.WaitForEnd(bStarted ? seconds(0) : seconds(1)) || Stop(recorder);
        const std::string errors = ReadWhole(m_folder + "/err");
        outcome.heard = m_seen + "--- said:\n" + errors;
        if (!bEnded) {
            outcome.problem = "did not end";
            return outcome;
        }
        outcome.problem = JudgeEnd(recorder.Status(), errors, "kvrecorder", bStarted && !fault.bLasts);
        if (outcome.problem.empty() && bStarted && !fault.bLasts) {
            outcome.problem = m_missed;
        }
        if (outcome.problem.empty()) {
            outcome.problem = JudgeFiles(fault.choice);
        }
        return outcome;
    }

private:
    bool WaitForStart(Process& recorder) {
        const auto end = SteadyClock::now() + kStartLimit;
        const std::string begin = "kvrecorder: listening on 127.0.0.1:";
        while (recorder.IsRunning() && SteadyClock::now() < end) {
            const std::string said = ReadWhole(m_folder + "/out");
            if (said.starts_with(begin) && said.find('\n') != std::string::npos) {
                m_port = static_cast<std::uint16_t>(std::atoi(said.c_str() + begin.size()));
                return true;
            }
            std::this_thread::sleep_for(milliseconds(20));
        }
        return false;
    }

    // Tried again for as long as there is patience: what fails once is asked for again by any client.
    void Step(Process& recorder, const char* name, const std::function<bool()>& step) {
        const auto end = SteadyClock::now() + m_patience;
        do {
            if (step()) {
                m_seen += std::string(name) + "\n";
                return;
            }
            std::this_thread::sleep_for(milliseconds(100));
        } while (recorder.IsRunning() && SteadyClock::now() < end);
        m_seen += std::string("never: ") + name + "\n";
        m_missed = m_missed.empty() ? std::string("never: ") + name : m_missed;
    }

    bool Answers(const std::string& target, const std::string& with) const {
        const auto answer = Fetch(m_port, Get(target));
        return answer.status == 200 && answer.body.find(with) != std::string::npos;
    }
    bool Streams(int channel) const {
        RecorderClient client(m_port);
        return client.Send(Get("/cgi-bin/getstream.cgi?ch=" + std::to_string(channel) + "&stream_id=0")) &&
               client.ReadHead().find(" 200 ") != std::string::npos &&
               client.Read(kRecords).size() == kRecords;
    }
    bool Control(const std::string& command) const {
        Process sender({Program(),
                        {"--control", m_folder + "/control", "--send", command},
                        {"ASAN_OPTIONS=detect_leaks=0"},
                        "",
                        m_folder + "/sent",
                        m_folder + "/sent"});
        return sender.WaitForEnd(seconds(20)) && sender.Status() == 0;
    }

    void Use(Process& recorder) {
        m_missed.clear();
        Step(recorder, "login", [&] { return Answers("/cgi-bin/get_init_info.cgi", "\n"); });
        Step(recorder, "documents", [&] {
            return Answers("/cgi-bin/get_ext_info.cgi", "\n") && Answers("/cgi-bin/z_status.cgi", "\n") &&
                   Answers("/cgi-bin/getmultistreaminfo.cgi", "multistream") &&
                   Answers("/cgi-bin/get_log_info.cgi?sec=100", "") &&
                   Answers("/cgi-bin/data/images/emap.jpg", "\xFF\xD8");
        });
        for (int channel = 0; channel < 4; ++channel) {
            Step(recorder, "stream", [&] { return Streams(channel); });
        }
        Step(recorder, "notification", [&] {
            RecorderClient listener(m_port);
            listener.Send(Get("/cgi-bin/notify.cgi"));
            const bool bHead = listener.ReadHead().find(" 200 ") != std::string::npos;
            m_bAlarm = !m_bAlarm;
            return bHead && Control(std::string("status 0 alarm ") + (m_bAlarm ? "on" : "off")) &&
                   listener.ReadLine().starts_with("1");
        });
        Step(recorder, "talk", [&] {
            RecorderClient talker(m_port);
            talker.Send(Get("/cgi-bin/putaudiostream.cgi?ch=1"));
            return talker.ReadHead().find(" 200 ") != std::string::npos &&
                   talker.Send(std::string(4000, '\x5A'));
        });
        Step(recorder, "place kept",
             [&] { return Answers("/cgi-bin/ptz.cgi?ch=0&command=21&arg=00302AABB", ""); });
        Step(recorder, "recording", [&] {
            const bool bOn = Control("record 1 on");
            std::this_thread::sleep_for(milliseconds(1500));
            return Control("record 1 off") && bOn;
        });
        WriteWhole(m_folder + "/recorder.toml", Config("Hall again"));
        // A file that changed only just may still be written to.
        std::this_thread::sleep_for(milliseconds(1200));
        Step(recorder, "configuration read again", [&] {
            recorder.Signal(SIGHUP);
            std::this_thread::sleep_for(milliseconds(300));
            return ReadWhole(m_folder + "/err").find("configuration read again") != std::string::npos;
        });
        Step(recorder, "login at the end", [&] { return Answers("/cgi-bin/get_init_info.cgi", "\n"); });
        Step(recorder, "stream at the end", [&] { return Streams(1); });
    }

    static bool Stop(Process& recorder) {
        recorder.Signal(SIGTERM);
        return recorder.WaitForEnd(kEndLimit);
    }

    std::string JudgeFiles(const std::string& choice) {
        const bool bReference = choice.empty();
        const bool bFiles = choice.starts_with("file");  // where even the unlinking may fail
        for (const auto& entry : fs::recursive_directory_iterator(m_folder)) {
            const std::string name = entry.path().filename().string();
            if (name.ends_with(".new") || name.ends_with(".tmp") || (name == "control" && !bFiles)) {
                return "left behind: " + name;
            }
        }
        if (!fs::exists(m_folder + "/state")) {
            return {};
        }
        for (const auto& entry : fs::directory_iterator(m_folder + "/state")) {
            const std::string text = ReadWhole(entry.path().string());
            const std::string name = entry.path().filename().string();
            if (!entry.is_regular_file()) {
                continue;
            }
            if (bReference && text.find("\xAA\xBB") == std::string::npos && m_oldPlaces.empty()) {
                m_placesName = name;
            }
            if (bReference && text.size() > m_newPlaces.size()) {
                m_newPlaces = text;
                m_placesName = name;
            } else if (name == m_placesName && text != m_newPlaces && text != m_oldPlaces) {
                return "places are neither old nor new: " + name;
            }
        }
        return {};
    }

    const std::string m_programs;
    const std::string m_folder;
    std::uint16_t m_port = 0;
    SteadyClock::duration m_patience{};
    std::string m_seen;
    std::string m_missed;
    bool m_bAlarm = false;
    std::string m_placesName;
    std::string m_oldPlaces;
    std::string m_newPlaces;
};

}  // namespace

std::unique_ptr<Session> MakeRecorderSession(const std::string& programs, const std::string& folder) {
    return std::make_unique<RecorderSession>(programs, folder);
}

}  // namespace torture
