#include "channel/base/channel_windows.h"

#include <utility>

#include "channel/base/channel_messages.h"

namespace kvmon {

void ChannelWindows::Set(WindowHandle& place, WindowHandle hWnd) {
    const std::lock_guard lock(m_cs);
    place = std::move(hWnd);
}

WindowHandle ChannelWindows::Get(const WindowHandle& place) const {
    const std::lock_guard lock(m_cs);
    return place;
}

void ChannelWindows::PostToCell(std::uint32_t message, WParam wParam, LParam lParam) const {
    Get(m_hVideoWnd).Post(message, wParam, lParam);
}

void ChannelWindows::PostToConsole(std::uint32_t message, WParam wParam, LParam lParam) const {
    Get(m_hConsoleWnd).Post(message, wParam, lParam);
}

WindowHandle ChannelWindows::TakeNotify() {
    const std::lock_guard lock(m_cs);
    return std::exchange(m_hNotifyWnd, {});
}

void ChannelWindows::ShowText(std::uint32_t uStringId) const {
    Get(m_hViewWnd).Post(kMsgShowText, uStringId, 0);
}

}  // namespace kvmon
