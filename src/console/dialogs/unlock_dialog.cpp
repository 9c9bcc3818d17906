#include "console/dialogs/unlock_dialog.h"

#include <QtWidgets/QDialogButtonBox>
#include <QtWidgets/QFormLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <utility>

#include "console/dialogs/dialog_parts.h"
#include "console/settings/fill_pattern.h"
#include "persist/string_table.h"
#include "platform/secret_memory.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kStrTitle = 7304;
constexpr std::uint32_t kStrPasswordOf = 7305;
constexpr std::uint32_t kStrWrong = 7306;
constexpr int kMaxPassword = 1024;

}  // namespace

UnlockDialog::UnlockDialog(const std::string& user, Check isRight, QWidget* parent)
    : QDialog(parent), m_isRight(std::move(isRight)), m_password(new QLineEdit(this)) {
    setObjectName(QStringLiteral("unlockDialog"));
    setWindowTitle(Text(kStrTitle));
    auto* const label =
        new QLabel(QString::fromStdString(FillPattern(LoadString(kStrPasswordOf), {user})), this);
    label->setTextFormat(Qt::PlainText);
    label->setBuddy(m_password);
    m_password->setObjectName(QStringLiteral("password"));
    m_password->setAccessibleName(label->text());
    m_password->setEchoMode(QLineEdit::Password);
    m_password->setMaxLength(kMaxPassword);
    m_word = MakeMessageLabel(this, 1);
    auto* const layout = new QFormLayout(this);
    layout->setContentsMargins(20, 18, 20, 16);
    layout->setVerticalSpacing(12);
    layout->setRowWrapPolicy(QFormLayout::WrapLongRows);
    layout->addRow(label, m_password);
    layout->addRow(m_word);
    layout->addRow(AddDialogButtons(*this));
    m_password->setFocus();
}

void UnlockDialog::accept() {
    std::string password = m_password->text().toStdString();
    const WipeAtEnd wipe(password);
    if (m_isRight(password)) {
        m_password->clear();
        QDialog::accept();
        return;
    }
    m_word->setText(Text(kStrWrong));
    m_password->clear();
    m_password->setFocus();
}

}  // namespace kvmon
