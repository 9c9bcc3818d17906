#include "control/browser_commands.h"

#include <algorithm>
#include <iterator>

#include "control/host_ports.h"

namespace kvmon {

namespace {

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
    {0x401, false, [](const Call& call) { call.port.Quit(); }},
    {0x411, true, SetState},
    {0x412, true, [](const Call& call) { call.port.ShowWindow(call.IsOn()); }},
    {0x413, true,
     [](const Call& call) { call.IsOn() ? call.port.RestoreSystemMenu() : call.port.RemoveClose(); }},
    {0x414, true,
     [](const Call& call) { call.IsOn() ? call.port.RestoreSystemMenu() : call.port.RemoveSizing(); }},
    {0x415, true, SetToolWindow},
    {0x421, false, [](const Call& call) { call.port.PutToolBar(call.IsOn()); }},
    {0x422, false, [](const Call& call) { call.port.PutMenuBar(call.IsOn()); }},
    {0x423, false, [](const Call& call) { call.port.PutStatusBar(call.IsOn()); }},
    {0x424, false, [](const Call& call) { call.port.PutAddressBar(call.IsOn()); }},
    {0x425, true, [](const Call& call) { call.port.SetCaption(call.IsOn()); }},
    {0x426, false, [](const Call& call) { call.port.FitToControl(call.control); }},
    {0x501, false, CallLogout},
    {0x600, false, [](const Call& call) { call.port.PutTitleFromLocation(); }},
    {0x601, false, PutTitle},
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
