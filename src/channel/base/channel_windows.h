// The windows that a channel tells of what happens.
#pragma once

#include <cstdint>
#include <mutex>

#include "platform/window_handle.h"

namespace kvmon {

// Any thread. A window that is gone is told nothing.
class ChannelWindows {
public:
    // Draws the channel, and shows its texts.
    void SetViewWnd(WindowHandle hWnd) { Set(m_hViewWnd, std::move(hWnd)); }
    WindowHandle GetViewWnd() const { return Get(m_hViewWnd); }
    // The cell around it, which hears what came of the commands.
    void SetVideoWnd(WindowHandle hWnd) { Set(m_hVideoWnd, std::move(hWnd)); }
    WindowHandle GetVideoWnd() const { return Get(m_hVideoWnd); }
    void SetConsoleWnd(WindowHandle hWnd) { Set(m_hConsoleWnd, std::move(hWnd)); }
    // Is told of the next picture, once.
    void SetNotifyWnd(WindowHandle hWnd) { Set(m_hNotifyWnd, std::move(hWnd)); }
    bool IsAwaited() const { return static_cast<bool>(Get(m_hNotifyWnd)); }

    void PostToCell(std::uint32_t message, WParam wParam, LParam lParam) const;
    void PostToConsole(std::uint32_t message, WParam wParam, LParam lParam) const;
    // The window that waits for a picture, which then waits no more.
    WindowHandle TakeNotify();
    // Shows a text in the view for a while.
    void ShowText(std::uint32_t uStringId) const;

private:
    void Set(WindowHandle& place, WindowHandle hWnd);
    WindowHandle Get(const WindowHandle& place) const;

    mutable std::mutex m_cs;
    WindowHandle m_hViewWnd;
    WindowHandle m_hVideoWnd;
    WindowHandle m_hConsoleWnd;
    WindowHandle m_hNotifyWnd;
};

}  // namespace kvmon
