#include "skin/wait_dlg.h"

#include <QtGui/QCloseEvent>
#include <QtGui/QKeyEvent>
#include <QtGui/QPainter>
#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QPushButton>
#include <algorithm>

#include "skin/picture_ex.h"
#include "skin/skin_colours.h"
#include "skin/style_parts.h"

namespace kvmon {

namespace {
constexpr int kTextWidth = 240;
}

CWaitDlg::CWaitDlg(QWidget* parent, Place place)
    : WindowBase(parent),
      m_place(place),
      m_picture(new CPictureEx(this)),
      m_text(new QLabel(this)),
      m_close(new QPushButton("Close", this)) {
    if (m_place == Place::Above) {
        setWindowFlags(Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint);
    }
    m_close->setVisible(m_place == Place::Above);
    m_text->setTextFormat(Qt::PlainText);
    if (m_place == Place::Above) {
        m_text->setWordWrap(true);
        m_text->setMinimumWidth(kTextWidth);
    }
    auto* const line = new QHBoxLayout;
    line->setSpacing(16);
    line->addWidget(m_picture);
    line->addWidget(m_text, 1);
    auto* const buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(m_close);
    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(20, 20, 20, 16);
    layout->setSpacing(18);
    layout->addLayout(line, 1);
    layout->addLayout(buttons);
    connect(m_close, &QPushButton::clicked, this, [this] { Close(IDCANCEL); });
}

void CWaitDlg::SetText(const std::string& text) {
    m_text->setText(QString::fromStdString(text));
    if (m_open && layout()->hasHeightForWidth()) {
        // A longer one than it was opened with.
        resize(width(), std::max(height(), layout()->totalHeightForWidth(width())));
    }
    setAccessibleName(m_text->text());
    setWindowTitle(m_text->text());
}

void CWaitDlg::SetCloseText(const std::string& text) {
    m_close->setText(QString::fromStdString(text));
}

void CWaitDlg::Open(Input input) {
    if (m_open) {
        return;
    }
    m_open = true;
    setWindowModality(input == Input::Blocked ? Qt::WindowModal : Qt::NonModal);
    m_picture->Draw();
    Centre();
    show();
    raise();
    if (m_place == Place::Above) {
        m_close->setFocus(Qt::OtherFocusReason);
    }
}

void CWaitDlg::Centre() {
    adjustSize();
    if (m_place == Place::Inside && parentWidget() != nullptr) {
        move(parentWidget()->rect().center() - rect().center());
    } else if (parentWidget() != nullptr) {
        move(parentWidget()->window()->frameGeometry().center() - rect().center());
    }
}

void CWaitDlg::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(rect(), QColor(ColoursOf(*this).panel));
    if (m_place == Place::Inside) {
        style::DrawLineAround(painter, rect(), ColoursOf(*this).edge);
    }
}

void CWaitDlg::Close(int result) {
    if (!m_open) {
        return;
    }
    m_open = false;
    m_picture->Stop();
    hide();
    if (m_closed) {
        m_closed(result);
    }
}

void CWaitDlg::closeEvent(QCloseEvent* event) {
    event->accept();
    Close(IDCANCEL);
}

void CWaitDlg::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape) {
        Close(IDCANCEL);
        return;
    }
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
        m_close->click();
        return;
    }
    WindowBase::keyPressEvent(event);
}

LParam CWaitDlg::OnMessage(std::uint32_t message, WParam wParam, LParam lParam) {
    if (message == kMsgCloseWait) {
        Close(static_cast<int>(wParam));
        return 1;
    }
    return WindowBase::OnMessage(message, wParam, lParam);
}

}  // namespace kvmon
