#include "console/dialogs/interval_dialog.h"

#include <QtWidgets/QDialogButtonBox>
#include <QtWidgets/QFormLayout>

#include "console/dialogs/dialog_parts.h"
#include "console/dialogs/message_box.h"
#include "console/dialogs/range_spin_box.h"
#include "console/layout/sequential_rules.h"
#include "console/settings/fill_pattern.h"
#include "persist/string_table.h"

namespace kvmon {

IntervalDialog::IntervalDialog(int seconds, QWidget* parent) : QDialog(parent) {
    setObjectName(QStringLiteral("intervalDialog"));
    setWindowTitle(QString::fromStdString(LoadString(3505)));
    m_seconds = new RangeSpinBox(kMinSequentialSeconds, kMaxSequentialSeconds, this);
    m_seconds->setObjectName(QStringLiteral("seconds"));
    m_seconds->setValue(seconds);
    m_seconds->setSuffix(" " + QString::fromStdString(LoadString(6201)));
    m_seconds->setAccessibleName(windowTitle());
    m_seconds->selectAll();

    auto* const form = new QFormLayout(this);
    form->setContentsMargins(20, 18, 20, 16);
    form->setVerticalSpacing(18);
    form->setHorizontalSpacing(14);
    form->addRow(QString::fromStdString(LoadString(6200)), m_seconds);
    form->addRow(AddDialogButtons(*this));
}

int IntervalDialog::Seconds() const {
    return m_seconds->value();
}

void IntervalDialog::accept() {
    if (m_seconds->IsInRange()) {
        QDialog::accept();
        return;
    }
    OpenMessageBox(
        this,
        FillPattern(LoadString(57349), {std::to_string(m_seconds->Low()), std::to_string(m_seconds->High())}),
        LoadString(4005));
}

}  // namespace kvmon
