// One page's session: a control on a display of its own, and the page's connection to both.
#pragma once

#include <QtCore/QObject>
#include <QtCore/QTimer>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "control/automation.h"
#include "control/client.h"
#include "control/smb_shares.h"
#include "web/host/web_settings.h"
#include "web/host/web_socket.h"
#include "web/session/frame_sender.h"
#include "web/session/host_window.h"
#include "web/session/page_protocol.h"
#include "web/session/page_sound.h"
#include "web/session/page_text.h"
#include "web/session/web_browser.h"

class QSocketNotifier;

namespace kvmon {

// Reads the order; nothing when none comes in time.
std::optional<SessionOrder> ReceiveSessionOrder();

// The process has one, with an application on the platform "kvweb". It quits the application when the page
// or the host has gone.
class WebSession final : public QObject, private ClientEvents {
public:
    // What keeps the look must outlive this object.
    WebSession(const SessionOrder& order, LookKeeper& looks);
    ~WebSession() override;

private:
    void OnText(std::string_view text);
    void Answer(std::string_view text);
    void OnBinary(std::span<const std::uint8_t> bytes);
    CallResult Call(const AutomationMember& member, std::span<const Variant> arguments);
    CallResult Get(const AutomationMember& member);
    CallResult Put(const AutomationMember& member, std::span<const Variant> arguments);
    void Activate();
    void Resize(const QSize& size, double ratio);
    void Tell(PageWords which, const std::string& text);
    void TellWords();
    void TellProperties();
    void TellKeys();
    void TellSurface();
    void PrepareSound();
    void TraceCounts();
    void OnShareTried(const std::string& share, int result, const std::string& path);
    void Raise(std::string_view name, const std::vector<Variant>& arguments);

    void OnLogout(int reason) override { Raise("OnLogout", {reason}); }
    void OnNeedGetNewVersion(int param) override { Raise("OnNeedGetNewVersion", {param}); }
    void OnLogin(int param) override { Raise("OnLogin", {param}); }
    void OnLoginEnd() override { Raise("loginend", {}); }
    void OnChgLanguage(int language) override;
    void OnGotoPage(int param) override { Raise("OnGotoPage", {param}); }
    void OnGotoServer(int param, const std::string& url) override { Raise("OnGotoServer", {param, url}); }

    LookKeeper& m_looks;
    HostWindow m_host;
    WebBrowser m_browser;
    SmbShares m_shares{[this](const std::string& share, int result, const std::string& path) {
        OnShareTried(share, result, path);
    }};
    CTR450Client m_client;
    WebSocket m_socket;
    FrameSender m_frames;
    PageText m_text;
    // What the page knows.
    std::map<PageWords, std::string> m_words;
    std::map<std::string, Variant> m_properties;
    int m_edges = -1;
    QTimer m_surfaceTimer;
    QTimer m_countsTimer;
    std::unique_ptr<QSocketNotifier> m_hostGone;
    const std::shared_ptr<PageSound> m_sound = std::make_shared<PageSound>();
    const std::shared_ptr<std::atomic<int>> m_soundBlocks = std::make_shared<std::atomic<int>>(0);
    // Texts of the page that came while a call waited for a share.
    std::deque<std::string> m_waiting;
    std::size_t m_waitingBytes = 0;
    // The credential is the host's, which no page may read and which goes to no other recorder.
    bool m_bHostAuth = false;
    bool m_bActive = false;
};

}  // namespace kvmon
