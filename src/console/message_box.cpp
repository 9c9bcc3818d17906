#include "console/message_box.h"

#include <QtWidgets/QMessageBox>

#include "skin/plain_text.h"

namespace kvmon {

void OpenMessageBox(QWidget* parent, const std::string& text, const std::string& title) {
    auto* const box = new QMessageBox(QMessageBox::Warning, QString::fromStdString(title), MarkupOf(text),
                                      QMessageBox::Ok, parent);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->open();
}

}  // namespace kvmon
