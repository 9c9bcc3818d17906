// The help, in a browser window that the console holds.
#pragma once

#include <memory>
#include <string>

#include "console/ports/browser_window.h"

namespace kvmon {

class ClientSite;

// The help's address at a topic, 0 to 11; empty for another number or without an address.
std::string HelpAddress(const std::string& url, int topic);

// User interface thread only.
class HelpWindow {
public:
    explicit HelpWindow(ClientSite& site) : m_site(site) {}

    // Where the help is: at `url`, which comes from outside, or the program's own where that is empty. Empty
    // for what may not be opened.
    std::string Address(const std::string& url, int topic) const;
    // Command kCtlHelp with topic 0, and message kMsgOpenHelp. Does nothing for another topic or address.
    void Open(const std::string& url, int topic);
    void Close() { m_browser.reset(); }

private:
    ClientSite& m_site;
    std::unique_ptr<BrowserWindow> m_browser;
};

}  // namespace kvmon
