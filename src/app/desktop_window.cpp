#include "app/desktop_window.h"

#include <QtGui/QGuiApplication>
#include <QtGui/QPixmap>
#include <QtGui/QScreen>

#include "app/window_place.h"
#include "console/view_geometry.h"

namespace kvmon {

namespace {

QList<QRect> Displays() {
    QList<QRect> displays;
    for (const QScreen* const screen : QGuiApplication::screens()) {
        displays << screen->availableGeometry();
    }
    return displays;
}

}  // namespace

DesktopWindow::DesktopWindow(const AppOptions& options) {
    setWindowTitle(QStringLiteral("kvmon"));
    setMinimumSize(kMinConsoleWidth, kMinConsoleHeight);
    resize(kMinConsoleWidth, kMinConsoleHeight);
    Restore();
    // Qt first moves the window by itself.
    QObject::connect(
        qGuiApp, &QGuiApplication::screenRemoved, this, [this] { ReturnToDisplay(); }, Qt::QueuedConnection);

    CTR450ClientImpl& impl = m_client.Impl();
    impl.SetSharePort(&m_shares);
    impl.SetServerIP(options.server);
    impl.SetServerPort(options.port);
    impl.SetAuthData(options.auth);
    impl.SetAutoStart(options.autoStart ? 1 : 0);
    impl.SetDefServerName(options.serverName);
    impl.SetHelpPath(options.helpPath);
    if (options.language) {
        impl.SetLanguage(*options.language);
    }
}

DesktopWindow::~DesktopWindow() {
    SaveWindowPlace({normalGeometry().isEmpty() ? geometry() : normalGeometry(), isMaximized()});
    m_client.DestroyControlWindow();
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

void DesktopWindow::ReturnToDisplay() {
    const QScreen* const primary = QGuiApplication::primaryScreen();
    if (primary != nullptr && !FitToDisplays(geometry(), Displays(), minimumSize())) {
        move(primary->availableGeometry().topLeft());
    }
}

void DesktopWindow::Activate() {
    m_client.CreateControlWindow(this).show();
}

bool DesktopWindow::SavePicture(const std::string& path) {
    return grab().save(QString::fromStdString(path));
}

void DesktopWindow::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    if (WindowBase* const control = m_client.ControlWindow()) {
        control->resize(size());
    }
}

}  // namespace kvmon
