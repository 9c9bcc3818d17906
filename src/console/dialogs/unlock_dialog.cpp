#include "console/dialogs/unlock_dialog.h"

#include <QtCore/QTimer>
#include <QtWidgets/QDialogButtonBox>
#include <QtWidgets/QFormLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QPushButton>
#include <utility>

#include "console/dialogs/dialog_parts.h"
#include "console/settings/fill_pattern.h"
#include "persist/string_table.h"
#include "platform/secret_memory.h"

namespace kvmon {

namespace {

constexpr int kPasswordLetters = 20;  // that are in view; beside a long name it goes below

constexpr std::uint32_t kStrUnlockTitle = 7304;
constexpr std::uint32_t kStrPasswordOf = 7305;
constexpr std::uint32_t kStrWrong = 7306;
constexpr std::uint32_t kStrWait = 7600;
constexpr int kMaxPassword = 1024;
constexpr int kWaitTickMs = 250;

}  // namespace

UnlockDialog::UnlockDialog(const std::string& user, Check isRight, std::function<int()> secondsToWait,
                           QWidget* parent)
    : QDialog(parent),
      m_isRight(std::move(isRight)),
      m_secondsToWait(std::move(secondsToWait)),
      m_password(new QLineEdit(this)),
      m_wait(new QTimer(this)) {
    setObjectName(QStringLiteral("unlockDialog"));
    setWindowTitle(Text(kStrUnlockTitle));
    auto* const label =
        new QLabel(QString::fromStdString(FillPattern(LoadString(kStrPasswordOf), {user})), this);
    label->setTextFormat(Qt::PlainText);
    label->setBuddy(m_password);
    m_password->setObjectName(QStringLiteral("password"));
    m_password->setAccessibleName(label->text());
    m_password->setEchoMode(QLineEdit::Password);
    m_password->setMaxLength(kMaxPassword);
    m_password->setMinimumWidth(kPasswordLetters * m_password->fontMetrics().averageCharWidth());
    m_word = MakeMessageLabel(this, 2);
    auto* const layout = new QFormLayout(this);
    layout->setContentsMargins(20, 18, 20, 16);
    layout->setVerticalSpacing(12);
    layout->setRowWrapPolicy(QFormLayout::WrapLongRows);
    layout->addRow(label, m_password);
    layout->addRow(m_word);
    m_buttons = AddDialogButtons(*this);
    layout->addRow(m_buttons);
    m_password->setFocus();
    m_wait->setInterval(kWaitTickMs);
    connect(m_wait, &QTimer::timeout, this, &UnlockDialog::ShowWait);
    ShowWait();
}

void UnlockDialog::accept() {
    if (m_secondsToWait() > 0) {
        return;
    }
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
    ShowWait();
}

void UnlockDialog::ShowWait() {
    const int seconds = m_secondsToWait();
    const bool bWaiting = seconds > 0;
    if (bWaiting) {
        m_word->setText(QString::fromStdString(FillPattern(LoadString(kStrWait), {std::to_string(seconds)})));
        m_wait->start();
    } else if (m_wait->isActive()) {
        m_wait->stop();
        m_word->clear();
    }
    m_buttons->button(QDialogButtonBox::Ok)->setEnabled(!bWaiting);
    // It keeps the focus, or Enter would be for the button that closes the window.
    m_password->setReadOnly(bWaiting);
}

}  // namespace kvmon
