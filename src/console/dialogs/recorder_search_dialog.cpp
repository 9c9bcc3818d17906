#include "console/dialogs/recorder_search_dialog.h"

#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QProgressBar>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QTreeWidget>
#include <QtWidgets/QVBoxLayout>
#include <algorithm>
#include <utility>

#include "console/dialogs/dialog_parts.h"
#include "console/dialogs/empty_hint.h"
#include "console/settings/fill_pattern.h"
#include "persist/plural.h"
#include "persist/string_table.h"
#include "skin/window_base.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kMsgNews = 1100;
constexpr int kListCharacters = 62;
constexpr int kFoundRows = 7;
constexpr int kMostNameCharacters = 34;
constexpr int kSearchProgressHeight = 6;

constexpr std::uint32_t kStrCancelSearch = 6121;
constexpr std::uint32_t kStrName = 6130;
constexpr std::uint32_t kStrFoundAddress = 6131;
constexpr std::uint32_t kStrStopped = 7452;
constexpr std::uint32_t kStrStop = 7453;
constexpr std::uint32_t kStrAgain = 7532;
constexpr std::uint32_t kStrSearchTitle = 7612;
constexpr std::uint32_t kStrUse = 7613;
constexpr std::uint32_t kStrLooking = 7614;
constexpr std::uint32_t kStrFound = 7615;
constexpr std::uint32_t kStrNothing = 7616;
constexpr std::uint32_t kStrNoNetwork = 7617;
constexpr std::uint32_t kStrFoundPort = 7618;

}  // namespace

// Takes what the search's thread posts.
class RecorderSearchDialog::Receiver final : public WindowBase {
public:
    explicit Receiver(RecorderSearchDialog& dialog) : m_dialog(dialog) {}

protected:
    LParam OnMessage(std::uint32_t message, WParam wParam, LParam lParam) override {
        if (message != kMsgNews) {
            return WindowBase::OnMessage(message, wParam, lParam);
        }
        // A search that was stopped may have posted already.
        if (m_dialog.m_number != 0 && wParam == m_dialog.m_number) {
            m_dialog.OnNews();
        }
        return 0;
    }

private:
    RecorderSearchDialog& m_dialog;
};

RecorderSearchDialog::RecorderSearchDialog(const SearchPlace& place,
                                           std::function<void(const FoundRecorder&)> chosen, QWidget* parent)
    : QDialog(parent),
      m_place(place),
      m_chosen(std::move(chosen)),
      m_receiver(std::make_unique<Receiver>(*this)),
      m_list(new QTreeWidget(this)),
      m_hint(new EmptyHint(*m_list)),
      m_progress(new QProgressBar(this)),
      m_message(MakeMessageLabel(this, 1)),
      m_choose(new QPushButton(Text(kStrUse), this)),
      m_again(new QPushButton(this)) {
    setObjectName(QStringLiteral("recorderSearch"));
    setWindowTitle(Text(kStrSearchTitle));
    MakeList();
    m_progress->setObjectName(QStringLiteral("progress"));
    m_progress->setAccessibleName(Text(kStrLooking));
    m_progress->setTextVisible(false);
    m_progress->setFixedHeight(kSearchProgressHeight);
    QSizePolicy policy = m_progress->sizePolicy();
    policy.setRetainSizeWhenHidden(true);
    m_progress->setSizePolicy(policy);
    m_message->setObjectName(QStringLiteral("message"));
    auto* const cancel = new QPushButton(Text(kStrCancelSearch), this);
    const std::pair<QPushButton*, const char*> buttons[] = {
        {m_choose, "choose"}, {m_again, "again"}, {cancel, "cancel"}};
    auto* const line = new QHBoxLayout;
    for (const auto& [button, name] : buttons) {
        button->setObjectName(QString(name));
        button->setAutoDefault(false);
    }
    line->addWidget(m_again);
    line->addStretch();
    line->addWidget(m_choose);
    line->addWidget(cancel);
    connect(m_choose, &QPushButton::clicked, this, &RecorderSearchDialog::Choose);
    connect(m_again, &QPushButton::clicked, this, [this] { m_number != 0 ? StopSearch() : Search(); });
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(16, 16, 16, 14);
    layout->setSpacing(12);
    layout->addWidget(m_list, 1);
    layout->addWidget(m_progress);
    layout->addWidget(m_message);
    layout->addLayout(line);
    setTabOrder(m_list, m_again);
    setTabOrder(m_again, m_choose);
    setTabOrder(m_choose, cancel);
    m_list->setFocus();
    Search();
}

RecorderSearchDialog::~RecorderSearchDialog() = default;

void RecorderSearchDialog::MakeList() {
    m_list->setObjectName(QStringLiteral("recorders"));
    m_list->setAccessibleName(Text(kStrSearchTitle));
    m_list->setHeaderLabels({Text(kStrName), Text(kStrFoundAddress), Text(kStrFoundPort)});
    m_list->setRootIsDecorated(false);
    m_list->setUniformRowHeights(true);
    m_list->setMinimumSize(kListCharacters * LetterWidth(*this), (kFoundRows + 2) * fontMetrics().height());
    connect(m_list, &QTreeWidget::itemActivated, this, &RecorderSearchDialog::Choose);
    connect(m_list, &QTreeWidget::itemSelectionChanged, this,
            [this] { m_choose->setEnabled(Selected() >= 0); });
}

void RecorderSearchDialog::Search() {
    Show({});
    m_number = m_search.Start(m_place, m_receiver->Handle(), kMsgNews);
    if (m_number == 0) {
        End({}, Text(kStrNoNetwork));
        return;
    }
    m_progress->setValue(0);
    m_progress->show();
    m_again->setText(Text(kStrStop));
    m_hint->Say(Text(kStrLooking));
    m_message->clear();
}

void RecorderSearchDialog::StopSearch() {
    m_search.Stop();
    End(LoadString(kStrStopped), {});
}

void RecorderSearchDialog::End(const std::string& word, const QString& hint) {
    m_number = 0;
    m_progress->hide();
    m_again->setText(Text(kStrAgain));
    m_message->setText(QString::fromStdString(word));
    m_message->setAccessibleName(m_message->text());
    m_hint->Say(hint);
}

void RecorderSearchDialog::OnNews() {
    const SearchNews news = m_search.Take();
    if (news.found.size() != m_found.size()) {
        Show(news.found);
        m_hint->Say({});
    }
    m_progress->setValue(news.percent);
    if (!news.bEnded) {
        return;
    }
    const bool bNone = m_found.empty();
    End(bNone ? std::string()
              : FillPattern(LoadPlural(kStrFound, m_found.size()), {std::to_string(m_found.size())}),
        !bNone              ? QString()
        : news.bNobodyAsked ? Text(kStrNoNetwork)
                            : Text(kStrNothing));
}

// The chosen row stays so while others come.
void RecorderSearchDialog::Show(const std::vector<FoundRecorder>& found) {
    const int chosen = Selected();
    if (found.size() < m_found.size()) {
        m_list->clear();
        m_found.clear();
    }
    for (std::size_t i = m_found.size(); i < found.size(); ++i) {
        const FoundRecorder& each = found[i];
        auto* const row =
            new QTreeWidgetItem({QString::fromStdString(each.name), QString::fromStdString(each.address),
                                 QString::number(each.port)});
        m_list->addTopLevelItem(row);
        m_found.push_back(each);
    }
    FitColumns(*m_list);
    const int most = kMostNameCharacters * LetterWidth(*m_list);
    m_list->setColumnWidth(0, std::clamp(m_list->columnWidth(0), most / 2, most));
    if (chosen < 0 && !m_found.empty()) {
        m_list->setCurrentItem(m_list->topLevelItem(0));
    }
    m_choose->setEnabled(Selected() >= 0);
}

int RecorderSearchDialog::Selected() const {
    return m_list->selectedItems().isEmpty() ? -1
                                             : m_list->indexOfTopLevelItem(m_list->selectedItems().front());
}

void RecorderSearchDialog::Choose() {
    const int row = Selected();
    if (row < 0) {
        return;
    }
    const FoundRecorder found = m_found[static_cast<std::size_t>(row)];
    m_search.Stop();
    m_number = 0;
    accept();
    m_chosen(found);
}

}  // namespace kvmon
