// Messages of the desktop, on desktops that show such.
#pragma once

#include <QtCore/QString>
#include <memory>

class QSystemTrayIcon;

namespace kvmon {

// User interface thread only.
class DesktopNotifier {
public:
    DesktopNotifier();
    virtual ~DesktopNotifier();

    // Plain text. Does nothing on other desktops.
    virtual void Notify(const QString& title, const QString& text, bool bError);

private:
    std::unique_ptr<QSystemTrayIcon> m_icon;  // made with the first message
};

// The text without what a desktop may take for markup.
QString NotificationText(QString text);

}  // namespace kvmon
