#include "console/views/wall_bar.h"

#include <QtCore/QLocale>
#include <QtCore/QPropertyAnimation>
#include <QtCore/QTime>
#include <QtGui/QKeyEvent>
#include <QtGui/QPainter>
#include <QtWidgets/QApplication>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QLabel>
#include <algorithm>
#include <string>
#include <utility>

#include "console/dialogs/dialog_parts.h"
#include "console/dialogs/link_button.h"
#include "console/panel/console_controls.h"
#include "console/panel/console_keys.h"
#include "console/ports/commands.h"
#include "console/ports/console_messages.h"
#include "console/ports/desk.h"
#include "console/ports/timers.h"
#include "console/settings/fill_pattern.h"
#include "console/views/view_switch.h"
#include "console/views/views_menu.h"
#include "console/wall/view_controller.h"
#include "persist/string_table.h"
#include "skin/bc_menu.h"
#include "skin/role_accessible.h"
#include "skin/skin_colours.h"

namespace kvmon {

namespace {

constexpr int kHeight = 44;
constexpr int kEdge = 3;  // of the panel, that the pointer touches
constexpr int kSlideMs = 160;
constexpr int kStayMs = 1500;
constexpr int kLeastName = 12;  // letters' widths that a name keeps

constexpr std::uint32_t kStrBarViews = 7100;
constexpr std::uint32_t kStrNextPage = 6231;
constexpr std::uint32_t kStrPreviousPage = 6232;
constexpr std::uint32_t kStrLeave = 7307;
constexpr std::uint32_t kStrBar = 7312;
constexpr std::uint32_t kStrArrangement = 7313;
constexpr std::uint32_t kStrPage = 7314;

}  // namespace

class WallBar::Bar final : public QWidget {
public:
    Bar(WallBar& owner, QWidget* panel) : QWidget(panel), m_owner(owner), m_slide(this, "pos") {
        setObjectName(QStringLiteral("wallBar"));
        setAccessibleName(Text(kStrBar));
        SetAccessibleRole(*this, QAccessible::ToolBar);
        auto* const layout = new QHBoxLayout(this);
        layout->setContentsMargins(16, 6, 16, 6);
        layout->setSpacing(18);
        m_styles = Add("barStyles", Text(kStrArrangement), [this] { m_owner.OpenStyles(*m_styles); });
        m_views = Add("barViews", Text(kStrBarViews), [this] { m_owner.OpenViews(*m_views); });
        m_previous = Add("barPrevious", QStringLiteral("\u25C0"),
                         [this] { m_owner.m_commands.Run(kKeyPreviousPage); });
        m_previous->setAccessibleName(Text(kStrPreviousPage));
        m_page = AddLabel("barPage");
        m_next = Add("barNext", QStringLiteral("\u25B6"), [this] { m_owner.m_commands.Run(kKeyNextPage); });
        m_next->setAccessibleName(Text(kStrNextPage));
        layout->addStretch(1);
        m_clock = AddLabel("barClock");
        m_leave = Add("barLeave", Text(kStrLeave), [this] {
            QMetaObject::invokeMethod(
                this, [this] { m_owner.m_commands.Run(kKeyLeave); }, Qt::QueuedConnection);
        });
        m_leave->setAccessibleName(Text(kStrLeave));
        m_leave->setToolTip(Text(kStrLeave));
        m_slide.setDuration(kSlideMs);
        connect(&m_slide, &QPropertyAnimation::finished, this, [this] { setVisible(m_bIn); });
        hide();
        qApp->installEventFilter(this);
    }

    bool IsIn() const { return m_bIn; }
    bool HasKeyboard() const { return isAncestorOf(QApplication::focusWidget()); }
    bool IsInUse() const {
        return m_bPointer || HasKeyboard() || QApplication::activePopupWidget() != nullptr;
    }

    void Slide(bool in) {
        if (in == m_bIn) {
            return;
        }
        m_bIn = in;
        resize(parentWidget()->width(), kHeight);
        if (in) {
            Say();
            if (!isVisible()) {
                move(0, -kHeight);
            }
            show();
            raise();
        }
        m_slide.stop();
        m_slide.setEndValue(QPoint(0, in ? 0 : -kHeight));
        m_slide.start();
    }

    void TakeKeyboard() { m_styles->setFocus(Qt::ShortcutFocusReason); }

    void Say() {
        const ViewController& view = m_owner.m_view;
        const QComboBox& pages = m_owner.m_view.Combo();
        const bool bPages = pages.count() > 1;
        for (QWidget* const widget : {static_cast<QWidget*>(m_previous), static_cast<QWidget*>(m_page),
                                      static_cast<QWidget*>(m_next)}) {
            widget->setVisible(bPages);
        }
        const bool bCamera = view.CheckedStyle() == VIEW_STYLE_SINGLE_1CH;
        const std::string at = std::to_string(pages.currentIndex() + 1);
        const std::string all = std::to_string(pages.count());
        const QString page = bCamera ? pages.currentText()
                                     : QString::fromStdString(FillPattern(LoadString(kStrPage), {at, all}));
        m_page->setText(page);
        const std::string& shown =
            m_owner.m_views.Sequence().empty() ? m_owner.m_views.Current() : m_owner.m_views.Sequence();
        const QString name =
            shown.empty() ? Text(kStrBarViews) : Text(kStrBarViews) + ": " + QString::fromStdString(shown);
        m_views->setText(name);
        m_clock->setText(QLocale::system().toString(QTime::currentTime(), QLocale::ShortFormat));
        m_clock->show();
        m_leave->setText(Text(kStrLeave));

        // What a narrow display has no place for: long names first, what else tells the time, words that
        // signs can say.
        Shorten(*m_views, name);
        if (bPages && bCamera) {
            Shorten(*m_page, page);
        }
        if (Excess() > 0) {
            m_clock->hide();
        }
        if (Excess() > 0 && !bCamera) {
            m_page->setText(QString::fromStdString(at + "/" + all));
        }
        if (Excess() > 0) {
            m_leave->setText(QStringLiteral("\u2715"));
        }
        for (auto [widget, whole] : {std::pair<QWidget*, QString>(m_views, name), {m_page, page}}) {
            widget->setAccessibleName(whole);
            widget->setToolTip(whole);
        }
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::MouseMove) {
            const auto& mouse = static_cast<const QMouseEvent&>(*event);
            OnPointer(parentWidget()->mapFromGlobal(mouse.globalPosition().toPoint()));
        }
        return QWidget::eventFilter(watched, event);
    }
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.fillRect(rect(), QColor(ColoursOf(*this).panel));
        painter.fillRect(0, height() - 1, width(), 1, QColor(ColoursOf(*this).edge));
    }
    // A click on it is none for the cell below.
    void mousePressEvent(QMouseEvent* event) override { event->accept(); }
    void mouseReleaseEvent(QMouseEvent* event) override { event->accept(); }
    void mouseDoubleClickEvent(QMouseEvent* event) override { event->accept(); }
    void keyPressEvent(QKeyEvent* event) override {
        switch (event->key()) {
            case Qt::Key_Escape:
                m_owner.Hide();
                break;
            case Qt::Key_Left:
                focusNextPrevChild(false);
                break;
            case Qt::Key_Right:
                focusNextPrevChild(true);
                break;
            default:
                QWidget::keyPressEvent(event);
        }
    }

private:
    template <typename Run>
    LinkButton* Add(const char* name, const QString& text, Run run) {
        auto* const button = new LinkButton(text, this);
        button->setObjectName(QLatin1String(name));
        button->setFocusPolicy(Qt::TabFocus);  // a click leaves the keyboard where it is
        connect(button, &QAbstractButton::clicked, this, run);
        layout()->addWidget(button);
        return button;
    }
    QLabel* AddLabel(const char* name) {
        auto* const label = new QLabel(this);
        label->setObjectName(QLatin1String(name));
        label->setTextFormat(Qt::PlainText);
        label->setForegroundRole(QPalette::BrightText);
        layout()->addWidget(label);
        return label;
    }
    int Excess() const {
        layout()->invalidate();
        return layout()->sizeHint().width() - width();
    }
    template <typename Widget>
    void Shorten(Widget& widget, const QString& whole) {
        const QFontMetrics metrics = widget.fontMetrics();
        if (const int excess = Excess(); excess > 0) {
            const int least = kLeastName * metrics.averageCharWidth();
            widget.setText(metrics.elidedText(whole, Qt::ElideRight,
                                              std::max(metrics.horizontalAdvance(whole) - excess, least)));
        }
    }
    void OnPointer(const QPoint& place) {
        const bool bHere = parentWidget()->rect().contains(place);
        m_bPointer = bHere && place.y() < (m_bIn ? kHeight : kEdge);
        if (m_bPointer && !m_bIn && !m_owner.m_desk.IsLocked() &&
            QApplication::activeModalWidget() == nullptr) {
            Slide(true);
        }
        if (m_bIn && !m_bPointer && !m_owner.m_timers.IsTimerSet(kTimerBar)) {
            m_owner.m_timers.SetTimer(kTimerBar, kStayMs);
        }
    }

    WallBar& m_owner;
    QPropertyAnimation m_slide;
    LinkButton* m_styles = nullptr;
    LinkButton* m_views = nullptr;
    LinkButton* m_previous = nullptr;
    LinkButton* m_next = nullptr;
    QLabel* m_page = nullptr;
    QLabel* m_clock = nullptr;
    LinkButton* m_leave = nullptr;
    bool m_bIn = false;
    bool m_bPointer = false;
};

WallBar::WallBar(Desk& desk, Timers& timers, Commands& commands, const ConsoleControls& controls,
                 ViewController& view, const ViewSwitch& views)
    : m_desk(desk),
      m_timers(timers),
      m_commands(commands),
      m_controls(controls),
      m_view(view),
      m_views(views) {}

WallBar::~WallBar() {
    delete m_bar.data();
}

void WallBar::SetHost(QWidget* panel) {
    if (m_bar && m_bar->parentWidget() == panel) {
        return;
    }
    m_timers.KillTimer(kTimerBar);
    if (m_bar) {
        m_bar->hide();
        m_bar->deleteLater();  // it may be the caller
        m_bar = nullptr;
    }
    if (panel != nullptr) {
        m_bar = new Bar(*this, panel);
    }
}

void WallBar::Open() {
    if (m_bar && !m_desk.IsLocked()) {
        m_bar->Slide(true);
        m_bar->TakeKeyboard();
    }
}

void WallBar::Update() {
    if (m_bar && m_bar->IsIn()) {
        m_bar->Say();
        m_bar->raise();
    }
}

void WallBar::OnTimer() {
    if (!m_bar || !m_bar->IsIn()) {
        m_timers.KillTimer(kTimerBar);
    } else if (!m_bar->IsInUse()) {
        Hide();
    }
}

void WallBar::Hide() {
    m_timers.KillTimer(kTimerBar);
    if (m_bar) {
        if (m_bar->HasKeyboard()) {
            m_bar->parentWidget()->setFocus();
        }
        m_bar->Slide(false);
    }
}

void WallBar::OpenStyles(QWidget& button) {
    auto* const menu = new BCMenu(&button);
    for (const auto table : {ControlTable(), ToolTable()}) {
        for (const SkinControlRow& row : table) {
            if (row.id >= kCtlFirstStyle && row.id <= kCtlLastStyle && m_controls.Get(row.id).shown) {
                menu->AppendMenu(m_controls.IsPressed(row.id) ? MF_CHECKED : 0, row.id,
                                 LoadString(row.tooltip) + "\t" + ShortcutName(row.id).toStdString());
            }
        }
    }
    menu->TrackPopupMenu(button.mapToGlobal(QPoint(0, button.height())), {}, [this](int id) {
        if (id != 0) {
            m_commands.Press(id);
        }
    });
}

void WallBar::OpenViews(QWidget& button) {
    auto* const menu = new BCMenu(&button);
    AppendViews(*menu, m_views, m_desk.IsLoggedIn());
    menu->TrackPopupMenu(button.mapToGlobal(QPoint(0, button.height())), {}, [this](int id) {
        if (id != 0) {
            m_commands.Press(id);
        }
    });
}

}  // namespace kvmon
