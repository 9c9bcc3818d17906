#include "console/dialogs/sign_in_card.h"

#include <QtGui/QAccessible>
#include <QtGui/QKeyEvent>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QSpinBox>
#include <algorithm>
#include <utility>

#include "console/dialogs/dialog_parts.h"
#include "console/dialogs/message_box.h"
#include "console/dialogs/recorder_search_dialog.h"
#include "console/dialogs/recorder_trial.h"
#include "console/settings/fill_pattern.h"
#include "console/settings/recorder_entry.h"
#include "persist/string_table.h"
#include "platform/secret_memory.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kStrCardTitle = 7000;
constexpr std::uint32_t kStrConnecting = 6150;
constexpr std::uint32_t kStrDemoStarts = 7204;
constexpr std::uint32_t kStrNoDemo = 7205;
constexpr std::uint32_t kStrFetching = 7210;
constexpr std::uint32_t kStrNotFetched = 7211;
constexpr std::uint32_t kStrInKeyRing = 7212;
constexpr std::uint32_t kStrNoKeyRing = 7213;

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
    setAccessibleName(Text(kStrCardTitle));
    setAutoFillBackground(true);
    setBackgroundRole(QPalette::Shadow);

    m_fields = MakeSignInFields(entry, m_offer, languages, language, *this);
    ShowChoice();
    Connect();
}

SignInCard::~SignInCard() {
    Wipe(m_tried.password);
    WipePassword();
}

// The one that the fields name.
void SignInCard::ShowChoice() {
    const SignInEntry now = m_fields.GetEntry();
    const auto& all = m_offer.remembered;
    const auto same = std::find_if(all.begin(), all.end(),
                                   [&](const SignInEntry& each) { return IsSameSignIn(each, now); });
    m_fields.choice->setCurrentIndex(static_cast<int>(same - all.begin()));
    m_fields.forget->setEnabled(same != all.end());
}

void SignInCard::Connect() {
    for (QLineEdit* const field : {m_fields.address, m_fields.user}) {
        connect(field, &QLineEdit::textEdited, this, &SignInCard::OnEdited);
    }
    connect(m_fields.port, &QSpinBox::valueChanged, this, &SignInCard::OnEdited);
    connect(m_fields.password, &QLineEdit::textEdited, this, [this] { m_bPasswordRemembered = false; });
    connect(m_fields.remember, &QCheckBox::toggled, this, [this](bool bOn) {
        m_fields.atStart->setEnabled(bOn);
        m_fields.atStart->setChecked(m_fields.atStart->isChecked() && bOn);
    });
    // Who has a password kept is told where.
    connect(m_fields.remember, &QCheckBox::clicked, this, [this](bool bOn) {
        Say(bOn ? LoadString(m_offer.bKeyRing ? kStrInKeyRing : kStrNoKeyRing) : std::string());
    });
    connect(m_fields.button, &QPushButton::clicked, this, &SignInCard::OnButton);
    connect(m_fields.choice, &QComboBox::activated, this, &SignInCard::OnChoice);
    connect(m_fields.forget, &QPushButton::clicked, this, &SignInCard::OnForget);
    connect(m_fields.demo, &QPushButton::clicked, this, &SignInCard::OnDemo);
    connect(m_fields.search, &QPushButton::clicked, this, &SignInCard::OnSearch);
    connect(m_fields.languages, &QComboBox::activated, this, [this] {
        m_listener.OnSignInLanguage(static_cast<std::uint16_t>(m_fields.languages->currentData().toUInt()));
    });
}

void SignInCard::Say(const std::string& text) {
    m_fields.message->setText(QString::fromStdString(text));
    m_fields.message->setAccessibleName(m_fields.message->text());
    if (!text.empty()) {
        QAccessibleEvent event(m_fields.message, QAccessible::Alert);
        QAccessible::updateAccessibility(&event);
    }
}

void SignInCard::FocusField() {
    QLineEdit* field = m_fields.password;
    for (QLineEdit* const empty : {m_fields.user, m_fields.address}) {
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
    m_fields.address->setText(QString::fromStdString(entry.address));
    m_fields.port->setValue(static_cast<int>(entry.port));
    m_fields.user->setText(QString::fromStdString(entry.user));
    m_fields.remember->setChecked(entry.bRemember);
    m_bStartWithIt = false;
    ShowChoice();
    if (entry.bRemember) {
        Fetch(entry);
    }
}

void SignInCard::OnForget() {
    const auto at = static_cast<std::size_t>(m_fields.choice->currentIndex());
    if (at >= m_offer.remembered.size()) {
        return;
    }
    const SignInEntry entry = m_offer.remembered[at];
    m_offer.remembered.erase(m_offer.remembered.begin() + m_fields.choice->currentIndex());
    m_fields.choice->removeItem(m_fields.choice->currentIndex());
    m_listener.OnForget(entry);
    OnChoice(static_cast<int>(m_offer.remembered.size()));
    FocusField();
}

void SignInCard::Begin() {
    if (std::exchange(m_bFetch, false)) {
        Fetch(m_fields.GetEntry());
    }
}

void SignInCard::Fetch(const SignInEntry& entry) {
    Say(LoadString(kStrFetching));
    m_listener.OnFetchPassword(entry);
}

// Comes late when the user has typed or chosen something else meanwhile.
void SignInCard::TakePassword(const SignInEntry& entry, const std::optional<std::string>& password) {
    if (!IsSameSignIn(entry, m_fields.GetEntry()) || !m_fields.password->text().isEmpty() ||
        m_trial->IsRunning()) {
        return;
    }
    const bool bStart = std::exchange(m_bStartWithIt, false);
    if (!password) {
        Say(LoadString(kStrNotFetched));
        return;
    }
    Say({});
    m_fields.password->setText(QString::fromStdString(*password));
    m_bPasswordRemembered = true;
    if (bStart) {
        Submit();
    }
}

void SignInCard::OnDemo() {
    if (m_trial->IsRunning()) {
        StopTrial();
    }
    m_fields.demo->setEnabled(false);
    Say(LoadString(kStrDemoStarts));
    m_listener.OnStartDemo();
}

void SignInCard::TakeDemo(const std::optional<SignInEntry>& entry) {
    m_fields.demo->setEnabled(true);
    if (!entry) {
        Say(LoadString(kStrNoDemo));
    } else if (!m_trial->IsRunning()) {
        Try(*entry);
    }
}

void SignInCard::OnSearch() {
    if (m_trial->IsRunning()) {
        StopTrial();
    }
    auto* const dialog = new RecorderSearchDialog(
        {m_offer.search.address, m_offer.search.port},
        [this](const FoundRecorder& found) { TakeFound(found.address, found.port); }, this);
    OpenDialog(dialog);
}

// One that is remembered comes with its login.
void SignInCard::TakeFound(const std::string& address, std::uint32_t port) {
    const auto& all = m_offer.remembered;
    const auto known = std::find_if(all.begin(), all.end(), [&](const SignInEntry& each) {
        return each.address == address && each.port == port;
    });
    if (known != all.end()) {
        OnChoice(static_cast<int>(known - all.begin()));
    } else {
        m_fields.address->setText(QString::fromStdString(address));
        m_fields.port->setValue(static_cast<int>(port));
        OnEdited();
        Say({});
    }
    FocusField();
}

void SignInCard::WipePassword() {
    m_fields.password->clear();
    m_bPasswordRemembered = false;
}

void SignInCard::OnButton() {
    m_trial->IsRunning() ? StopTrial() : Submit();
}

void SignInCard::Submit() {
    m_fields.port->interpretText();
    const SignInEntry entry = m_fields.GetEntry();
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
        m_fields.SetTrying(true);
        Say(FillPattern(LoadString(kStrConnecting), {entry.address, std::to_string(entry.port)}));
    }
}

void SignInCard::StopTrial() {
    m_trial->Stop();
    m_fields.SetTrying(false);
    Say({});
    FocusField();
}

void SignInCard::OnTried(const RecorderTestReport& report) {
    m_fields.SetTrying(false);
    SignInEntry entry = m_tried;
    Wipe(m_tried.password);
    if (entry.bDemo && report.result != RecorderTestResult::Works) {
        Say(LoadString(kStrNoDemo));
        return;
    }
    if (report.result != RecorderTestResult::Works) {
        Say(RecorderTestText(report));
        const bool bPlace = report.result != RecorderTestResult::WrongPassword;
        QLineEdit* const field =
            bPlace && m_fields.address->isEnabled() ? m_fields.address : m_fields.password;
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
