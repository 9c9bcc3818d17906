#include "console/admin/certificate_box.h"

#include <QtCore/QRegularExpression>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QLabel>
#include <QtWidgets/QVBoxLayout>
#include <utility>

#include "console/admin/admin_texts.h"
#include "console/dialogs/dialog_parts.h"
#include "persist/string_table.h"

namespace kvmon {

namespace {

constexpr qsizetype kDigits = 64;

// The digits of "sha256:..."; empty for all else.
QString DigitsOf(const QString& certificate) {
    static const QRegularExpression form(QStringLiteral("^sha256:([0-9a-f]{64})$"));
    return form.match(certificate).captured(1);
}

// As cameras and browsers show it, in two lines.
QString Spelled(const QString& digits) {
    QString text;
    for (qsizetype i = 0; i < kDigits; i += 2) {
        text += digits.mid(i, 2).toUpper();
        text += i + 2 == kDigits       ? QString()
                : i + 2 == kDigits / 2 ? QStringLiteral(":\n")
                                       : QStringLiteral(":");
    }
    return text;
}

}  // namespace

CertificateBox::CertificateBox(QString accepted, QWidget* parent)
    : QWidget(parent), m_accepted(std::move(accepted)) {
    m_accept = new QCheckBox(Text(kStrAccept), this);
    m_accept->setObjectName(QStringLiteral("certificate"));
    m_fingerprint = new QLabel(this);
    m_fingerprint->setObjectName(QStringLiteral("fingerprint"));
    m_fingerprint->setTextFormat(Qt::PlainText);
    m_fingerprint->setTextInteractionFlags(Qt::TextSelectableByMouse);
    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_accept);
    layout->addWidget(m_fingerprint);
    hide();
    if (!DigitsOf(m_accepted).isEmpty()) {
        Show(m_accepted, true);
    }
}

QString CertificateBox::Accepted() const {
    return m_shown.isEmpty() ? m_accepted : m_accept->isChecked() ? m_shown : QString();
}

std::string CertificateBox::Offer(const QString& shown) {
    if (!DigitsOf(shown).isEmpty()) {
        Show(shown, false);
    }
    return LoadString(kStrCompare);
}

void CertificateBox::Show(const QString& certificate, bool bAccepted) {
    m_shown = certificate;
    m_accept->setChecked(bAccepted);
    m_fingerprint->setText(Spelled(DigitsOf(certificate)));
    // Read with the box, which has the keyboard.
    m_accept->setAccessibleDescription(m_fingerprint->text());
    show();
}

}  // namespace kvmon
