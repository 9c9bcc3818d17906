#include "console/wall/progress_box.h"

#include <QtGui/QPainter>
#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QProgressBar>

#include "console/dialogs/dialog_parts.h"
#include "console/dialogs/link_button.h"
#include "console/ports/desk.h"
#include "console/wall/view_controller.h"
#include "skin/skin_colours.h"
#include "skin/window_base.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kStrCancel = 6121;
constexpr int kGap = 14;  // to the wall's edge
constexpr QSize kBar(160, 8);
constexpr double kRound = 6;

}  // namespace

class ProgressBox::Box final : public QWidget {
public:
    Box(QWidget* host, const std::function<void()>& cancel)
        : QWidget(host),
          m_label(new QLabel(this)),
          m_bar(new QProgressBar(this)),
          m_cancel(new LinkButton(Text(kStrCancel), this)) {
        setObjectName(QStringLiteral("progress"));
        m_label->setObjectName(QStringLiteral("progressText"));
        m_label->setTextFormat(Qt::PlainText);
        m_bar->setTextVisible(false);
        m_bar->setFixedSize(kBar);
        m_cancel->setObjectName(QStringLiteral("progressCancel"));
        connect(m_cancel, &QAbstractButton::clicked, this, [cancel] { cancel(); });
        auto* const layout = new QHBoxLayout(this);
        layout->setContentsMargins(16, 8, 16, 8);
        layout->setSpacing(16);
        layout->addWidget(m_label);
        layout->addWidget(m_bar);
        layout->addWidget(m_cancel);
    }

    void Set(const QString& text, int done, int all) {
        m_label->setText(text);
        setAccessibleName(text);
        m_bar->setAccessibleName(text);
        m_bar->setRange(0, all);
        m_bar->setValue(done);
    }

    void PlaceIn(const QRect& wall) {
        const QSize size = sizeHint();
        setGeometry(wall.center().x() - size.width() / 2, wall.top() + kGap, size.width(), size.height());
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setBrush(QColor(ColoursOf(*this).panel));
        painter.setPen(QColor(ColoursOf(*this).edgeHover));
        painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), kRound, kRound);
    }
    // A click on it is none for the cell below.
    void mousePressEvent(QMouseEvent* event) override { event->accept(); }
    void mouseReleaseEvent(QMouseEvent* event) override { event->accept(); }

private:
    QLabel* m_label;
    QProgressBar* m_bar;
    LinkButton* m_cancel;
};

ProgressBox::ProgressBox(Desk& desk, const ViewController& view) : m_desk(desk), m_view(view) {}

ProgressBox::~ProgressBox() {
    delete m_box.data();
}

void ProgressBox::Show(const std::string& text, int done, int all, const std::function<void()>& cancel) {
    const bool bNew = !m_box;
    if (bNew) {
        m_box = new Box(m_desk.DialogHost(), cancel);
    }
    m_box->Set(QString::fromStdString(text), done, all);
    Place();
    if (bNew) {
        m_box->show();
    }
}

void ProgressBox::Hide() {
    if (!m_box) {
        return;
    }
    if (m_box->isAncestorOf(m_box->window()->focusWidget())) {
        m_box->parentWidget()->setFocus();
    }
    m_box->hide();
    m_box->deleteLater();  // its own link may be the caller
    m_box = nullptr;
}

void ProgressBox::Place() {
    if (!m_box) {
        return;
    }
    QWidget* const host = m_desk.DialogHost();
    if (m_box->parentWidget() != host) {
        m_box->setParent(host);
        m_box->show();
    }
    m_box->PlaceIn(m_view.WallIn(*host));
    m_box->raise();
}

}  // namespace kvmon
