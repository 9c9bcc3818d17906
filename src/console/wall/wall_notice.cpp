#include "console/wall/wall_notice.h"

namespace kvmon {

namespace {

constexpr int kTextHeight = 18;
constexpr int kMargin = 24;

}  // namespace

void WallNotice::Show(const std::string& text, QWidget* host, const QRect& place) {
    if (m_label && (text.empty() || m_label->parentWidget() != host)) {
        delete m_label;
    }
    if (text.empty() || host == nullptr) {
        return;
    }
    if (!m_label) {
        m_label = new QLabel(host);
        m_label->setObjectName(QStringLiteral("wallNotice"));
        m_label->setTextFormat(Qt::PlainText);
        m_label->setAlignment(Qt::AlignCenter);
        m_label->setWordWrap(true);
        m_label->setAttribute(Qt::WA_TransparentForMouseEvents);
        m_label->setAutoFillBackground(true);
        m_label->setBackgroundRole(QPalette::Shadow);
        m_label->setForegroundRole(QPalette::BrightText);
        QFont font = m_label->font();
        font.setPixelSize(kTextHeight);
        m_label->setFont(font);
        m_label->setMargin(kMargin);
        m_label->show();
    }
    m_label->setText(QString::fromStdString(text));
    m_label->setAccessibleName(m_label->text());
    m_label->setGeometry(place);
    m_label->raise();
}

}  // namespace kvmon
