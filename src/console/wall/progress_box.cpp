#include "console/wall/progress_box.h"

#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QProgressBar>

#include "console/dialogs/dialog_parts.h"
#include "console/dialogs/link_button.h"
#include "console/ports/desk.h"
#include "console/wall/view_controller.h"
#include "console/wall/wall_plate.h"
#include "skin/window_base.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kStrCancel = 6121;
constexpr QSize kBar(160, 8);

}  // namespace

class ProgressBox::Box final : public WallPlate {
public:
    Box(QWidget* host, const std::function<void()>& cancel)
        : WallPlate(host),
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
        for (QWidget* const part : std::initializer_list<QWidget*>{m_label, m_bar, m_cancel}) {
            layout()->addWidget(part);
        }
    }

    void Set(const QString& text, int done, int all) {
        m_label->setText(text);
        setAccessibleName(text);
        m_bar->setAccessibleName(text);
        m_bar->setRange(0, all);
        m_bar->setValue(done);
    }

protected:
    QRect PlaceIn(const QRect& wall) override {
        const QSize size = sizeHint();
        return {QPoint(wall.center().x() - size.width() / 2, wall.top() + kGap), size};
    }

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
    if (m_box) {
        m_box->Retire();
        m_box = nullptr;
    }
}

void ProgressBox::Place() {
    if (m_box) {
        QWidget& host = *m_desk.DialogHost();
        m_box->PlaceOn(host, m_view.WallIn(host));
    }
}

}  // namespace kvmon
