// The bar that slides in at the top of full screen: arrangement, view, page, clock, and the way out.
#pragma once

#include <QtCore/QPointer>

class QWidget;

namespace kvmon {

class Commands;
class ConsoleControls;
class Desk;
class Timers;
class ViewController;
class ViewSwitch;

// Comes when the pointer touches the upper edge or a key asks for it, and goes when neither is there. Never
// on a wall that is locked. User interface thread only.
class WallBar {
public:
    WallBar(Desk& desk, Timers& timers, Commands& commands, const ConsoleControls& controls,
            ViewController& view, const ViewSwitch& views);
    ~WallBar();
    WallBar(const WallBar&) = delete;
    WallBar& operator=(const WallBar&) = delete;

    // The panel of full screen; null without.
    void SetHost(QWidget* panel);
    // Command kKeyBar: gives it the keyboard.
    void Open();
    // What it says is as the wall now, and it is above the cells.
    void Update();
    // Timer kTimerBar.
    void OnTimer();

private:
    class Bar;

    void Hide();
    void OpenStyles(QWidget& button);
    void OpenViews(QWidget& button);

    Desk& m_desk;
    Timers& m_timers;
    Commands& m_commands;
    const ConsoleControls& m_controls;
    ViewController& m_view;
    const ViewSwitch& m_views;
    QPointer<Bar> m_bar;  // goes with the panel
};

}  // namespace kvmon
