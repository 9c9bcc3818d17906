#include "console/dialog_parts.h"

#include <QtWidgets/QDialog>
#include <QtWidgets/QDialogButtonBox>
#include <QtWidgets/QLabel>
#include <QtWidgets/QPushButton>

#include "persist/string_table.h"

namespace kvmon {

QString Text(std::uint32_t id) {
    return QString::fromStdString(LoadString(id));
}

QDialogButtonBox* AddDialogButtons(QDialog& dialog) {
    auto* const buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, &dialog);
    buttons->button(QDialogButtonBox::Ok)->setText(Text(6120));
    buttons->button(QDialogButtonBox::Ok)->setDefault(true);
    buttons->button(QDialogButtonBox::Cancel)->setText(Text(6121));
    QObject::connect(buttons, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
    QObject::connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
    return buttons;
}

QLabel* MakeMessageLabel(QWidget* parent, int lines) {
    auto* const label = new QLabel(parent);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    label->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    label->setMinimumHeight(lines * label->fontMetrics().lineSpacing());
    return label;
}

}  // namespace kvmon
