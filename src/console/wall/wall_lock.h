// A wall that whoever stands before it can look at, but not leave.
#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QPointer>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace kvmon {

class Clock;
class Desk;
class RecorderList;
class UnlockDialog;
class ViewController;

// Full screen is locked as soon as somebody has logged in, and stays so when the session ends. Holds no
// password: only what one that is entered can be compared with. User interface thread only.
class WallLock {
public:
    WallLock(Desk& desk, const ViewController& view, const RecorderList& recorders, Clock& clock);

    // From the start of the program on.
    void Lock() { m_bWanted = true; }
    bool IsLocked() const;
    // The login has changed: its password is what is asked for from now on. While the wall is locked only
    // another login at the same recorder counts, or whoever has a recorder would have the key.
    void NoteLogin();
    // Asks for the password of the login; with the right one `unlocked` is called. After a few wrong ones it
    // takes none for a while, also when it is asked anew.
    void Ask(std::function<void()> unlocked);

private:
    struct Key {
        std::string host;
        std::uint32_t port = 0;
        std::string user;
        QByteArray salt;
        QByteArray hash;
    };

    bool IsRight(const std::string& password);
    int SecondsToWait() const;

    Desk& m_desk;
    const ViewController& m_view;
    const RecorderList& m_recorders;
    Clock& m_clock;
    bool m_bWanted = false;
    std::optional<Key> m_key;
    int m_nWrong = 0;  // one after the other
    std::uint64_t m_nWaitUntil = 0;
    QPointer<UnlockDialog> m_dialog;
};

}  // namespace kvmon
