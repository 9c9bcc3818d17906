#include "console/views/sequence_editor.h"

#include <QtCore/QScopedValueRollback>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QHeaderView>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QSpinBox>
#include <QtWidgets/QTreeWidget>
#include <QtWidgets/QVBoxLayout>
#include <algorithm>

#include "console/dialogs/dialog_parts.h"
#include "skin/window_base.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kStrEditedSequence = 7109;
constexpr std::uint32_t kStrSeconds = 7118;
constexpr std::uint32_t kStrStepView = 7119;
constexpr std::uint32_t kStrAdd = 6135;
constexpr std::uint32_t kStrRemove = 6137;
constexpr int kStepRows = 4;

}  // namespace

QTreeWidget* MakeViewsTree(QWidget* parent, const char* name, std::uint32_t first, std::uint32_t second,
                           int rows) {
    auto* const tree = new QTreeWidget(parent);
    tree->setObjectName(QString(name));
    tree->setHeaderLabels({Text(first), Text(second)});
    tree->setRootIsDecorated(false);
    tree->setUniformRowHeights(true);
    tree->setSelectionMode(QAbstractItemView::SingleSelection);
    tree->setEditTriggers(QAbstractItemView::NoEditTriggers);
    tree->setMinimumHeight((rows + 1) * (tree->fontMetrics().height() + 8));
    tree->header()->setSectionsMovable(false);
    tree->header()->setStretchLastSection(false);
    tree->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    tree->header()->setSectionResizeMode(1, QHeaderView::ResizeToContents);
    return tree;
}

SequenceEditor::SequenceEditor(QWidget* parent, std::function<void()> onCountChanged)
    : QWidget(parent),
      m_onCountChanged(std::move(onCountChanged)),
      m_list(MakeViewsTree(this, "steps", kStrStepView, kStrSeconds, kStepRows)),
      m_view(new QComboBox(this)),
      m_seconds(new QSpinBox(this)) {
    m_list->setAccessibleName(Text(kStrEditedSequence));
    m_view->setObjectName(QStringLiteral("stepView"));
    m_view->setAccessibleName(Text(kStrStepView));
    m_seconds->setObjectName(QStringLiteral("stepSeconds"));
    m_seconds->setAccessibleName(Text(kStrSeconds));
    m_seconds->setRange(kMinStepSeconds, kMaxStepSeconds);
    m_add = AddButton("addStep", kStrAdd, &SequenceEditor::AddStep);
    m_remove = AddButton("removeStep", kStrRemove, &SequenceEditor::RemoveStep);
    connect(m_list, &QTreeWidget::itemSelectionChanged, this, [this] {
        if (!m_bFilling) {
            Fill(Selected());
        }
    });
    connect(m_view, &QComboBox::activated, this, [this] { OnEdited(); });
    connect(m_seconds, &QSpinBox::valueChanged, this, [this] { OnEdited(); });
    auto* const row = new QHBoxLayout;
    row->addWidget(m_view, 1);
    row->addWidget(m_seconds);
    row->addWidget(m_add);
    row->addWidget(m_remove);
    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_list);
    layout->addLayout(row);
}

QPushButton* SequenceEditor::AddButton(const char* name, std::uint32_t text, void (SequenceEditor::*slot)()) {
    auto* const button = new QPushButton(Text(text), this);
    button->setObjectName(QString(name));
    button->setAutoDefault(false);
    connect(button, &QPushButton::clicked, this, slot);
    return button;
}

void SequenceEditor::Show(std::vector<ViewStep>* steps, std::vector<std::string> views) {
    m_steps = steps;
    m_views = std::move(views);
    Fill(0);
}

int SequenceEditor::Selected() const {
    return m_list->selectedItems().isEmpty() ? -1
                                             : m_list->indexOfTopLevelItem(m_list->selectedItems().front());
}

void SequenceEditor::Fill(int selected) {
    const QScopedValueRollback filling(m_bFilling, true);
    m_list->clear();
    m_view->clear();
    setEnabled(m_steps != nullptr);
    if (m_steps == nullptr) {
        return;
    }
    for (const ViewStep& step : *m_steps) {
        m_list->addTopLevelItem(
            new QTreeWidgetItem({QString::fromStdString(step.view), QString::number(step.seconds)}));
    }
    const auto row = static_cast<std::size_t>(std::clamp(selected, 0, static_cast<int>(m_steps->size()) - 1));
    m_list->setCurrentItem(m_list->topLevelItem(static_cast<int>(row)));
    for (const std::string& name : m_views) {
        m_view->addItem(QString::fromStdString(name));
    }
    m_view->setCurrentIndex(m_view->findText(QString::fromStdString((*m_steps)[row].view)));
    m_seconds->setValue((*m_steps)[row].seconds);
    m_add->setEnabled(m_steps->size() < kMaxViewSteps && !m_views.empty());
    m_remove->setEnabled(m_steps->size() > 1);
}

void SequenceEditor::AddStep() {
    if (m_steps != nullptr && !m_views.empty()) {
        m_steps->push_back(
            {m_view->currentIndex() >= 0 ? m_view->currentText().toStdString() : m_views.front(),
             m_seconds->value()});
        Fill(static_cast<int>(m_steps->size()) - 1);
        m_onCountChanged();
    }
}

void SequenceEditor::RemoveStep() {
    const int row = Selected();
    if (m_steps != nullptr && row >= 0 && m_steps->size() > 1) {
        m_steps->erase(m_steps->begin() + row);
        Fill(row);
        m_onCountChanged();
    }
}

void SequenceEditor::OnEdited() {
    const int row = Selected();
    if (m_bFilling || m_steps == nullptr || row < 0) {
        return;
    }
    ViewStep& step = (*m_steps)[static_cast<std::size_t>(row)];
    if (m_view->currentIndex() >= 0) {
        step.view = m_view->currentText().toStdString();
    }
    step.seconds = m_seconds->value();
    m_list->topLevelItem(row)->setText(0, QString::fromStdString(step.view));
    m_list->topLevelItem(row)->setText(1, QString::number(step.seconds));
}

}  // namespace kvmon
