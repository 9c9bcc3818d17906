// Waits for what a camera tells of itself.
#pragma once

#include <functional>
#include <set>
#include <string>

#include "cameras/camera_control.h"
#include "onvif/event_states.h"
#include "onvif/onvif_device.h"
#include "onvif/onvif_timing.h"

namespace kvrecorder {

// A subscription by a pull point, renewed in time and made anew when it is lost. A thread of its own.
class EventWatch {
public:
    struct Setup {
        NetworkCamera camera;
        OnvifTiming timing;
        std::function<void(const CameraNews&)> tell;
        std::function<bool()> ended;
        std::function<void(std::chrono::milliseconds)> pause;  // shorter at the end
    };

    explicit EventWatch(Setup setup) : m_setup(std::move(setup)) {}

    // Until the end, or until it is clear that the camera tells nothing.
    void Work();

private:
    using TimePoint = std::chrono::steady_clock::time_point;

    void Watch(OnvifDevice& device);
    void Subscribe(OnvifDevice& device);
    void Pull(OnvifDevice& device);
    void Renew(OnvifDevice& device);
    void Unsubscribe(OnvifDevice& device);
    void KeepTime(const std::optional<std::chrono::seconds>& told);
    std::unique_ptr<SoapDocument> Ask(OnvifDevice& device, const std::string& action, const std::string& body,
                                      std::chrono::milliseconds limit);
    void TellChanges();
    void TellTrouble(const std::string& words);

    const Setup m_setup;
    EventStates m_states;
    std::set<std::string> m_sources;  // of the pictures that are watched
    PullPoint m_point;
    TimePoint m_renewAt;
    TimePoint m_begun;       // of the subscription
    bool m_pulled = false;   // within it
    bool m_closing = false;  // the end waits for one more call
    std::string m_trouble;
    CameraPauses m_pauses{m_setup.timing.camera};
};

}  // namespace kvrecorder
