#include "console/wall/screen_controller.h"

#include <QtGui/QGuiApplication>
#include <QtGui/QScreen>
#include <QtGui/QWindow>
#include <QtWidgets/QApplication>
#include <algorithm>

#include "channel/cell/video_wnd.h"
#include "console/panel/console_controls.h"
#include "console/ports/commands.h"
#include "console/ports/console_messages.h"
#include "console/ports/desk.h"
#include "console/ports/wall_events.h"
#include "console/wall/fs_panel.h"
#include "console/wall/view_controller.h"
#include "persist/log_file.h"
#include "persist/orvo_registry.h"
#include "persist/string_table.h"
#include "skin/input_messages.h"

namespace kvmon {

namespace {

constexpr const char* kDisplayEntry = "FullScreenDisplay";
constexpr std::uint32_t kStrError = 4005;
constexpr std::uint32_t kStrNoSecondDisplay = 4016;

QScreen* FindDisplay(const QString& name) {
    const QList<QScreen*> displays = QGuiApplication::screens();
    const auto found = std::find_if(displays.begin(), displays.end(),
                                    [&name](const QScreen* display) { return display->name() == name; });
    return found != displays.end() && !name.isEmpty() ? *found : nullptr;
}

}  // namespace

QScreen* OtherDisplay(const QList<QScreen*>& displays, const QScreen* own) {
    const auto place = displays.indexOf(own);
    if (place < 0) {
        return nullptr;
    }
    return displays.value(place + 1 < displays.size() ? place + 1 : place - 1);
}

ScreenController::ScreenController(Desk& desk, Commands& commands, WallEvents& events,
                                   ConsoleControls& controls, ViewController& view, bool bThisDisplay)
    : m_desk(desk),
      m_commands(commands),
      m_events(events),
      m_controls(controls),
      m_view(view),
      m_bThisDisplay(bThisDisplay) {}

ScreenController::~ScreenController() = default;

void ScreenController::Init() {
    UpdateAvailability(nullptr);
    QObject::connect(qGuiApp, &QGuiApplication::screenAdded, &m_life,
                     [this] { UpdateAvailability(nullptr); });
    // Later: the window around the console goes back first.
    QObject::connect(
        qGuiApp, &QGuiApplication::screenAdded, &m_life, [this] { GiveBack(); }, Qt::QueuedConnection);
    QObject::connect(qGuiApp, &QGuiApplication::screenRemoved, &m_life,
                     [this](const QScreen* gone) { OnScreenRemoved(gone); });
    QObject::connect(qGuiApp, &QGuiApplication::focusWindowChanged, &m_life,
                     [this](const QWindow* window) { OnFocusWindow(window); });
}

// Window managers give the console the keyboard when a dialog above the panel closes. It cannot be seen then,
// so the panel gets it.
void ScreenController::OnFocusWindow(const QWindow* window) {
    if (!m_fullScreen || window == nullptr || window != m_desk.Window().window()->windowHandle()) {
        return;
    }
    QMetaObject::invokeMethod(
        &m_life,
        [this] {
            if (m_fullScreen) {
                QWidget* const modal = QApplication::activeModalWidget();
                (modal != nullptr ? modal : m_fullScreen.get())->activateWindow();
            }
        },
        Qt::QueuedConnection);
}

void ScreenController::UpdateAvailability(const QScreen* gone) {
    QList<QScreen*> displays = QGuiApplication::screens();
    displays.removeIf([gone](const QScreen* display) { return display == gone; });
    m_bAvailable = displays.size() > 1 && !m_bThisDisplay;
    m_controls.SetShown(kCtlMultiScreens, m_bAvailable);
    m_view.SetDisplaysAvailable(m_bAvailable ? 2 : 1);
}

// The display nearest to the console: the one that has its middle.
QScreen* ScreenController::OwnDisplay() const {
    const QWidget& console = m_desk.Window();
    QScreen* const below = QGuiApplication::screenAt(console.mapToGlobal(console.rect().center()));
    return below != nullptr ? below : console.screen();
}

bool ScreenController::IsOn(const QScreen& display) const {
    return (m_fullScreen ? m_fullScreen->Display() : OwnDisplay()) == &display ||
           (m_second && m_second->Display() == &display);
}

// --- full screen

void ScreenController::SetFullScreen(bool on) {
    QScreen* const own = OwnDisplay();
    if (on && !m_fullScreen && own != nullptr) {
        BeginFullScreen(*own);
    } else if (!on && m_fullScreen) {
        EndFullScreen();
    }
    m_wantedFullScreen =
        m_fullScreen && m_fullScreen->Display() ? m_fullScreen->Display()->name() : QString();
}

void ScreenController::BeginFullScreen(QScreen& display) {
    m_fullScreen = std::make_unique<CFSPanel>(display);
    m_fullScreen->SetTarget(m_desk.Window(), kMsgFullScreenClosed);
    m_fullScreen->SetResized([this] {
        m_view.PlaceCells();
        m_events.OnWallMoved();
    });
    m_view.SetFullScreenPanel(m_fullScreen.get());
    LayOut();
    // One display of several does not take the keyboard from who is typing at another.
    m_fullScreen->ShowOnTop(m_bThisDisplay ? CFSPanel::Keyboard::Leave : CFSPanel::Keyboard::Take);
    m_events.OnWallMoved();
    MoveDialogs(m_desk.Window(), *m_fullScreen);
    m_controls.SetPressed(kCtlFullScreen, true);
    m_events.OnDisplaysChanged();
}

void ScreenController::EndFullScreen() {
    auto panel = std::move(m_fullScreen);
    m_view.SetFullScreenPanel(nullptr);
    m_view.BringHome(*panel);
    m_events.OnWallMoved();
    panel->Dismiss();
    const bool bDialog = Retire(std::move(panel));
    LayOut();
    if (!bDialog) {
        m_desk.Window().window()->activateWindow();
    }
    m_desk.Window().update();
    m_controls.SetPressed(kCtlFullScreen, false);
    m_events.OnDisplaysChanged();
}

void ScreenController::MoveFullScreen(QScreen& display) {
    m_fullScreen->Cover(display);
    m_fullScreen->ShowOnTop(CFSPanel::Keyboard::Take);
    if (QWidget* const dialog = QApplication::activeModalWidget()) {
        dialog->move(display.geometry().center() - dialog->rect().center());
    }
    m_events.OnDisplaysChanged();
}

// Before the first view there are no cells, but words to move.
void ScreenController::LayOut() {
    if (m_view.GetStyle() < kViewStyleCount) {
        m_view.ViewStyleChanged(m_view.GetStyle());
    } else {
        m_events.OnWallChanged();
    }
}

bool ScreenController::LeaveFullScreen() {
    if (!IsFullScreen()) {
        return false;
    }
    SetFullScreen(false);
    return true;
}

void ScreenController::SaveState(const std::string& key) const {
    if (!key.empty() && !m_bThisDisplay) {
        Registry().WriteProfileString(key, kDisplayEntry, m_wantedFullScreen.toStdString());
    }
}

void ScreenController::LoadState(const std::string& key) {
    const std::string name = Registry().GetProfileString(key, kDisplayEntry, {});
    const QScreen* const own = OwnDisplay();
    if (!m_bThisDisplay && !name.empty() && own != nullptr && own->name().toStdString() == name) {
        SetFullScreen(true);
    }
}

// --- the second display

void ScreenController::OnBtnMultiScreens() {
    Trace("CMainDlg::OnBtnMultiScreens: Enter...\n");
    if (m_second) {
        LeaveSecondDisplay();
    } else if (m_bAvailable) {
        ShowSecondDisplay();
    } else {
        m_wantedSecond.clear();
    }
    m_controls.SetPressed(kCtlMultiScreens, m_second != nullptr);
}

void ScreenController::ShowSecondDisplay() {
    if (m_view.GetStyle() == VIEW_STYLE_PIP) {
        m_commands.Press(kCtlFirstStyle);
    }
    QScreen* const display = OtherDisplay(QGuiApplication::screens(), OwnDisplay());
    if (display == nullptr) {
        m_desk.ShowMessage(LoadString(kStrNoSecondDisplay), LoadString(kStrError));
        return;
    }
    ShowSecondDisplay(*display);
}

void ScreenController::ShowSecondDisplay(QScreen& display) {
    m_wantedSecond = display.name();
    m_second = std::make_unique<CFSPanel>(display);
    m_second->SetTarget(m_desk.Window(), kMsgSecondPanelClosed);
    m_second->SetResized([this] { m_view.PlaceCells(); });
    m_view.SetSecondPanel(m_second.get());
    if (m_second) {  // gone already when there are fewer cameras than displays
        m_second->ShowOnTop(CFSPanel::Keyboard::Leave);
        m_events.OnDisplaysChanged();
    }
}

void ScreenController::LeaveSecondDisplay() {
    m_view.LeaveMultiDisplay();
}

void ScreenController::OnSecondPanelUnused() {
    m_wantedSecond.clear();
    if (m_second) {
        auto panel = std::move(m_second);
        panel->Dismiss();
        Retire(std::move(panel));
        m_events.OnDisplaysChanged();
    }
    m_controls.SetPressed(kCtlMultiScreens, false);
}

// --- displays come and go

void ScreenController::OnScreenRemoved(const QScreen* gone) {
    const auto isGone = [gone](const CFSPanel& panel) {
        return panel.Display() == gone || panel.Display() == nullptr;
    };
    // The console moves to one of the displays that are left, which may be the covered one.
    if (m_second && (OwnDisplay() == gone || isGone(*m_second))) {
        const QString wanted = m_wantedSecond;
        LeaveSecondDisplay();
        m_wantedSecond = wanted;
    }
    if (m_fullScreen && isGone(*m_fullScreen)) {
        QList<QScreen*> displays = QGuiApplication::screens();
        displays.removeIf([gone](const QScreen* display) { return display == gone; });
        if (m_bThisDisplay || !m_desk.IsLocked()) {
            EndFullScreen();
        } else if (!displays.isEmpty()) {
            MoveFullScreen(*displays.front());
        }
    }
    UpdateAvailability(gone);
}

// To the displays that are there again what the user wanted on them.
void ScreenController::GiveBack() {
    if (m_desk.IsClosing()) {
        return;
    }
    QScreen* const wall = FindDisplay(m_wantedFullScreen);
    if (wall != nullptr && !m_fullScreen) {
        BeginFullScreen(*wall);
    } else if (wall != nullptr && m_fullScreen->Display() != wall) {
        MoveFullScreen(*wall);
    }
    QScreen* const second = FindDisplay(m_wantedSecond);
    if (second != nullptr && !m_second && second != (m_fullScreen ? m_fullScreen->Display() : OwnDisplay()) &&
        m_view.GetStyle() != VIEW_STYLE_PIP) {
        ShowSecondDisplay(*second);
        m_controls.SetPressed(kCtlMultiScreens, m_second != nullptr);
    }
}

// The panel may be handling a message now, so it is deleted later.
bool ScreenController::Retire(std::unique_ptr<CFSPanel> panel) {
    panel->SetResized({});
    panel->hide();
    const bool bDialog = MoveDialogs(*panel, *Wall());
    m_events.OnPanelGoes();
    QMetaObject::invokeMethod(
        &m_desk.Window(), [held = std::shared_ptr<CFSPanel>(std::move(panel))] {}, Qt::QueuedConnection);
    return bDialog;
}

// True if one of them is on show; it has the keyboard then.
bool ScreenController::MoveDialogs(const QWidget& from, QWidget& to) const {
    // A copy: moving changes the list of children, and showing may.
    QList<QPointer<QWidget>> dialogs;
    for (QObject* const child : from.children()) {
        auto* const dialog = qobject_cast<QWidget*>(child);
        if (dialog != nullptr && dialog->windowType() == Qt::Dialog) {
            dialogs << dialog;
        }
    }
    bool bAnyShown = false;
    for (const QPointer<QWidget>& dialog : dialogs) {
        if (!dialog) {
            continue;
        }
        const bool bShown = dialog->isVisible();
        const QPoint place = dialog->pos();
        dialog->setParent(&to, dialog->windowFlags());
        dialog->move(place);
        dialog->setVisible(bShown);
        if (bShown) {
            bAnyShown = true;
            dialog->raise();
            dialog->activateWindow();
        }
    }
    return bAnyShown;
}

// The second display is where a user works while it has the keyboard, by itself or by one of its dialogs.
QWidget* ScreenController::DialogHost() const {
    for (QWidget* window = QApplication::activeWindow(); m_second && window != nullptr;
         window = window->parentWidget()) {
        if (window == m_second.get()) {
            return window;
        }
    }
    return Wall();
}

QWidget* ScreenController::Wall() const {
    return m_fullScreen ? static_cast<QWidget*>(m_fullScreen.get()) : &m_desk.Window();
}

QWidget* ScreenController::HostOf(const QWidget& cell) const {
    const QWidget* const window = cell.window();
    if (m_second && window == m_second.get()) {
        return m_second.get();
    }
    return m_fullScreen && window == m_fullScreen.get() ? static_cast<QWidget*>(m_fullScreen.get())
                                                        : &m_desk.Window();
}

void ScreenController::BringHere(QWidget& dialog) const {
    QWidget* const host = DialogHost();
    if (dialog.parentWidget() != host) {
        dialog.setParent(host, dialog.windowFlags());
    }
}

}  // namespace kvmon
