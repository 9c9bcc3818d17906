#include "console/dialogs/recorder_list_dialog.h"

#include <QtGui/QKeyEvent>
#include <QtWidgets/QDialogButtonBox>
#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QHeaderView>
#include <QtWidgets/QLabel>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QTableWidget>
#include <QtWidgets/QVBoxLayout>
#include <algorithm>

#include "console/dialogs/dialog_parts.h"
#include "console/dialogs/empty_hint.h"
#include "console/dialogs/message_box.h"
#include "console/dialogs/recorder_entry_dialog.h"
#include "console/settings/fill_pattern.h"
#include "console/settings/recorder_entry.h"
#include "persist/string_table.h"

namespace kvmon {

namespace {

// Columns: title, and the characters that there is room for at the least.
constexpr struct {
    std::uint32_t title;
    int characters;
} kColumns[] = {{6130, 18}, {6131, 22}, {6132, 12}, {6133, 8}};
constexpr int kVisibleRows = 8;
constexpr int kColumnGap = 12;
constexpr int kWidestTable = 100;  // characters; longer rows are scrolled

std::string TitleOf(const SavedServer& server) {
    return server.name.empty() ? PlaceText(server) : server.name;
}

}  // namespace

RecorderListDialog::RecorderListDialog(std::vector<SavedServer> servers, QWidget* parent)
    : QDialog(parent), m_servers(std::move(servers)), m_table(new QTableWidget(this)) {
    setObjectName(QStringLiteral("recordersDialog"));
    setWindowTitle(Text(6124));
    MakeTable();
    QLabel* const label = MakeMessageLabel(this, 1);
    label->setText(QString::fromStdString(
        FillPattern(LoadString(6134), {m_servers.empty() ? std::string() : TitleOf(m_servers.front())})));
    m_table->setAccessibleName(label->text());

    const auto add = [this](const char* name, std::uint32_t text, void (RecorderListDialog::*slot)()) {
        auto* const button = new QPushButton(Text(text), this);
        button->setObjectName(QString(name));
        connect(button, &QPushButton::clicked, this, slot);
        return button;
    };
    m_add = add("add", 6135, &RecorderListDialog::Add);
    m_change = add("change", 6136, &RecorderListDialog::Change);
    m_remove = add("remove", 6137, &RecorderListDialog::Remove);
    auto* const side = new QVBoxLayout;
    for (QPushButton* const button : {m_add, m_change, m_remove}) {
        side->addWidget(button);
    }
    side->addStretch();
    auto* const middle = new QHBoxLayout;
    middle->addWidget(m_table, 1);
    middle->addLayout(side);
    m_buttons = AddDialogButtons(*this);
    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(16, 16, 16, 14);
    layout->setSpacing(12);
    layout->addWidget(label);
    layout->addLayout(middle);
    layout->addWidget(m_buttons);
    Fill(0);
    if (m_servers.size() < 2) {
        m_add->setFocus();
    }
}

void RecorderListDialog::MakeTable() {
    m_table->setObjectName(QStringLiteral("recorders"));
    m_hint = new EmptyHint(*m_table);
    m_table->setColumnCount(static_cast<int>(std::size(kColumns)));
    QStringList titles;
    for (const auto& column : kColumns) {
        titles << Text(column.title);
    }
    m_table->setHorizontalHeaderLabels(titles);
    m_table->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_table->setSelectionMode(QAbstractItemView::SingleSelection);
    m_table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_table->setTabKeyNavigation(false);  // Tab goes on to the buttons
    m_table->setWordWrap(false);
    m_table->setShowGrid(false);
    m_table->verticalHeader()->hide();
    m_table->horizontalHeader()->setHighlightSections(false);
    m_table->horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    m_table->setMinimumHeight(m_table->verticalHeader()->defaultSectionSize() * kVisibleRows);
    m_table->installEventFilter(this);
    connect(m_table, &QTableWidget::itemSelectionChanged, this, &RecorderListDialog::OnSelection);
    connect(m_table, &QTableWidget::cellDoubleClicked, this, &RecorderListDialog::Change);
}

void RecorderListDialog::Fill(int selected) {
    const int rows = std::max(static_cast<int>(m_servers.size()) - 1, 0);
    m_table->setRowCount(rows);
    m_hint->Say(rows > 0 ? QString()
                         : QString::fromStdString(FillPattern(LoadString(7445), {LoadString(6135)})));
    for (int row = 0; row < rows; ++row) {
        const SavedServer& server = m_servers[static_cast<std::size_t>(row) + 1];
        const std::string texts[] = {server.name, PlaceText(server), server.user,
                                     server.channelCount != 0 ? std::to_string(server.channelCount) : ""};
        for (int column = 0; column < static_cast<int>(std::size(texts)); ++column) {
            m_table->setItem(row, column, new QTableWidgetItem(QString::fromStdString(texts[column])));
        }
    }
    m_table->ensurePolished();  // measured in the font that is shown
    m_table->horizontalHeader()->setSectionResizeMode(QHeaderView::Interactive);
    m_table->resizeColumnsToContents();
    int width = 2 * m_table->frameWidth() + style()->pixelMetric(QStyle::PM_ScrollBarExtent);
    for (int column = 0; column < static_cast<int>(std::size(kColumns)); ++column) {
        const int least = kColumns[column].characters * m_table->fontMetrics().averageCharWidth();
        m_table->setColumnWidth(column, std::max(m_table->columnWidth(column) + kColumnGap, least));
        width += m_table->columnWidth(column);
    }
    const int widest = kWidestTable * m_table->fontMetrics().averageCharWidth();
    m_table->setMinimumWidth(std::min(width, widest));
    if (width <= widest) {
        m_table->horizontalHeader()->setSectionResizeMode(0, QHeaderView::Stretch);
    }
    if (rows > 0) {
        m_table->selectRow(std::clamp(selected, 0, rows - 1));
    }
    m_buttons->button(QDialogButtonBox::Ok)->setEnabled(m_bChanged);
    OnSelection();
}

std::vector<SavedServer> RecorderListDialog::GetServers() const {
    return m_servers.empty() ? m_servers : std::vector<SavedServer>(m_servers.begin() + 1, m_servers.end());
}

int RecorderListDialog::Selected() const {
    return m_table->selectedItems().isEmpty() ? -1 : m_table->currentRow();
}

void RecorderListDialog::OnSelection() {
    m_change->setEnabled(Selected() >= 0);
    m_remove->setEnabled(Selected() >= 0);
    const bool bFull = static_cast<int>(m_servers.size()) >= kMaxServers;
    m_add->setEnabled(!bFull);
    m_add->setToolTip(
        bFull ? QString::fromStdString(FillPattern(LoadString(6167), {std::to_string(kMaxServers)}))
              : QString());
}

// In the list, Enter changes an entry, Insert adds one and Delete removes one.
bool RecorderListDialog::eventFilter(QObject* watched, QEvent* event) {
    if (watched != m_table || event->type() != QEvent::KeyPress) {
        return QDialog::eventFilter(watched, event);
    }
    QPushButton* button = nullptr;
    switch (static_cast<QKeyEvent*>(event)->key()) {
        case Qt::Key_Return:
        case Qt::Key_Enter:
            button = m_change;
            break;
        case Qt::Key_Insert:
            button = m_add;
            break;
        case Qt::Key_Delete:
            button = m_remove;
            break;
        default:
            return false;
    }
    if (!button->isEnabled()) {
        return false;
    }
    button->click();
    return true;
}

void RecorderListDialog::Add() {
    SavedServer entry;
    if (!m_servers.empty()) {
        entry.user = m_servers.front().user;  // most sites have one account for all
    }
    OpenEntry(entry, static_cast<int>(m_servers.size()));
}

void RecorderListDialog::Change() {
    if (Selected() >= 0) {
        OpenEntry(m_servers[static_cast<std::size_t>(Selected()) + 1], Selected() + 1);
    }
}

void RecorderListDialog::Remove() {
    const int row = Selected();
    if (row < 0) {
        return;
    }
    m_servers.erase(m_servers.begin() + row + 1);
    m_bChanged = true;
    Fill(row);
}

void RecorderListDialog::OpenEntry(const SavedServer& entry, int index) {
    const bool bNew = index == static_cast<int>(m_servers.size());
    std::vector<SavedServer> others = m_servers;
    if (!bNew) {
        others.erase(others.begin() + index);
    }
    auto* const dialog =
        new RecorderEntryDialog(entry, std::move(others), bNew ? EntryUse::Add : EntryUse::Change, this);
    connect(dialog, &QDialog::accepted, this, [this, dialog, index, bNew] {
        if (bNew) {
            m_servers.push_back(dialog->GetEntry());
        } else {
            m_servers[static_cast<std::size_t>(index)] = dialog->GetEntry();
        }
        m_bChanged = true;
        Fill(index - 1);
        m_table->setFocus();
    });
    OpenDialog(dialog);
}

}  // namespace kvmon
