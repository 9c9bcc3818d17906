// The buttons of the console's panel, as they stand on the screen.
#pragma once

#include <span>
#include <vector>

class QRect;
class QString;
class QWidget;

namespace kvmon {

// User interface thread only.
class PanelButtons {
public:
    virtual ~PanelButtons() = default;

    // On the screen, for menus beside a button; empty for one that cannot be seen.
    virtual QRect Place(int id) const = 0;
    // By the mouse or by a key.
    virtual bool IsHeld(int id) const = 0;
    // What the button does, without its key; empty where there is none.
    virtual QString TipText(int id) const = 0;
    // Lets these tell of press and release, not only of clicks (message kMsgPtzPress).
    virtual void TellPresses(std::span<const int> ids) = 0;
    // The keyboard to the present style's button, where the panel has one.
    virtual void FocusStyle() = 0;
    // The wall may be locked now, or no longer: its buttons can be used accordingly.
    virtual void ShowLock() = 0;
    // The tab key goes as the eye does: the buttons of the head, what stands in the wall, the panel.
    virtual void OrderTabs(const std::vector<QWidget*>& wall) = 0;
};

}  // namespace kvmon
