// What the line over the wall says.
#pragma once

#include <QtWidgets/QAbstractButton>
#include <QtWidgets/QLabel>
#include <string>

namespace kvtest {

// The line that is shown; null for none. One that has gone may still be there for a turn of the loop.
inline QWidget* ShownPart(QWidget& window, const char* name) {
    for (auto* const part : window.findChildren<QWidget*>(QString::fromLatin1(name))) {
        if (!part->isHidden()) {
            return part;
        }
    }
    return nullptr;
}

// The whole text, also where it is cut.
inline std::string FeedbackText(QWidget& window) {
    const QWidget* const line = ShownPart(window, "feedback");
    return line != nullptr ? line->accessibleName().toStdString() : "";
}

inline QAbstractButton* FeedbackButton(QWidget& window, const std::string& text) {
    const QWidget* const line = ShownPart(window, "feedback");
    for (auto* const link :
         line != nullptr ? line->findChildren<QAbstractButton*>() : QList<QAbstractButton*>()) {
        if (link->text().toStdString() == text) {
            return link;
        }
    }
    return nullptr;
}

}  // namespace kvtest
