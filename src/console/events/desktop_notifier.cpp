#include "console/events/desktop_notifier.h"

#include <QtGui/QPainter>
#include <QtWidgets/QSystemTrayIcon>

#include "skin/skin_colours.h"

namespace kvmon {

namespace {

constexpr int kShownMs = 8000;
constexpr qsizetype kMaxText = 300;

// A small screen with a lens.
QIcon TrayIcon() {
    const SkinColours& colours = ColoursOf(SkinLook::Dark);  // the tray is not ours
    QPixmap pixmap(64, 64);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(QColor(colours.inkBright), 4));
    painter.setBrush(QColor(colours.panel));
    painter.drawRoundedRect(QRectF(4, 12, 56, 40), 6, 6);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(colours.accent));
    painter.drawEllipse(QPointF(32, 32), 10, 10);
    return QIcon(pixmap);
}

}  // namespace

QString NotificationText(QString text) {
    text.truncate(kMaxText);
    return text.replace('<', QChar(0x2039)).replace('>', QChar(0x203A)).replace('&', QChar(0xFF06));
}

DesktopNotifier::DesktopNotifier() = default;

DesktopNotifier::~DesktopNotifier() = default;

void DesktopNotifier::Notify(const QString& title, const QString& text, bool bError) {
    if (!QSystemTrayIcon::isSystemTrayAvailable() || !QSystemTrayIcon::supportsMessages()) {
        return;
    }
    if (!m_icon) {
        m_icon = std::make_unique<QSystemTrayIcon>(TrayIcon());
        m_icon->show();
    }
    m_icon->showMessage(NotificationText(title), NotificationText(text),
                        bError ? QSystemTrayIcon::Critical : QSystemTrayIcon::Warning, kShownMs);
}

}  // namespace kvmon
