#include "console/dialogs/pip_dialog.h"

#include <QtWidgets/QDialogButtonBox>
#include <QtWidgets/QFormLayout>

#include "console/dialogs/dialog_parts.h"
#include "console/dialogs/message_box.h"
#include "console/dialogs/range_spin_box.h"
#include "console/layout/view_style.h"
#include "console/settings/fill_pattern.h"
#include "persist/string_table.h"
#include "skin/ext_combo_box.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kComboLabels[] = {6211, 6212, 6213, 6214};
constexpr int kComboWidth = 260;

QStringList Offered(const QStringList& names) {
    QStringList offered = names;
    while (offered.size() < 4) {
        const auto number = std::to_string(offered.size() + 1);
        offered << QString::fromStdString(FillPattern(LoadString(4006), {number}));
    }
    return offered;
}

}  // namespace

PipDialog::PipDialog(const QStringList& names, const PipList& list, int children, QWidget* parent)
    : QDialog(parent), m_choice(list, static_cast<std::uint32_t>(names.size())) {
    setObjectName(QStringLiteral("pipDialog"));
    setWindowTitle(Text(3504));
    auto* const form = new QFormLayout(this);
    form->setContentsMargins(20, 18, 20, 16);
    form->setVerticalSpacing(10);
    form->setHorizontalSpacing(14);

    m_count = new RangeSpinBox(1, kMaxPipChildren, this);
    m_count->setObjectName(QStringLiteral("count"));
    m_count->setValue(children);
    m_count->setAccessibleName(Text(6210));
    form->addRow(Text(6210), m_count);
    const QStringList offered = Offered(names);
    for (std::size_t i = 0; i < m_combos.size(); ++i) {
        m_combos[i] = new CExtComboBox(this);
        m_combos[i]->setObjectName(QStringLiteral("channel%1").arg(i));
        m_combos[i]->addItems(offered);
        m_combos[i]->setFixedWidth(kComboWidth);
        m_combos[i]->setAccessibleName(Text(kComboLabels[i]));
        form->addRow(Text(kComboLabels[i]), m_combos[i]);
        connect(m_combos[i], &QComboBox::activated, this, [this, i](int channel) {
            m_choice.Choose(i, static_cast<std::uint32_t>(channel));
            ShowChoice();
        });
    }
    connect(m_count, &QSpinBox::valueChanged, this, [this] { ShowChoice(); });
    form->addRow(AddDialogButtons(*this));
    ShowChoice();
}

void PipDialog::ShowChoice() {
    for (std::size_t i = 0; i < m_combos.size(); ++i) {
        m_combos[i]->setCurrentIndex(static_cast<int>(m_choice.List()[i]));
        m_combos[i]->setEnabled(static_cast<int>(i) <= m_count->value());
    }
}

int PipDialog::Children() const {
    return m_count->value();
}

void PipDialog::accept() {
    if (m_count->IsInRange()) {
        QDialog::accept();
        return;
    }
    OpenMessageBox(
        this,
        FillPattern(LoadString(57350), {std::to_string(m_count->Low()), std::to_string(m_count->High())}),
        LoadString(4005));
}

}  // namespace kvmon
