// A camera as a process of its own, which can be held up and killed.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <string>
#include <vector>

namespace kvtest {

class RtspPeer {
public:
    explicit RtspPeer(std::vector<std::string> arguments)
        : m_isEncrypted(std::find(arguments.begin(), arguments.end(), "--tls") != arguments.end()) {
        std::string path = KV_RTSP_CAMERA;
        std::vector<char*> raw = {path.data()};
        for (std::string& argument : arguments) {
            raw.push_back(argument.data());
        }
        raw.push_back(nullptr);
        int input[2];
        int output[2];
        EXPECT_EQ(::pipe2(input, O_CLOEXEC) | ::pipe2(output, O_CLOEXEC), 0);
        m_process = ::fork();
        if (m_process == 0) {
            ::dup2(input[0], 0);
            ::dup2(output[1], 1);
            ::execv(raw[0], raw.data());
            ::_exit(99);
        }
        ::close(input[0]);
        ::close(output[1]);
        m_input = input[1];
        std::string line;
        for (char c = 0; c != '\n' && ::read(output[0], &c, 1) == 1;) {
            line.push_back(c);
        }
        ::close(output[0]);
        m_port = std::atoi(line.c_str());
        EXPECT_GT(m_port, 0);
    }
    ~RtspPeer() {
        ::kill(m_process, SIGKILL);
        ::waitpid(m_process, nullptr, 0);
        ::close(m_input);
    }
    RtspPeer(const RtspPeer&) = delete;

    std::string Url(const std::string& path, const std::string& login = "") const {
        return (m_isEncrypted ? "rtsps://" : "rtsp://") + login + "127.0.0.1:" + std::to_string(m_port) +
               path;
    }
    std::uint16_t Port() const { return static_cast<std::uint16_t>(m_port); }
    void DropSessions() { EXPECT_EQ(::write(m_input, "drop\n", 5), 5); }
    void ChangeSize() { EXPECT_EQ(::write(m_input, "size\n", 5), 5); }
    // Nothing comes from it any more until it goes on.
    void Stall() { ::kill(m_process, SIGSTOP); }
    void GoOn() { ::kill(m_process, SIGCONT); }

private:
    const bool m_isEncrypted;
    pid_t m_process = -1;
    int m_input = -1;
    int m_port = 0;
};

// 25 pictures a second, a key picture every half second.
inline std::string Pictures(const std::string& coder, int width = 320, int height = 240) {
    return "videotestsrc is-live=true ! video/x-raw,format=I420,width=" + std::to_string(width) +
           ",height=" + std::to_string(height) + ",framerate=25/1 ! " + coder;
}
inline const std::string kH264 =
    Pictures("x264enc tune=zerolatency key-int-max=12 speed-preset=ultrafast ! rtph264pay name=pay0");
inline const std::string kH265 = Pictures(
    "x265enc tune=zerolatency key-int-max=12 speed-preset=ultrafast ! h265parse ! rtph265pay name=pay0");
inline const std::string kJpeg = Pictures("jpegenc ! rtpjpegpay name=pay0");

}  // namespace kvtest
