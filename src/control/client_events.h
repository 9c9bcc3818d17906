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
    // A login has ended that the user did not end: another language made the console anew, and it does not
    // log in by itself.
    virtual void OnLoginEnd() {}
    // The user chose a language, told by its number.
    virtual void OnChgLanguage(int /*language*/) {}
    // The user asks for a page of the site around the control: 1 from the menu, 2 from the setup button.
    virtual void OnGotoPage(int /*param*/) {}
    // Kept: part of the interface that pages know; never raised.
    virtual void OnSetManualRecording(int /*param*/) {}
    // The user asks for the page of this address; 1 for the settings of a camera.
    virtual void OnGotoServer(int /*param*/, const std::string& /*url*/) {}
};

}  // namespace kvmon
