// A camera that speaks ONVIF, on a loopback port of the system's choice: steered, with two profiles and
// events, and with the faults that a test wants.
#pragma once

#include <atomic>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "support/onvif_device/onvif_head.h"
#include "support/scripted_server.h"

namespace kvtest {

struct OnvifDeviceSetup {
    enum class Login { None, Token, Digest };
    enum class Motion { InView, Relative, Continuous, Absolute };

    Login login = Login::Token;
    std::string user = "guard";
    std::string password = "sesame";
    std::chrono::seconds clockAhead{0};
    Motion motion = Motion::InView;
    bool steerable = true;
    std::vector<std::string> tracking;  // orders of its own
    std::string rtspMain = "rtsp://127.0.0.1:1/main";
    std::string rtspSub = "rtsp://127.0.0.1:1/sub";  // empty: it has one profile
    std::string snapshot;                            // where a single picture is; empty: nowhere
    bool old = false;                                // knows no GetServices
    bool later = false;                     // has the later media service, and only that has profiles
    bool elsewhere = false;                 // tells addresses of another network
    std::chrono::seconds subscription{60};  // the longest that it grants
};

class OnvifDevice {
public:
    explicit OnvifDevice(OnvifDeviceSetup setup = {});
    ~OnvifDevice();
    OnvifDevice(const OnvifDevice&) = delete;

    std::string Address() const;  // of its device service
    std::string Url() const;      // as users write it
    std::uint16_t Port() const { return m_server->Port(); }
    OnvifHead& Head() { return m_head; }

    // Names of all requests in the order of coming, without those that only look.
    std::vector<std::string> Orders() const;
    int Count(const std::string& name) const;
    std::map<std::string, std::string> Presets() const;  // names by token

    // Something begins or ends; new subscribers hear of all that goes on.
    void Tell(const std::string& topic, const std::string& item, bool on, const std::string& source = "");
    // Once, with no end.
    void TellOnce(const std::string& topic, const std::string& item);
    void DropSubscriptions();
    std::size_t Subscriptions() const;

    // This request gets these words in place of an answer, with a status of HTTP.
    void Spoil(const std::string& request, int status, const std::string& body);
    void Mend();
    // This request waits for so long, or until all is mended.
    void Slow(const std::string& request, milliseconds time);

private:
    struct Subscription {
        std::deque<std::string> messages;
        std::chrono::steady_clock::time_point until;
    };

    void Serve(Peer& peer);
    std::string Answer(const std::string& name, const std::string& path, const std::string& body);
    std::string AnswerDevice(const std::string& name);
    std::string AnswerMedia(const std::string& name, const std::string& body);
    std::string AnswerPtz(const std::string& name, const std::string& body);
    std::string AnswerImaging(const std::string& name, const std::string& body);
    std::string AnswerEvents(const std::string& name, const std::string& path, const std::string& body);
    std::string Pull(const std::string& id, const std::string& body);
    std::string Move(const std::string& name, const std::string& body);
    std::string Place(const std::string& path) const;
    std::string MessageOf(const std::string& topic, const std::string& item, bool on,
                          const std::string& source, const std::string& operation) const;
    void Send(const std::string& message);

    const OnvifDeviceSetup m_setup;
    OnvifHead m_head;
    std::atomic<bool> m_ended{false};
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<std::string> m_names;
    std::map<std::string, std::string> m_presets = {{"1", "Gate"}, {"3", "Yard & Door"}};
    std::map<std::string, std::array<double, 3>> m_places = {{"1", {0.5, 0, 0}}, {"3", {-0.5, 0, 0.2}}};
    int m_nextPreset = 40;
    std::map<std::string, Subscription> m_subscriptions;
    int m_nextSubscription = 0;
    std::map<std::string, std::string> m_going;  // messages of what goes on, by topic and source
    std::map<std::string, std::pair<int, std::string>> m_spoiled;
    std::map<std::string, milliseconds> m_slow;
    std::unique_ptr<ScriptedServer> m_server;  // last: its threads use the rest
};

}  // namespace kvtest
