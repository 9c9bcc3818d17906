// A connection to a camera by TCP, encrypted where its address says so.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <string_view>

#include "cameras/certificate_check.h"
#include "cameras/curl_handles.h"

namespace kvrecorder {

// One thread. Connecting ends within the told time, or soon after `ended` says so, also while the host's name
// is looked up; nothing else waits. CameraError comes out of all that goes wrong.
class CameraLine {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    // Connects to the host of an address of RTSP. `certificate` is a source's.
    CameraLine(const std::string& url, const std::string& certificate, const std::function<bool()>& ended,
               TimePoint until);
    ~CameraLine();
    CameraLine(const CameraLine&) = delete;
    CameraLine& operator=(const CameraLine&) = delete;

    int Socket() const { return m_socket; }
    // What has come may be kept here: it is to be read before the socket is waited for.
    bool IsEncrypted() const { return m_isEncrypted; }

    // How many bytes were taken; 0: none now.
    std::size_t Write(std::string_view bytes);
    // 0: nothing is there.
    std::size_t Read(char* buffer, std::size_t size);

private:
    void Connect(const std::function<bool()>& ended, TimePoint until);

    const bool m_isEncrypted;
    CertificateCheck m_check;
    MultiHandle m_multi;
    EasyHandle m_easy;
    int m_socket = -1;
};

}  // namespace kvrecorder
