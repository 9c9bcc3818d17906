// The browser around a page's control, as the session reaches it: by notifications that the page's script
// carries out as far as a page can.
#pragma once

#include <functional>
#include <string_view>

#include "control/host_ports.h"
#include "control/variant.h"

namespace kvmon {

// User interface thread only.
class WebBrowser final : public BrowserPort {
public:
    // Sends the page an operation's name and its value.
    using Tell = std::function<void(std::string_view operation, const Variant& value)>;
    using Give = std::function<void(GivenPicture picture)>;
    // What keeps the look must outlive this object. `help` is the folder of the host's pages as the page
    // reaches it; empty where there is none.
    WebBrowser(Tell tell, Give give, LookKeeper& looks, std::string help)
        : m_tell(std::move(tell)), m_give(std::move(give)), m_looks(looks), m_help(std::move(help)) {}

    void Quit() override { m_tell("quit", {}); }
    LookChoice GetLook() const override { return m_looks.Choice(); }
    void ChooseLook(LookChoice choice) override { m_looks.Choose(choice); }
    bool TakesPictures() const override { return true; }
    void GivePicture(GivenPicture&& picture) override { m_give(std::move(picture)); }
    void SetState(BrowserState state) override { m_tell("windowState", static_cast<std::int32_t>(state)); }
    void ShowWindow(bool bShow) override { TellFlag("showWindow", bShow); }
    void RemoveClose() override { m_tell("removeClose", {}); }
    void RemoveSizing() override { m_tell("removeSizing", {}); }
    void RestoreSystemMenu() override { m_tell("restoreSystemMenu", {}); }
    void SetCaption(bool bOn) override { TellFlag("caption", bOn); }
    void SetAppWindow(bool bOn) override { TellFlag("appWindow", bOn); }
    void SetToolWindow(bool bOn) override { TellFlag("toolWindow", bOn); }
    void PutToolBar(bool bOn) override { TellFlag("toolBar", bOn); }
    void PutMenuBar(bool bOn) override { TellFlag("menuBar", bOn); }
    void PutStatusBar(bool bOn) override { TellFlag("statusBar", bOn); }
    void PutAddressBar(bool bOn) override { TellFlag("addressBar", bOn); }
    // The page knows its own sizes.
    void FitToControl(const QSize&) override { m_tell("fit", {}); }
    void PutTitle(const std::string& title) override { m_tell("title", title); }
    void PutTitleFromLocation() override { m_tell("titleFromLocation", {}); }
    void OpenPage(const std::string& url) override { m_tell("openPage", url); }
    std::unique_ptr<BrowserWindow> CreateBrowserWindow() override;
    std::string OwnHelp(const std::string& suffix) const override;

private:
    void TellFlag(std::string_view operation, bool bOn) { m_tell(operation, std::int32_t{bOn ? 1 : 0}); }

    const Tell m_tell;
    const Give m_give;
    LookKeeper& m_looks;
    const std::string m_help;
};

}  // namespace kvmon
