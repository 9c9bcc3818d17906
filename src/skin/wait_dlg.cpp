#include "skin/wait_dlg.h"

#include <QtGui/QCloseEvent>
#include <QtGui/QKeyEvent>
#include <QtGui/QPainter>
#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QPushButton>
#include <algorithm>

#include "skin/palette.h"
#include "skin/picture_ex.h"

namespace kvmon {

namespace {
constexpr int kTextWidth = 240;
}

CWaitDlg::CWaitDlg(QWidget* parent, Place place)
    : WindowBase(parent),
      place_(place),
      picture_(new CPictureEx(this)),
      text_(new QLabel(this)),
      close_(new QPushButton("Close", this)) {
    if (place_ == Place::Above) {
        setWindowFlags(Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint);
    }
    close_->setVisible(place_ == Place::Above);
    text_->setTextFormat(Qt::PlainText);
    if (place_ == Place::Above) {
        text_->setWordWrap(true);
        text_->setMinimumWidth(kTextWidth);
    }
    auto* const line = new QHBoxLayout;
    line->setSpacing(16);
    line->addWidget(picture_);
    line->addWidget(text_, 1);
    auto* const buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(close_);
    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(20, 20, 20, 16);
    layout->setSpacing(18);
    layout->addLayout(line, 1);
    layout->addLayout(buttons);
    connect(close_, &QPushButton::clicked, this, [this] { Close(IDCANCEL); });
}

void CWaitDlg::SetText(std::string text) {
    text_->setText(QString::fromStdString(text));
    if (open_ && layout()->hasHeightForWidth()) {
        // A longer one than it was opened with.
        resize(width(), std::max(height(), layout()->totalHeightForWidth(width())));
    }
    setAccessibleName(text_->text());
    setWindowTitle(text_->text());
}

void CWaitDlg::SetCloseText(std::string text) {
    close_->setText(QString::fromStdString(text));
}

void CWaitDlg::Open(bool modal) {
    if (open_) {
        return;
    }
    open_ = true;
    setWindowModality(modal ? Qt::WindowModal : Qt::NonModal);
    picture_->Draw();
    Centre();
    show();
    raise();
    if (place_ == Place::Above) {
        close_->setFocus(Qt::OtherFocusReason);
    }
}

void CWaitDlg::Centre() {
    adjustSize();
    if (place_ == Place::Inside && parentWidget() != nullptr) {
        move(parentWidget()->rect().center() - rect().center());
    } else if (parentWidget() != nullptr) {
        move(parentWidget()->window()->frameGeometry().center() - rect().center());
    }
}

void CWaitDlg::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(rect(), QColor(palette::kPanel));
    if (place_ == Place::Inside) {
        painter.setPen(QColor(palette::kEdge));
        painter.drawRect(rect().adjusted(0, 0, -1, -1));
    }
}

void CWaitDlg::Close(int result) {
    if (!open_) {
        return;
    }
    open_ = false;
    picture_->Stop();
    hide();
    if (closed_) {
        closed_(result);
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
        close_->click();
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
