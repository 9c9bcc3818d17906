// The displays: which of them the video windows cover, beside the console's own place.
#pragma once

#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <memory>
#include <string>

class QScreen;
class QWindow;
class QWidget;

namespace kvmon {

class CFSPanel;
class Commands;
class ConsoleControls;
class Desk;
class ViewController;
class WallEvents;

// The display that the second page goes to: the one behind the console's in the list, or the one before it
// if that is the last. Null if there is no other, or if the console's is not listed.
QScreen* OtherDisplay(const QList<QScreen*>& displays, const QScreen* own);

// Owns the panels; the view knows them as places for windows. A display that goes away gives its windows
// back, and gets them again when it comes back, unless the user wanted something else meanwhile. A locked
// wall goes on on another display until then. User interface thread only.
class ScreenController {
public:
    // With `bThisDisplay` it keeps to the console's own display: it takes no second one, and is not asked
    // what it was the last time.
    ScreenController(Desk& desk, Commands& commands, WallEvents& events, ConsoleControls& controls,
                     ViewController& view, bool bThisDisplay = false);
    ~ScreenController();

    // Once, when the controls exist.
    void Init();

    // Command kCtlFullScreen.
    void SetFullScreen(bool on);
    bool IsFullScreen() const { return m_fullScreen != nullptr; }
    // One of its windows is there, or the console itself.
    bool IsOn(const QScreen& display) const;
    // Escape and a double click: true if full screen was on.
    bool LeaveFullScreen();

    // Command kCtlMultiScreens: the second display on or off.
    void OnBtnMultiScreens();
    // More than one display is there.
    bool IsMultiDisplayAvailable() const { return m_bAvailable; }
    // The panel's double click.
    void LeaveSecondDisplay();
    // The view has taken its windows from the second panel.
    void OnSecondPanelUnused();

    // Whether full screen is on, from one session to the next; only on the display where it was.
    void SaveState(const std::string& key) const;
    void LoadState(const std::string& key);

    // Where a dialog or a menu has to open to be seen: the window that the user works at. All dialogs of the
    // console ask here for their parent; those that are open go along when full screen begins or ends.
    QWidget* DialogHost() const;
    // The window that has the wall of the first display: full screen's, else the console.
    QWidget* Wall() const;
    // Another program's window is about to open: it would stand behind full screen, which ends.
    void MakeRoom() { LeaveFullScreen(); }
    // The same as DialogHost for what belongs to one cell.
    QWidget* HostOf(const QWidget& cell) const;
    // Moves a hidden dialog that is used again to where it can be seen now. Hides it first if it was
    // elsewhere.
    void BringHere(QWidget& dialog) const;

private:
    QScreen* OwnDisplay() const;
    void LayOut();
    void BeginFullScreen(QScreen& display);
    void EndFullScreen();
    void MoveFullScreen(QScreen& display);
    void ShowSecondDisplay();
    void ShowSecondDisplay(QScreen& display);
    void OnScreenRemoved(const QScreen* gone);
    void GiveBack();
    void UpdateAvailability(const QScreen* gone);
    bool Retire(std::unique_ptr<CFSPanel> panel);
    void OnFocusWindow(const QWindow* window);
    bool MoveDialogs(const QWidget& from, QWidget& to) const;

    Desk& m_desk;
    Commands& m_commands;
    WallEvents& m_events;
    ConsoleControls& m_controls;
    ViewController& m_view;
    const bool m_bThisDisplay;
    std::unique_ptr<CFSPanel> m_fullScreen;
    std::unique_ptr<CFSPanel> m_second;
    // The displays that the user wants them on, by name; empty for none.
    QString m_wantedFullScreen;
    QString m_wantedSecond;
    bool m_bAvailable = false;
    QObject m_life;  // last: ends the connections first
};

}  // namespace kvmon
