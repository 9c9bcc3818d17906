#include "console/admin/found_dialog.h"

#include <QtCore/QJsonArray>
#include <QtCore/QPointer>
#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QHeaderView>
#include <QtWidgets/QLabel>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QTreeWidget>
#include <QtWidgets/QVBoxLayout>
#include <algorithm>

#include "console/admin/admin_texts.h"
#include "console/admin/api_words.h"
#include "console/dialogs/dialog_parts.h"
#include "console/dialogs/empty_hint.h"
#include "persist/string_table.h"
#include "platform/outside_text.h"

namespace kvmon {

namespace {

constexpr int kSearchPollMs = 500;
constexpr int kMostFound = 256;
constexpr int kWidestFound = 640;  // that it insists on

QString Line(const QJsonValue& value) {
    return QString::fromStdString(OutsideLine(value.toString().toStdString()));
}

}  // namespace

FoundDialog::FoundDialog(ApiCaller& api, std::function<void(const CameraRow&, QWidget& over)> add,
                         QWidget* parent)
    : QDialog(parent),
      m_api(api),
      m_add(std::move(add)),
      m_list(new QTreeWidget(this)),
      m_hint(new EmptyHint(*m_list)),
      m_addButton(new QPushButton(Text(kStrAdd), this)),
      m_again(new QPushButton(Text(kStrAgain), this)),
      m_message(MakeMessageLabel(this, 1)) {
    setObjectName(QStringLiteral("foundDialog"));
    setWindowTitle(Text(kStrFoundTitle));
    m_list->setObjectName(QStringLiteral("found"));
    m_list->setAccessibleName(Text(kStrFoundTitle));
    m_list->setHeaderLabels({Text(kStrAddress), Text(kStrModel), Text(kStrName)});
    m_list->setRootIsDecorated(false);
    m_list->setMinimumSize(std::min(70 * LetterWidth(*this), kWidestFound), 9 * fontMetrics().height());
    connect(m_list, &QTreeWidget::itemActivated, this, [this] { AddSelected(); });
    connect(m_list, &QTreeWidget::itemSelectionChanged, this,
            [this] { m_addButton->setEnabled(Selected() >= 0); });
    m_addButton->setObjectName(QStringLiteral("add"));
    m_addButton->setEnabled(false);
    connect(m_addButton, &QPushButton::clicked, this, &FoundDialog::AddSelected);
    m_again->setObjectName(QStringLiteral("again"));
    connect(m_again, &QPushButton::clicked, this, &FoundDialog::Search);
    auto* const close = new QPushButton(Text(kStrClose), this);
    close->setObjectName(QStringLiteral("close"));
    connect(close, &QPushButton::clicked, this, &QDialog::reject);
    m_message->setObjectName(QStringLiteral("message"));
    auto* const buttons = new QHBoxLayout;
    for (QPushButton* const button : {m_addButton, m_again}) {
        button->setAutoDefault(false);
        buttons->addWidget(button);
    }
    close->setAutoDefault(false);
    buttons->addStretch();
    buttons->addWidget(close);
    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(16, 16, 16, 14);
    layout->setSpacing(12);
    layout->addWidget(m_list, 1);
    layout->addWidget(m_message);
    layout->addLayout(buttons);
    m_poll.setSingleShot(true);
    m_poll.setInterval(kSearchPollMs);
    connect(&m_poll, &QTimer::timeout, this, [this] { Ask("GET"); });
    Search();
}

int FoundDialog::Selected() const {
    return m_list->selectedItems().isEmpty() ? -1
                                             : m_list->indexOfTopLevelItem(m_list->selectedItems().front());
}

void FoundDialog::Ask(const char* method) {
    m_api.Call(method, "/discovery", {}, [self = QPointer<FoundDialog>(this)](const ApiAnswer& answer) {
        if (self) {
            self->OnAnswer(answer);
        }
    });
}

void FoundDialog::Search() {
    m_again->setEnabled(false);
    m_list->clear();
    m_found.clear();
    m_hint->Say(Text(kStrLooking));
    m_message->clear();
    Ask("POST");
}

void FoundDialog::OnAnswer(const ApiAnswer& answer) {
    if (answer.IsGood() && answer.json["state"].toString() == QLatin1String("running")) {
        m_poll.start();
        return;
    }
    m_again->setEnabled(true);
    m_message->setText(QString::fromStdString(FailureWords(answer)));
    m_message->setAccessibleName(m_message->text());
    const QJsonArray found = answer.json["found"].toArray();
    for (int i = 0; i < std::min<int>(static_cast<int>(found.size()), kMostFound); ++i) {
        const QJsonObject told = found[i].toObject();
        const QString host = Line(told["host"]);
        const QString model = (Line(told["maker"]) + QLatin1Char(' ') + Line(told["model"])).trimmed();
        CameraRow row;
        row.isCamera = true;
        row.name = Line(told["name"]).isEmpty() ? model : Line(told["name"]);
        row.address = Line(told["address"]);
        m_found.push_back(row);
        m_list->addTopLevelItem(new QTreeWidgetItem({host, model, Line(told["name"])}));
    }
    FitColumns(*m_list);
    m_hint->Say(m_found.empty() && answer.IsGood() ? Text(kStrNothingFound) : QString());
    if (!m_found.empty()) {
        m_list->setCurrentItem(m_list->topLevelItem(0));
        m_list->setFocus();
    }
}

void FoundDialog::AddSelected() {
    if (Selected() >= 0) {
        m_add(m_found[static_cast<std::size_t>(Selected())], *this);
    }
}

}  // namespace kvmon
