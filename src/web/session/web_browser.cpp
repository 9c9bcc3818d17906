#include "web/session/web_browser.h"

namespace kvmon {

namespace {

// The page has one such window, which it opens with the first address and anew once its user has closed it.
class PageWindow final : public BrowserWindow {
public:
    explicit PageWindow(WebBrowser::Tell tell) : m_tell(std::move(tell)) {}
    ~PageWindow() override { m_tell("closeHelp", {}); }

    bool IsWindow() const override { return true; }
    void HideBars() override {}  // it comes without them
    void Navigate(const std::string& url) override { m_tell("navigateHelp", url); }
    void Show() override { m_tell("showHelp", {}); }

private:
    const WebBrowser::Tell m_tell;
};

}  // namespace

std::string WebBrowser::OwnHelp(const std::string& suffix) const {
    return m_help.empty() ? std::string() : m_help + "/" + suffix + "/help.html";
}

std::unique_ptr<BrowserWindow> WebBrowser::CreateBrowserWindow() {
    return std::make_unique<PageWindow>(m_tell);
}

}  // namespace kvmon
