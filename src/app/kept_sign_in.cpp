#include "app/kept_sign_in.h"

#include "control/auth_text.h"
#include "persist/orvo_registry.h"
#include "persist/utilities.h"
#include "platform/secret_memory.h"

namespace kvmon {

namespace {

constexpr const char* kAddress = "ServerIP";
constexpr const char* kPort = "ServerPort";
constexpr const char* kAuth = "AuthData";
constexpr const char* kAutoStart = "AutoStart";

}  // namespace

KeptSignIn::KeptSignIn(CTR450ClientImpl& client, COrvoRegistry& registry, std::function<void()> changed)
    : m_client(client), m_registry(registry), m_changed(std::move(changed)) {}

void KeptSignIn::Begin(const PropertyBag& kept, const PropertyBag& told) {
    m_bKept = kept.contains(kAuth);
    if (kept.contains(kAddress) || told.contains(kAddress)) {
        m_entry.address = m_client.GetServerIP();
    }
    m_entry.port = m_client.GetServerPort();
    m_entry.bRemember = m_bKept;
    const auto start = kept.find(kAutoStart);
    m_entry.bAtStart = m_bKept && start != kept.end() && ToLong(start->second).value_or(0) != 0;
    const auto credential = DecodeAuthText(m_client.GetAuthData());
    if (!credential) {
        return;
    }
    m_entry.user = credential->first;
    if (told.contains(kAuth) || !NamesAnotherRecorder(kept, told)) {
        m_entry.password = credential->second;
    }
}

void KeptSignIn::OnLogout() {
    m_client.SetAutoStart(0);
    m_changed();
}

void KeptSignIn::KeepDraft(const SignInEntry& entry) {
    m_entry = entry;
    Wipe(m_entry.password);
}

void KeptSignIn::OnSignedIn(const SignInEntry& entry) {
    std::string auth = MakeBasicAuth(entry.user, entry.password);
    const WipeAtEnd wipe(auth);
    const bool bMoved = entry.address != m_client.GetServerIP() || entry.port != m_client.GetServerPort();
    m_client.MoveTo(entry.address, entry.port);
    m_client.SetAuthData(auth);
    m_client.SetAutoStart(1);
    PropertyBag kept;
    if (entry.bRemember || bMoved) {
        kept[kAddress] = entry.address;
        kept[kPort] = static_cast<std::int32_t>(entry.port);
    }
    if (entry.bRemember || m_bKept) {
        kept[kAuth] = entry.bRemember ? auth : std::string();
        kept[kAutoStart] = entry.bRemember && entry.bAtStart ? 1 : 0;
    }
    KeepChangedProperties(m_registry, {}, kept);
    m_bKept = entry.bRemember;
    KeepDraft(entry);
    m_changed();
}

}  // namespace kvmon
