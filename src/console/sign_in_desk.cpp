#include "console/sign_in_desk.h"

#include "console/main_dlg.h"
#include "console/set_lang_dlg.h"
#include "persist/string_table.h"
#include "server/recorder_list.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kStrRefused = 6155;

}  // namespace

SignInDesk::~SignInDesk() {
    Remove();
}

void SignInDesk::Update() {
    SignInMemory* const memory = m_dlg.Site().SignIn();
    if (memory == nullptr || m_dlg.IsClosing() || m_dlg.IsLoggedIn()) {
        Remove();
        return;
    }
    if (!m_card && m_dlg.IsWaitDialogShown()) {
        return;  // the last session is not at its end
    }
    QWidget* const host = m_dlg.Screens().DialogHost();
    if (m_card && m_card->parentWidget() == host) {
        Place(*host);
        return;
    }
    if (m_card) {
        m_card->setParent(host);
    } else {
        m_card = new SignInCard(memory->Load(), CSetLangDlg::GetAvailableLanguages(), m_dlg.GetLanguage(),
                                *this, host);
        m_card->Say(m_words);
        m_words.clear();
    }
    Place(*host);
    m_card->show();
    m_card->FocusField();
}

void SignInDesk::Place(QWidget& host) {
    const PixelRect& wall = m_dlg.View().GetViewRectangle();
    const QRect place =
        &host == &m_dlg ? QRect(wall.left, wall.top, wall.Width(), wall.Height()) : host.rect();
    if (m_card->geometry() != place) {
        m_card->setGeometry(place);
    }
    m_card->raise();
}

void SignInDesk::Remove() {
    if (!m_card) {
        return;
    }
    if (SignInMemory* const memory = m_dlg.Site().SignIn()) {
        memory->KeepDraft(m_card->GetEntry());
    }
    // It may be the card that this comes from.
    m_card->hide();
    m_card->deleteLater();
    m_card = nullptr;
}

bool SignInDesk::Focus() {
    Update();
    if (m_card) {
        m_card->FocusField();
    }
    return m_card != nullptr;
}

void SignInDesk::OnSessionBegins(const std::string& user) {
    SignInMemory* const memory = m_dlg.Site().SignIn();
    const CKelvaraInfo* const first = m_dlg.Recorders().GetServer(0);
    if (memory == nullptr || first == nullptr) {
        return;
    }
    Remove();
    m_words.clear();
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
    CKelvaraInfo* const first = m_dlg.Recorders().GetServer(0);
    SignInMemory* const memory = m_dlg.Site().SignIn();
    if (first == nullptr || memory == nullptr) {
        return;
    }
    memory->OnSignedIn(entry);
    first->SetConnectInfo(0, entry.address, entry.port, {}, {});
    m_dlg.AutoLogin(entry.user, entry.password);
    m_dlg.setFocus();
}

void SignInDesk::OnSignInLanguage(std::uint16_t langid) {
    if (langid != m_dlg.GetLanguage()) {
        m_dlg.Site().NotifyChangeLanguage(langid);
    }
}

}  // namespace kvmon
