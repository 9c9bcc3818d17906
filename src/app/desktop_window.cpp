#include "app/desktop_window.h"

#include <QtGui/QPixmap>

#include "console/view_geometry.h"

namespace kvmon {

DesktopWindow::DesktopWindow(const AppOptions& options) {
    setWindowTitle(QStringLiteral("kvmon"));
    setMinimumSize(kMinConsoleWidth, kMinConsoleHeight);
    resize(kMinConsoleWidth, kMinConsoleHeight);

    CTR450ClientImpl& impl = m_client.Impl();
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
    m_client.DestroyControlWindow();
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
