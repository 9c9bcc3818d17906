#include "console/dialogs/recorder_entry_dialog.h"

#include <QtWidgets/QDialogButtonBox>
#include <QtWidgets/QFormLayout>
#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QSpinBox>

#include "console/dialogs/dialog_parts.h"
#include "console/dialogs/recorder_trial.h"
#include "console/settings/fill_pattern.h"
#include "console/settings/recorder_entry.h"
#include "persist/string_table.h"
#include "skin/picture_ex.h"

namespace kvmon {

RecorderEntryDialog::RecorderEntryDialog(const SavedServer& entry, std::vector<SavedServer> others,
                                         EntryUse use, QWidget* parent, Milliseconds trialTime)
    : QDialog(parent),
      m_start(entry),
      m_others(std::move(others)),
      m_trial(std::make_unique<RecorderTrial>(
          trialTime, [this](const RecorderTestReport& report) { OnTried(report); })) {
    setObjectName(QStringLiteral("recorderDialog"));
    setWindowTitle(Text(use == EntryUse::Add ? 6138 : 6139));

    m_name = new QLineEdit(QString::fromStdString(entry.nameGiven ? entry.name : std::string()), this);
    m_name->setPlaceholderText(entry.name.empty() ? Text(6147) : QString::fromStdString(entry.name));
    m_address = new QLineEdit(QString::fromStdString(entry.address), this);
    m_port = new QSpinBox(this);
    m_port->setRange(1, 65535);
    m_port->setValue(static_cast<int>(entry.port));
    m_user = new QLineEdit(QString::fromStdString(entry.user), this);
    m_password = new QLineEdit(QString::fromStdString(entry.password), this);
    m_password->setEchoMode(QLineEdit::Password);
    m_test = new QPushButton(Text(6145), this);
    m_test->setObjectName(QStringLiteral("test"));
    m_message = MakeMessageLabel(this, 2);
    m_message->setObjectName(QStringLiteral("message"));

    auto* const form = new QFormLayout(this);
    form->setContentsMargins(20, 18, 20, 16);
    form->setVerticalSpacing(10);
    form->setHorizontalSpacing(14);
    form->setFieldGrowthPolicy(QFormLayout::ExpandingFieldsGrow);
    const struct {
        QWidget* field;
        const char* name;
        std::uint32_t label;
    } rows[] = {{m_name, "name", 6140},
                {m_address, "address", 6141},
                {m_port, "port", 6142},
                {m_user, "user", 6143},
                {m_password, "password", 6144}};
    for (const auto& row : rows) {
        row.field->setObjectName(QString(row.name));
        row.field->setAccessibleName(Text(row.label));
        form->addRow(Text(row.label), row.field);
    }
    m_address->setMinimumWidth(LetterWidth(*m_address) * 34);
    auto* const line = new QHBoxLayout;
    m_turning = new CPictureEx(this);
    QSizePolicy place = m_turning->sizePolicy();
    place.setRetainSizeWhenHidden(true);
    m_turning->setSizePolicy(place);
    m_turning->hide();
    line->addWidget(m_test);
    line->addWidget(m_turning);
    line->addStretch();
    form->addRow(QString(), line);
    form->addRow(m_message);
    form->addRow(AddDialogButtons(*this));
    connect(m_test, &QPushButton::clicked, this, &RecorderEntryDialog::Trial);
    (use == EntryUse::Add ? m_address : m_name)->setFocus();
}

RecorderEntryDialog::~RecorderEntryDialog() = default;

SavedServer RecorderEntryDialog::GetEntry() const {
    SavedServer entry;
    entry.address = m_address->text().trimmed().toStdString();
    entry.port = static_cast<std::uint32_t>(m_port->value());
    entry.user = m_user->text().toStdString();
    entry.password = m_password->text().toStdString();
    // The result of a try counts only for the address that was tried.
    for (const SavedServer* const known : {&m_start, &m_tried}) {
        if (known->channelCount != 0 && IsSameLogin(*known, entry)) {
            entry.channelCount = known->channelCount;
            entry.name = known->nameGiven ? std::string() : known->name;
        }
    }
    const std::string given = m_name->text().trimmed().toStdString();
    if (!given.empty()) {
        entry.name = given;
        entry.nameGiven = true;
    }
    return entry;
}

void RecorderEntryDialog::Say(const std::string& text) {
    m_message->setText(QString::fromStdString(text));
    m_message->setAccessibleName(m_message->text());
}

bool RecorderEntryDialog::SayFault() {
    const std::string fault = FindEntryFault(GetEntry(), m_others);
    if (!fault.empty()) {
        Say(fault);
    }
    return !fault.empty();
}

void RecorderEntryDialog::accept() {
    m_port->interpretText();
    if (!SayFault()) {
        m_trial->Stop();
        QDialog::accept();
    }
}

void RecorderEntryDialog::Trial() {
    if (m_trial->IsRunning()) {
        m_trial->Stop();
        EndTrial(LoadString(6158));
        return;
    }
    m_port->interpretText();
    const SavedServer entry = GetEntry();
    if (SayFault() || !m_trial->Start(entry)) {
        return;
    }
    m_tried = entry;
    m_tried.channelCount = 0;
    m_tried.nameGiven = false;
    m_test->setText(Text(6146));
    m_turning->Draw();
    m_turning->show();
    Say(FillPattern(LoadString(6150), {entry.address, std::to_string(entry.port)}));
}

void RecorderEntryDialog::OnTried(const RecorderTestReport& report) {
    if (report.result == RecorderTestResult::Works) {
        m_tried.name = report.name;
        m_tried.channelCount = static_cast<std::uint32_t>(report.channels);
    }
    EndTrial(RecorderTestText(report));
}

void RecorderEntryDialog::EndTrial(const std::string& text) {
    m_test->setText(Text(6145));
    m_turning->Stop();
    m_turning->hide();
    Say(text);
}

}  // namespace kvmon
