#include "onvif/onvif_control.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <system_error>
#include <utility>
#include <vector>

#include "cameras/camera_threads.h"
#include "onvif/event_watch.h"
#include "onvif/onvif_steering.h"

namespace kvrecorder {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// Orders that wait; the oldest go.
constexpr std::size_t kMostOrders = 10;
constexpr const char* kError = "8";
constexpr int kHalt = 18;
constexpr int kTour = 19;
// An order has the camera tried at once, but not at once again.
constexpr milliseconds kShortestPause{500};

// Shared with the threads, which may outlive the control.
class Steered {
public:
    Steered(const NetworkCamera& camera, const OnvifTiming& timing,
            std::function<void(const CameraNews&)> tell)
        : m_camera(camera), m_timing(timing), m_tell(std::move(tell)), m_pauses(timing.camera) {}

    std::optional<ControlAbilities> Abilities() const {
        const std::lock_guard lock(m_mutex);
        return m_abilities;
    }
    ControlPresets Presets() const { return m_places.Names(); }
    bool Ended() const {
        const std::lock_guard lock(m_mutex);
        return m_ended;
    }

    void Give(PtzOrder order, std::function<void(std::string)> done);
    void ReadPresets(std::function<void()> done);
    void End();
    void Pause(milliseconds time);

    void Steer();
    void Watch(const std::shared_ptr<Steered>& self);

private:
    struct Waiting {
        PtzOrder order;
        std::function<void(std::string)> done;
        Clock::time_point until;
        bool reads = false;  // the presets, and nothing else
    };
    using Queue = std::deque<Waiting>;

    static void Answer(Queue& queue, const char* words);
    void Push(Waiting waiting);
    bool WaitForStop(milliseconds time);
    void Serve(OnvifSteering& steering);
    void Run(OnvifSteering& steering, Waiting& waiting);
    void GoOnTour(OnvifSteering& steering);
    void Greet(OnvifDevice& device);
    void Lose(const std::string& words);
    void PauseOrOrder();

    const NetworkCamera m_camera;
    const OnvifTiming m_timing;
    const std::function<void(const CameraNews&)> m_tell;
    PresetPlaces m_places;
    CameraPauses m_pauses;   // of the thread that steers
    std::string m_trouble;   // of that, too
    bool m_greeted = false;  // and these
    std::size_t m_tourNext = 0;
    std::optional<Clock::time_point> m_tourAt;

    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_ended = false;
    bool m_stop = false;  // an order to stop has come and was not obeyed yet
    std::optional<ControlAbilities> m_abilities;
    Queue m_queue;
};

void Steered::Answer(Queue& queue, const char* words) {
    for (Waiting& waiting : queue) {
        waiting.done(words);
    }
    queue.clear();
}

void Steered::Push(Waiting waiting) {
    waiting.until = Clock::now() + m_timing.order;
    Queue dropped;
    Queue overtaken;
    {
        const std::lock_guard lock(m_mutex);
        if (m_ended) {
            dropped.push_back(std::move(waiting));
        } else {
            if (!waiting.reads && waiting.order.command == kHalt) {
                // What the user has thought better of.
                m_stop = true;
                overtaken.swap(m_queue);
            }
            m_queue.push_back(std::move(waiting));
            if (m_queue.size() > kMostOrders) {
                // But not a stop, which is the first then.
                const auto oldest = m_queue.begin() + (m_queue.front().order.command == kHalt ? 1 : 0);
                dropped.push_back(std::move(*oldest));
                m_queue.erase(oldest);
            }
            m_changed.notify_all();
        }
    }
    Answer(overtaken, "0");
    Answer(dropped, kError);
}

void Steered::Give(PtzOrder order, std::function<void(std::string)> done) {
    Push({std::move(order), std::move(done), {}, false});
}

void Steered::ReadPresets(std::function<void()> done) {
    Push({{}, [done = std::move(done)](const std::string&) { done(); }, {}, true});
}

void Steered::End() {
    Queue left;
    {
        const std::lock_guard lock(m_mutex);
        m_ended = true;
        left.swap(m_queue);
        m_changed.notify_all();
    }
    Answer(left, kError);
}

void Steered::Pause(milliseconds time) {
    std::unique_lock lock(m_mutex);
    m_changed.wait_for(lock, time, [this] { return m_ended; });
}

bool Steered::WaitForStop(milliseconds time) {
    std::unique_lock lock(m_mutex);
    return !m_changed.wait_for(lock, time, [this] { return m_ended || m_stop; });
}

void Steered::PauseOrOrder() {
    Pause(kShortestPause);
    std::unique_lock lock(m_mutex);
    m_changed.wait_for(lock, m_pauses.Next({}), [this] { return m_ended || !m_queue.empty(); });
}

void Steered::Steer() {
    while (!Ended()) {
        try {
            OnvifDevice device(m_camera, [this] { return Ended(); });
            device.Open();
            OnvifSteering steering(device, device.Profiles(), m_places,
                                   [this](milliseconds time) { return WaitForStop(time); });
            {
                const std::lock_guard lock(m_mutex);
                m_abilities = steering.Abilities();
            }
            Greet(device);
            m_pauses.Restart();
            Serve(steering);
        } catch (const CameraError& failure) {
            Lose(failure.what());
        } catch (const std::exception&) {
            Lose("there is not enough memory for a camera");
        }
        if (!Ended()) {
            PauseOrOrder();
        }
    }
}

void Steered::Greet(OnvifDevice& device) {
    if (!m_trouble.empty()) {
        m_trouble.clear();
        m_tell({CameraNews::Kind::Trouble, false, "the camera answers to ONVIF again"});
    }
    if (std::exchange(m_greeted, true)) {
        return;
    }
    try {
        const OnvifInformation told = device.Information();
        if (!told.maker.empty() || !told.model.empty()) {
            m_tell({CameraNews::Kind::Word, false, told.maker + " " + told.model + " answers to ONVIF"});
        }
    } catch (const SoapFault&) {
        // It keeps that to itself.
    }
}

void Steered::Lose(const std::string& words) {
    Queue left;
    {
        const std::lock_guard lock(m_mutex);
        if (m_ended) {
            return;
        }
        m_stop = false;
        left.swap(m_queue);
    }
    m_tourAt.reset();
    Answer(left, kError);
    if (std::exchange(m_trouble, words) != words) {
        m_tell({CameraNews::Kind::Trouble, true, words});
    }
}

void Steered::Serve(OnvifSteering& steering) {
    while (true) {
        std::optional<Waiting> next;
        {
            std::unique_lock lock(m_mutex);
            const auto ready = [this] { return m_ended || !m_queue.empty(); };
            if (m_tourAt) {
                m_changed.wait_until(lock, *m_tourAt, ready);
            } else {
                m_changed.wait(lock, ready);
            }
            if (m_ended) {
                return;
            }
            if (!m_queue.empty()) {
                next = std::move(m_queue.front());
                m_queue.pop_front();
                if (next->order.command == kHalt) {
                    m_stop = false;
                }
            }
        }
        if (next) {
            Run(steering, *next);
        } else {
            GoOnTour(steering);
        }
    }
}

void Steered::Run(OnvifSteering& steering, Waiting& waiting) {
    if (Clock::now() >= waiting.until) {
        waiting.done(kError);
        return;
    }
    try {
        if (waiting.reads) {
            steering.ReadPresets();
            waiting.done("");
            return;
        }
        m_tourAt.reset();
        if (waiting.order.command == kTour) {
            const ControlPresets names = m_places.Names();
            const bool any = std::any_of(names.begin(), names.end(), [](const auto& name) { return !!name; });
            m_tourNext = 0;
            m_tourAt = any ? std::optional(Clock::now()) : std::nullopt;
            waiting.done(any ? "0" : "-1");
            return;
        }
        waiting.done(steering.Run(waiting.order));
    } catch (...) {
        waiting.done(kError);
        throw;
    }
}

void Steered::GoOnTour(OnvifSteering& steering) {
    const ControlPresets names = m_places.Names();
    for (std::size_t i = 0; i < names.size(); ++i) {
        const std::size_t place = (m_tourNext + i) % names.size();
        if (names[place]) {
            m_tourNext = place + 1;
            m_tourAt = Clock::now() + m_timing.tour;
            try {
                steering.GoTo(place);
            } catch (const SoapFault&) {
                // The next one, then.
            }
            return;
        }
    }
    m_tourAt.reset();
}

void Steered::Watch(const std::shared_ptr<Steered>& self) {
    EventWatch({m_camera, m_timing, m_tell, [self] { return self->Ended(); },
                [self](milliseconds time) { self->Pause(time); }})
        .Work();
}

class OnvifControl final : public CameraControl {
public:
    OnvifControl(const NetworkCamera& camera, const OnvifTiming& timing,
                 std::function<void(const CameraNews&)> tell, CameraThreads& threads)
        : m_steered(std::make_shared<Steered>(camera, timing, std::move(tell))) {
        try {
            threads.Start([steered = m_steered] { steered->Steer(); });
            threads.Start([steered = m_steered] { steered->Watch(steered); });
        } catch (const std::system_error&) {
            m_steered->End();
            throw;
        }
    }
    ~OnvifControl() override { m_steered->End(); }
    OnvifControl(const OnvifControl&) = delete;
    OnvifControl& operator=(const OnvifControl&) = delete;

    std::optional<ControlAbilities> Abilities() const override { return m_steered->Abilities(); }
    ControlPresets Presets() const override { return m_steered->Presets(); }
    void Give(PtzOrder order, std::function<void(std::string)> done) override {
        m_steered->Give(std::move(order), std::move(done));
    }
    void ReadPresets(std::function<void()> done) override { m_steered->ReadPresets(std::move(done)); }

private:
    const std::shared_ptr<Steered> m_steered;
};

// Nothing for what is not told, or is none that is passed on.
std::optional<StreamDescription> DescriptionOf(const OnvifProfile& profile) {
    static constexpr std::pair<const char*, kvrecorder::Codec> kEncodings[] = {
        {"H264", kvrecorder::Codec::H264},
        {"H265", kvrecorder::Codec::H265},
        {"JPEG", kvrecorder::Codec::Mjpeg},
        {"MPEG4", kvrecorder::Codec::Mpeg4}};
    for (const auto& [name, codec] : kEncodings) {
        if (profile.encoding == name && profile.width > 0 && profile.height > 0) {
            return StreamDescription{codec, profile.width, profile.height, 0};
        }
    }
    return std::nullopt;
}

}  // namespace

CameraControlMaker CreateOnvifControlMaker(const OnvifTiming& timing) {
    return [timing, threads = std::make_shared<CameraThreads>()](
               const NetworkCamera& camera, std::function<void(const CameraNews&)> tell) {
        return std::make_shared<OnvifControl>(camera, timing, std::move(tell), *threads);
    };
}

StreamFinder CreateOnvifStreamFinder() {
    return [](const NetworkCamera& camera, int stream, const std::function<bool()>& ended) {
        OnvifDevice device(camera, ended);
        device.Open();
        const auto profiles = device.Profiles();
        FoundStream found;
        if (profiles.size() > 1) {
            found.sub = DescriptionOf(profiles[1]);
        }
        if (static_cast<std::size_t>(stream) < profiles.size()) {
            found.url = device.StreamUrl(profiles[static_cast<std::size_t>(stream)]);
        }
        return found;
    };
}

}  // namespace kvrecorder
