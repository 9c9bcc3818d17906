#include "console/drawer/camera_drawer.h"

#include <QtCore/QTimer>
#include <QtGui/QKeyEvent>
#include <QtGui/QMouseEvent>
#include <QtGui/QPainter>
#include <QtWidgets/QApplication>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QVBoxLayout>

#include "channel/camera/base_camera.h"
#include "channel/cell/video_wnd.h"
#include "console/dialogs/dialog_parts.h"
#include "console/dialogs/empty_hint.h"
#include "console/drawer/camera_tree.h"
#include "console/panel/console_controls.h"
#include "console/ports/desk.h"
#include "console/settings/fill_pattern.h"
#include "console/wall/camera_list.h"
#include "console/wall/cell_pool.h"
#include "console/wall/moved_word.h"
#include "console/wall/style_command.h"
#include "console/wall/view_controller.h"
#include "persist/orvo_registry.h"
#include "persist/string_table.h"
#include "server/recorder_list.h"
#include "skin/background.h"
#include "skin/skin_colours.h"
#include "skin/style_parts.h"
#include "skin/window_base.h"

namespace kvmon {

namespace {

constexpr int kWidth = 252;
constexpr int kGap = 8;
constexpr int kDockedFrom = 1280;  // the console's width from which the wall keeps a full size beside it
constexpr std::uint32_t kStrTitle = 7102;
constexpr std::uint32_t kStrSearch = 7120;
constexpr std::uint32_t kStrNotFound = 7440;
constexpr std::uint32_t kStrNone = 7441;
constexpr const char* kEntry = "CameraList";

}  // namespace

CameraDrawer::CameraDrawer(Desk& desk, ConsoleControls& controls, ViewController& view, StyleCommand& styles,
                           const CellPool& cells, const CameraList& cameras, const RecorderList& recorders,
                           FeedbackLine& feedback)
    : QWidget(&desk.Window()),
      m_desk(desk),
      m_controls(controls),
      m_view(view),
      m_styles(styles),
      m_cells(cells),
      m_cameras(cameras),
      m_recorders(recorders),
      m_feedback(feedback),
      m_search(new QLineEdit(this)),
      m_tree(new CameraTree(this)),
      m_hint(new EmptyHint(*m_tree)),
      m_drag(*this, cells) {
    setObjectName(QStringLiteral("cameraDrawer"));
    setAccessibleName(Text(kStrTitle));
    m_search->setObjectName(QStringLiteral("search"));
    m_search->setPlaceholderText(Text(kStrSearch));
    m_search->setAccessibleName(Text(kStrSearch));
    m_search->setClearButtonEnabled(true);
    m_search->installEventFilter(this);
    connect(m_search, &QLineEdit::textChanged, this, [this] { Filter(); });
    m_tree->installEventFilter(this);
    m_tree->viewport()->installEventFilter(this);
    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(6, 6, 6, 6);
    layout->setSpacing(6);
    layout->addWidget(m_search);
    layout->addWidget(m_tree, 1);
    hide();
}

void CameraDrawer::Start() {
    m_controls.SetPressed(kCtlCameraList, Registry().GetProfileInt({}, kEntry, 0) == 1);
    Update();
}

std::vector<QWidget*> CameraDrawer::Stops() const {
    return {m_search, m_tree};
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
        m_tree->Fill(Rows());
        Filter();
    } else if (isVisible() && isAncestorOf(QApplication::focusWidget())) {
        m_desk.Window().setFocus();  // nobody else is to get it
    }
    Place();
    setVisible(bShown);
    if (bShown) {
        raise();
    }
}

void CameraDrawer::Filter() {
    const QString wanted = m_search->text().trimmed();
    const bool bFound = m_tree->Filter(wanted);
    m_hint->Say(bFound ? QString()
                : m_tree->topLevelItemCount() == 0
                    ? Text(kStrNone)
                    : QString::fromStdString(FillPattern(LoadString(kStrNotFound), {wanted.toStdString()})));
}

void CameraDrawer::Place() {
    const bool bShown = m_controls.IsPressed(kCtlCameraList) && m_desk.IsLoggedIn();
    const QSize console = m_desk.Window().size();
    const QRect well = SkinViewRect(console);
    setGeometry(well.left(), well.top(), kWidth, well.height());
    m_view.SetLeftMargin(bShown && console.width() >= kDockedFrom ? kWidth + kGap : 0);
}

void CameraDrawer::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(rect(), QColor(ColoursOf(*this).panel));
    style::DrawLineAround(painter, rect(), ColoursOf(*this).edge);
}

// --- the rows

std::vector<CameraTreeRow> CameraDrawer::Rows() const {
    std::vector<CameraTreeRow> rows;
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

// --- what a row does

void CameraDrawer::PutInto(int channel, CVideoWnd* cell) {
    const std::string before = CameraNameOf(cell);
    if (cell == nullptr || !m_cameras.IsChannel(channel) || !m_view.PutCamera(channel, cell)) {
        return;
    }
    m_view.ActivateWindow(cell);
    if (m_view.GetStyle() != VIEW_STYLE_SINGLE_1CH) {
        TellMoved(m_feedback, CameraNameOf(cell), before);
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
        case Qt::Key_Enter:
            PutInto(CameraTree::ChannelOf(m_tree->currentItem()), m_cells.GetActive());
            return true;
        case Qt::Key_Escape:
            if (m_drag.IsOn()) {
                m_drag.End();
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
            case Qt::Key_Down:
                m_tree->setFocus();
                m_tree->setCurrentItem(m_tree->FirstShown());
                return true;
            case Qt::Key_Return:
            case Qt::Key_Enter:
                PutInto(CameraTree::ChannelOf(m_tree->FirstShown()), m_cells.GetActive());
                return true;
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
                return m_drag.IsPressed();  // no other row becomes the current one on the way
            default:
                break;
        }
    }
    return QWidget::eventFilter(watched, event);
}

void CameraDrawer::OnMouse(const QMouseEvent& event) {
    const QTreeWidgetItem* const item = m_tree->itemAt(event.position().toPoint());
    const int channel = CameraTree::ChannelOf(item);
    const QPoint screen = event.globalPosition().toPoint();
    switch (event.type()) {
        case QEvent::MouseButtonPress:
            m_drag.Press(event.button() == Qt::LeftButton ? channel : -1,
                         item != nullptr ? item->text(0) : QString(), screen);
            break;
        case QEvent::MouseMove:
            if (event.buttons().testFlag(Qt::LeftButton)) {
                m_drag.Move(screen);
            }
            break;
        case QEvent::MouseButtonRelease: {
            int dragged = -1;
            CVideoWnd* const cell = m_drag.Drop(screen, &dragged);
            PutInto(dragged, cell);
            break;
        }
        default:
            if (channel >= 0) {
                // After the tree's own handling, which the change of the wall must not meet.
                QTimer::singleShot(0, this, [this, channel] { OpenAlone(channel); });
            }
    }
}

}  // namespace kvmon
