#include "console/wall/wall_lock.h"

#include <nettle/pbkdf2.h>
#include <nettle/sha2.h>

#include <QtCore/QRandomGenerator>
#include <algorithm>

#include "console/dialogs/message_box.h"
#include "console/dialogs/unlock_dialog.h"
#include "console/ports/desk.h"
#include "console/wall/view_controller.h"
#include "platform/clock.h"
#include "platform/secret_memory.h"
#include "server/recorder_list.h"

namespace kvmon {

namespace {

constexpr int kSaltSize = 16;
constexpr int kRounds = 5000;  // some milliseconds
constexpr int kFreeTries = 3;
constexpr std::uint64_t kFirstWaitMs = 5'000;  // doubled with each that follows
constexpr std::uint64_t kLongestWaitMs = 60'000;

QByteArray MakeSalt() {
    QByteArray salt(kSaltSize, Qt::Uninitialized);
    std::generate(salt.begin(), salt.end(),
                  [] { return static_cast<char>(QRandomGenerator::system()->generate() & 0xFF); });
    return salt;
}

QByteArray Stretch(const std::string& password, const QByteArray& salt) {
    QByteArray hash(SHA256_DIGEST_SIZE, '\0');
    pbkdf2_hmac_sha256(password.size(), reinterpret_cast<const std::uint8_t*>(password.data()), kRounds,
                       static_cast<std::size_t>(salt.size()),
                       reinterpret_cast<const std::uint8_t*>(salt.constData()),
                       static_cast<std::size_t>(hash.size()), reinterpret_cast<std::uint8_t*>(hash.data()));
    return hash;
}

}  // namespace

WallLock::WallLock(Desk& desk, const ViewController& view, const RecorderList& recorders, Clock& clock)
    : m_desk(desk), m_view(view), m_recorders(recorders), m_clock(clock) {}

// Without a login there is nothing to ask for.
bool WallLock::IsLocked() const {
    return m_bWanted && m_key && m_view.IsFullScreen();
}

void WallLock::NoteLogin() {
    const CKelvaraInfo* const first = m_recorders.GetServer(0);
    if (!m_bWanted || first == nullptr || !m_desk.IsLoggedIn() || first->GetUser().empty()) {
        return;
    }
    if (IsLocked() && (m_key->host != first->GetHost() || m_key->port != first->GetPort())) {
        return;
    }
    std::string password = first->GetPassword();
    const WipeAtEnd wipe(password);
    Key key{first->GetHost(), first->GetPort(), first->GetUser(), MakeSalt(), {}};
    key.hash = Stretch(password, key.salt);
    m_key = std::move(key);
}

bool WallLock::IsRight(const std::string& password) {
    if (Stretch(password, m_key->salt) == m_key->hash) {
        m_nWrong = 0;
        return true;
    }
    if (++m_nWrong >= kFreeTries) {
        // Few doublings lead to the longest wait.
        const int doubled = std::min(m_nWrong - kFreeTries, 10);
        m_nWaitUntil = m_clock.TickMs() + std::min(kFirstWaitMs << doubled, kLongestWaitMs);
    }
    return false;
}

int WallLock::SecondsToWait() const {
    const std::uint64_t now = m_clock.TickMs();
    return now < m_nWaitUntil ? static_cast<int>((m_nWaitUntil - now + 999) / 1000) : 0;
}

void WallLock::Ask(std::function<void()> unlocked) {
    if (m_dialog && m_dialog->isVisible()) {
        m_dialog->raise();
        m_dialog->activateWindow();
        return;
    }
    m_dialog = new UnlockDialog(
        m_key->user, [this](const std::string& password) { return IsRight(password); },
        [this] { return SecondsToWait(); }, m_desk.DialogHost());
    m_dialog->setProperty(kOutlivesSession, true);
    QObject::connect(m_dialog, &QDialog::accepted, m_dialog, std::move(unlocked));
    OpenDialog(m_dialog);
}

}  // namespace kvmon
