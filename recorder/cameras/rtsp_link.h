// A connection to a camera that speaks RTSP, by which something goes to the camera. It is encrypted where the
// camera wants that, and what is written waits for nothing; RtspConnection beside it is for the packets of
// pictures, which it reads in place.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <string_view>

#include "cameras/camera_error.h"
#include "cameras/camera_line.h"
#include "cameras/rtsp_login.h"
#include "cameras/rtsp_reply.h"
#include "media/stream_config.h"

namespace kvrecorder {

// One thread. All waiting ends within the told time, or soon after `ended` says so; CameraError comes out
// then, and of all that goes wrong.
class RtspLink {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    // Connects, encrypted to an address of rtsps.
    RtspLink(const NetworkCamera& camera, const std::string& url, std::function<bool()> ended,
             TimePoint until);
    RtspLink(const RtspLink&) = delete;
    RtspLink& operator=(const RtspLink&) = delete;

    // The answer to a request, with the login once the camera has asked for it; answers to others are passed
    // over. `headers` are whole lines. Statuses are the caller's, but for that of a refused login.
    RtspReply Ask(const std::string& method, const std::string& url, const std::string& headers,
                  TimePoint until);
    // A request whose answer nobody waits for, and bytes of a stream: what cannot be written at once is kept,
    // and goes ahead of what is written next.
    void Say(const std::string& method, const std::string& url, const std::string& headers);
    void Write(std::string_view bytes);
    // Tries again; false while something is kept.
    bool Flush();
    // Written, and not known to have come to the camera.
    std::size_t Outstanding() const;
    // Reads what has come and forgets it. True once if a request was not taken for the login, and is to be
    // said again with a newer one.
    bool Drain();
    // For datagrams to the host at its other end.
    int Socket() const { return m_line.Socket(); }

private:
    std::string Compose(const std::string& method, const std::string& url, const std::string& headers);
    bool Read();
    void CheckLimit(TimePoint until) const;
    void Wait(short events, TimePoint until) const;

    const std::function<bool()> m_ended;
    CameraLine m_line;
    RtspLogin m_login;
    RtspReplies m_replies;
    int m_sequence = 0;
    std::string m_kept;  // to be written
};

}  // namespace kvrecorder
