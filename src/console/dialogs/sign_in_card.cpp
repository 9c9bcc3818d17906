#include "console/dialogs/sign_in_card.h"

#include <QtGui/QAccessible>
#include <QtGui/QKeyEvent>
#include <QtGui/QWheelEvent>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QFormLayout>
#include <QtWidgets/QFrame>
#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QSpinBox>
#include <QtWidgets/QVBoxLayout>
#include <algorithm>
#include <utility>

#include "console/dialogs/dialog_parts.h"
#include "console/dialogs/recorder_trial.h"
#include "console/dialogs/set_lang_dlg.h"
#include "console/settings/fill_pattern.h"
#include "console/settings/recorder_entry.h"
#include "persist/string_table.h"
#include "platform/secret_memory.h"
#include "skin/plain_text.h"

namespace kvmon {

namespace {

constexpr int kTitleHeight = 18;
constexpr int kCardWidth = 440;
constexpr int kButtonRoom = 24;   // beside the words
constexpr int kMessageLines = 3;  // as the longest text in any language has

constexpr std::uint32_t kStrTitle = 7000;
constexpr std::uint32_t kStrSignIn = 7001;
constexpr std::uint32_t kStrRemember = 7002;
constexpr std::uint32_t kStrAtStart = 7003;
constexpr std::uint32_t kStrCancel = 6121;
constexpr std::uint32_t kStrConnecting = 6150;
constexpr std::uint32_t kStrWelcome = 7201;
constexpr std::uint32_t kStrIntroduction = 7202;
constexpr std::uint32_t kStrDemo = 7203;
constexpr std::uint32_t kStrDemoStarts = 7204;
constexpr std::uint32_t kStrNoDemo = 7205;
constexpr std::uint32_t kStrRecorder = 7206;
constexpr std::uint32_t kStrAnother = 7207;
constexpr std::uint32_t kStrForget = 7208;
constexpr std::uint32_t kStrForgetWhat = 7209;
constexpr std::uint32_t kStrFetching = 7210;
constexpr std::uint32_t kStrNotFetched = 7211;
constexpr std::uint32_t kStrInKeyRing = 7212;
constexpr std::uint32_t kStrNoKeyRing = 7213;

// A choice makes the console anew, so keys and the wheel must not choose each language that they pass: they
// open the list, or do nothing.
class LanguageBox final : public QComboBox {
protected:
    void keyPressEvent(QKeyEvent* event) override {
        switch (event->key()) {
            case Qt::Key_Enter:
            case Qt::Key_Return:
            case Qt::Key_Escape:
                event->ignore();
                break;
            default:
                if (event->text().isEmpty() && event->key() != Qt::Key_Down && event->key() != Qt::Key_Up &&
                    event->key() != Qt::Key_F4) {
                    QComboBox::keyPressEvent(event);
                    break;
                }
                showPopup();
                event->accept();
        }
    }
    void wheelEvent(QWheelEvent* event) override { event->ignore(); }
};

QLabel* MakeTitle(QFrame& card, std::uint32_t text) {
    auto* const title = new QLabel(Text(text), &card);
    title->setObjectName(QStringLiteral("title"));
    title->setWordWrap(true);
    QFont large = title->font();
    large.setPixelSize(kTitleHeight);
    title->setFont(large);
    return title;
}

SavedServer ServerOf(const SignInEntry& entry) {
    return {{}, entry.address, entry.port, entry.user, entry.password, 0};
}

QString PlaceOf(const SignInEntry& entry) {
    return QString::fromStdString(entry.user + "@" + PlaceText(ServerOf(entry)));
}

// The name that the recorder told, where that is enough to know it among the others.
QString ChoiceText(const SignInEntry& entry, const std::vector<SignInEntry>& all) {
    const auto namesakes = std::count_if(all.begin(), all.end(), [&entry](const SignInEntry& each) {
        return each.name == entry.name && each.user == entry.user;
    });
    return entry.name.empty() || namesakes > 1 ? PlaceOf(entry)
                                               : QString::fromStdString(entry.name + " - " + entry.user);
}

}  // namespace

SignInCard::SignInCard(const SignInEntry& entry, SignInOffer offer,
                       const std::vector<std::uint16_t>& languages, std::uint16_t language,
                       SignInListener& listener, QWidget* parent, Milliseconds trialTime)
    : QWidget(parent),
      m_listener(listener),
      m_offer(std::move(offer)),
      m_bPasswordRemembered(!entry.password.empty()),
      m_bFetch(entry.bFetch),
      m_bStartWithIt(entry.bFetch && entry.bAtStart),
      m_trial(std::make_unique<RecorderTrial>(
          trialTime, [this](const RecorderTestReport& report) { OnTried(report); })) {
    setObjectName(QStringLiteral("signIn"));
    setAccessibleName(Text(kStrTitle));
    setAutoFillBackground(true);
    setBackgroundRole(QPalette::Shadow);

    MakeFields(entry);
    MakeChoice();
    MakeLanguages(languages, language);
    auto* const place = new QVBoxLayout(this);
    place->setContentsMargins(0, 0, 0, 0);
    place->addWidget(MakeCard(), 0, Qt::AlignCenter);
    Connect();
}

SignInCard::~SignInCard() {
    Wipe(m_tried.password);
    WipePassword();
}

void SignInCard::MakeFields(const SignInEntry& entry) {
    m_address = new QLineEdit(QString::fromStdString(entry.address));
    m_port = new QSpinBox;
    m_port->setRange(1, 65535);
    m_port->setValue(static_cast<int>(entry.port));
    m_user = new QLineEdit(QString::fromStdString(entry.user));
    m_password = new QLineEdit(QString::fromStdString(entry.password));
    m_password->setEchoMode(QLineEdit::Password);
    m_remember = new QCheckBox(Text(kStrRemember));
    m_remember->setObjectName(QStringLiteral("remember"));
    m_remember->setChecked(entry.bRemember);
    m_atStart = new QCheckBox(Text(kStrAtStart));
    m_atStart->setObjectName(QStringLiteral("atStart"));
    m_atStart->setEnabled(entry.bRemember);
    m_atStart->setChecked(entry.bRemember && entry.bAtStart);
    m_button = new QPushButton(Text(kStrSignIn));
    m_button->setObjectName(QStringLiteral("signInButton"));
    m_button->setDefault(true);
}

void SignInCard::MakeChoice() {
    m_choiceLine = new QWidget;
    auto* const line = new QHBoxLayout(m_choiceLine);
    line->setContentsMargins(0, 0, 0, 0);
    m_choice = new QComboBox;
    m_choice->setObjectName(QStringLiteral("recorder"));
    m_choice->setAccessibleName(Text(kStrRecorder));
    // A long name must not make the card wider.
    m_choice->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    m_choice->setMinimumContentsLength(8);
    for (const SignInEntry& entry : m_offer.remembered) {
        m_choice->addItem(ChoiceText(entry, m_offer.remembered));
        m_choice->setItemData(m_choice->count() - 1, MarkupOf(PlaceOf(entry).toStdString()), Qt::ToolTipRole);
    }
    m_choice->addItem(Text(kStrAnother));
    m_forget = new QPushButton(Text(kStrForget));
    m_forget->setObjectName(QStringLiteral("forget"));
    m_forget->setToolTip(Text(kStrForgetWhat));
    m_forget->setAccessibleDescription(Text(kStrForgetWhat));
    m_forget->setAutoDefault(false);
    line->addWidget(m_choice, 1);
    line->addWidget(m_forget);
    m_demo = new QPushButton(Text(kStrDemo));
    m_demo->setObjectName(QStringLiteral("demo"));
    m_demo->setAutoDefault(false);
    m_demo->setMinimumWidth(m_demo->sizeHint().width() + kButtonRoom);
    if (!m_offer.bDemo) {
        m_demo->hide();
    }
    ShowChoice();
}

// The one that the fields name.
void SignInCard::ShowChoice() {
    const SignInEntry now = GetEntry();
    const auto& all = m_offer.remembered;
    const auto same = std::find_if(all.begin(), all.end(),
                                   [&](const SignInEntry& each) { return IsSameSignIn(each, now); });
    m_choice->setCurrentIndex(static_cast<int>(same - all.begin()));
    m_forget->setEnabled(same != all.end());
}

void SignInCard::MakeLanguages(const std::vector<std::uint16_t>& languages, std::uint16_t language) {
    m_languages = new LanguageBox;
    for (const std::uint16_t langid : languages) {
        m_languages->addItem(QString::fromStdString(LanguageName(langid)), langid);
    }
    m_languages->setCurrentIndex(m_languages->findData(language));
    m_languages->setEnabled(m_languages->count() >= 2);
}

QFrame* SignInCard::MakeCard() {
    auto* const card = new QFrame(this);
    card->setObjectName(QStringLiteral("signInCard"));
    card->setFrameShape(QFrame::StyledPanel);
    card->setAutoFillBackground(true);
    card->setBackgroundRole(QPalette::Window);
    card->setFixedWidth(kCardWidth);
    m_message = MakeMessageLabel(card, kMessageLines);
    m_message->setObjectName(QStringLiteral("message"));
    m_message->setMinimumHeight(kMessageLines * m_message->fontMetrics().lineSpacing());
    m_message->setForegroundRole(QPalette::BrightText);
    Arrange(*card);
    return card;
}

// The Tab key follows the same order.
void SignInCard::Arrange(QFrame& card) {
    auto* const form = new QFormLayout(&card);
    form->setContentsMargins(24, 20, 24, 20);
    form->setVerticalSpacing(10);
    form->setHorizontalSpacing(14);
    form->setFieldGrowthPolicy(QFormLayout::ExpandingFieldsGrow);
    form->addRow(MakeTitle(card, m_offer.bFirstStart ? kStrWelcome : kStrTitle));
    if (m_offer.bFirstStart && m_offer.bDemo) {
        auto* const words = new QLabel(Text(kStrIntroduction), &card);
        words->setObjectName(QStringLiteral("introduction"));
        words->setWordWrap(true);
        form->addRow(words);
    }
    if (!m_offer.remembered.empty()) {
        form->addRow(Text(kStrRecorder), m_choiceLine);
    } else {
        m_choiceLine->setParent(&card);
        m_choiceLine->hide();
    }
    const struct {
        QWidget* field;
        const char* name;
        std::uint32_t label;
    } rows[] = {{m_address, "address", 6141},   {m_port, "port", 6142},      {m_user, "user", 6143},
                {m_password, "password", 6144}, {m_remember, "remember", 0}, {m_atStart, "atStart", 0},
                {m_languages, "language", 6123}};
    QWidget* previous = m_offer.remembered.empty() ? nullptr : m_forget;
    if (previous != nullptr) {
        setTabOrder(m_choice, m_forget);
    }
    for (const auto& row : rows) {
        row.field->setParent(&card);
        row.field->setObjectName(QString(row.name));
        if (row.label == 0) {
            form->addRow(QString(), row.field);
        } else {
            row.field->setAccessibleName(Text(row.label));
            form->addRow(Text(row.label), row.field);
        }
        if (previous != nullptr) {
            setTabOrder(previous, row.field);
        }
        previous = row.field;
    }
    form->addRow(m_message);
    auto* const line = new QHBoxLayout;
    line->addWidget(m_demo);
    line->addStretch();
    line->addWidget(m_button);
    form->addRow(line);
    setTabOrder(previous, m_demo);
    setTabOrder(m_demo, m_button);
}

void SignInCard::Connect() {
    for (QLineEdit* const field : {m_address, m_user}) {
        connect(field, &QLineEdit::textEdited, this, &SignInCard::OnEdited);
    }
    connect(m_port, &QSpinBox::valueChanged, this, &SignInCard::OnEdited);
    connect(m_password, &QLineEdit::textEdited, this, [this] { m_bPasswordRemembered = false; });
    connect(m_remember, &QCheckBox::toggled, this, [this](bool bOn) {
        m_atStart->setEnabled(bOn);
        m_atStart->setChecked(m_atStart->isChecked() && bOn);
    });
    // Who has a password kept is told where.
    connect(m_remember, &QCheckBox::clicked, this, [this](bool bOn) {
        Say(bOn ? LoadString(m_offer.bKeyRing ? kStrInKeyRing : kStrNoKeyRing) : std::string());
    });
    connect(m_button, &QPushButton::clicked, this, &SignInCard::OnButton);
    connect(m_choice, &QComboBox::activated, this, &SignInCard::OnChoice);
    connect(m_forget, &QPushButton::clicked, this, &SignInCard::OnForget);
    connect(m_demo, &QPushButton::clicked, this, &SignInCard::OnDemo);
    connect(m_languages, &QComboBox::activated, this, [this] {
        m_listener.OnSignInLanguage(static_cast<std::uint16_t>(m_languages->currentData().toUInt()));
    });
}

SignInEntry SignInCard::GetEntry() const {
    SignInEntry entry;
    entry.address = m_address->text().trimmed().toStdString();
    entry.port = static_cast<std::uint32_t>(m_port->value());
    entry.user = m_user->text().toStdString();
    entry.password = m_password->text().toStdString();
    entry.bRemember = m_remember->isChecked();
    entry.bAtStart = m_atStart->isChecked();
    return entry;
}

void SignInCard::Say(const std::string& text) {
    m_message->setText(QString::fromStdString(text));
    m_message->setAccessibleName(m_message->text());
    if (!text.empty()) {
        QAccessibleEvent event(m_message, QAccessible::Alert);
        QAccessible::updateAccessibility(&event);
    }
}

void SignInCard::FocusField() {
    QLineEdit* field = m_password;
    for (QLineEdit* const empty : {m_user, m_address}) {
        field = empty->text().isEmpty() ? empty : field;
    }
    field->selectAll();
    field->setFocus(Qt::OtherFocusReason);
}

// A remembered password belongs to one user at one recorder: no other gets it.
void SignInCard::OnEdited() {
    if (m_bPasswordRemembered) {
        WipePassword();
    }
    ShowChoice();
}

void SignInCard::OnChoice(int index) {
    if (m_trial->IsRunning()) {
        StopTrial();
    }
    WipePassword();
    Say({});
    const auto at = static_cast<std::size_t>(index);
    const SignInEntry entry = at < m_offer.remembered.size() ? m_offer.remembered[at] : SignInEntry();
    m_address->setText(QString::fromStdString(entry.address));
    m_port->setValue(static_cast<int>(entry.port));
    m_user->setText(QString::fromStdString(entry.user));
    m_remember->setChecked(entry.bRemember);
    m_bStartWithIt = false;
    ShowChoice();
    if (entry.bRemember) {
        Fetch(entry);
    }
}

void SignInCard::OnForget() {
    const auto at = static_cast<std::size_t>(m_choice->currentIndex());
    if (at >= m_offer.remembered.size()) {
        return;
    }
    const SignInEntry entry = m_offer.remembered[at];
    m_offer.remembered.erase(m_offer.remembered.begin() + m_choice->currentIndex());
    m_choice->removeItem(m_choice->currentIndex());
    m_listener.OnForget(entry);
    OnChoice(static_cast<int>(m_offer.remembered.size()));
    FocusField();
}

void SignInCard::Begin() {
    if (std::exchange(m_bFetch, false)) {
        Fetch(GetEntry());
    }
}

void SignInCard::Fetch(const SignInEntry& entry) {
    Say(LoadString(kStrFetching));
    m_listener.OnFetchPassword(entry);
}

// Comes late when the user has typed or chosen something else meanwhile.
void SignInCard::TakePassword(const SignInEntry& entry, const std::optional<std::string>& password) {
    if (!IsSameSignIn(entry, GetEntry()) || !m_password->text().isEmpty() || m_trial->IsRunning()) {
        return;
    }
    const bool bStart = std::exchange(m_bStartWithIt, false);
    if (!password) {
        Say(LoadString(kStrNotFetched));
        return;
    }
    Say({});
    m_password->setText(QString::fromStdString(*password));
    m_bPasswordRemembered = true;
    if (bStart) {
        Submit();
    }
}

void SignInCard::OnDemo() {
    if (m_trial->IsRunning()) {
        StopTrial();
    }
    m_demo->setEnabled(false);
    Say(LoadString(kStrDemoStarts));
    m_listener.OnStartDemo();
}

void SignInCard::TakeDemo(const std::optional<SignInEntry>& entry) {
    m_demo->setEnabled(true);
    if (!entry) {
        Say(LoadString(kStrNoDemo));
    } else if (!m_trial->IsRunning()) {
        Try(*entry);
    }
}

void SignInCard::WipePassword() {
    m_password->clear();
    m_bPasswordRemembered = false;
}

void SignInCard::OnButton() {
    m_trial->IsRunning() ? StopTrial() : Submit();
}

void SignInCard::Submit() {
    m_port->interpretText();
    const SignInEntry entry = GetEntry();
    const std::string fault = FindEntryFault(ServerOf(entry), {});
    if (!fault.empty()) {
        Say(fault);
        FocusField();
        return;
    }
    Try(entry);
}

void SignInCard::Try(const SignInEntry& entry) {
    if (m_trial->Start(ServerOf(entry))) {
        m_tried = entry;
        ShowTrial(true);
        Say(FillPattern(LoadString(kStrConnecting), {entry.address, std::to_string(entry.port)}));
    }
}

void SignInCard::StopTrial() {
    m_trial->Stop();
    ShowTrial(false);
    Say({});
    FocusField();
}

// Read only instead of disabled, so that the keyboard's focus stays where it is.
void SignInCard::ShowTrial(bool bRunning) {
    for (QLineEdit* const field : {m_address, m_user, m_password}) {
        field->setReadOnly(bRunning);
    }
    m_port->setReadOnly(bRunning);
    m_port->setButtonSymbols(bRunning ? QAbstractSpinBox::NoButtons : QAbstractSpinBox::UpDownArrows);
    m_button->setText(Text(bRunning ? kStrCancel : kStrSignIn));
}

void SignInCard::OnTried(const RecorderTestReport& report) {
    ShowTrial(false);
    SignInEntry entry = m_tried;
    Wipe(m_tried.password);
    if (entry.bDemo && report.result != RecorderTestResult::Works) {
        Say(LoadString(kStrNoDemo));
        return;
    }
    if (report.result != RecorderTestResult::Works) {
        Say(RecorderTestText(report));
        const bool bPlace = report.result != RecorderTestResult::WrongPassword;
        QLineEdit* const field = bPlace ? m_address : m_password;
        if (!bPlace) {
            WipePassword();
        }
        field->selectAll();
        field->setFocus(Qt::OtherFocusReason);
        return;
    }
    entry.name = report.name;
    WipePassword();
    Say({});
    m_listener.OnSignIn(entry);
    Wipe(entry.password);
}

// Reached from all fields, which ignore these keys.
void SignInCard::keyPressEvent(QKeyEvent* event) {
    switch (event->key()) {
        case Qt::Key_Enter:
        case Qt::Key_Return:
            if (!m_trial->IsRunning()) {
                Submit();
            }
            event->accept();
            break;
        case Qt::Key_Escape:
            if (m_trial->IsRunning()) {
                StopTrial();
                event->accept();
                break;
            }
            [[fallthrough]];
        default:
            QWidget::keyPressEvent(event);
    }
}

// A click must not reach the console below.
void SignInCard::mousePressEvent(QMouseEvent* event) {
    event->accept();
}

void SignInCard::mouseDoubleClickEvent(QMouseEvent* event) {
    event->accept();
}

}  // namespace kvmon
