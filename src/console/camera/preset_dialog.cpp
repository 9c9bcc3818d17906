#include "console/camera/preset_dialog.h"

#include <QtCore/QRegularExpression>
#include <QtGui/QRegularExpressionValidator>
#include <QtWidgets/QDialogButtonBox>
#include <QtWidgets/QGridLayout>
#include <QtWidgets/QHeaderView>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QTableWidget>
#include <algorithm>

#include "channel/base/cam_commands.h"
#include "channel/base/channel_messages.h"
#include "channel/camera/base_camera.h"
#include "console/dialogs/dialog_parts.h"
#include "console/settings/fill_pattern.h"
#include "persist/string_table.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kStrTitle = 6401;
constexpr std::uint32_t kStrNumber = 6402;
constexpr std::uint32_t kStrName = 6403;
constexpr std::uint32_t kStrGoTo = 6404;
constexpr std::uint32_t kStrStore = 6405;
constexpr std::uint32_t kStrRename = 6406;
constexpr std::uint32_t kStrDelete = 6407;
constexpr std::uint32_t kStrClose = 6408;
constexpr std::uint32_t kStrNoNames = 6409;
constexpr std::uint32_t kStrFree = 6410;
constexpr std::uint32_t kStrStoring = 6411;
constexpr std::uint32_t kStrDeleting = 6412;
constexpr std::uint32_t kStrNameLabel = 6414;
constexpr std::uint32_t kStrStoreName = 6910;
constexpr std::uint32_t kStrOnTheWay = 6911;
constexpr std::uint32_t kStrNotThere = 6914;

// The protocol has two digits for the length, and only ASCII letters.
constexpr int kLongestName = 63;
// How often to look whether the camera has refused to go. Longer than a double click takes, so that its
// second click stores nothing.
constexpr int kArrivalLookMs = 500;
// The cell asks the recorder for its table by then, and a failed command has been told.
constexpr int kTableMs = 9000;

// The camera's own names have each "&" twice.
std::string PlainName(std::string name) {
    for (std::size_t at = name.find("&&"); at != std::string::npos; at = name.find("&&", at + 1)) {
        name.erase(at, 1);
    }
    return name;
}

bool Exists(const CameraInfo& info, int index) {
    return index >= 0 && (info.dwPresetMask >> index & 1) != 0;
}

std::string NameOf(const CameraInfo& info, int index) {
    const auto i = static_cast<std::size_t>(index);
    return info.presetNames[i].empty() ? LoadString(kTextFirstPreset + static_cast<std::uint32_t>(index))
                                       : PlainName(info.presetNames[i]);
}

}  // namespace

PresetDialog::PresetDialog(const std::shared_ptr<CBaseCamera>& camera, QWidget* parent)
    : QDialog(parent), m_camera(camera) {
    setObjectName(QStringLiteral("presetDialog"));
    setWindowTitle(Text(kStrTitle));
    setModal(false);
    BuildTable();
    m_name = new QLineEdit(this);
    m_name->setObjectName(QStringLiteral("name"));
    m_name->setMaxLength(kLongestName);
    m_name->setValidator(new QRegularExpressionValidator(QRegularExpression("[ -~]*"), m_name));
    auto* const label = new QLabel(Text(kStrNameLabel), this);
    label->setBuddy(m_name);
    m_note = MakeMessageLabel(this, 2);

    auto* const grid = new QGridLayout(this);
    grid->setContentsMargins(18, 16, 18, 14);
    grid->setHorizontalSpacing(12);
    grid->setVerticalSpacing(10);
    grid->addWidget(m_table, 0, 0, 6, 2);
    grid->addWidget(label, 6, 0);
    grid->addWidget(m_name, 6, 1);
    grid->addWidget(m_note, 7, 0, 1, 3);
    grid->setColumnStretch(1, 1);
    grid->setRowStretch(4, 1);
    BuildButtons();

    m_reread.setSingleShot(true);
    connect(&m_arrival, &QTimer::timeout, this, [this] { LookForArrival(); });
    connect(&m_reread, &QTimer::timeout, this, [this] {
        m_note->setText(TakesNames() ? QString() : Text(kStrNoNames));
        Enable();
    });
    connect(m_table, &QTableWidget::itemSelectionChanged, this, [this] {
        EndRename({});
        ShowChoice();
    });
    connect(m_table, &QTableWidget::itemDoubleClicked, this, [this] { GoTo(); });
    connect(m_name, &QLineEdit::textChanged, this, [this] { Enable(); });
    if (camera) {
        camera->ReadPresetFormat();
        camera->RefreshCameraInfo();
    }
    Refresh();
    m_table->selectRow(0);
    m_table->setFocus();
}

void PresetDialog::BuildTable() {
    m_table = new QTableWidget(kPresetCount, 2, this);
    m_table->setObjectName(QStringLiteral("presets"));
    m_table->setHorizontalHeaderLabels({Text(kStrNumber), Text(kStrName)});
    m_table->verticalHeader()->hide();
    m_table->verticalHeader()->setDefaultSectionSize(24);
    m_table->horizontalHeader()->setStretchLastSection(true);
    m_table->horizontalHeader()->setHighlightSections(false);
    m_table->horizontalHeaderItem(1)->setTextAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    m_table->setColumnWidth(0, std::max(44, m_table->horizontalHeader()->sectionSizeHint(0)));
    m_table->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_table->setSelectionMode(QAbstractItemView::SingleSelection);
    m_table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_table->setTabKeyNavigation(false);
    m_table->setShowGrid(false);
    m_table->setMinimumSize(300, 24 * static_cast<int>(kPresetCount) + 32);
    for (int i = 0; i < static_cast<int>(kPresetCount); ++i) {
        auto* const number = new QTableWidgetItem(QString::number(i + 1));
        number->setTextAlignment(Qt::AlignCenter);
        m_table->setItem(i, 0, number);
        m_table->setItem(i, 1, new QTableWidgetItem);
    }
}

void PresetDialog::BuildButtons() {
    auto* const grid = static_cast<QGridLayout*>(layout());
    const struct {
        QPushButton** button;
        std::uint32_t text;
        const char* name;
        void (PresetDialog::*action)();
    } rows[] = {
        {&m_goTo, kStrGoTo, "goTo", &PresetDialog::GoTo},
        {&m_store, kStrStore, "store", &PresetDialog::Store},
        {&m_rename, kStrRename, "rename", &PresetDialog::Rename},
        {&m_delete, kStrDelete, "delete", &PresetDialog::Delete},
    };
    int line = 0;
    for (const auto& row : rows) {
        *row.button = new QPushButton(Text(row.text), this);
        (*row.button)->setObjectName(QString::fromLatin1(row.name));
        (*row.button)->setAutoDefault(false);
        connect(*row.button, &QPushButton::clicked, this, row.action);
        grid->addWidget(*row.button, line++, 2);
    }
    auto* const close = new QPushButton(Text(kStrClose), this);
    close->setAutoDefault(false);
    connect(close, &QPushButton::clicked, this, &QDialog::reject);
    grid->addWidget(close, 5, 2);
}

int PresetDialog::Chosen() const {
    const auto rows = m_table->selectionModel()->selectedRows();
    return rows.isEmpty() ? -1 : rows.front().row();
}

bool PresetDialog::TakesNames() const {
    const auto camera = m_camera.lock();
    return camera && camera->GetPresetFormat().bNamesSupported != 0;
}

void PresetDialog::Refresh() {
    const auto camera = m_camera.lock();
    if (!camera) {
        reject();
        return;
    }
    const CameraInfo info = camera->GetCameraInfo();
    for (int i = 0; i < static_cast<int>(kPresetCount); ++i) {
        const bool bExists = Exists(info, i);
        QTableWidgetItem* const item = m_table->item(i, 1);
        item->setText(bExists ? QString::fromStdString(NameOf(info, i)) : Text(kStrFree));
        item->setForeground(bExists ? palette().text() : palette().placeholderText());
    }
    if (!m_reread.isActive() && !m_arrival.isActive()) {
        m_note->setText(TakesNames() ? QString() : Text(kStrNoNames));
    }
    ShowChoice();
}

// The field follows the choice and the camera, unless the user has begun to write.
void PresetDialog::ShowChoice() {
    const auto camera = m_camera.lock();
    const int index = Chosen();
    if (!camera || index < 0) {
        Enable();
        return;
    }
    const CameraInfo info = camera->GetCameraInfo();
    const std::string name = Exists(info, index)
                                 ? NameOf(info, index)
                                 : LoadString(kTextFirstPreset + static_cast<std::uint32_t>(index));
    const bool bTouched = m_name->isModified() && sender() != m_table;
    if (!bTouched && name != m_nameShown) {
        m_name->setText(QString::fromStdString(name));
        m_nameShown = name;
    } else if (!bTouched) {
        m_name->setText(QString::fromStdString(name));
    }
    Enable();
}

void PresetDialog::Enable() {
    const auto camera = m_camera.lock();
    const int index = Chosen();
    const CameraInfo info = camera ? camera->GetCameraInfo() : CameraInfo{};
    const bool bNames = TakesNames();
    const bool bFree = index >= 0;
    const bool bExists = Exists(info, index);
    const QString name = m_name->text().trimmed();
    m_name->setEnabled(bNames);
    m_goTo->setEnabled(bFree && bExists);
    m_store->setEnabled(bFree && (!bNames || !name.isEmpty()));
    m_rename->setText(Text(m_renamed < 0 ? kStrRename : kStrStoreName));
    m_rename->setEnabled(bFree && bExists && bNames && !name.isEmpty() &&
                         name != QString::fromStdString(NameOf(info, std::max(index, 0))) &&
                         (m_renamed < 0 || m_bMayHaveArrived));
    // A recorder that keeps names wants to know which one is deleted.
    m_delete->setEnabled(bFree && bExists &&
                         (!bNames || !info.presetNames[static_cast<std::size_t>(index)].empty()));
}

void PresetDialog::Say(std::uint32_t text) {
    m_note->setText(Text(text));
}

void PresetDialog::AwaitTable() {
    m_name->setModified(false);
    m_reread.start(kTableMs);
}

void PresetDialog::GoTo() {
    EndRename({});
    const auto camera = m_camera.lock();
    if (camera && m_goTo->isEnabled()) {
        camera->AddCamCmd(kCmdPresetFirst + static_cast<std::uint32_t>(Chosen()), 0);
    }
}

void PresetDialog::Store() {
    EndRename({});
    if (const auto camera = m_camera.lock()) {
        camera->AddPresetNameCmd(static_cast<std::uint32_t>(Chosen()),
                                 m_name->text().trimmed().toStdString());
        Say(kStrStoring);
        AwaitTable();
    }
}

// The protocol has no command for it: the camera goes to the preset, and the place is stored again under the
// new name. Nothing tells when the camera has arrived, but the user sees it.
void PresetDialog::Rename() {
    const auto camera = m_camera.lock();
    if (!camera) {
        return;
    }
    if (m_renamed < 0) {
        m_nFailedBefore = camera->GetFailedCommands();
        GoTo();
        m_renamed = Chosen();
        m_arrival.start(kArrivalLookMs);
        m_note->setText(
            QString::fromStdString(FillPattern(LoadString(kStrOnTheWay), {LoadString(kStrStoreName)})));
    } else {
        camera->AddPresetNameCmd(static_cast<std::uint32_t>(m_renamed),
                                 m_name->text().trimmed().toStdString());
        EndRename(kStrStoring);
        AwaitTable();
    }
    Enable();
}

void PresetDialog::LookForArrival() {
    const auto camera = m_camera.lock();
    if (camera && camera->GetFailedCommands() != m_nFailedBefore) {
        EndRename(kStrNotThere);
        m_reread.start(kTableMs);  // the message stays that long
    } else {
        m_bMayHaveArrived = true;
    }
    Enable();
}

// The preset keeps its old name, unless the new one has gone out.
void PresetDialog::EndRename(std::optional<std::uint32_t> word) {
    if (m_renamed < 0) {
        return;
    }
    m_renamed = -1;
    m_bMayHaveArrived = false;
    m_arrival.stop();
    word ? Say(*word) : m_note->clear();
    Enable();
}

void PresetDialog::Delete() {
    EndRename({});
    if (const auto camera = m_camera.lock()) {
        camera->AddPresetIndexCmd(static_cast<std::uint32_t>(Chosen()));
        Say(kStrDeleting);
        AwaitTable();
    }
}

}  // namespace kvmon
