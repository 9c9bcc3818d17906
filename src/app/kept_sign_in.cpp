#include "app/kept_sign_in.h"

#include <exception>

#include "app/guarded.h"
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

KeyRingLogin LoginOf(const SignInEntry& entry) {
    return {entry.address, entry.port, entry.user};
}

SignInEntry WithoutPassword(SignInEntry entry) {
    Wipe(entry.password);
    return entry;
}

}  // namespace

KeptSignIn::KeptSignIn(CTR450ClientImpl& client, COrvoRegistry& registry, KeyRing* keyRing,
                       std::function<void()> changed)
    : m_client(client),
      m_registry(registry),
      m_keyRing(keyRing),
      m_changed(std::move(changed)),
      m_recorders(registry) {}

KeptSignIn::~KeptSignIn() {
    if (!m_told) {
        return;
    }
    try {
        KeepHere(*m_told);
    } catch (const std::exception& cause) {
        TellLeftOut(cause);
    }
    Wipe(m_told->password);
}

void KeptSignIn::Begin(const PropertyBag& kept, const PropertyBag& told) {
    m_bKept = kept.contains(kAuth);
    m_bKnown = kept.contains(kAddress) || told.contains(kAddress) || told.contains(kAuth);
    if (kept.contains(kAddress) || told.contains(kAddress)) {
        m_entry.address = m_client.GetServerIP();
    }
    m_entry.port = m_client.GetServerPort();
    const auto start = kept.find(kAutoStart);
    const bool bAtStart = start != kept.end() && ToLong(start->second).value_or(0) != 0;
    const auto remembered = m_recorders.FindAt(m_entry.address, m_entry.port);
    m_entry.bRemember = m_bKept || remembered;
    m_entry.bAtStart = m_entry.bRemember && bAtStart;
    const auto credential = DecodeAuthText(m_client.GetAuthData());
    if (!credential) {
        if (remembered) {
            m_entry.user = remembered->entry.user;
            m_entry.bFetch = true;
        }
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
    m_entry.bFetch = false;
    Wipe(m_entry.password);
}

// The last session's login stands among the settings only where the key ring does not have it.
void KeptSignIn::KeepLast(const SignInEntry& entry, const std::string& auth) {
    PropertyBag kept;
    kept[kAddress] = entry.address;
    kept[kPort] = static_cast<std::int32_t>(entry.port);
    if (entry.bRemember || m_bKept) {
        kept[kAuth] = auth;
        kept[kAutoStart] = entry.bRemember && entry.bAtStart ? 1 : 0;
    }
    KeepChangedProperties(m_registry, {}, kept);
}

void KeptSignIn::OnSignedIn(const SignInEntry& entry) {
    std::string auth = MakeBasicAuth(entry.user, entry.password);
    const WipeAtEnd wipe(auth);
    const bool bMoved = entry.address != m_client.GetServerIP() || entry.port != m_client.GetServerPort();
    m_client.MoveTo(entry.address, entry.port);
    m_client.SetAuthData(auth);
    m_client.SetAutoStart(1);
    if (!entry.bDemo) {
        m_bKnown = true;
        m_bKept = m_bKept || m_recorders.Find(entry);
        if (entry.bRemember || bMoved || m_bKept) {
            KeepLast(entry, entry.bRemember && !HasKeyRing() ? auth : std::string());
        }
        if (entry.bRemember) {
            Remember(entry);
        } else {
            Forget(entry);
        }
        m_bKept = entry.bRemember;
        KeepDraft(entry);
    }
    m_changed();
}

void KeptSignIn::Remember(const SignInEntry& entry) {
    HasKeyRing() ? KeepInKeyRing(entry) : KeepHere(entry);
}

void KeptSignIn::KeepHere(const SignInEntry& entry) {
    if (const auto gone = m_recorders.Put(entry, entry.password)) {
        ForgetPassword(*gone);
    }
}

void KeptSignIn::KeepInKeyRing(const SignInEntry& entry) {
    if (m_told) {
        KeepHere(*m_told);
        Wipe(m_told->password);
    }
    m_told = entry;
    m_keyRing->Store(LoginOf(entry), entry.password,
                     [this, alive = std::weak_ptr(m_alive), login = WithoutPassword(entry)](bool bStored) {
                         if (alive.expired() || !m_told || !IsSameSignIn(*m_told, login)) {
                             return;
                         }
                         if (!bStored) {
                             KeepHere(*m_told);
                         } else if (const auto gone = m_recorders.Put(*m_told, std::nullopt)) {
                             ForgetPassword(*gone);
                         }
                         Wipe(m_told->password);
                         m_told.reset();
                     });
}

std::vector<SignInEntry> KeptSignIn::Remembered() const {
    std::vector<SignInEntry> entries;
    for (const RememberedRecorder& each : m_recorders.All()) {
        entries.push_back(each.entry);
    }
    return entries;
}

void KeptSignIn::FetchPassword(const SignInEntry& entry,
                               std::function<void(std::optional<std::string>)> fetched) {
    const auto found = m_recorders.Find(entry);
    if (!found || !found->bInKeyRing) {
        fetched(found ? m_recorders.Password(*found) : std::nullopt);
    } else if (HasKeyRing()) {
        m_keyRing->Lookup(LoginOf(entry), std::move(fetched));
    } else {
        fetched(std::nullopt);
    }
}

void KeptSignIn::ForgetPassword(const RememberedRecorder& recorder) {
    if (recorder.bInKeyRing && HasKeyRing()) {
        m_keyRing->Forget(LoginOf(recorder.entry));
    }
}

void KeptSignIn::Forget(const SignInEntry& entry) {
    if (m_told && IsSameSignIn(*m_told, entry)) {
        Wipe(m_told->password);
        m_told.reset();
    }
    if (const auto found = m_recorders.Find(entry)) {
        ForgetPassword(*found);
        m_recorders.Remove(entry);
    }
    // As the last session's it may stand there, too.
    const PropertyBag kept = LoadKeptProperties(m_registry);
    const auto auth = kept.find(kAuth);
    const auto credential =
        auth != kept.end() ? DecodeAuthText(ToText(auth->second).value_or(std::string())) : std::nullopt;
    const PropertyBag place{{kAddress, entry.address}, {kPort, static_cast<std::int32_t>(entry.port)}};
    if (credential && credential->first == entry.user && !NamesAnotherRecorder(kept, place)) {
        KeepChangedProperties(m_registry, {}, {{kAuth, std::string()}, {kAutoStart, 0}});
    }
}

bool KeptSignIn::IsFirstStart() const {
    return !m_bKnown && m_recorders.All().empty();
}

void KeptSignIn::StartDemo(std::function<void(std::optional<SignInEntry>)> started) {
    m_demo.Start([started = std::move(started)](std::uint16_t port) {
        SignInEntry entry;
        entry.address = DemoRecorder::kAddress;
        entry.port = port;
        entry.user = DemoRecorder::kUser;
        entry.password = DemoRecorder::kPassword;
        entry.bDemo = true;
        started(port != 0 ? std::optional(entry) : std::nullopt);
    });
}

}  // namespace kvmon
