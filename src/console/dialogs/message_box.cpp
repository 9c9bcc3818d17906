#include "console/dialogs/message_box.h"

#include <QtWidgets/QMessageBox>

#include "skin/plain_text.h"

namespace kvmon {

QDialog* OpenMessageBox(QWidget* parent, const std::string& text, const std::string& title) {
    auto* const box = new QMessageBox(QMessageBox::Warning, QString::fromStdString(title), MarkupOf(text),
                                      QMessageBox::Ok, parent);
    OpenDialog(box);
    return box;
}

void OpenDialog(QDialog* dialog) {
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    QObject::connect(dialog, &QDialog::finished, dialog, [dialog] { GiveKeyboardBack(*dialog); });
    dialog->open();
}

void GiveKeyboardBack(const QWidget& dialog) {
    if (QWidget* const parent = dialog.parentWidget()) {
        parent->window()->activateWindow();
    }
}

}  // namespace kvmon
