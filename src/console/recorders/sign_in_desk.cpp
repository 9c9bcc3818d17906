#include "console/recorders/sign_in_desk.h"

#include "console/dialogs/set_lang_dlg.h"
#include "console/ports/client_site.h"
#include "console/ports/desk.h"
#include "console/settings/console_settings.h"
#include "console/wall/view_controller.h"
#include "persist/string_table.h"
#include "platform/secret_memory.h"
#include "server/recorder_list.h"
#include "skin/window_base.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kStrRefused = 6155;

}  // namespace

SignInDesk::~SignInDesk() {
    Remove();
}

void SignInDesk::Update() {
    SignInMemory* const memory = m_site.SignIn();
    if (memory == nullptr || m_desk.IsClosing() || m_desk.IsLoggedIn()) {
        Remove();
        return;
    }
    if (!m_card && m_desk.IsWaitShown()) {
        return;  // the last session has not ended yet
    }
    QWidget* const host = m_desk.DialogHost();
    if (m_bLocked != m_desk.IsLocked()) {
        Remove();
    }
    if (m_card && m_card->parentWidget() == host) {
        Place(*host);
        return;
    }
    if (m_card) {
        m_card->setParent(host);
    } else {
        MakeCard(*memory, *host);
    }
    Place(*host);
    m_card->show();
    m_card->FocusField();
    m_card->Begin();
}

// On a locked wall whoever stands before it may go on with the session, and do nothing else.
void SignInDesk::MakeCard(SignInMemory& memory, QWidget& host) {
    SignInEntry entry = memory.Load();
    SignInOffer offer{
        memory.Remembered(), memory.IsFirstStart(), memory.HasDemo(), memory.HasKeyRing(), false,
        memory.Search()};
    std::vector<std::uint16_t> languages = CSetLangDlg::GetAvailableLanguages();
    const CKelvaraInfo* const first = m_recorders.GetServer(0);
    m_bLocked = m_desk.IsLocked();
    if (m_bLocked && first != nullptr) {
        if (entry.address != first->GetHost() || entry.port != first->GetPort()) {
            Wipe(entry.password);
            entry = SignInEntry();
            entry.address = first->GetHost();
            entry.port = first->GetPort();
        }
        const bool bKeyRing = offer.bKeyRing;
        offer = SignInOffer();
        offer.bKeyRing = bKeyRing;
        offer.bThisRecorderAlone = true;
        languages = {m_settings.language};
    }
    m_card = new SignInCard(entry, std::move(offer), languages, m_settings.language, *this, &host);
    m_card->Say(m_words);
    m_words.clear();
}

void SignInDesk::Place(QWidget& host) {
    const QRect place = m_view.WallIn(host);
    if (m_card->geometry() != place) {
        m_card->setGeometry(place);
    }
    m_card->raise();
}

void SignInDesk::Remove() {
    if (!m_card) {
        return;
    }
    if (SignInMemory* const memory = m_site.SignIn()) {
        memory->KeepDraft(m_card->GetEntry());
    }
    // Later: the card may be the caller.
    m_card->hide();
    m_card->deleteLater();
    m_card = nullptr;
}

bool SignInDesk::IsOffered() const {
    return m_site.SignIn() != nullptr;
}

bool SignInDesk::Focus() {
    Update();
    if (m_card) {
        m_card->FocusField();
    }
    return m_card != nullptr;
}

void SignInDesk::OnSessionBegins(const std::string& user) {
    SignInMemory* const memory = m_site.SignIn();
    const CKelvaraInfo* const first = m_recorders.GetServer(0);
    if (memory == nullptr || first == nullptr) {
        return;
    }
    Remove();
    m_words.clear();
    if (m_bDemo) {
        return;  // nobody is to sign in there by hand
    }
    SignInEntry entry = memory->Load();
    entry.address = first->GetHost();
    entry.port = first->GetPort();
    entry.user = user;
    memory->KeepDraft(entry);
}

void SignInDesk::OnRefused() {
    m_words = LoadString(kStrRefused);
}

void SignInDesk::OnSignIn(const SignInEntry& entry) {
    CKelvaraInfo* const first = m_recorders.GetServer(0);
    SignInMemory* const memory = m_site.SignIn();
    if (first == nullptr || memory == nullptr) {
        return;
    }
    memory->OnSignedIn(entry);
    first->SetConnectInfo(0, entry.address, entry.port, {}, {});
    m_bDemo = entry.bDemo;
    m_login.LogIn(entry.user, entry.password);
    m_bDemo = false;
    m_desk.Window().setFocus();
}

void SignInDesk::OnFetchPassword(const SignInEntry& entry) {
    m_site.SignIn()->FetchPassword(
        entry, [this, alive = std::weak_ptr(m_alive), entry](const std::optional<std::string>& password) {
            if (!alive.expired() && m_card) {
                m_card->TakePassword(entry, password);
            }
        });
}

void SignInDesk::OnForget(const SignInEntry& entry) {
    m_site.SignIn()->Forget(entry);
}

void SignInDesk::OnStartDemo() {
    m_site.SignIn()->StartDemo(
        [this, alive = std::weak_ptr(m_alive)](const std::optional<SignInEntry>& entry) {
            if (!alive.expired() && m_card) {
                m_card->TakeDemo(entry);
            }
        });
}

void SignInDesk::OnSignInLanguage(std::uint16_t langid) {
    if (langid != m_settings.language) {
        m_site.NotifyChangeLanguage(langid);
    }
}

}  // namespace kvmon
