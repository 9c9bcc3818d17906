#include "skin/bc_menu.h"

#include <QtCore/QTimer>

#include "skin/skin_messages.h"

namespace kvmon {

namespace {

QString FromUtf8(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

}  // namespace

BCMenu::BCMenu(QWidget* parent) : QMenu(parent) {
    setToolTipsVisible(false);
}

void BCMenu::AppendMenu(unsigned flags, int id, std::string_view text) {
    if ((flags & MF_SEPARATOR) != 0) {
        addSeparator();
        return;
    }
    QAction* const entry = addAction(FromUtf8(text));
    entry->setData(id);
    entry->setEnabled((flags & MF_GRAYED) == 0);
    if ((flags & MF_CHECKED) != 0) {
        entry->setCheckable(true);
        entry->setChecked(true);
    }
}

BCMenu* BCMenu::AppendPopup(std::string_view text) {
    auto* const menu = new BCMenu(this);
    menu->setTitle(FromUtf8(text));
    addMenu(menu);
    return menu;
}

void BCMenu::TrackPopupMenu(const QPoint& screenPosition, const WindowHandle& target,
                            std::function<void(int)> closed) {
    // A menu hides before it tells the choice, so the end is looked at one turn of the event loop later.
    const auto chosen = std::make_shared<int>(0);
    connect(this, &QMenu::triggered, this, [chosen](QAction* entry) { *chosen = entry->data().toInt(); });
    connect(this, &QMenu::aboutToHide, this, [this, chosen, target, closed = std::move(closed)] {
        QTimer::singleShot(0, this, [this, chosen, target, closed] {
            if (*chosen != 0) {
                target.Post(WM_COMMAND, static_cast<WParam>(*chosen), 0);
            }
            if (closed) {
                closed(*chosen);
            }
            deleteLater();
        });
    });
    popup(screenPosition);
}

std::string EscapeMenuText(std::string_view text) {
    std::string escaped;
    for (const char c : text) {
        // A tab would set the rest apart as a shortcut.
        escaped += c == '\t' ? ' ' : c;
        if (c == '&') {
            escaped += c;
        }
    }
    return escaped;
}

}  // namespace kvmon
