// What stands in a menu.
#pragma once

#include <QtGui/QAction>
#include <QtWidgets/QMenu>
#include <string>
#include <vector>

namespace kvtest {

inline std::vector<std::string> Entries(const QMenu& menu) {
    std::vector<std::string> texts;
    for (const QAction* const entry : menu.actions()) {
        texts.push_back(entry->isSeparator() ? "-" : entry->text().toStdString());
    }
    return texts;
}

// Chooses an entry of an open menu, by what leads there.
inline bool Choose(QMenu& open, const std::vector<std::string>& path) {
    QMenu* menu = &open;
    for (const std::string& text : path) {
        QAction* found = nullptr;
        for (QAction* const entry : menu != nullptr ? menu->actions() : QList<QAction*>()) {
            found = found == nullptr && entry->text().toStdString() == text ? entry : found;
        }
        if (found == nullptr) {
            return false;
        }
        menu = found->menu();
        if (menu == nullptr) {
            found->trigger();
            emit open.triggered(found);
        }
    }
    open.close();
    return menu == nullptr;
}

}  // namespace kvtest
