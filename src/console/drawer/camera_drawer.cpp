#include "console/drawer/camera_drawer.h"

#include <QtCore/QTimer>
#include <QtGui/QKeyEvent>
#include <QtGui/QMouseEvent>
#include <QtGui/QPainter>
#include <QtWidgets/QApplication>
#include <QtWidgets/QHeaderView>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QTreeWidget>
#include <QtWidgets/QVBoxLayout>
#include <algorithm>

#include "channel/camera/base_camera.h"
#include "channel/cell/video_wnd.h"
#include "console/dialogs/dialog_parts.h"
#include "console/panel/console_controls.h"
#include "console/ports/desk.h"
#include "console/wall/camera_list.h"
#include "console/wall/cell_pool.h"
#include "console/wall/style_command.h"
#include "console/wall/view_controller.h"
#include "persist/orvo_registry.h"
#include "server/recorder_list.h"
#include "skin/background.h"
#include "skin/skin_colours.h"
#include "skin/window_base.h"

namespace kvmon {

namespace {

constexpr int kWidth = 252;
constexpr int kGap = 8;
constexpr int kDockedFrom = 1280;  // the console's width from which the wall keeps a full size beside it
constexpr int kIconsWidth = 84;
constexpr int kFrame = 4;
constexpr QPoint kGhostPlace(14, 10);  // beside the pointer
constexpr int kChannelRole = Qt::UserRole;
constexpr std::uint32_t kStrTitle = 7102;
constexpr std::uint32_t kStrSearch = 7120;
constexpr const char* kEntry = "CameraList";

// The place that the camera would take.
class Mark final : public QWidget {
public:
    explicit Mark(QWidget* cell) : QWidget(cell) {
        setObjectName(QStringLiteral("drawerMark"));
        setAttribute(Qt::WA_TransparentForMouseEvents);
        setGeometry(cell->rect());
        show();
        raise();
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setPen(QPen(QColor(ColoursOf(*this).accent), kFrame));
        painter.drawRect(rect().adjusted(kFrame / 2, kFrame / 2, -kFrame / 2, -kFrame / 2));
    }
};

// Words for who does not see the signs.
QString StateText(const CellState& state) {
    QStringList words;
    for (const PlacedIcon& icon : PlaceIcons(state, kIconsWidth)) {
        words << CellIconText(icon.icon);
    }
    return words.join(QStringLiteral(", "));
}

QPixmap StatePicture(const CellState& state, double ratio, const StripColours& colours) {
    const QSize size(kIconsWidth, kIconHeight);
    QPixmap picture(size * ratio);
    picture.setDevicePixelRatio(ratio);
    picture.fill(Qt::transparent);
    QPainter painter(&picture);
    painter.setRenderHint(QPainter::Antialiasing);
    for (const PlacedIcon& icon : PlaceIcons(state, kIconsWidth, 0)) {
        DrawCellIcon(painter, icon.icon, QRectF(icon.x, 0, icon.width, kIconHeight), colours);
    }
    return picture;
}

}  // namespace

CameraDrawer::CameraDrawer(Desk& desk, ConsoleControls& controls, ViewController& view, StyleCommand& styles,
                           const CellPool& cells, const CameraList& cameras, const RecorderList& recorders)
    : QWidget(&desk.Window()),
      m_desk(desk),
      m_controls(controls),
      m_view(view),
      m_styles(styles),
      m_cells(cells),
      m_cameras(cameras),
      m_recorders(recorders),
      m_search(new QLineEdit(this)),
      m_tree(new QTreeWidget(this)) {
    setObjectName(QStringLiteral("cameraDrawer"));
    setAccessibleName(Text(kStrTitle));
    m_search->setObjectName(QStringLiteral("search"));
    m_search->setPlaceholderText(Text(kStrSearch));
    m_search->setAccessibleName(Text(kStrSearch));
    m_search->setClearButtonEnabled(true);
    m_search->installEventFilter(this);
    connect(m_search, &QLineEdit::textChanged, this, [this] { Filter(); });
    m_tree->setObjectName(QStringLiteral("cameras"));
    m_tree->setAccessibleName(Text(kStrTitle));
    m_tree->setColumnCount(2);
    m_tree->setHeaderHidden(true);
    m_tree->setUniformRowHeights(true);
    m_tree->setIndentation(14);
    m_tree->setIconSize({kIconsWidth, kIconHeight});
    m_tree->setExpandsOnDoubleClick(false);
    m_tree->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_tree->header()->setStretchLastSection(false);
    m_tree->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    m_tree->header()->setSectionResizeMode(1, QHeaderView::Fixed);
    m_tree->header()->setMinimumSectionSize(kIconsWidth);
    m_tree->setColumnWidth(1, kIconsWidth + 6);
    m_tree->installEventFilter(this);
    m_tree->viewport()->installEventFilter(this);
    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(6, 6, 6, 6);
    layout->setSpacing(6);
    layout->addWidget(m_search);
    layout->addWidget(m_tree, 1);
    hide();
}

CameraDrawer::~CameraDrawer() {
    EndDrag();
}

void CameraDrawer::Start() {
    m_controls.SetPressed(kCtlCameraList, Registry().GetProfileInt({}, kEntry, 0) == 1);
    Update();
}

void CameraDrawer::OnToggle() {
    const bool bOpen = m_controls.IsPressed(kCtlCameraList);
    Registry().WriteProfileInt({}, kEntry, bOpen ? 1 : 0);
    Update();
    if (isVisible()) {
        m_search->setFocus();
    } else {
        m_desk.Window().setFocus();
    }
}

void CameraDrawer::Update() {
    const bool bShown = m_controls.IsPressed(kCtlCameraList) && m_desk.IsLoggedIn();
    if (bShown) {
        Fill();
    } else if (isVisible() && isAncestorOf(QApplication::focusWidget())) {
        m_desk.Window().setFocus();  // nobody else is to get it
    }
    Place();
    setVisible(bShown);
    if (bShown) {
        raise();
    }
}

void CameraDrawer::Place() {
    const bool bShown = m_controls.IsPressed(kCtlCameraList) && m_desk.IsLoggedIn();
    const QSize console = m_desk.Window().size();
    const QRect well = SkinViewRect(console);
    setGeometry(well.left(), well.top(), kWidth, well.height());
    m_view.SetLeftMargin(bShown && console.width() >= kDockedFrom ? kWidth + kGap : 0);
}

void CameraDrawer::changeEvent(QEvent* event) {
    if (event->type() == QEvent::StyleChange) {
        m_rows.clear();  // their signs are of another look
        if (isVisible()) {
            Fill();
        }
    }
    QWidget::changeEvent(event);
}

void CameraDrawer::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(rect(), QColor(ColoursOf(*this).panel));
    painter.setPen(QColor(ColoursOf(*this).edge));
    painter.drawRect(rect().adjusted(0, 0, -1, -1));
}

// --- the rows

std::vector<CameraDrawer::Row> CameraDrawer::Rows() const {
    std::vector<Row> rows;
    for (int n = 0; n < m_cameras.GetCount(); ++n) {
        const int server = m_cameras.Get(n).server;
        const CKelvaraInfo* const recorder = m_recorders.GetServer(server);
        const auto camera = m_cameras.GetCameraByChannel(n);
        if (recorder == nullptr || !camera) {
            continue;
        }
        CellState state;
        state.bTold = camera->IsStatusTold();
        state.bManual = camera->IsManualRecording();
        state.flags = camera->GetStatusFlags();
        std::string name = recorder->GetServerName();
        rows.push_back(
            {server, n, name.empty() ? recorder->GetHost() : name, camera->GetCameraName(), state});
    }
    return rows;
}

void CameraDrawer::Fill() {
    std::vector<Row> rows = Rows();
    const bool bSame =
        std::equal(rows.begin(), rows.end(), m_rows.begin(), m_rows.end(), [](const Row& a, const Row& b) {
            return a.server == b.server && a.channel == b.channel && a.recorder == b.recorder &&
                   a.name == b.name;
        });
    if (bSame) {
        QTreeWidgetItemIterator item(m_tree, QTreeWidgetItemIterator::NoChildren);
        for (std::size_t i = 0; i < rows.size() && *item != nullptr; ++i, ++item) {
            if (!(rows[i].state == m_rows[i].state)) {
                ShowState(**item, rows[i]);
            }
        }
        m_rows = std::move(rows);
        return;
    }
    m_rows = std::move(rows);
    const QString current = m_tree->currentItem() != nullptr ? m_tree->currentItem()->text(0) : QString();
    m_tree->clear();
    QTreeWidgetItem* group = nullptr;
    int server = -1;
    for (const Row& row : m_rows) {
        if (group == nullptr || row.server != server) {
            server = row.server;
            group = new QTreeWidgetItem(m_tree, {QString::fromStdString(row.recorder)});
            group->setFirstColumnSpanned(true);
            group->setData(0, kChannelRole, -1);
            group->setExpanded(true);
        }
        auto* const item = new QTreeWidgetItem(group, {QString::fromStdString(row.name)});
        item->setData(0, kChannelRole, row.channel);
        ShowState(*item, row);
        if (item->text(0) == current) {
            m_tree->setCurrentItem(item);
        }
    }
    if (m_tree->currentItem() == nullptr && group != nullptr) {
        m_tree->setCurrentItem(m_tree->topLevelItem(0)->child(0));
    }
    Filter();
}

void CameraDrawer::ShowState(QTreeWidgetItem& item, const Row& row) const {
    const QString words = StateText(row.state);
    item.setIcon(1, QIcon(StatePicture(row.state, devicePixelRatioF(), ColoursOf(*this).inactive)));
    item.setData(0, Qt::AccessibleTextRole, words.isEmpty() ? item.text(0) : item.text(0) + ", " + words);
    item.setData(1, Qt::AccessibleTextRole, words);
    item.setToolTip(0, item.text(0).toHtmlEscaped());
    item.setToolTip(1, words.toHtmlEscaped());
}

// A recorder's name finds all of its cameras.
void CameraDrawer::Filter() {
    const QString wanted = m_search->text().trimmed();
    for (int g = 0; g < m_tree->topLevelItemCount(); ++g) {
        QTreeWidgetItem* const group = m_tree->topLevelItem(g);
        const bool bGroup = group->text(0).contains(wanted, Qt::CaseInsensitive);
        bool bAny = false;
        for (int i = 0; i < group->childCount(); ++i) {
            const bool bFits = bGroup || group->child(i)->text(0).contains(wanted, Qt::CaseInsensitive);
            group->child(i)->setHidden(!bFits);
            bAny = bAny || bFits;
        }
        group->setHidden(!bAny);
    }
}

// --- what a row does

void CameraDrawer::PutInto(int channel, CVideoWnd* cell) {
    if (cell != nullptr && m_cameras.IsChannel(channel) && m_view.PutCamera(channel, cell)) {
        m_view.ActivateWindow(cell);
    }
}

void CameraDrawer::OpenAlone(int channel) {
    if (m_cameras.IsChannel(channel)) {
        if (m_view.GetStyle() != VIEW_STYLE_SINGLE_1CH) {
            m_styles.SelectStyle(VIEW_STYLE_SINGLE_1CH);
        }
        m_view.GoToCamera(channel);
    }
}

bool CameraDrawer::OnTreeKey(int key) {
    switch (key) {
        case Qt::Key_Return:
        case Qt::Key_Enter: {
            const QTreeWidgetItem* const item = m_tree->currentItem();
            if (item != nullptr) {
                PutInto(item->data(0, kChannelRole).toInt(), m_cells.GetActive());
            }
            return true;
        }
        case Qt::Key_Escape:
            if (m_bDragging) {
                EndDrag();
            } else {
                m_desk.Window().setFocus();
            }
            return true;
        default:
            return false;
    }
}

bool CameraDrawer::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_tree && event->type() == QEvent::KeyPress) {
        return OnTreeKey(static_cast<QKeyEvent*>(event)->key()) || QWidget::eventFilter(watched, event);
    }
    if (watched == m_search && event->type() == QEvent::KeyPress) {
        switch (static_cast<QKeyEvent*>(event)->key()) {
            case Qt::Key_Down: {
                m_tree->setFocus();
                QTreeWidgetItemIterator item(
                    m_tree, QTreeWidgetItemIterator::NoChildren | QTreeWidgetItemIterator::NotHidden);
                m_tree->setCurrentItem(*item);
                return true;
            }
            case Qt::Key_Return:
            case Qt::Key_Enter: {
                QTreeWidgetItemIterator item(
                    m_tree, QTreeWidgetItemIterator::NoChildren | QTreeWidgetItemIterator::NotHidden);
                if (*item != nullptr) {
                    PutInto((*item)->data(0, kChannelRole).toInt(), m_cells.GetActive());
                }
                return true;
            }
            case Qt::Key_Escape:
                if (m_search->text().isEmpty()) {
                    m_desk.Window().setFocus();
                }
                m_search->clear();
                return true;
            default:
                return QWidget::eventFilter(watched, event);
        }
    }
    if (watched == m_tree->viewport()) {
        switch (event->type()) {
            case QEvent::MouseButtonPress:
            case QEvent::MouseButtonRelease:
            case QEvent::MouseButtonDblClick:
                OnMouse(*static_cast<QMouseEvent*>(event));
                break;
            case QEvent::MouseMove:
                OnMouse(*static_cast<QMouseEvent*>(event));
                return m_pressed >= 0;  // no other row becomes the current one on the way
            default:
                break;
        }
    }
    return QWidget::eventFilter(watched, event);
}

void CameraDrawer::OnMouse(const QMouseEvent& event) {
    const QTreeWidgetItem* const item = m_tree->itemAt(event.position().toPoint());
    const int channel = item != nullptr ? item->data(0, kChannelRole).toInt() : -1;
    const QPoint screen = event.globalPosition().toPoint();
    switch (event.type()) {
        case QEvent::MouseButtonPress:
            m_pressed = event.button() == Qt::LeftButton ? channel : -1;
            m_pressedAt = screen;
            break;
        case QEvent::MouseMove:
            if (m_pressed >= 0 && event.buttons().testFlag(Qt::LeftButton)) {
                MoveDrag(screen);
            }
            break;
        case QEvent::MouseButtonRelease: {
            const int dragged = m_bDragging ? m_pressed : -1;
            EndDrag();
            if (dragged >= 0 && !rect().contains(mapFromGlobal(screen))) {
                PutInto(dragged, m_cells.FindAt(screen));
            }
            break;
        }
        default:
            if (channel >= 0) {
                // After the tree's own handling, which the change of the wall must not meet.
                QTimer::singleShot(0, this, [this, channel] { OpenAlone(channel); });
            }
    }
}

void CameraDrawer::MoveDrag(const QPoint& screen) {
    if (!m_bDragging) {
        if ((screen - m_pressedAt).manhattanLength() < QApplication::startDragDistance()) {
            return;
        }
        m_bDragging = true;
        const auto camera = m_cameras.GetCameraByChannel(m_pressed);
        m_ghost = new QLabel(QString::fromStdString(camera ? camera->GetCameraName() : ""), this,
                             Qt::ToolTip | Qt::FramelessWindowHint);
        m_ghost->setObjectName(QStringLiteral("drawerGhost"));
        m_ghost->setTextFormat(Qt::PlainText);
        m_ghost->setAttribute(Qt::WA_TransparentForMouseEvents);
        m_ghost->setContentsMargins(8, 4, 8, 4);
        m_ghost->show();
    }
    if (m_ghost) {
        m_ghost->move(screen + kGhostPlace);
    }
    const bool bInside = rect().contains(mapFromGlobal(screen));
    QWidget* const target = bInside ? nullptr : static_cast<QWidget*>(m_cells.FindAt(screen));
    if (m_mark && m_mark->parentWidget() != target) {
        delete m_mark;
    }
    if (!m_mark && target != nullptr) {
        m_mark = new Mark(target);
    }
}

void CameraDrawer::EndDrag() {
    delete m_ghost;
    delete m_mark;
    m_bDragging = false;
    m_pressed = -1;
}

}  // namespace kvmon
