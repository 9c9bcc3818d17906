// Passwords that the desktop keeps for its user.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace kvmon {

// Whose password it is.
struct KeyRingLogin {
    std::string address;
    std::uint32_t port = 0;
    std::string user;
};

// User interface thread only; nothing here waits. An answer comes later, in a turn of the event loop of its
// own, and none comes once the key ring is gone.
class KeyRing {
public:
    virtual ~KeyRing() = default;

    // There may be one. What is asked of it may fail all the same: its user may not unlock it.
    virtual bool IsThere() const = 0;
    virtual void Store(const KeyRingLogin& login, const std::string& password,
                       std::function<void(bool bStored)> done) = 0;
    // Nothing if it has none, or gives none.
    virtual void Lookup(const KeyRingLogin& login,
                        std::function<void(std::optional<std::string> password)> done) = 0;
    virtual void Forget(const KeyRingLogin& login) = 0;
};

// The secret service of the desktop's session, on a thread of its own. Whoever does not answer within a
// minute, as while its user is asked for another password, counts as not there.
std::unique_ptr<KeyRing> MakeSecretServiceKeyRing();

}  // namespace kvmon
