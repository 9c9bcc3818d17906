#include "console/views/views_dialog.h"

#include <QtCore/QScopedValueRollback>
#include <QtGui/QKeyEvent>
#include <QtWidgets/QAbstractItemDelegate>
#include <QtWidgets/QDialogButtonBox>
#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QTreeWidget>
#include <QtWidgets/QVBoxLayout>
#include <algorithm>

#include "console/dialogs/dialog_parts.h"
#include "console/dialogs/empty_hint.h"
#include "console/dialogs/message_box.h"
#include "console/ports/desk.h"
#include "console/settings/fill_pattern.h"
#include "console/views/absent_editor.h"
#include "console/views/sequence_editor.h"
#include "console/views/view_file.h"
#include "console/views/view_list.h"
#include "console/views/view_switch.h"
#include "persist/string_table.h"
#include "skin/window_base.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kStrTitle = 7100;
constexpr std::uint32_t kStrSave = 7103;
constexpr std::uint32_t kStrNewSequence = 7104;
constexpr std::uint32_t kStrImport = 7105;
constexpr std::uint32_t kStrExport = 7106;
constexpr std::uint32_t kStrSequence = 7109;
constexpr std::uint32_t kStrTooMany = 7116;
constexpr std::uint32_t kStrView = 7119;
constexpr std::uint32_t kStrName = 6130;
constexpr std::uint32_t kStrEmpty = 7446;
constexpr std::uint32_t kStrStop = 7453;
constexpr std::uint32_t kStrRename = 6406;
constexpr std::uint32_t kStrDelete = 6407;
constexpr std::uint32_t kStrUp = 3515;
constexpr std::uint32_t kStrDown = 3516;
constexpr int kListRows = 8;

}  // namespace

ViewsDialog::ViewsDialog(std::vector<NamedView> views, std::optional<NamedView> present,
                         std::optional<std::vector<ViewCamera>> there, QWidget* parent)
    : QDialog(parent), m_views(std::move(views)), m_present(std::move(present)) {
    setObjectName(QStringLiteral("viewsDialog"));
    setWindowTitle(Text(kStrTitle));
    MakeList();
    auto* const side = new QVBoxLayout;
    m_save = AddButton("save", kStrSave, &ViewsDialog::SavePresent);
    m_newSequence = AddButton("newSequence", kStrNewSequence, &ViewsDialog::NewSequence);
    m_rename = AddButton("rename", kStrRename, &ViewsDialog::Rename);
    m_delete = AddButton("delete", kStrDelete, &ViewsDialog::Delete);
    m_up = AddButton("up", kStrUp, &ViewsDialog::MoveUp);
    m_down = AddButton("down", kStrDown, &ViewsDialog::MoveDown);
    m_import = AddButton("import", kStrImport, &ViewsDialog::Import);
    m_export = AddButton("export", kStrExport, &ViewsDialog::Export);
    for (QPushButton* const button :
         {m_save, m_newSequence, m_rename, m_delete, m_up, m_down, m_import, m_export}) {
        side->addWidget(button);
    }
    side->addStretch();
    auto* const left = new QVBoxLayout;
    left->addWidget(m_list, 1);
    m_steps = new SequenceEditor(this, [this] { OnStepCount(); });
    m_absent = new AbsentEditor(this, std::move(there), [this] { OnTakenOut(); });
    left->addWidget(m_steps);
    left->addWidget(m_absent);
    auto* const middle = new QHBoxLayout;
    middle->addLayout(left, 1);
    middle->addLayout(side);
    m_message = MakeMessageLabel(this, 1);
    m_message->setObjectName(QStringLiteral("message"));
    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(16, 16, 16, 14);
    layout->setSpacing(12);
    layout->addLayout(middle);
    m_stop = AddButton("stop", kStrStop, &ViewsDialog::StopFile);
    m_stop->hide();
    auto* const words = new QHBoxLayout;
    words->addWidget(m_message, 1);
    words->addWidget(m_stop);
    layout->addLayout(words);
    layout->addWidget(AddDialogButtons(*this));
    Fill(0);
}

QPushButton* ViewsDialog::AddButton(const char* name, std::uint32_t text, void (ViewsDialog::*slot)()) {
    auto* const button = new QPushButton(Text(text), this);
    button->setObjectName(QString(name));
    button->setAutoDefault(false);
    connect(button, &QPushButton::clicked, this, slot);
    return button;
}

void ViewsDialog::MakeList() {
    m_list = MakeViewsTree(this, "views", kStrName, kStrSequence, kListRows);
    m_list->setAccessibleName(Text(kStrTitle));
    m_hint = new EmptyHint(*m_list);
    m_list->setMinimumWidth(52 * LetterWidth(*m_list));
    m_list->installEventFilter(this);
    connect(m_list, &QTreeWidget::itemSelectionChanged, this, [this] {
        if (!m_bFilling) {
            FillPart();
            UpdateButtons();
        }
    });
    connect(m_list, &QTreeWidget::itemChanged, this, [this] { OnRenamed(); });
    connect(m_list->itemDelegate(), &QAbstractItemDelegate::closeEditor, this,
            [this] { m_bEditing = false; });
    connect(m_list, &QTreeWidget::itemDoubleClicked, this, [this] { OpenSelected(); });
}

int ViewsDialog::Selected() const {
    return m_list->selectedItems().isEmpty() ? -1
                                             : m_list->indexOfTopLevelItem(m_list->selectedItems().front());
}

NamedView* ViewsDialog::SelectedView() {
    const int row = Selected();
    return row >= 0 ? &m_views[static_cast<std::size_t>(row)] : nullptr;
}

NamedView* ViewsDialog::SelectedSequence() {
    NamedView* const view = SelectedView();
    return view != nullptr && view->IsSequence() ? view : nullptr;
}

std::vector<std::string> ViewsDialog::PlainNames() const {
    std::vector<std::string> names;
    for (const NamedView& view : m_views) {
        if (!view.IsSequence()) {
            names.push_back(view.name);
        }
    }
    return names;
}

void ViewsDialog::Fill(int selected) {
    {
        const QScopedValueRollback filling(m_bFilling, true);
        m_bEditing = false;
        m_list->clear();
        for (const NamedView& view : m_views) {
            auto* const item = new QTreeWidgetItem(
                {QString::fromStdString(view.name),
                 view.IsSequence() ? QString::number(static_cast<int>(view.steps.size())) : QString()});
            item->setFlags(item->flags() | Qt::ItemIsEditable);
            m_list->addTopLevelItem(item);
        }
        const int last = static_cast<int>(m_views.size()) - 1;
        if (last >= 0) {
            m_list->setCurrentItem(m_list->topLevelItem(std::clamp(selected, 0, last)));
        }
    }
    FillPart();
    UpdateButtons();
}

// The steps of a sequence, or the cameras of a view that are not there.
void ViewsDialog::FillPart() {
    NamedView* const sequence = SelectedSequence();
    m_steps->Show(sequence != nullptr ? &sequence->steps : nullptr, PlainNames());
    m_absent->Show(sequence != nullptr ? nullptr : SelectedView());
    ShowPart();
}

void ViewsDialog::ShowPart() {
    m_steps->setVisible(m_absent->IsEmpty());
    m_absent->setVisible(!m_absent->IsEmpty());
}

void ViewsDialog::OnTakenOut() {
    if (m_absent->IsEmpty()) {
        m_list->setFocus();
        ShowPart();
    }
}

void ViewsDialog::OnStepCount() {
    if (const NamedView* const sequence = SelectedSequence()) {
        const QScopedValueRollback filling(m_bFilling, true);
        m_list->topLevelItem(Selected())->setText(1, QString::number(sequence->steps.size()));
    }
}

void ViewsDialog::UpdateButtons() {
    const int row = Selected();
    const int last = static_cast<int>(m_views.size()) - 1;
    m_hint->Say(last >= 0
                    ? QString()
                    : QString::fromStdString(FillPattern(LoadString(kStrEmpty), {LoadString(kStrSave)})));
    m_save->setEnabled(m_present.has_value());
    m_newSequence->setEnabled(!PlainNames().empty());
    m_rename->setEnabled(row >= 0);
    m_delete->setEnabled(row >= 0);
    m_up->setEnabled(row > 0);
    m_down->setEnabled(row >= 0 && row < last);
    m_export->setEnabled(last >= 0);
}

void ViewsDialog::Tell(std::uint32_t text, const std::string& value) {
    m_message->setText(QString::fromStdString(text != 0 ? FillPattern(LoadString(text), {value}) : ""));
}

// --- the list

void ViewsDialog::Append(NamedView view) {
    if (m_views.size() >= kMaxViews) {
        Tell(kStrTooMany, std::to_string(kMaxViews));
        return;
    }
    Tell(0);
    m_views.push_back(std::move(view));
    Fill(static_cast<int>(m_views.size()) - 1);
    Rename();
}

void ViewsDialog::SavePresent() {
    if (m_present) {
        NamedView view = *m_present;
        view.name = FreeViewName(m_views, LoadString(kStrView) + " " + std::to_string(m_views.size() + 1));
        Append(std::move(view));
    }
}

// Begins with all views that there are.
void ViewsDialog::NewSequence() {
    NamedView sequence;
    sequence.name = FreeViewName(m_views, LoadString(kStrSequence));
    for (const std::string& name : PlainNames()) {
        sequence.steps.push_back({name});
    }
    Append(std::move(sequence));
}

void ViewsDialog::Rename() {
    if (QTreeWidgetItem* const item = m_list->currentItem()) {
        m_list->setFocus();
        m_bEditing = true;
        m_list->editItem(item, 0);
    }
}

// A name that is none leaves the old one; one that is taken gets a number.
void ViewsDialog::OnRenamed() {
    const int row = Selected();
    if (m_bFilling || row < 0) {
        return;
    }
    NamedView& view = m_views[static_cast<std::size_t>(row)];
    const std::string before = view.name;
    const std::string name = CleanViewName(m_list->topLevelItem(row)->text(0).toStdString());
    if (!name.empty() && name != before) {
        view.name.clear();
        view.name = FreeViewName(m_views, name);
        for (NamedView& each : m_views) {
            for (ViewStep& step : each.steps) {
                step.view = step.view == before ? view.name : step.view;
            }
        }
    }
    const QScopedValueRollback filling(m_bFilling, true);
    m_list->topLevelItem(row)->setText(0, QString::fromStdString(view.name));
}

void ViewsDialog::Delete() {
    const int row = Selected();
    if (row >= 0) {
        m_views.erase(m_views.begin() + row);
        Fill(row);
    }
}

void ViewsDialog::Move(int by) {
    const int row = Selected();
    const int to = row + by;
    if (row >= 0 && to >= 0 && to < static_cast<int>(m_views.size())) {
        std::swap(m_views[static_cast<std::size_t>(row)], m_views[static_cast<std::size_t>(to)]);
        Fill(to);
    }
}

void ViewsDialog::OpenSelected() {
    if (Selected() >= 0) {
        m_toOpen = m_views[static_cast<std::size_t>(Selected())].name;
        accept();
    }
}

// In the list, Enter opens a view, F2 renames one, Delete removes one, Ctrl with an arrow moves one.
bool ViewsDialog::eventFilter(QObject* watched, QEvent* event) {
    if (watched != m_list || event->type() != QEvent::KeyPress) {
        return QDialog::eventFilter(watched, event);
    }
    const auto& key = *static_cast<QKeyEvent*>(event);
    const bool bMove = key.modifiers().testFlag(Qt::ControlModifier);
    switch (key.key()) {
        case Qt::Key_Return:
        case Qt::Key_Enter:
            if (!m_bEditing) {  // else it ends the name, and comes here, too
                OpenSelected();
            }
            return true;
        case Qt::Key_F2:
            Rename();
            return true;
        case Qt::Key_Delete:
            Delete();
            return true;
        case Qt::Key_Up:
        case Qt::Key_Down:
            if (bMove) {
                Move(key.key() == Qt::Key_Up ? -1 : 1);
            }
            return bMove;
        default:
            return false;
    }
}

namespace {

// What the wall of another display has saved while the dialog was open stays.
std::vector<NamedView> WithSavedMeanwhile(std::vector<NamedView> edited, const std::vector<NamedView>& before,
                                          const std::vector<NamedView>& now) {
    const auto has = [](const std::vector<NamedView>& views, const std::string& name) {
        return std::any_of(views.begin(), views.end(),
                           [&name](const NamedView& view) { return view.name == name; });
    };
    for (const NamedView& view : now) {
        if (edited.size() < kMaxViews && !has(before, view.name) && !has(edited, view.name)) {
            edited.push_back(view);
        }
    }
    return edited;
}

}  // namespace

void OpenViewsDialog(Desk& desk, ViewSwitch& views) {
    auto* const dialog =
        new ViewsDialog(views.List().All(), views.Capture({}), views.CamerasThere(), desk.DialogHost());
    QObject::connect(dialog, &QDialog::accepted, &desk.Window(),
                     [&views, dialog, before = views.List().All()] {
                         views.Change(WithSavedMeanwhile(dialog->Views(), before, views.List().All()));
                         if (!dialog->ToOpen().empty()) {
                             views.Open(dialog->ToOpen());
                         }
                     });
    OpenDialog(dialog);
}

}  // namespace kvmon
