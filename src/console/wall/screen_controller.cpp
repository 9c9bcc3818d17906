#include "console/wall/screen_controller.h"

#include <QtGui/QGuiApplication>
#include <QtGui/QScreen>
#include <QtGui/QWindow>
#include <QtWidgets/QApplication>

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

}  // namespace

QScreen* OtherDisplay(const QList<QScreen*>& displays, const QScreen* own) {
    const auto place = displays.indexOf(own);
    if (place < 0) {
        return nullptr;
    }
    return displays.value(place + 1 < displays.size() ? place + 1 : place - 1);
}

ScreenController::ScreenController(Desk& desk, Commands& commands, WallEvents& events,
                                   ConsoleControls& controls, ViewController& view)
    : m_desk(desk), m_commands(commands), m_events(events), m_controls(controls), m_view(view) {}

ScreenController::~ScreenController() = default;

void ScreenController::Init() {
    UpdateAvailability(nullptr);
    QObject::connect(qGuiApp, &QGuiApplication::screenAdded, &m_life,
                     [this] { UpdateAvailability(nullptr); });
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
    m_bAvailable = displays.size() > 1;
    m_controls.SetShown(kCtlMultiScreens, m_bAvailable);
    m_view.SetDisplaysAvailable(m_bAvailable ? 2 : 1);
}

// The display nearest to the console: the one that has its middle.
QScreen* ScreenController::OwnDisplay() const {
    const QWidget& console = m_desk.Window();
    QScreen* const below = QGuiApplication::screenAt(console.mapToGlobal(console.rect().center()));
    return below != nullptr ? below : console.screen();
}

// --- full screen

void ScreenController::SetFullScreen(bool on) {
    if (on && !m_fullScreen) {
        m_fullScreen = std::make_unique<CFSPanel>(*OwnDisplay());
        m_fullScreen->SetTarget(m_desk.Window(), WM_LBUTTONDBLCLK);
        m_fullScreen->SetResized([this] {
            m_view.PlaceCells();
            m_events.OnWallMoved();
        });
        m_view.SetFullScreenPanel(m_fullScreen.get());
        m_view.ViewStyleChanged(m_view.GetStyle());
        m_fullScreen->ShowOnTop(CFSPanel::Keyboard::Take);
        m_events.OnWallMoved();
        MoveDialogs(m_desk.Window(), *m_fullScreen);
    } else if (!on && m_fullScreen) {
        auto panel = std::move(m_fullScreen);
        m_view.SetFullScreenPanel(nullptr);
        m_view.BringHome(*panel);
        m_events.OnWallMoved();
        panel->Dismiss();
        const bool bDialog = Retire(std::move(panel));
        m_view.ViewStyleChanged(m_view.GetStyle());
        if (!bDialog) {
            m_desk.Window().window()->activateWindow();
        }
        m_desk.Window().update();
    }
    m_controls.SetPressed(kCtlFullScreen, on);
}

bool ScreenController::LeaveFullScreen() {
    if (!IsFullScreen()) {
        return false;
    }
    SetFullScreen(false);
    return true;
}

void ScreenController::SaveState(const std::string& key) const {
    if (!key.empty()) {
        Registry().WriteProfileString(key, kDisplayEntry,
                                      m_fullScreen && m_fullScreen->Display()
                                          ? m_fullScreen->Display()->name().toStdString()
                                          : std::string());
    }
}

void ScreenController::LoadState(const std::string& key) {
    const std::string name = Registry().GetProfileString(key, kDisplayEntry, {});
    const QScreen* const own = OwnDisplay();
    if (!name.empty() && own != nullptr && own->name().toStdString() == name) {
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
    m_second = std::make_unique<CFSPanel>(*display);
    m_second->SetTarget(m_desk.Window(), kMsgSecondPanelClosed);
    m_second->SetResized([this] { m_view.PlaceCells(); });
    m_view.SetSecondPanel(m_second.get());
    if (m_second) {  // gone already when there are fewer cameras than displays
        m_second->ShowOnTop(CFSPanel::Keyboard::Leave);
    }
}

void ScreenController::LeaveSecondDisplay() {
    m_view.LeaveMultiDisplay();
}

void ScreenController::OnSecondPanelUnused() {
    if (m_second) {
        auto panel = std::move(m_second);
        panel->Dismiss();
        Retire(std::move(panel));
    }
    m_controls.SetPressed(kCtlMultiScreens, false);
}

// --- displays come and go

void ScreenController::OnScreenRemoved(const QScreen* gone) {
    const bool bOwn = OwnDisplay() == gone;
    if (m_fullScreen && (m_fullScreen->Display() == gone || m_fullScreen->Display() == nullptr)) {
        LeaveFullScreen();
    }
    // The console moves to one of the displays that are left, which may be the covered one.
    if (m_second && (bOwn || m_second->Display() == gone || m_second->Display() == nullptr)) {
        LeaveSecondDisplay();
    }
    UpdateAvailability(gone);
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
