// What a host remembers of the user's sign-ins.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace kvmon {

struct SignInEntry {
    std::string address;
    std::uint32_t port = 80;
    std::string user;
    std::string password;
    bool bRemember = false;
    bool bAtStart = false;
    std::string name;     // of the recorder, as it told it
    bool bFetch = false;  // the password is remembered, and has to be asked for
    bool bDemo = false;   // the recorder that comes with the program
};

// Where recorders are looked for.
struct SearchFrom {
    std::string address;     // of this computer, for its network alone; empty for all networks
    std::uint16_t port = 0;  // 0: where recorders listen unless told otherwise
};

// The same user at the same recorder.
inline bool IsSameSignIn(const SignInEntry& a, const SignInEntry& b) {
    return a.address == b.address && a.port == b.port && a.user == b.user;
}

// Implemented by a host whose users sign in at the console. What is asked for comes by a call later, in a
// turn of the event loop of its own, or at once. User interface thread only.
class SignInMemory {
public:
    virtual ~SignInMemory() = default;

    // What the fields begin with.
    virtual SignInEntry Load() const = 0;
    // For the next Load of this run. The password is not kept.
    virtual void KeepDraft(const SignInEntry& entry) = 0;
    // The recorder took this login, and the session begins: stores what the user wants remembered.
    virtual void OnSignedIn(const SignInEntry& entry) = 0;

    // The remembered ones, the last one first; without their passwords.
    virtual std::vector<SignInEntry> Remembered() const = 0;
    virtual void FetchPassword(const SignInEntry& entry,
                               std::function<void(std::optional<std::string>)> fetched) = 0;
    virtual void Forget(const SignInEntry& entry) = 0;
    // What is remembered goes to the desktop's own keeper of passwords.
    virtual bool HasKeyRing() const = 0;

    // Nothing was ever remembered, or told.
    virtual bool IsFirstStart() const = 0;
    virtual SearchFrom Search() const = 0;
    virtual bool HasDemo() const = 0;
    // Nothing if it does not start.
    virtual void StartDemo(std::function<void(std::optional<SignInEntry>)> started) = 0;
};

}  // namespace kvmon
