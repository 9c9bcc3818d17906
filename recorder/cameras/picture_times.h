// The times of a camera's pictures on the recorder's clock.
#pragma once

#include <chrono>
#include <cstdint>

namespace kvrecorder {

// A camera's stamps wrap, jump and drift, and tell when a picture is to be seen, not when it is decoded. What
// comes out never goes back and stays near the time of arrival. One thread at a time.
class PictureTimes {
public:
    using Time = std::chrono::microseconds;

    struct Times {
        Time decode{};
        Time delay{};  // until it is to be seen
    };
    // The stamp in the camera's time; nothing known of it: INT64_MIN.
    Times Next(std::int64_t stampUs, Time arrival);
    // Another session: its stamps begin anew, the times go on.
    void Restart() { m_anchored = false; }

private:
    bool m_anchored = false;
    Time m_offset{};    // from the camera's time to ours
    Time m_last{};      // the last decode time
    Time m_latest{};    // the latest picture so far
    Time m_backStep{};  // the longest step back between pictures, which are coded out of their order
    bool m_begun = false;
};

}  // namespace kvrecorder
