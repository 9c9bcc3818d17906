#include "control/browser_commands.h"

#include <algorithm>
#include <iterator>

#include "control/host_ports.h"

namespace kvmon {

namespace {

// The commands' numbers, as pages know them.
enum BrowserCommand : std::int32_t {
    kQuit = 0x401,
    kState = 0x411,
    kShow = 0x412,
    kCloseEntry = 0x413,
    kSizing = 0x414,
    kToolWindow = 0x415,
    kToolBar = 0x421,
    kMenuBar = 0x422,
    kStatusBar = 0x423,
    kAddressBar = 0x424,
    kCaption = 0x425,
    kFit = 0x426,
    kCallLogout = 0x501,
    kTitleFromLocation = 0x600,
    kTitle = 0x601,
};

struct Call {
    BrowserPort& port;
    std::int32_t value;  // the parameter as a number; 0 for any other type
    const Variant& param;
    const QSize& control;
    LogoutCalls& logoutCalls;

    bool IsOn() const { return value != 0; }
};

struct Row {
    std::int32_t id;
    bool needsWindow;
    void (*run)(const Call& call);
};

void SetState(const Call& call) {
    if (call.value >= 0 && call.value <= static_cast<int>(BrowserState::Minimized)) {
        call.port.SetState(static_cast<BrowserState>(call.value));
    }
}

void SetToolWindow(const Call& call) {
    call.port.SetAppWindow(call.IsOn());
    call.port.SetToolWindow(!call.IsOn());
    call.port.UpdateWindow();
}

void CallLogout(const Call& call) {
    if (const auto* const url = std::get_if<std::string>(&call.param)) {
        call.logoutCalls.Start(*url);
    }
}

void PutTitle(const Call& call) {
    if (const auto* const title = std::get_if<std::string>(&call.param)) {
        call.port.PutTitle(*title);
    }
}

constexpr Row kRows[] = {
    {kQuit, false, [](const Call& call) { call.port.Quit(); }},
    {kState, true, SetState},
    {kShow, true, [](const Call& call) { call.port.ShowWindow(call.IsOn()); }},
    {kCloseEntry, true,
     [](const Call& call) { call.IsOn() ? call.port.RestoreSystemMenu() : call.port.RemoveClose(); }},
    {kSizing, true,
     [](const Call& call) { call.IsOn() ? call.port.RestoreSystemMenu() : call.port.RemoveSizing(); }},
    {kToolWindow, true, SetToolWindow},
    {kToolBar, false, [](const Call& call) { call.port.PutToolBar(call.IsOn()); }},
    {kMenuBar, false, [](const Call& call) { call.port.PutMenuBar(call.IsOn()); }},
    {kStatusBar, false, [](const Call& call) { call.port.PutStatusBar(call.IsOn()); }},
    {kAddressBar, false, [](const Call& call) { call.port.PutAddressBar(call.IsOn()); }},
    {kCaption, true, [](const Call& call) { call.port.SetCaption(call.IsOn()); }},
    {kFit, false, [](const Call& call) { call.port.FitToControl(call.control); }},
    {kCallLogout, false, CallLogout},
    {kTitleFromLocation, false, [](const Call& call) { call.port.PutTitleFromLocation(); }},
    {kTitle, false, PutTitle},
};

}  // namespace

void BrowserCommands::Run(BrowserPort& port, std::int32_t id, const Variant& param, const QSize& control) {
    const Row* const row =
        std::find_if(std::begin(kRows), std::end(kRows), [id](const Row& r) { return r.id == id; });
    if (row == std::end(kRows) || (row->needsWindow && !port.HasWindow())) {
        return;
    }
    const auto* const number = std::get_if<std::int32_t>(&param);
    row->run({port, number != nullptr ? *number : 0, param, control, m_logoutCalls});
}

}  // namespace kvmon
