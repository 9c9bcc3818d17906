#include "console/wait_dialog.h"

#include <QtWidgets/QLabel>
#include <QtWidgets/QVBoxLayout>

#include "persist/string_table.h"

namespace kvmon {

WaitDialog::WaitDialog(QWidget& console) : QFrame(&console) {
    setObjectName(QStringLiteral("waitDialog"));
    setFrameShape(QFrame::StyledPanel);
    setAutoFillBackground(true);
    auto* const label = new QLabel(QString::fromStdString(LoadString(1108)), this);
    label->setTextFormat(Qt::PlainText);
    label->setAlignment(Qt::AlignCenter);
    auto* const box = new QVBoxLayout(this);
    box->setContentsMargins(32, 20, 32, 20);
    box->addWidget(label);
    hide();
}

void WaitDialog::Open() {
    Centre();
    show();
    raise();
}

void WaitDialog::Centre() {
    adjustSize();
    move((parentWidget()->width() - width()) / 2, (parentWidget()->height() - height()) / 2);
}

}  // namespace kvmon
