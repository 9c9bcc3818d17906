// The recorders that a user signed in to and wants remembered.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "console/ports/sign_in_memory.h"

namespace kvmon {

class COrvoRegistry;

inline constexpr int kMaxRemembered = 16;

struct RememberedRecorder {
    SignInEntry entry;        // without its password
    bool bInKeyRing = false;  // where its password is; enciphered among the settings otherwise
    int slot = 0;             // its place among the settings
    std::uint32_t used = 0;   // the greatest number was used last
};

// Kept among the settings. Reads them with each question: there are few. User interface thread only.
class RememberedRecorders {
public:
    explicit RememberedRecorders(COrvoRegistry& registry) : m_registry(registry) {}

    // The last one used first.
    std::vector<RememberedRecorder> All() const;
    std::optional<RememberedRecorder> Find(const SignInEntry& wanted) const;
    // The last user's of this recorder.
    std::optional<RememberedRecorder> FindAt(const std::string& address, std::uint32_t port) const;
    // Of one that is not in the key ring.
    std::optional<std::string> Password(const RememberedRecorder& recorder) const;
    // Without a password the key ring has it. Gives the one that had to go for it. A password that cannot be
    // enciphered is not kept, and neither is its recorder.
    std::optional<RememberedRecorder> Put(const SignInEntry& entry,
                                          const std::optional<std::string>& password);
    void Remove(const SignInEntry& entry);

private:
    COrvoRegistry& m_registry;
};

}  // namespace kvmon
