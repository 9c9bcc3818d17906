#include "console/site/help_window.h"

#include <iterator>

#include "console/ports/client_site.h"
#include "console/site/web_page.h"
#include "persist/orvo_registry.h"

namespace kvmon {

namespace {

constexpr const char* kTopics[] = {
    "monitor",    "playback",      "cfg_system",   "cfg_network", "cfg_ipsecurity", "cfg_user",
    "cfg_camera", "cfg_recording", "cfg_snapshot", "cfg_event",   "cfg_statistic",  "cfg_systool",
};

constexpr const char* kSection = "Client";
constexpr const char* kSkipOnce = "SkipOnce";

}  // namespace

std::string HelpAddress(const std::string& url, int topic) {
    if (url.empty() || topic < 0 || topic >= static_cast<int>(std::size(kTopics))) {
        return {};
    }
    return url + "#" + kTopics[topic];
}

std::string HelpWindow::Address(const std::string& url, int topic) const {
    std::string address = HelpAddress(url.empty() ? m_site.OwnHelp() : url, topic);
    if (url.empty() || IsWebPage(address)) {
        return address;
    }
    // A page's path of the help is taken as it stands, and may have spaces.
    const std::string escaped = EscapedAddress(address);
    return IsWebPage(escaped) ? escaped : std::string();
}

void HelpWindow::Open(const std::string& url, int topic) {
    const std::string address = Address(url, topic);
    if (address.empty()) {
        return;
    }
    if (!m_browser || !m_browser->IsWindow()) {
        m_browser.reset();
        m_browser = m_site.CreateBrowserWindow();
        if (!m_browser) {
            return;
        }
        m_browser->HideBars();
    }
    m_browser->Navigate(address);
    // The first page on a machine is opened twice, as some browsers replace it by a start page.
    if (Registry().GetProfileInt(kSection, kSkipOnce, 0) == 0) {
        m_browser->Navigate(address);
        Registry().WriteProfileInt(kSection, kSkipOnce, 1);
    }
    m_browser->Show();
}

}  // namespace kvmon
