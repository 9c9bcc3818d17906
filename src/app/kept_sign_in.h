// What the desktop remembers of its user's sign-in.
#pragma once

#include <functional>

#include "app/kept_properties.h"
#include "console/ports/sign_in_memory.h"

namespace kvmon {

// A login counts for the control at once, so that a console that is made anew logs in again; only what the
// user wants remembered is kept for later starts. Where the last session was is kept in any case.
class KeptSignIn final : public SignInMemory {
public:
    // `changed` is called after each change of the client's properties. Both must outlive this object.
    KeptSignIn(CTR450ClientImpl& client, COrvoRegistry& registry, std::function<void()> changed);

    // What an earlier run kept and what the command line says, with the client having both.
    void Begin(const PropertyBag& kept, const PropertyBag& told);
    // The user logged out: a console that is made anew stays so.
    void OnLogout();

    SignInEntry Load() const override { return m_entry; }
    void KeepDraft(const SignInEntry& entry) override;
    void OnSignedIn(const SignInEntry& entry) override;

private:
    CTR450ClientImpl& m_client;
    COrvoRegistry& m_registry;
    const std::function<void()> m_changed;
    SignInEntry m_entry;
    bool m_bKept = false;  // a login is kept now
};

}  // namespace kvmon
