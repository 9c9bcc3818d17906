// What the desktop remembers of its user's sign-ins.
#pragma once

#include <functional>
#include <memory>

#include "app/demo_recorder.h"
#include "app/kept_properties.h"
#include "app/key_ring.h"
#include "app/remembered_recorders.h"
#include "console/ports/sign_in_memory.h"

namespace kvmon {

// A login counts for the control at once, so that a console that is made anew logs in again; only what the
// user wants remembered is kept for later starts. Where the last session was is kept in any case, but for the
// demo's.
//
// A password goes to the desktop's key ring, or among the settings where there is none that takes it. Until
// the key ring has answered it is in neither, but for the end of the program, which does not wait.
class KeptSignIn final : public SignInMemory {
public:
    // `changed` is called after each change of the client's properties. All must outlive this object; the key
    // ring may be none.
    KeptSignIn(CTR450ClientImpl& client, COrvoRegistry& registry, KeyRing* keyRing,
               std::function<void()> changed);
    ~KeptSignIn() override;

    // What an earlier run kept and what the command line says, with the client having both.
    void Begin(const PropertyBag& kept, const PropertyBag& told);
    // The user logged out: a console that is made anew stays so.
    void OnLogout();

    SignInEntry Load() const override { return m_entry; }
    void KeepDraft(const SignInEntry& entry) override;
    void OnSignedIn(const SignInEntry& entry) override;
    std::vector<SignInEntry> Remembered() const override;
    void FetchPassword(const SignInEntry& entry,
                       std::function<void(std::optional<std::string>)> fetched) override;
    void Forget(const SignInEntry& entry) override;
    bool HasKeyRing() const override { return m_keyRing != nullptr && m_keyRing->IsThere(); }
    bool IsFirstStart() const override;
    SearchFrom Search() const override { return m_search; }
    void SetSearch(const SearchFrom& search) { m_search = search; }
    bool HasDemo() const override { return m_demo.IsThere(); }
    void StartDemo(std::function<void(std::optional<SignInEntry>)> started) override;

private:
    void Remember(const SignInEntry& entry);
    void KeepHere(const SignInEntry& entry);
    void KeepInKeyRing(const SignInEntry& entry);
    void ForgetPassword(const RememberedRecorder& recorder);
    void KeepLast(const SignInEntry& entry, const std::string& auth);

    CTR450ClientImpl& m_client;
    COrvoRegistry& m_registry;
    KeyRing* const m_keyRing;
    const std::function<void()> m_changed;
    RememberedRecorders m_recorders;
    DemoRecorder m_demo;
    SignInEntry m_entry;
    SearchFrom m_search;
    bool m_bKept = false;               // a login is kept now
    bool m_bKnown = false;              // a recorder was kept or told
    std::optional<SignInEntry> m_told;  // what the key ring has not answered yet
    const std::shared_ptr<bool> m_alive = std::make_shared<bool>(true);
};

}  // namespace kvmon
