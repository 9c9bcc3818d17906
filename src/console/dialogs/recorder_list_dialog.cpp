#include "console/dialogs/recorder_list_dialog.h"

#include <QtWidgets/QDialogButtonBox>
#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QHeaderView>
#include <QtWidgets/QLabel>
#include <QtWidgets/QProgressBar>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QTableWidget>
#include <QtWidgets/QVBoxLayout>
#include <algorithm>

#include "console/dialogs/dialog_parts.h"
#include "console/dialogs/empty_hint.h"
#include "console/dialogs/list_keys.h"
#include "console/dialogs/message_box.h"
#include "console/dialogs/recorder_entry_dialog.h"
#include "console/settings/fill_pattern.h"
#include "console/settings/recorder_entry.h"
#include "persist/plural.h"
#include "persist/string_table.h"
#include "skin/plain_text.h"

namespace kvmon {

namespace {

// Columns: title, and the characters that there is room for at the least.
constexpr struct {
    std::uint32_t title;
    int characters;
} kColumns[] = {{6130, 18}, {6131, 22}, {6132, 12}, {6133, 8}, {7503, 14}};
constexpr int kStateColumn = 4;
constexpr int kStateCharacters = 26;  // what is longer stands in the tool tip
constexpr int kProgressHeight = 6;

constexpr std::uint32_t kStrStopTest = 6146;
constexpr std::uint32_t kStrTestStopped = 6158;
constexpr std::uint32_t kStrTestAll = 7620;
constexpr std::uint32_t kStrTested = 7621;
constexpr int kVisibleRows = 8;
constexpr int kColumnGap = 12;
constexpr int kWidestTable = 100;  // characters, and pixels that a small screen has; longer rows are scrolled
constexpr int kWidestPixels = 780;

std::string TitleOf(const SavedServer& server) {
    return server.name.empty() ? PlaceText(server) : server.name;
}

}  // namespace

RecorderListDialog::RecorderListDialog(const std::vector<SavedServer>& servers, QWidget* parent,
                                       Milliseconds trialTime)
    : QDialog(parent),
      m_first(servers.empty() ? std::nullopt : std::optional(servers.front())),
      m_servers(servers.empty() ? servers : std::vector(servers.begin() + 1, servers.end())),
      m_states(m_servers.size()),
      m_table(new QTableWidget(this)),
      m_trials(trialTime,
               [this](std::size_t row, const RecorderTestReport& report) { OnTested(row, report); }) {
    setObjectName(QStringLiteral("recordersDialog"));
    setWindowTitle(Text(6124));
    MakeTable();
    QLabel* const label = MakeMessageLabel(this, 1);
    label->setVisible(m_first.has_value());
    if (m_first) {
        label->setText(QString::fromStdString(FillPattern(LoadString(6134), {TitleOf(*m_first)})));
    }
    m_table->setAccessibleName(m_first ? label->text() : windowTitle());

    const auto add = [this](const char* name, std::uint32_t text, void (RecorderListDialog::*slot)()) {
        auto* const button = new QPushButton(Text(text), this);
        button->setObjectName(QString(name));
        connect(button, &QPushButton::clicked, this, slot);
        return button;
    };
    m_add = add("add", 6135, &RecorderListDialog::Add);
    m_change = add("change", 6136, &RecorderListDialog::Change);
    m_remove = add("remove", 6137, &RecorderListDialog::Remove);
    m_test = add("test", kStrTestAll, &RecorderListDialog::Test);
    // So wide as both of its words, that nothing moves.
    m_test->setText(Text(kStrStopTest));
    const int stopWidth = m_test->sizeHint().width();
    m_test->setText(Text(kStrTestAll));
    m_test->setMinimumWidth(std::max(stopWidth, m_test->sizeHint().width()));
    new ListKeys(*m_table, {m_add, m_change, m_remove});
    auto* const side = new QVBoxLayout;
    for (QPushButton* const button : {m_add, m_change, m_remove, m_test}) {
        side->addWidget(button);
    }
    side->addStretch();
    auto* const middle = new QHBoxLayout;
    middle->addWidget(m_table, 1);
    middle->addLayout(side);
    m_progress = new QProgressBar(this);
    m_progress->setObjectName(QStringLiteral("progress"));
    m_progress->setAccessibleName(Text(kStrTestAll));
    m_progress->setTextVisible(false);
    m_progress->setFixedHeight(kProgressHeight);
    QSizePolicy place = m_progress->sizePolicy();
    place.setRetainSizeWhenHidden(true);
    m_progress->setSizePolicy(place);
    m_progress->hide();
    m_message = MakeMessageLabel(this, 1);
    m_message->setObjectName(QStringLiteral("message"));
    m_buttons = AddDialogButtons(*this);
    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(16, 16, 16, 14);
    layout->setSpacing(12);
    layout->addWidget(label);
    layout->addLayout(middle);
    layout->addWidget(m_progress);
    layout->addWidget(m_message);
    layout->addWidget(m_buttons);
    Fill(0);
    if (m_servers.empty()) {
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
    connect(m_table, &QTableWidget::itemSelectionChanged, this, &RecorderListDialog::OnSelection);
    connect(m_table, &QTableWidget::cellDoubleClicked, this, &RecorderListDialog::Change);
}

void RecorderListDialog::Fill(int selected) {
    const auto rows = static_cast<int>(m_servers.size());
    m_table->setRowCount(rows);
    m_hint->Say(rows > 0 ? QString()
                         : QString::fromStdString(FillPattern(LoadString(7445), {LoadString(6135)})));
    for (int row = 0; row < rows; ++row) {
        const SavedServer& server = m_servers[static_cast<std::size_t>(row)];
        const std::string texts[] = {server.name, PlaceText(server), server.user,
                                     server.channelCount != 0 ? std::to_string(server.channelCount) : "",
                                     m_states[static_cast<std::size_t>(row)]};
        for (int column = 0; column < static_cast<int>(std::size(texts)); ++column) {
            m_table->setItem(row, column, new QTableWidgetItem(QString::fromStdString(texts[column])));
        }
        m_table->item(row, kStateColumn)->setToolTip(MarkupOf(texts[kStateColumn]));
    }
    m_table->ensurePolished();  // measured in the font that is shown
    m_table->horizontalHeader()->setSectionResizeMode(QHeaderView::Interactive);
    m_table->resizeColumnsToContents();
    int width = 2 * m_table->frameWidth() + style()->pixelMetric(QStyle::PM_ScrollBarExtent);
    for (int column = 0; column < static_cast<int>(std::size(kColumns)); ++column) {
        const int least = kColumns[column].characters * LetterWidth(*m_table);
        const int most = column == kStateColumn ? kStateCharacters * LetterWidth(*m_table)
                                                : m_table->columnWidth(column) + kColumnGap;
        m_table->setColumnWidth(column,
                                std::max(std::min(m_table->columnWidth(column) + kColumnGap, most), least));
        width += m_table->columnWidth(column);
    }
    const int widest = std::min(kWidestTable * LetterWidth(*m_table), kWidestPixels);
    m_table->setMinimumWidth(std::min(width, widest));
    if (width <= widest) {
        m_table->horizontalHeader()->setSectionResizeMode(0, QHeaderView::Stretch);
    }
    if (rows > 0) {
        m_table->selectRow(std::clamp(selected, 0, rows - 1));
    }
    m_buttons->button(QDialogButtonBox::Ok)->setEnabled(m_bChanged);
    m_test->setEnabled(rows > 0);
    OnSelection();
}

int RecorderListDialog::Selected() const {
    return m_table->selectedItems().isEmpty() ? -1 : m_table->currentRow();
}

void RecorderListDialog::OnSelection() {
    m_change->setEnabled(Selected() >= 0);
    m_remove->setEnabled(Selected() >= 0);
    const bool bFull = static_cast<int>(m_servers.size()) + (m_first ? 1 : 0) >= kMaxServers;
    m_add->setEnabled(!bFull);
    m_add->setToolTip(
        bFull ? QString::fromStdString(FillPattern(LoadString(6167), {std::to_string(kMaxServers)}))
              : QString());
}

void RecorderListDialog::Add() {
    SavedServer entry;
    if (m_first) {
        entry.user = m_first->user;  // most sites have one account for all
    }
    OpenEntry(entry, static_cast<int>(m_servers.size()));
}

void RecorderListDialog::Change() {
    if (Selected() >= 0) {
        OpenEntry(m_servers[static_cast<std::size_t>(Selected())], Selected());
    }
}

void RecorderListDialog::Remove() {
    const int row = Selected();
    if (row < 0) {
        return;
    }
    StopTest();
    m_servers.erase(m_servers.begin() + row);
    m_states.erase(m_states.begin() + row);
    m_bChanged = true;
    Fill(row);
}

// Stops while it runs.
void RecorderListDialog::Test() {
    if (StopTest()) {
        Say(LoadString(kStrTestStopped));
        return;
    }
    std::fill(m_states.begin(), m_states.end(), std::string());
    Fill(Selected());
    m_progress->setRange(0, static_cast<int>(m_servers.size()));
    m_progress->setValue(0);
    m_progress->show();
    m_test->setText(Text(kStrStopTest));
    SayTested(0, m_servers.size());
    m_trials.Start(m_servers);
}

// False when there was none.
bool RecorderListDialog::StopTest() {
    const bool bRan = m_trials.IsRunning();
    m_trials.Stop();
    m_progress->hide();
    m_test->setText(Text(kStrTestAll));
    Say({});
    return bRan;
}

void RecorderListDialog::OnTested(std::size_t row, const RecorderTestReport& report) {
    m_states[row] = RecorderTestText(report);
    QTableWidgetItem* const state = m_table->item(static_cast<int>(row), kStateColumn);
    state->setText(QString::fromStdString(m_states[row]));
    state->setToolTip(MarkupOf(m_states[row]));
    m_progress->setValue(static_cast<int>(m_trials.Done()));
    const std::size_t done = m_trials.Done();
    const std::size_t all = m_trials.All();
    if (!m_trials.IsRunning()) {
        StopTest();
    }
    SayTested(done, all);
}

void RecorderListDialog::SayTested(std::size_t done, std::size_t all) {
    Say(FillPattern(LoadPlural(kStrTested, all), {std::to_string(done), std::to_string(all)}));
}

void RecorderListDialog::Say(const std::string& text) {
    m_message->setText(QString::fromStdString(text));
    m_message->setAccessibleName(m_message->text());
}

void RecorderListDialog::OpenEntry(const SavedServer& entry, int index) {
    StopTest();
    const bool bNew = index == static_cast<int>(m_servers.size());
    std::vector<SavedServer> others = m_servers;
    if (!bNew) {
        others.erase(others.begin() + index);
    }
    if (m_first) {
        others.insert(others.begin(), *m_first);
    }
    auto* const dialog =
        new RecorderEntryDialog(entry, std::move(others), bNew ? EntryUse::Add : EntryUse::Change, this);
    connect(dialog, &QDialog::accepted, this, [this, dialog, index, bNew] {
        if (bNew) {
            m_servers.push_back(dialog->GetEntry());
            m_states.emplace_back();
        } else {
            m_servers[static_cast<std::size_t>(index)] = dialog->GetEntry();
            m_states[static_cast<std::size_t>(index)].clear();
        }
        m_bChanged = true;
        Fill(index);
        m_table->setFocus();
    });
    OpenDialog(dialog);
}

}  // namespace kvmon
