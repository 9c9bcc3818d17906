#include "console/wall/feedback_line.h"

#include <QtGui/QAccessible>
#include <QtGui/QKeyEvent>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QLabel>
#include <algorithm>

#include "console/dialogs/link_button.h"
#include "console/ports/console_messages.h"
#include "console/ports/desk.h"
#include "console/ports/timers.h"
#include "console/wall/view_controller.h"
#include "console/wall/wall_plate.h"
#include "skin/plain_text.h"
#include "skin/window_base.h"

namespace kvmon {

namespace {

constexpr int kLeastText = 120;

}  // namespace

class FeedbackLine::Bar final : public WallPlate {
public:
    Bar(FeedbackLine& line, QWidget* host, const std::string& text, std::vector<FeedbackLink> links)
        : WallPlate(host), m_line(line), m_links(std::move(links)), m_text(QString::fromStdString(text)) {
        setObjectName(QStringLiteral("feedback"));
        setAccessibleName(m_text);
        m_label = new QLabel(this);
        m_label->setObjectName(QStringLiteral("feedbackText"));
        m_label->setTextFormat(Qt::PlainText);
        auto* const row = static_cast<QBoxLayout*>(layout());
        row->addWidget(m_label, 1);
        for (std::size_t i = 0; i < m_links.size(); ++i) {
            auto* const link = new LinkButton(QString::fromStdString(m_links[i].text), this);
            link->setObjectName(QStringLiteral("feedbackLink%1").arg(i));
            connect(link, &QAbstractButton::clicked, this, [this, i] { Run(i); });
            row->addWidget(link);
            m_buttons.push_back(link);
        }
    }

    bool IsInUse() const { return underMouse() || isAncestorOf(window()->focusWidget()); }
    LinkButton* FirstLink() const { return m_buttons.empty() ? nullptr : m_buttons.front(); }

protected:
    // As wide as its words, within the wall: a name that is too long is cut in the middle.
    QRect PlaceIn(const QRect& wall) override {
        int others = layout()->contentsMargins().left() + layout()->contentsMargins().right();
        for (const LinkButton* const button : m_buttons) {
            others += button->sizeHint().width() + layout()->spacing();
        }
        const int room = std::max(wall.width() - 2 * kGap - others, kLeastText);
        const QString shown = m_label->fontMetrics().elidedText(m_text, Qt::ElideMiddle, room);
        m_label->setText(shown);
        m_label->setToolTip(shown != m_text ? MarkupOf(m_text.toStdString()) : QString());
        const QSize size = sizeHint();
        return {QPoint(wall.center().x() - size.width() / 2, wall.bottom() - size.height() - kGap), size};
    }
    void keyPressEvent(QKeyEvent* event) override {
        switch (event->key()) {
            case Qt::Key_Escape:
                m_line.Hide();
                break;
            case Qt::Key_Left:
            case Qt::Key_Up:
                focusNextPrevChild(false);
                break;
            case Qt::Key_Right:
            case Qt::Key_Down:
                focusNextPrevChild(true);
                break;
            default:
                QWidget::keyPressEvent(event);
        }
    }

private:
    void Run(std::size_t link) {
        const std::function<void()> run = m_links[link].run;
        m_line.Hide();  // what runs may have a word of its own
        run();
    }

    FeedbackLine& m_line;
    const std::vector<FeedbackLink> m_links;
    const QString m_text;
    QLabel* m_label = nullptr;
    std::vector<LinkButton*> m_buttons;
};

FeedbackLine::FeedbackLine(Desk& desk, Timers& timers, const ViewController& view)
    : m_desk(desk), m_timers(timers), m_view(view) {}

FeedbackLine::~FeedbackLine() {
    delete m_bar.data();
}

void FeedbackLine::Say(const std::string& text, std::vector<FeedbackLink> links, Milliseconds time) {
    if (m_desk.IsClosing()) {
        return;
    }
    Hide();
    m_bar = new Bar(*this, m_desk.DialogHost(), text, std::move(links));
    Place();
    m_bar->show();
    m_timers.SetTimer(kTimerFeedback, static_cast<int>(time.count()));
    QAccessibleEvent alert(m_bar, QAccessible::Alert);
    QAccessible::updateAccessibility(&alert);
}

void FeedbackLine::Hide() {
    m_timers.KillTimer(kTimerFeedback);
    if (m_bar) {
        m_bar->Retire();
        m_bar = nullptr;
    }
}

void FeedbackLine::Place() {
    if (m_bar) {
        QWidget& host = *m_desk.DialogHost();
        m_bar->PlaceOn(host, m_view.WallIn(host));
    }
}

void FeedbackLine::Focus() {
    if (m_bar && m_bar->FirstLink() != nullptr) {
        m_bar->FirstLink()->setFocus(Qt::ShortcutFocusReason);
    }
}

void FeedbackLine::OnTimer() {
    if (!m_bar || !m_bar->IsInUse()) {
        Hide();
        return;
    }
    m_timers.SetTimer(kTimerFeedback, static_cast<int>(kFeedbackTime.count()));
}

}  // namespace kvmon
