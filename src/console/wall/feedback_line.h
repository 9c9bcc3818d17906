// A word for what has just been done, over the lower edge of the wall.
#pragma once

#include <QtCore/QPointer>
#include <functional>
#include <string>
#include <vector>

#include "platform/clock.h"

class QWidget;

namespace kvmon {

class Desk;
class Timers;
class ViewController;

// What a user can do about it.
struct FeedbackLink {
    std::string text;
    std::function<void()> run;
};

inline constexpr Milliseconds kFeedbackTime{6000};
inline constexpr Milliseconds kFeedbackFaultTime{60000};  // of what the user should not miss

// One word at a time: the next takes the place of the last. It goes by itself, but not while the pointer or
// the keyboard is on it. User interface thread only.
class FeedbackLine {
public:
    FeedbackLine(Desk& desk, Timers& timers, const ViewController& view);
    ~FeedbackLine();
    FeedbackLine(const FeedbackLine&) = delete;
    FeedbackLine& operator=(const FeedbackLine&) = delete;

    void Say(const std::string& text, std::vector<FeedbackLink> links = {},
             Milliseconds time = kFeedbackTime);
    void Hide();
    // To where the wall is now.
    void Place();
    // Command kKeyFeedback: gives its first link the keyboard. Nothing without one.
    void Focus();
    // Timer kTimerFeedback.
    void OnTimer();

private:
    class Bar;

    Desk& m_desk;
    Timers& m_timers;
    const ViewController& m_view;
    QPointer<Bar> m_bar;  // goes with the window that it stands on
};

}  // namespace kvmon
