#include "console/events/event_window.h"

#include <QtCore/QSignalBlocker>
#include <QtGui/QKeyEvent>
#include <QtGui/QPainter>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QHeaderView>
#include <QtWidgets/QLabel>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QTreeWidget>
#include <QtWidgets/QVBoxLayout>
#include <algorithm>
#include <set>

#include "channel/picture/captions.h"
#include "console/dialogs/dialog_parts.h"
#include "console/dialogs/empty_hint.h"
#include "console/dialogs/message_box.h"
#include "console/settings/fill_pattern.h"
#include "persist/plural.h"
#include "persist/string_table.h"
#include "skin/plain_text.h"
#include "skin/skin_colours.h"

namespace kvmon {

namespace {

enum Column { kTime, kLevel, kServer, kText, kColumns };

constexpr std::uint32_t kTextTitle = 6600;
constexpr std::uint32_t kTextTime = 6603;
constexpr std::uint32_t kTextLevel = 6604;
constexpr std::uint32_t kTextServer = 6605;
constexpr std::uint32_t kTextEvent = 6606;
constexpr std::uint32_t kTextAllServers = 6607;
constexpr std::uint32_t kTextAllLevels = 6608;
constexpr std::uint32_t kTextClear = 6609;
constexpr std::uint32_t kTextMarkAll = 6610;
constexpr std::uint32_t kTextUnread = 6612;
constexpr std::uint32_t kTextNone = 6613;
constexpr std::uint32_t kTextNoneYet = 7443;
constexpr std::uint32_t kTextNoMatch = 7444;

QString Shown(const std::string& text) {
    return QString::fromStdString(DisplayLine(text));
}

QRgb LevelColour(std::int32_t nLevel, const SkinColours& colours) {
    return nLevel == kEventError ? colours.record : nLevel == kEventWarning ? colours.focus : colours.accent;
}

enum class Dot { Full, Ring };

// In the level's colour: full while the event is unread, then a ring.
QIcon LevelIcon(std::int32_t nLevel, Dot dot, const QWidget& window) {
    const QColor colour(LevelColour(nLevel, ColoursOf(window)));
    const double scale = window.devicePixelRatioF();
    QPixmap pixmap((QSizeF(16, 16) * scale).toSize());
    pixmap.setDevicePixelRatio(scale);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(colour, 1.5));
    painter.setBrush(dot == Dot::Ring ? Qt::NoBrush : QBrush(colour));
    painter.drawEllipse(QRectF(4, 4, 8, 8));
    painter.end();
    QIcon icon(pixmap);
    icon.addPixmap(pixmap, QIcon::Selected);  // not tinted
    return icon;
}

}  // namespace

CEventWindow::CEventWindow(QWidget* owner, EventList& events) : WindowBase(owner), m_events(events) {
    setWindowFlags(Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowCloseButtonHint);
    setAttribute(Qt::WA_StyledBackground);
    setObjectName(QStringLiteral("eventWindow"));
    MakeControls();
    resize(760, 420);
    Refresh();
}

void CEventWindow::MakeControls() {
    m_servers = new QComboBox(this);
    m_servers->setObjectName(QStringLiteral("eventServer"));
    m_servers->setAccessibleName(Text(kTextServer));
    m_servers->setMinimumWidth(180);
    m_levels = new QComboBox(this);
    m_levels->setObjectName(QStringLiteral("eventLevel"));
    m_levels->setAccessibleName(Text(kTextLevel));
    m_levels->addItem(Text(kTextAllLevels), 0);
    for (const std::int32_t level : {kEventInformation, kEventWarning, kEventError}) {
        m_levels->addItem(LevelIcon(level, Dot::Full, *this), Text(LevelTextId(level)), level);
    }
    m_levels->setMinimumWidth(std::max(140, m_levels->sizeHint().width()));
    m_count = new QLabel(this);
    m_count->setTextFormat(Qt::PlainText);
    m_markAll = new QPushButton(Text(kTextMarkAll), this);
    m_markAll->setObjectName(QStringLiteral("eventMarkAll"));
    m_markAll->setMinimumWidth(m_markAll->sizeHint().width() + 20);
    m_clear = new QPushButton(Text(kTextClear), this);
    m_clear->setObjectName(QStringLiteral("eventClear"));
    MakeRows();
    Arrange();
    connect(m_servers, &QComboBox::currentIndexChanged, this, [this] { FillRows(); });
    connect(m_levels, &QComboBox::currentIndexChanged, this, [this] { FillRows(); });
    connect(m_rows, &QTreeWidget::itemSelectionChanged, this, [this] { MarkSelected(); });
    connect(m_markAll, &QPushButton::clicked, this, [this] {
        if (m_events.MarkAllRead(Filter())) {
            FillRows();
        }
    });
    connect(m_clear, &QPushButton::clicked, this, [this] {
        if (m_onClear) {
            m_onClear();
        }
    });
}

void CEventWindow::MakeRows() {
    m_rows = new QTreeWidget(this);
    m_rows->setObjectName(QStringLiteral("eventRows"));
    m_hint = new EmptyHint(*m_rows);
    m_rows->setColumnCount(kColumns);
    m_rows->setHeaderLabels({Text(kTextTime), Text(kTextLevel), Text(kTextServer), Text(kTextEvent)});
    m_rows->setRootIsDecorated(false);
    m_rows->setUniformRowHeights(true);
    m_rows->setAlternatingRowColors(false);
    m_rows->setSelectionMode(QAbstractItemView::ExtendedSelection);
    m_rows->setAllColumnsShowFocus(true);
    m_rows->header()->setStretchLastSection(true);
    m_rows->setColumnWidth(kTime, 186);
    // Levels are the same words here as in the list of levels, so they need the same room.
    m_rows->setColumnWidth(kLevel, std::max(110, m_levels->sizeHint().width()));
    m_rows->setColumnWidth(kServer, std::max(130, m_rows->header()->sectionSizeHint(kServer)));
}

void CEventWindow::Arrange() {
    auto* const top = new QHBoxLayout;
    top->setSpacing(8);
    top->addWidget(m_servers);
    top->addWidget(m_levels);
    top->addSpacing(8);
    top->addWidget(m_count, 1);
    top->addWidget(m_markAll);
    top->addWidget(m_clear);
    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(14, 14, 14, 14);
    layout->setSpacing(10);
    layout->addLayout(top);
    layout->addWidget(m_rows, 1);
}

void CEventWindow::changeEvent(QEvent* event) {
    if (event->type() == QEvent::StyleChange) {
        for (int i = 0; i < m_levels->count(); ++i) {
            if (const int level = m_levels->itemData(i).toInt(); level != 0) {
                m_levels->setItemIcon(i, LevelIcon(level, Dot::Full, *this));
            }
        }
        FillRows();
    }
    WindowBase::changeEvent(event);
}

void CEventWindow::closeEvent(QCloseEvent* event) {
    WindowBase::closeEvent(event);
    GiveKeyboardBack(*this);
}

void CEventWindow::Open() {
    if (!isVisible() && parentWidget() != nullptr) {
        move(parentWidget()->window()->frameGeometry().center() - rect().center());
    }
    show();
    raise();
    activateWindow();
    m_rows->setFocus();
}

EventFilter CEventWindow::Filter() const {
    return {m_servers->currentData().toString().toStdString(), m_levels->currentData().toInt()};
}

void CEventWindow::Refresh() {
    FillServers();
    FillRows();
}

// The choice stays as long as its recorder has an entry.
void CEventWindow::FillServers() {
    std::set<std::string> names;
    for (const CNvrEvent& event : m_events.All()) {
        names.insert(event.m_strServer);
    }
    const QSignalBlocker quiet(m_servers);
    const QString chosen = m_servers->currentData().toString();
    m_servers->clear();
    m_servers->addItem(Text(kTextAllServers), QString());
    for (const std::string& name : names) {
        m_servers->addItem(Shown(name), QString::fromStdString(name));
    }
    m_servers->setCurrentIndex(std::max(m_servers->findData(chosen), 0));
}

void CEventWindow::FillRows() {
    const QSignalBlocker quiet(m_rows);
    const EventFilter filter = Filter();
    std::vector<CNvrEvent> selected;
    for (QTreeWidgetItem* const row : m_rows->selectedItems()) {
        selected.push_back(m_shown[static_cast<std::size_t>(m_rows->indexOfTopLevelItem(row))]);
    }
    m_rows->clear();
    m_shown.clear();
    QList<QTreeWidgetItem*> rows;
    for (const CNvrEvent& event : m_events.All()) {
        if (!filter.Passes(event)) {
            continue;
        }
        auto* const row = new QTreeWidgetItem;
        row->setText(kTime, Shown(event.m_strTime));
        row->setText(kLevel, Text(LevelTextId(event.m_nLevel)));
        row->setText(kServer, Shown(event.m_strServer));
        row->setText(kText, Shown(event.m_strContent));
        row->setToolTip(kText, MarkupOf(event.m_strContent));
        row->setIcon(kTime, LevelIcon(event.m_nLevel, event.m_bRead ? Dot::Ring : Dot::Full, *this));
        if (!event.m_bRead) {
            QFont bold = m_rows->font();
            bold.setBold(true);
            for (int column = 0; column < kColumns; ++column) {
                row->setFont(column, bold);
                row->setForeground(column, QColor(ColoursOf(*this).inkBright));
            }
        }
        rows.append(row);
        m_shown.push_back(event);
    }
    m_rows->addTopLevelItems(rows);
    for (int i = 0; i < rows.size(); ++i) {
        const CNvrEvent& event = m_shown[static_cast<std::size_t>(i)];
        rows[i]->setSelected(std::any_of(selected.begin(), selected.end(),
                                         [&](const CNvrEvent& one) { return one.IsSame(event); }));
    }
    ShowCount();
}

void CEventWindow::ShowCount() {
    const auto unread = static_cast<qulonglong>(m_events.UnreadCount());
    const QString count =
        QString::fromStdString(FillPattern(LoadPlural(kTextUnread, unread), {std::to_string(unread)}));
    m_count->setText(m_shown.empty() ? Text(kTextNone) : unread > 0 ? count : QString());
    m_hint->Say(!m_shown.empty() ? QString() : Text(m_events.All().empty() ? kTextNoneYet : kTextNoMatch));
    setWindowTitle(unread > 0 ? Text(kTextTitle) + " (" + QString::number(unread) + ")" : Text(kTextTitle));
    m_markAll->setEnabled(unread > 0);
    m_clear->setEnabled(!m_events.All().empty());
}

void CEventWindow::MarkSelected() {
    bool bChanged = false;
    for (QTreeWidgetItem* const row : m_rows->selectedItems()) {
        CNvrEvent& event = m_shown[static_cast<std::size_t>(m_rows->indexOfTopLevelItem(row))];
        if (!event.m_bRead && m_events.MarkRead(event)) {
            event.m_bRead = true;
            bChanged = true;
            row->setIcon(kTime, LevelIcon(event.m_nLevel, Dot::Ring, *this));
            for (int column = 0; column < kColumns; ++column) {
                row->setFont(column, m_rows->font());
                row->setForeground(column, QColor(ColoursOf(*this).ink));
            }
        }
    }
    if (bChanged) {
        ShowCount();
    }
}

void CEventWindow::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape) {
        close();
        return;
    }
    WindowBase::keyPressEvent(event);
}

}  // namespace kvmon
