#include "app/desktop_window.h"

#include <QtGui/QCloseEvent>
#include <QtGui/QGuiApplication>
#include <QtGui/QIcon>
#include <QtGui/QPixmap>
#include <QtGui/QScreen>
#include <QtGui/QWindow>
#include <algorithm>
#include <cstdio>
#include <utility>

#include "app/guarded.h"
#include "app/kept_properties.h"
#include "app/window_place.h"
#include "console/layout/view_geometry.h"
#include "console/main_dlg.h"
#include "console/settings/fill_pattern.h"
#include "persist/orvo_registry.h"
#include "persist/string_table.h"
#include "platform/outside_text.h"
#include "platform/text.h"
#include "skin/role_accessible.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kStrWarning = 5026;
constexpr std::uint32_t kStrNoView = 7117;

QList<QRect> Displays() {
    QList<QRect> displays;
    for (const QScreen* const screen : QGuiApplication::screens()) {
        displays << screen->availableGeometry();
    }
    return displays;
}

WallStart StartOf(const AppOptions& options) {
    return options.lock ? WallStart::Locked : options.fullScreen ? WallStart::FullScreen : WallStart::Window;
}

WallWishes WallsOf(const AppOptions& options) {
    // One that is sent to a display is beside others, which have theirs.
    return {options.allDisplays, options.displayViews, StartOf(options), options.display == 0};
}

QIcon ProgramIcon() {
    QIcon icon;
    for (const int size : {16, 24, 32, 48, 64, 128, 256}) {
        icon.addFile(QStringLiteral(":/icons/kvmon-%1.png").arg(size));
    }
    return icon;
}

}  // namespace

DesktopWindow::DesktopWindow(const AppOptions& options, Clock& clock, KeyRing* keyRing, LookKeeper* looks)
    : m_client(clock),
      m_walls(m_client.Impl(), m_browser, WallsOf(options), clock),
      m_signIn(m_client.Impl(), Registry(), keyRing, [this] { OnSignInChanged(); }),
      m_strView(options.view),
      m_bSent(options.display > 0) {
    setWindowTitle(QStringLiteral("kvmon"));
    SetAccessibleRole(*this, QAccessible::Window);
    setWindowIcon(ProgramIcon());
    setMinimumSize(kMinConsoleWidth, kMinConsoleHeight);
    resize(kMinConsoleWidth, kMinConsoleHeight);
    Restore();
    if (options.display > 0) {
        MoveToDisplay(options.display);
    }
    // Qt first moves the window by itself.
    QObject::connect(qGuiApp, &QGuiApplication::screenRemoved, this,
                     [this](const QScreen* gone) { NoteDisplayGoes(*gone); });
    QObject::connect(
        qGuiApp, &QGuiApplication::screenRemoved, this, [this] { ReturnToDisplay(); }, Qt::QueuedConnection);
    QObject::connect(
        qGuiApp, &QGuiApplication::screenAdded, this, [this] { GoBackToDisplay(); }, Qt::QueuedConnection);

    m_client.Connect(this);
    CTR450ClientImpl& impl = m_client.Impl();
    m_browser.SetLooks(looks);
    m_browser.SetWalls(&m_walls);
    impl.SetClientSite(&m_browser);
    impl.SetWallStart(StartOf(options));
    impl.SetSharePort(&m_shares);
    const PropertyBag told = PropertiesOf(options);
    const PropertyBag kept = LoadKeptProperties(Registry());
    PropertyBag atStart = kept;
    if (NamesAnotherRecorder(kept, told)) {
        atStart.erase("AuthData");
    }
    m_client.Load(atStart);
    m_client.Load(told);
    if (options.keep) {
        KeepChangedProperties(Registry(), {}, told);
    }
    m_signIn.Begin(options.keep ? LoadKeptProperties(Registry()) : kept, told);
    m_signIn.SetSearch({options.searchFrom, options.searchPort});
    impl.SetSignInMemory(&m_signIn);
    m_known = PropertiesOf(m_client);
    m_browser.SetLocation(SiteAddress());
}

DesktopWindow::~DesktopWindow() {
    // One that fails, as where memory is short, must not keep the others from being done.
    const auto attempt = [](const auto& step) {
        try {
            step();
        } catch (const std::exception& cause) {
            TellLeftOut(cause);
        }
    };
    // A window that was never shown has no place of its own, and one that was sent to a display is beside the
    // one that the user has elsewhere.
    if (m_bShown && !m_bSent) {
        attempt([this] { SaveWindowPlace(Place()); });
    }
    attempt([this] { KeepChangedProperties(Registry(), m_known, PropertiesOf(m_client)); });
    attempt([this] { m_walls.BeginEnd(); });
    attempt([this] { m_client.DestroyControlWindow(); });
    m_browser.SetWalls(nullptr);
}

std::string DesktopWindow::SiteAddress() {
    const CTR450ClientImpl& impl = m_client.Impl();
    return FormatText("http://%s:%u/", impl.GetServerIP().c_str(), impl.GetServerPort());
}

void DesktopWindow::OnSignInChanged() {
    m_known = PropertiesOf(m_client);
    m_browser.SetLocation(SiteAddress());
}

void DesktopWindow::OnLogout(int) {
    m_signIn.OnLogout();
    m_walls.OnSession();
}

void DesktopWindow::OnGotoPage(int) {
    m_browser.OpenPage(SiteAddress());
}

void DesktopWindow::OnGotoServer(int, const std::string& url) {
    m_browser.OpenPage(url);
}

void DesktopWindow::OnChgLanguage(int language) {
    KeepChangedProperties(Registry(), {}, {{"Language", std::to_string(language)}});
}

void DesktopWindow::Restore() {
    const auto place = LoadWindowPlace();
    const auto rect = place ? FitToDisplays(place->rect, Displays(), minimumSize()) : std::nullopt;
    if (!rect) {
        return;
    }
    setGeometry(*rect);
    if (place->bMaximised) {
        setWindowState(Qt::WindowMaximized);
    }
}

WindowPlace DesktopWindow::Place() const {
    return {normalGeometry().isEmpty() ? geometry() : normalGeometry(), isMaximized()};
}

void DesktopWindow::MoveToDisplay(int number) {
    const QScreen* const display = QGuiApplication::screens().value(number - 1);
    if (display == nullptr) {
        std::fprintf(stderr, "kvmon: there is no display %d; %d are there\n", number,
                     static_cast<int>(QGuiApplication::screens().size()));
        return;
    }
    const QRect place = display->availableGeometry();
    if (!place.contains(geometry())) {
        resize(size().boundedTo(place.size()).expandedTo(minimumSize()));
        move(place.topLeft());  // with its frame
    }
}

// When several go, one after the other, it is the first one that the window stood on by the user's will.
void DesktopWindow::NoteDisplayGoes(const QScreen& gone) {
    if (!m_away && gone.geometry().contains(geometry().center())) {
        m_away = Away{gone.name(), Place()};
    }
}

void DesktopWindow::GoBackToDisplay() {
    const QList<QScreen*> displays = QGuiApplication::screens();
    const bool bThere =
        m_away && std::any_of(displays.begin(), displays.end(),
                              [this](const QScreen* display) { return display->name() == m_away->display; });
    if (bThere) {
        const WindowPlace place = std::exchange(m_away, std::nullopt)->place;
        setWindowState(Qt::WindowNoState);
        setGeometry(place.rect);
        setWindowState(place.bMaximised ? Qt::WindowMaximized : Qt::WindowNoState);
    }
}

void DesktopWindow::ReturnToDisplay() {
    const QScreen* const primary = QGuiApplication::primaryScreen();
    if (primary != nullptr && !FitToDisplays(geometry(), Displays(), minimumSize())) {
        move(primary->availableGeometry().topLeft());
    }
}

void DesktopWindow::Activate() {
    m_client.CreateControlWindow(this).show();
    OpenView();
    m_walls.Begin();
    m_known = PropertiesOf(m_client);  // the language may be another one, where the wanted one is missing
}

void DesktopWindow::OpenView() {
    CTR450ClientImpl& impl = m_client.Impl();
    if (m_strView.empty() || !impl.HasMainDlg() || impl.OpenView(m_strView)) {
        return;
    }
    const std::string name = OutsideLine(m_strView);
    std::fprintf(stderr, "kvmon: there is no view named %s\n", name.c_str());
    impl.MainDlg()->ShowMessage(FillPattern(LoadString(kStrNoView), {name}), LoadString(kStrWarning));
}

bool DesktopWindow::SavePicture(const std::string& path) {
    // In full screen the console has a window of its own for the wall.
    CMainDlg* const console = m_client.Impl().MainDlg();
    QWidget* const wall = console != nullptr ? console->DialogHost() : nullptr;
    return (wall != nullptr && wall->isWindow() ? *wall : *this).grab().save(QString::fromStdString(path));
}

void DesktopWindow::closeEvent(QCloseEvent* event) {
    CMainDlg* const console = m_client.Impl().MainDlg();
    if (console != nullptr && console->IsLocked()) {
        event->ignore();
        console->LeaveWall();
    }
}

void DesktopWindow::showEvent(QShowEvent* event) {
    if (!m_bShown && windowHandle() != nullptr) {
        // The wall of a display that this window comes to makes room.
        QObject::connect(windowHandle(), &QWindow::screenChanged, this, [this] { m_walls.Update(); });
    }
    m_bShown = true;
    QWidget::showEvent(event);
}

void DesktopWindow::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    if (WindowBase* const control = m_client.ControlWindow()) {
        control->resize(size());
    }
}

}  // namespace kvmon
