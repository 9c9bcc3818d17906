#include "console/views/absent_editor.h"

#include <QtGui/QKeyEvent>
#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QTreeWidget>
#include <QtWidgets/QVBoxLayout>
#include <algorithm>

#include "console/dialogs/dialog_parts.h"
#include "console/views/absent_cameras.h"
#include "console/views/sequence_editor.h"
#include "platform/outside_text.h"
#include "skin/window_base.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kStrWhatIsAbsent = 7715;
constexpr std::uint32_t kStrTakeOut = 7716;
constexpr std::uint32_t kStrTakeAllOut = 7717;
constexpr std::uint32_t kStrAddress = 6131;
constexpr int kRows = 4;

}  // namespace

AbsentEditor::AbsentEditor(QWidget* parent, std::optional<std::vector<ViewCamera>> there,
                           std::function<void()> onTakenOut)
    : QWidget(parent),
      m_there(std::move(there)),
      m_onTakenOut(std::move(onTakenOut)),
      m_list(MakeViewsTree(this, "absent", kStrWhatIsAbsent, kStrAddress, kRows)) {
    m_list->setAccessibleName(Text(kStrWhatIsAbsent));
    m_list->installEventFilter(this);
    m_one = AddButton("takeOut", kStrTakeOut, &AbsentEditor::TakeOutOne);
    m_all = AddButton("takeAllOut", kStrTakeAllOut, &AbsentEditor::TakeOutAll);
    auto* const row = new QHBoxLayout;
    row->addStretch();
    row->addWidget(m_one);
    row->addWidget(m_all);
    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_list);
    layout->addLayout(row);
}

QPushButton* AbsentEditor::AddButton(const char* name, std::uint32_t text, void (AbsentEditor::*slot)()) {
    auto* const button = new QPushButton(Text(text), this);
    button->setObjectName(QString(name));
    button->setAutoDefault(false);
    connect(button, &QPushButton::clicked, this, slot);
    return button;
}

void AbsentEditor::Show(NamedView* view) {
    m_view = view;
    Fill(0);
}

void AbsentEditor::Fill(int selected) {
    m_places = m_view != nullptr && m_there ? AbsentPlaces(*m_view, *m_there) : std::vector<int>();
    m_list->clear();
    for (const int place : m_places) {
        const ViewCamera& camera = m_view->cameras[static_cast<std::size_t>(place)];
        m_list->addTopLevelItem(new QTreeWidgetItem({QString::fromStdString(OutsideLine(camera.name)),
                                                     QString::fromStdString(OutsideLine(camera.host)) +
                                                         QLatin1Char(':') + QString::number(camera.port)}));
    }
    m_one->setEnabled(!m_places.empty());
    m_all->setEnabled(!m_places.empty());
    if (!m_places.empty()) {
        const int last = static_cast<int>(m_places.size()) - 1;
        m_list->setCurrentItem(m_list->topLevelItem(std::clamp(selected, 0, last)));
    }
}

void AbsentEditor::TakeOutOne() {
    const int row = m_list->indexOfTopLevelItem(m_list->currentItem());
    if (row >= 0) {
        TakeOut(*m_view, m_places[static_cast<std::size_t>(row)]);
        Fill(row);
        m_onTakenOut();
    }
}

void AbsentEditor::TakeOutAll() {
    std::for_each(m_places.rbegin(), m_places.rend(), [this](int place) { TakeOut(*m_view, place); });
    Fill(0);
    m_onTakenOut();
}

// Delete takes one out.
bool AbsentEditor::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_list && event->type() == QEvent::KeyPress &&
        static_cast<const QKeyEvent*>(event)->key() == Qt::Key_Delete) {
        TakeOutOne();
        return true;
    }
    return QWidget::eventFilter(watched, event);
}

}  // namespace kvmon
