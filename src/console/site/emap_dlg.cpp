#include "console/site/emap_dlg.h"

#include <QtGui/QCloseEvent>
#include <QtGui/QKeyEvent>
#include <QtGui/QScreen>
#include <QtWidgets/QLabel>
#include <algorithm>

#include "channel/picture/captions.h"
#include "console/dialogs/message_box.h"
#include "persist/log_file.h"
#include "persist/string_table.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kTextWait = 1108;
constexpr std::uint32_t kTextError = 4005;
constexpr std::uint32_t kTextFailed = 4013;
constexpr std::uint32_t kTextMapTitle = 6601;
constexpr std::uint32_t kTimerEnding = 1;
constexpr int kEndingMs = 50;
constexpr QSize kWaitSize(320, 120);
constexpr QPoint kPlace(80, 64);

}  // namespace

CEMapDlg::CEMapDlg(QWidget* owner, const EMapSource& source, Clock& clock)
    : WindowBase(owner), m_source(source), m_clock(clock), m_picture(new QLabel(this)) {
    setWindowFlags(Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowCloseButtonHint);
    setAttribute(Qt::WA_StyledBackground);
    setWindowModality(Qt::WindowModal);
    setObjectName(QStringLiteral("emapDialog"));
    setWindowTitle(QString::fromStdString(LoadString(kTextMapTitle)));
    SetControlId(kEMapDialog);
    m_picture->setObjectName(QStringLiteral("EMap Window"));
    m_picture->setTextFormat(Qt::PlainText);
    m_picture->setAlignment(Qt::AlignCenter);
    m_picture->setText(QString::fromStdString(LoadString(kTextWait)));
    m_picture->setGeometry(QRect(QPoint(0, 0), kWaitSize));
    resize(kWaitSize);
}

CEMapDlg::~CEMapDlg() = default;

void CEMapDlg::Open() {
    if (parentWidget() != nullptr) {
        // The picture keeps its upper left corner.
        move(parentWidget()->window()->frameGeometry().topLeft() + kPlace);
    }
    setCursor(Qt::WaitCursor);
    show();
    m_fetch = std::make_unique<EMapFetch>(m_source, Handle(), m_clock);
}

LParam CEMapDlg::OnMessage(std::uint32_t message, WParam wParam, LParam lParam) {
    if (message != kMsgEMapDone) {
        return WindowBase::OnMessage(message, wParam, lParam);
    }
    if (!m_bReplied && !m_bOver) {
        m_bReplied = true;
        unsetCursor();
        Trace("CEMapDlg::OnReply: status=%d, code=%d...\n", static_cast<int>(wParam),
              static_cast<int>(lParam));
        OnReply(static_cast<EMapStatus>(wParam));
    }
    return 0;
}

void CEMapDlg::OnReply(EMapStatus status) {
    if (status == EMapStatus::PictureStep && !m_fetch->Picture().isNull()) {
        ShowPicture();
        return;
    }
    // First, or the desktop may take the keyboard from the box again.
    End();
    if (parentWidget() != nullptr) {
        OpenMessageBox(parentWidget(), LoadString(kTextFailed), LoadString(kTextError));
    }
}

// In the picture's size, where the window stands; a picture larger than the screen is made to fit.
void CEMapDlg::ShowPicture() {
    QPixmap picture = QPixmap::fromImage(m_fetch->Picture());
    const QSize room = screen()->availableGeometry().size() - QSize(16, 48);
    QSize size = picture.size();
    if (size.width() > room.width() || size.height() > room.height()) {
        size.scale(room, Qt::KeepAspectRatio);
    }
    // A screen of more device pixels shows more of a large picture.
    const double scale = devicePixelRatioF();
    if (const QSize pixels = (QSizeF(size) * scale).toSize(); pixels != picture.size()) {
        picture = picture.scaled(pixels, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    }
    picture.setDevicePixelRatio(scale);
    m_picture->setText({});
    m_picture->setPixmap(picture);
    m_picture->setGeometry(QRect(QPoint(0, 0), size));
    resize(size);
    const QRect all = screen()->availableGeometry();
    move(std::clamp(x(), all.left(), std::max(all.right() - width(), all.left())),
         std::clamp(y(), all.top(), std::max(all.bottom() - height(), all.top())));
    setWindowTitle(QString::fromStdString(DisplayLine(m_fetch->Title())));
    m_bShown = true;
    show();
}

void CEMapDlg::End() {
    if (m_bOver) {
        return;
    }
    m_bOver = true;
    if (m_fetch) {
        m_fetch->Cancel();
    }
    hide();
    SetTimer(kTimerEnding, kEndingMs);
}

void CEMapDlg::OnTimer(std::uint32_t id) {
    if (id != kTimerEnding) {
        WindowBase::OnTimer(id);
    } else if (!m_fetch || m_fetch->IsEnded()) {
        KillTimer(kTimerEnding);
        deleteLater();
    }
}

void CEMapDlg::closeEvent(QCloseEvent* event) {
    event->accept();
    End();
    GiveKeyboardBack(*this);
}

void CEMapDlg::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape) {
        close();
        return;
    }
    WindowBase::keyPressEvent(event);
}

}  // namespace kvmon
