#include "skin/wait_dlg.h"

#include <QtGui/QCloseEvent>
#include <QtGui/QKeyEvent>
#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QPushButton>

#include "skin/picture_ex.h"

namespace kvmon {

namespace {
constexpr int kTextWidth = 240;
}

CWaitDlg::CWaitDlg(QWidget* parent)
    : WindowBase(parent),
      picture_(new CPictureEx(this)),
      text_(new QLabel(this)),
      close_(new QPushButton("Close", this)) {
    setWindowFlags(Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint);
    setAttribute(Qt::WA_StyledBackground);
    text_->setTextFormat(Qt::PlainText);
    text_->setWordWrap(true);
    text_->setMinimumWidth(kTextWidth);
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
    adjustSize();
    if (parentWidget() != nullptr) {
        const QWidget* const above = parentWidget()->window();
        move(above->frameGeometry().center() - rect().center());
    }
    show();
    close_->setFocus(Qt::OtherFocusReason);
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
