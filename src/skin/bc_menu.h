// Pop-up menus whose entries are commands.
#pragma once

#include <QtWidgets/QMenu>
#include <functional>
#include <string_view>

#include "platform/window_handle.h"

namespace kvmon {

// Flags of an entry.
inline constexpr unsigned MF_GRAYED = 1;
inline constexpr unsigned MF_CHECKED = 8;
inline constexpr unsigned MF_SEPARATOR = 0x800;

// User interface thread only.
class BCMenu : public QMenu {
public:
    explicit BCMenu(QWidget* parent = nullptr);

    // Appends an entry, UTF-8. One "&" marks the entry's key, a doubled one shows as one; text that came from
    // outside goes through EscapeMenuText first.
    void AppendMenu(unsigned flags, int id, std::string_view text);
    // Appends a menu of the same kind below an entry; this one owns it.
    BCMenu* AppendPopup(std::string_view text);

    // Shows the menu at the screen position and returns at once. A choice is posted to the target as
    // WM_COMMAND with the entry's identifier. The menu deletes itself when it has closed, after `closed`
    // was called with the chosen identifier, or 0.
    void TrackPopupMenu(const QPoint& screenPosition, const WindowHandle& target,
                        std::function<void(int id)> closed = {});
};

// The text so that a menu shows it as it is.
std::string EscapeMenuText(std::string_view text);

}  // namespace kvmon
