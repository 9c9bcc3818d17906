#include "console/admin/cameras_dialog.h"

#include <QtCore/QEvent>
#include <QtCore/QJsonArray>
#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QHeaderView>
#include <QtWidgets/QLabel>
#include <QtWidgets/QMessageBox>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QTreeWidget>
#include <QtWidgets/QVBoxLayout>
#include <algorithm>

#include "console/admin/admin_texts.h"
#include "console/admin/api_words.h"
#include "console/admin/camera_entry_dialog.h"
#include "console/admin/found_dialog.h"
#include "console/admin/told_words.h"
#include "console/dialogs/dialog_parts.h"
#include "console/dialogs/empty_hint.h"
#include "console/dialogs/list_keys.h"
#include "console/dialogs/message_box.h"
#include "console/settings/fill_pattern.h"
#include "persist/string_table.h"
#include "skin/plain_text.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kStrNumber = 6402;
constexpr std::uint32_t kStrCancel = 6121;
constexpr int kPollMs = 2000;
constexpr int kWidestWindow = 940;
constexpr int kWidestList = 680;  // that it insists on
constexpr std::size_t kMostRows = 128;
// Characters that each column has room for at the most; longer texts are in the row's tip.
constexpr int kWidest[] = {6, 26, 56, 36, 22};
enum Column { kNumber, kName, kState, kAddress, kPicture };

}  // namespace

CamerasDialog::CamerasDialog(ApiTarget target, const QJsonObject& info, QWidget* parent)
    : QDialog(parent),
      m_api(std::move(target)),
      m_bCanChange(info["can_change"].toBool()),
      m_bCanFind(info["can_discover"].toBool()),
      m_bCanTest(info["can_test"].toBool()) {
    setObjectName(QStringLiteral("camerasDialog"));
    setWindowTitle(Text(kStrCameras));
    MakeList();
    auto* const side = new QVBoxLayout;
    m_find = AddButton("find", kStrFind, &CamerasDialog::Find);
    m_add = AddButton("add", kStrAdd, &CamerasDialog::Add);
    m_edit = AddButton("change", kStrChange, &CamerasDialog::Edit);
    m_remove = AddButton("remove", kStrRemove, &CamerasDialog::Remove);
    m_up = AddButton("up", kStrUp, &CamerasDialog::MoveUp);
    m_down = AddButton("down", kStrDown, &CamerasDialog::MoveDown);
    for (QPushButton* const button : {m_find, m_add, m_edit, m_remove, m_up, m_down}) {
        side->addWidget(button);
    }
    new ListKeys(*m_list, {m_add, m_edit, m_remove, m_up, m_down});
    side->addStretch();
    auto* const middle = new QHBoxLayout;
    middle->addWidget(m_list, 1);
    middle->addLayout(side);
    m_message = MakeMessageLabel(this, 2);
    m_message->setObjectName(QStringLiteral("message"));
    auto* const close = new QPushButton(Text(kStrClose), this);
    close->setObjectName(QStringLiteral("close"));
    close->setAutoDefault(false);
    close->setMinimumWidth(side->sizeHint().width());
    connect(close, &QPushButton::clicked, this, &QDialog::reject);
    auto* const last = new QHBoxLayout;
    last->addWidget(m_message, 1);
    last->addWidget(close, 0, Qt::AlignBottom);
    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(16, 16, 16, 14);
    layout->setSpacing(12);
    layout->addLayout(middle, 1);
    layout->addLayout(last);
    // All columns at once, where the screen is no small one.
    resize(std::min(150 * LetterWidth(*this), kWidestWindow), sizeHint().height());
    if (!m_bCanChange) {
        Say(FillPattern(LoadString(kStrNotKept), {ToldWords(info, QStringLiteral("why_not"))}));
    }
    m_poll.setInterval(kPollMs);
    connect(&m_poll, &QTimer::timeout, this, &CamerasDialog::Refresh);
    m_poll.start();
    UpdateButtons();
    Refresh();
}

QPushButton* CamerasDialog::AddButton(const char* name, std::uint32_t text, void (CamerasDialog::*slot)()) {
    auto* const button = new QPushButton(Text(text), this);
    button->setObjectName(QString(name));
    button->setAutoDefault(false);
    connect(button, &QPushButton::clicked, this, slot);
    return button;
}

void CamerasDialog::MakeList() {
    m_list = new QTreeWidget(this);
    m_list->setObjectName(QStringLiteral("cameras"));
    m_list->setAccessibleName(Text(kStrCameras));
    m_list->setHeaderLabels(
        {Text(kStrNumber), Text(kStrName), Text(kStrState), Text(kStrAddress), Text(kStrPicture)});
    m_list->setRootIsDecorated(false);
    m_list->setUniformRowHeights(true);
    m_list->setMinimumSize(std::min(84 * LetterWidth(*this), kWidestList), 14 * fontMetrics().height());
    m_hint = new EmptyHint(*m_list);
    connect(m_list, &QTreeWidget::itemSelectionChanged, this, &CamerasDialog::UpdateButtons);
    connect(m_list, &QTreeWidget::itemDoubleClicked, this, [this] { Edit(); });
}

// --- the list

void CamerasDialog::Refresh() {
    if (!m_bBusy) {
        m_api.Get("/cameras", [this](const ApiAnswer& answer) { OnList(answer); });
    }
}

void CamerasDialog::OnList(const ApiAnswer& answer) {
    if (m_bBusy) {
        return;  // it may be of before the change
    }
    if (!answer.IsGood()) {
        m_bFailed = true;
        Say(FailureWords(answer));
        m_hint->Say(QString());
        UpdateButtons();
        return;
    }
    if (std::exchange(m_bFailed, false)) {
        Say({});
    }
    m_revision = answer.json["revision"].toString();
    m_rows.clear();
    for (const auto& told : answer.json["cameras"].toArray()) {
        if (m_rows.size() < kMostRows) {
            m_rows.push_back(ReadCameraRow(told.toObject()));
        }
    }
    m_bListed = true;
    Fill();
}

// Rows are kept where they are, so that a reader's place and the list's are not lost.
void CamerasDialog::Fill() {
    const bool bFirst = m_list->topLevelItemCount() == 0;
    while (m_list->topLevelItemCount() > static_cast<int>(m_rows.size())) {
        delete m_list->takeTopLevelItem(m_list->topLevelItemCount() - 1);
    }
    for (std::size_t i = 0; i < m_rows.size(); ++i) {
        const CameraRow& row = m_rows[i];
        QTreeWidgetItem* item = m_list->topLevelItem(static_cast<int>(i));
        if (item == nullptr) {
            item = new QTreeWidgetItem(m_list);
        }
        const QString texts[] = {QString::number(row.channel + 1), row.name, StateWords(row), row.address,
                                 row.picture};
        for (int column = 0; column < static_cast<int>(std::size(texts)); ++column) {
            if (item->text(column) != texts[column]) {
                item->setText(column, texts[column]);
                item->setToolTip(column, MarkupOf(texts[column].toStdString()));
            }
        }
        item->setIcon(kState, StateIcon(row.state, ColoursOf(*m_list), devicePixelRatioF()));
    }
    if (bFirst || m_nChosen >= 0) {
        PlaceColumns();
    }
    const int chosen = std::exchange(m_nChosen, -1);
    if (chosen >= 0 || (Selected() < 0 && !m_rows.empty())) {
        m_list->setCurrentItem(
            m_list->topLevelItem(std::clamp(chosen, 0, std::max(static_cast<int>(m_rows.size()) - 1, 0))));
    }
    UpdateButtons();
}

// Each as wide as its texts, up to its bound; what is left over goes to the states, whose words are longest.
void CamerasDialog::PlaceColumns() {
    m_list->header()->setStretchLastSection(false);
    FitColumns(*m_list);
    const int wanted = m_list->columnWidth(kState);
    int left = m_list->viewport()->width();
    for (int column = 0; column < m_list->columnCount(); ++column) {
        const int most = kWidest[column] * LetterWidth(*m_list);
        m_list->setColumnWidth(column, std::min(m_list->columnWidth(column), most));
        left -= m_list->columnWidth(column);
    }
    const int state = m_list->columnWidth(kState);
    m_list->setColumnWidth(kState, std::min(wanted, state + std::max(left, 0)));
    m_list->header()->setStretchLastSection(true);
}

int CamerasDialog::Selected() const {
    return m_list->selectedItems().isEmpty() ? -1
                                             : m_list->indexOfTopLevelItem(m_list->selectedItems().front());
}

const CameraRow* CamerasDialog::SelectedRow() const {
    const int row = Selected();
    return row >= 0 && row < static_cast<int>(m_rows.size()) ? &m_rows[static_cast<std::size_t>(row)]
                                                             : nullptr;
}

void CamerasDialog::UpdateButtons() {
    const CameraRow* const row = SelectedRow();
    const bool bMay = m_bCanChange && !m_bBusy && !m_bFailed;
    const bool bCamera = row != nullptr && row->state != CameraState::None;
    m_find->setEnabled(bMay && m_bCanFind);
    m_add->setEnabled(bMay);
    m_edit->setEnabled(bMay && bCamera);
    m_remove->setEnabled(bMay && bCamera);
    m_up->setEnabled(bMay && Selected() > 0);
    m_down->setEnabled(bMay && row != nullptr && Selected() + 1 < static_cast<int>(m_rows.size()));
    const bool bEmpty = std::all_of(m_rows.begin(), m_rows.end(),
                                    [](const CameraRow& each) { return each.state == CameraState::None; });
    m_hint->Say(m_bListed && bEmpty && !m_bFailed && m_bCanChange
                    ? QString::fromStdString(
                          FillPattern(LoadString(kStrEmpty), {LoadString(kStrFind), LoadString(kStrAdd)}))
                    : QString());
}

void CamerasDialog::Say(const std::string& text) {
    m_message->setText(QString::fromStdString(text));
    m_message->setAccessibleName(m_message->text());
}

// --- changes

void CamerasDialog::Change(const char* method, const std::string& path, const QJsonObject& body) {
    m_bBusy = true;
    UpdateButtons();
    m_api.Call(method, path, body, [this](const ApiAnswer& answer) {
        m_bBusy = false;
        const std::string warning = ToldWords(answer.json, QStringLiteral("warning"));
        Say(answer.status == 409 ? LoadString(kStrOldList) + "\n" + FailureWords(answer)
            : answer.IsGood()    ? warning
                                 : FailureWords(answer));
        if (!answer.IsGood()) {
            m_nChosen = -1;
        }
        Refresh();
        UpdateButtons();
    });
}

void CamerasDialog::Find() {
    OpenDialog(new FoundDialog(
        m_api, [this](const CameraRow& row, QWidget& over) { OpenEntry(row, over); }, this));
}

void CamerasDialog::Add() {
    CameraRow row;
    row.isCamera = true;
    OpenEntry(row, *this);
}

void CamerasDialog::Edit() {
    if (m_edit->isEnabled()) {
        OpenEntry(*SelectedRow(), *this);
    }
}

void CamerasDialog::OpenEntry(const CameraRow& row, QWidget& over) {
    auto* const dialog = new CameraEntryDialog(m_api, row, m_revision, m_bCanTest, &over);
    connect(dialog, &QDialog::accepted, this, [this, dialog] {
        m_nChosen = dialog->Channel();
        Say({});
        Refresh();
        m_list->setFocus();
    });
    OpenDialog(dialog);
}

void CamerasDialog::Remove() {
    const CameraRow* const row = SelectedRow();
    if (row == nullptr) {
        return;
    }
    const std::string name = row->name.isEmpty() ? std::to_string(row->channel + 1) : row->name.toStdString();
    auto* const box = new QMessageBox(QMessageBox::Question, Text(kStrCameras),
                                      MarkupOf(FillPattern(LoadString(kStrAskRemove), {name})),
                                      QMessageBox::NoButton, this);
    box->setObjectName(QStringLiteral("removeQuestion"));
    auto* const remove = box->addButton(Text(kStrRemove), QMessageBox::AcceptRole);
    remove->setObjectName(QStringLiteral("remove"));
    auto* const cancel = box->addButton(Text(kStrCancel), QMessageBox::RejectRole);
    cancel->setObjectName(QStringLiteral("cancel"));
    box->setDefaultButton(cancel);
    box->setEscapeButton(cancel);
    const std::string path =
        "/cameras/" + std::to_string(row->channel) + "?revision=" + m_revision.toStdString();
    connect(remove, &QPushButton::clicked, this, [this, path] { Change("DELETE", path, {}); });
    OpenDialog(box);
}

void CamerasDialog::Move(int by) {
    const CameraRow* const row = SelectedRow();
    if (row == nullptr || !(by < 0 ? m_up : m_down)->isEnabled()) {
        return;
    }
    m_nChosen = row->channel + by;
    Change("POST", "/cameras/" + std::to_string(row->channel) + "/move",
           {{QStringLiteral("to"), row->channel + by}, {QStringLiteral("revision"), m_revision}});
}

void CamerasDialog::changeEvent(QEvent* event) {
    QDialog::changeEvent(event);
    if (event->type() == QEvent::StyleChange && m_list != nullptr) {
        Fill();
    }
}

}  // namespace kvmon
