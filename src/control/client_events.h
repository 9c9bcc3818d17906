// What the control tells whoever embeds it.
#pragma once

#include <string>

namespace kvmon {

class ClientEvents {
public:
    virtual ~ClientEvents() = default;

    // The user logged out from the console.
    virtual void OnLogout(int /*reason*/) {}
    virtual void OnNeedGetNewVersion(int /*param*/) {}
    // A login was started.
    virtual void OnLogin(int /*param*/) {}
    // The user chose a language, told by its number.
    virtual void OnChgLanguage(int /*language*/) {}
    virtual void OnGotoPage(int /*param*/) {}
    virtual void OnGotoServer(int /*param*/, const std::string& /*url*/) {}
};

}  // namespace kvmon
