// What the recorders' answers mean to the window that shows the session.
#pragma once

#include <string>

namespace kvmon {

// User interface thread only.
class SessionEvents {
public:
    virtual ~SessionEvents() = default;

    // The first recorder has answered for the first time, and has told the key of the settings.
    virtual void OnFirstAnswer() = 0;
    // Enables and disables all that depends on who is logged in.
    virtual void OnLoginChanged() = 0;
    // The first recorder does not take the login.
    virtual void OnRefused() = 0;
    // Closes what is open for the user who is logged in.
    virtual void OnSessionEnds() = 0;
    // The session's last thread has ended.
    virtual void OnSessionOver() = 0;
    // Into the head of the console.
    virtual void ShowRecorder(const std::string& name, const std::string& model) = 0;
    virtual void ForgetRecorder() = 0;
};

}  // namespace kvmon
