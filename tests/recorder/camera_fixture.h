// A hub with cameras, and what it tells of them.
#pragma once

#include <gmock/gmock.h>

#include <mutex>
#include <string>
#include <vector>

#include "cameras/camera_source.h"
#include "media/media_hub.h"
#include "media_tools.h"
#include "support/wait_until.h"

namespace kvtest {

using namespace kvrecorder;
using std::chrono::milliseconds;

// Fails soon and tries again soon.
inline CameraTiming Quick() {
    CameraTiming timing;
    timing.connect = milliseconds(2000);
    timing.stall = milliseconds(1200);
    timing.pauses.fill(milliseconds(20));
    return timing;
}

inline SourceConfig Camera(const std::string& url, const std::string& subUrl = "") {
    SourceConfig source;
    source.network.url = url;
    source.network.subUrl = subUrl;
    source.network.linger = std::chrono::seconds(0);
    return source;
}

class Cameras : public testing::Test {
protected:
    explicit Cameras() {
        m_hub->SetListener([this](int channel, MediaEvent event, bool on) {
            const std::lock_guard lock(m_mutex);
            const std::string words = m_hub->Words(channel);
            if (event == MediaEvent::Lost) {
                m_lost.push_back(on ? words : "back");
            } else if (event == MediaEvent::Word) {
                m_words.push_back(words);
            }
        });
    }
    ~Cameras() override { m_hub->SetListener(nullptr); }

    std::vector<std::string> Lost() {
        const std::lock_guard lock(m_mutex);
        return m_lost;
    }
    bool WaitLost(const std::string& words) {
        return WaitUntil([&] {
            const auto lost = Lost();
            return !lost.empty() && lost.back().starts_with(words);
        });
    }

    std::unique_ptr<MediaHub> m_hub = CreateMediaHub(nullptr, 2, CreateCameraSourceMaker(Quick()));
    std::mutex m_mutex;
    std::vector<std::string> m_lost;
    std::vector<std::string> m_words;
};

}  // namespace kvtest
