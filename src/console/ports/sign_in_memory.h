// What a host remembers of the user's sign-in.
#pragma once

#include <cstdint>
#include <string>

namespace kvmon {

struct SignInEntry {
    std::string address;
    std::uint32_t port = 80;
    std::string user;
    std::string password;
    bool bRemember = false;
    bool bAtStart = false;
};

// Implemented by a host whose users sign in at the console. User interface thread only.
class SignInMemory {
public:
    virtual ~SignInMemory() = default;

    // What the fields begin with.
    virtual SignInEntry Load() const = 0;
    // For the next Load of this run. The password is not kept.
    virtual void KeepDraft(const SignInEntry& entry) = 0;
    // The recorder took this login, and the session begins: stores what the user wants remembered.
    virtual void OnSignedIn(const SignInEntry& entry) = 0;
};

}  // namespace kvmon
