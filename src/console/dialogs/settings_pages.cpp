#include "console/dialogs/settings_pages.h"

#include <QtWidgets/QCheckBox>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QFileDialog>
#include <QtWidgets/QFormLayout>
#include <QtWidgets/QGroupBox>
#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QRadioButton>

#include "console/dialogs/dialog_parts.h"
#include "console/dialogs/message_box.h"
#include "console/settings/console_options.h"

namespace kvmon {

namespace {

// The name by which a control is found: the number of it.
void SetId(QWidget& control, int id) {
    control.setObjectName(QString::number(id));
}

QVBoxLayout* MakePageLayout(QWidget& page) {
    auto* const layout = new QVBoxLayout(&page);
    layout->setContentsMargins(16, 16, 16, 16);
    layout->setSpacing(10);
    return layout;
}

// A button as wide as its text asks, at the left.
QLayout* AtTheLeft(QWidget* control) {
    auto* const line = new QHBoxLayout;
    line->addWidget(control);
    line->addStretch();
    return line;
}

}  // namespace

QCheckBox* SettingsPage::AddCheck(int id, std::uint32_t text) {
    auto* const check = new QCheckBox(Text(text), this);
    SetId(*check, id);
    connect(check, &QCheckBox::toggled, this, m_changed);
    return check;
}

GeneralPage::GeneralPage(std::function<void()> changed, std::function<void()> resetOrder,
                         std::function<void()> openRecorders)
    : SettingsPage(std::move(changed)) {
    m_eventNotify = AddCheck(1503, 6101);
    m_toolbar = AddCheck(1509, 6102);
    m_look = new QComboBox(this);
    SetId(*m_look, 1630);
    m_look->setAccessibleName(Text(7350));
    m_look->addItems({Text(7351), Text(7352), Text(7353), Text(7354)});  // in the order of LookChoice
    m_look->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    connect(m_look, &QComboBox::currentIndexChanged, this, m_changed);
    m_reset = new QPushButton(Text(6103), this);
    SetId(*m_reset, 1609);
    connect(m_reset, &QPushButton::clicked, this, [this, resetOrder = std::move(resetOrder)] {
        m_reset->setEnabled(false);
        resetOrder();
    });
    auto* const recorders = new QPushButton(Text(6126), this);
    recorders->setObjectName(QStringLiteral("recorders"));
    connect(recorders, &QPushButton::clicked, this, std::move(openRecorders));

    auto* const layout = MakePageLayout(*this);
    layout->addWidget(m_eventNotify);
    layout->addWidget(m_toolbar);
    auto* const look = new QFormLayout;
    look->setHorizontalSpacing(14);
    look->addRow(Text(7350), AtTheLeft(m_look));
    layout->addLayout(look);
    layout->addSpacing(8);
    layout->addLayout(AtTheLeft(m_reset));
    layout->addLayout(AtTheLeft(recorders));
    layout->addStretch();
}

void GeneralPage::Show(const ConsoleOptions& options) {
    m_eventNotify->setChecked(options.bEnableEventNotify);
    m_toolbar->setChecked(options.bShowBrowserToolbar);
    m_look->setCurrentIndex(static_cast<int>(options.look));
}

void GeneralPage::Read(ConsoleOptions& options) const {
    options.bEnableEventNotify = m_eventNotify->isChecked();
    options.bShowBrowserToolbar = m_toolbar->isChecked();
    options.look = LookChoiceOf(static_cast<std::uint32_t>(m_look->currentIndex()));
}

VideoWindowPage::VideoWindowPage(std::function<void()> changed) : SettingsPage(std::move(changed)) {
    auto* const source = new QGroupBox(Text(6104), this);
    m_fromCamera = new QRadioButton(Text(6105), source);
    m_fromRecorder = new QRadioButton(Text(6106), source);
    SetId(*m_fromCamera, 1501);
    SetId(*m_fromRecorder, 1502);
    connect(m_fromCamera, &QRadioButton::toggled, this, m_changed);
    auto* const sources = MakePageLayout(*source);
    sources->addWidget(m_fromCamera);
    sources->addWidget(m_fromRecorder);

    auto* const windows = new QGroupBox(Text(6107), this);
    m_highlight = AddCheck(1510, 6108);
    m_noRight = AddCheck(1511, 6109);
    m_noConfig = AddCheck(1512, 6110);
    m_recorderName = AddCheck(1514, 6875);
    auto* const checks = MakePageLayout(*windows);
    for (QCheckBox* const check : {m_highlight, m_noRight, m_noConfig, m_recorderName}) {
        checks->addWidget(check);
    }

    auto* const layout = MakePageLayout(*this);
    layout->addWidget(source);
    layout->addWidget(windows);
    layout->addStretch();
}

void VideoWindowPage::Show(const ConsoleOptions& options) {
    (options.bStreamFromCamera ? m_fromCamera : m_fromRecorder)->setChecked(true);
    m_highlight->setChecked(options.bEventHighLight);
    m_noRight->setChecked(options.bShowNoMonitoringRight);
    m_noConfig->setChecked(options.bShowNoConfig);
    m_recorderName->setChecked(options.bShowRecorderName);
}

void VideoWindowPage::Read(ConsoleOptions& options) const {
    options.bStreamFromCamera = m_fromCamera->isChecked();
    options.bEventHighLight = m_highlight->isChecked();
    options.bShowNoMonitoringRight = m_noRight->isChecked();
    options.bShowNoConfig = m_noConfig->isChecked();
    options.bShowRecorderName = m_recorderName->isChecked();
}

SnapshotPage::SnapshotPage(std::function<void()> changed, SnapshotFolder choice)
    : SettingsPage(std::move(changed)) {
    m_askName = AddCheck(1504, 6111);
    m_folder = new QLineEdit(this);
    SetId(*m_folder, 1506);
    connect(m_folder, &QLineEdit::textChanged, this, m_changed);
    m_browse = new QPushButton(Text(6113), this);
    SetId(*m_browse, 1507);
    connect(m_browse, &QPushButton::clicked, this, &SnapshotPage::Browse);
    m_format = new QComboBox(this);
    SetId(*m_format, 1505);
    m_format->addItems({Text(6115), Text(6116)});
    m_format->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    connect(m_format, &QComboBox::currentIndexChanged, this, m_changed);
    m_timeStamp = AddCheck(1508, 6117);
    m_processed = AddCheck(1513, 6118);
    for (QWidget* const control : std::initializer_list<QWidget*>{m_askName, m_folder, m_browse}) {
        control->setEnabled(choice == SnapshotFolder::Chosen);
    }

    auto* const folder = new QHBoxLayout;
    folder->setSpacing(8);
    folder->addWidget(m_folder, 1);
    folder->addWidget(m_browse);
    auto* const form = new QFormLayout;
    form->setHorizontalSpacing(14);
    form->setVerticalSpacing(10);
    form->addRow(Text(6112), folder);
    form->addRow(Text(6114), AtTheLeft(m_format));
    m_folder->setAccessibleName(Text(6112));
    m_format->setAccessibleName(Text(6114));
    // Wide enough to read a part of a long path.
    m_folder->setMinimumWidth(LetterWidth(*m_folder) * 32);

    auto* const layout = MakePageLayout(*this);
    layout->addWidget(m_askName);
    layout->addLayout(form);
    layout->addWidget(m_timeStamp);
    layout->addWidget(m_processed);
    layout->addStretch();
    setTabOrder(m_askName, m_folder);
    setTabOrder(m_folder, m_browse);
    setTabOrder(m_browse, m_format);
    setTabOrder(m_format, m_timeStamp);
}

void SnapshotPage::Show(const ConsoleOptions& options) {
    m_askName->setChecked(options.bManualInputSnapshotFilename);
    m_folder->setText(QString::fromStdString(options.strSnapshotFolder));
    m_format->setCurrentIndex(options.bSaveSnapshotAsJpeg ? 1 : 0);
    m_timeStamp->setChecked(options.bShowSnapshotTimeStamp);
    m_processed->setChecked(options.bSaveProcessImage);
}

void SnapshotPage::Read(ConsoleOptions& options) const {
    options.bManualInputSnapshotFilename = m_askName->isChecked();
    options.strSnapshotFolder = m_folder->text().toStdString();
    options.bSaveSnapshotAsJpeg = m_format->currentIndex() == 1;
    options.bShowSnapshotTimeStamp = m_timeStamp->isChecked();
    options.bSaveProcessImage = m_processed->isChecked();
}

void SnapshotPage::Browse() {
    auto* const dialog = new QFileDialog(this, Text(1109), m_folder->text());
    dialog->setFileMode(QFileDialog::Directory);
    dialog->setOption(QFileDialog::ShowDirsOnly);
    connect(dialog, &QFileDialog::fileSelected, m_folder, &QLineEdit::setText);
    OpenDialog(dialog);
}

}  // namespace kvmon
