// The keys of the console: what they do, and how they are written.
#pragma once

#include <QtCore/QString>
#include <cstdint>
#include <span>
#include <string>

class QKeyEvent;

namespace kvmon {

class Commands;
class ConsoleControls;
class Desk;
class Timers;

// One key and its command.
struct ConsoleKey {
    int key;             // Qt::Key, with its modifiers where they belong to it
    int command;         // of the console's table, or one of those below
    bool held;           // steers the camera's head as long as it is down
    std::uint32_t text;  // what it does, for commands whose control has no text
};

// Commands of keys alone.
inline constexpr int kKeyNextPage = -1;
inline constexpr int kKeyPreviousPage = -2;
inline constexpr int kKeyHelp = -3;
inline constexpr int kKeyCameraRight = -4;
inline constexpr int kKeyCameraLeft = -5;
inline constexpr int kKeyCameraUp = -6;
inline constexpr int kKeyCameraDown = -7;
inline constexpr int kKeyAlone = -8;
inline constexpr int kKeyCellMenu = -9;
inline constexpr int kKeyLeave = -10;
inline constexpr int kKeyBar = -21;
inline constexpr int kKeyFirstView = -19;
inline constexpr int kKeyLastView = -11;
inline constexpr int kKeyQuit = -20;
inline constexpr int kKeyGallery = -61;
inline constexpr int kKeyFeedback = -62;
inline constexpr int kKeyWalls = -63;

constexpr bool IsOfKeysAlone(int command) {
    return command < 0;
}

std::span<const ConsoleKey> ConsoleKeyTable();
// A key as a user reads it.
QString KeyName(int key);
// The key of a command, such as "Ctrl+1"; empty for none.
QString ShortcutName(int command);

// Keys that come to the console, or to a panel that holds its windows. User interface thread only.
class ConsoleKeys {
public:
    ConsoleKeys(Desk& desk, Timers& timers, const ConsoleControls& controls, Commands& commands)
        : m_desk(desk), m_timers(timers), m_controls(controls), m_commands(commands) {}

    // True when the key was one of the console's.
    bool OnKeyPress(const QKeyEvent& event);
    bool OnKeyRelease(const QKeyEvent& event);
    // Timer kTimerKeyRelease: no press has followed, so it was a real release.
    void OnReleaseTimer() { ReleaseAll(); }
    // The keyboard is gone: what was held counts as released.
    void ReleaseAll();
    // A key holds this command of the head.
    bool IsHeld(int command) const { return m_down != nullptr && m_down->command == command; }

private:
    void Run(int command);
    bool IsRepeat(const QKeyEvent& event) const;

    Desk& m_desk;
    Timers& m_timers;
    const ConsoleControls& m_controls;
    Commands& m_commands;
    const ConsoleKey* m_down = nullptr;  // the key that steers the head
    int m_releasedKey = 0;
    std::uint64_t m_releasedAt = 0;  // by the window system's clock; 0: it told none
};

}  // namespace kvmon
