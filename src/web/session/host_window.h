// The window that holds a page's console, and the keyboard's way into it and out of it.
#pragma once

#include <QtWidgets/QWidget>
#include <cstdint>

namespace kvmon {

// By which way the Tab key comes in.
enum class TabEntry { AtFirst, AtLast };

// User interface thread only.
class HostWindow final : public QWidget {
public:
    // The ways by which a further Tab leaves the console; none while a menu or a dialog is open.
    static constexpr std::uint8_t kFirst = 1;
    static constexpr std::uint8_t kLast = 2;
    std::uint8_t Edges() const;

    // The page's Tab key has come here: on to the first control, or back to the last.
    void Enter(TabEntry entry);

    // What names the control that has the keyboard, here or in a dialog.
    static QString FocusName();

protected:
    // Not from the last control to the first and back: there the page goes on.
    bool focusNextPrevChild(bool bNext) override;

private:
    std::vector<QWidget*> TabWidgets() const;
};

}  // namespace kvmon
