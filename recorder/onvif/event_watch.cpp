#include "onvif/event_watch.h"

#include <algorithm>

#include "onvif/onvif_address.h"

namespace kvrecorder {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr const char* kNotify = "http://docs.oasis-open.org/wsn/b-2";
constexpr const char* kManager = "http://docs.oasis-open.org/wsn/bw-2/SubscriptionManager/";
constexpr milliseconds kUsual{5'000};
constexpr milliseconds kFarewell{500};
// A camera that answers at once without news is not asked at once again.
constexpr milliseconds kQuick{200};
constexpr std::chrono::seconds kShortestTime{2};

std::string Duration(milliseconds time) {
    const auto seconds = std::max<std::int64_t>(1, time.count() / 1000);
    return "PT" + std::to_string(seconds) + "S";
}

}  // namespace

void EventWatch::Work() {
    while (!m_setup.ended()) {
        Clock::time_point opened = Clock::now();
        bool open = false;
        try {
            OnvifDevice device(m_setup.camera, [this] { return !m_closing && m_setup.ended(); });
            device.Open();
            if (device.Services().events.empty()) {
                return;
            }
            for (const OnvifProfile& profile : device.Profiles()) {
                m_sources.insert({profile.source, profile.configuration});
            }
            open = true;
            opened = Clock::now();
            Watch(device);
        } catch (const CameraError& failure) {
            // That it cannot be reached at all is told by whoever steers it.
            if (open && !m_setup.ended()) {
                TellTrouble(failure.what());
            }
        } catch (const std::exception&) {
            TellTrouble("there is not enough memory for a camera");
        }
        if (m_setup.ended()) {
            return;
        }
        m_states.Clear();
        TellChanges();
        m_setup.pause(m_pauses.Next(std::chrono::duration_cast<milliseconds>(Clock::now() - opened)));
    }
}

// Until the camera cannot be asked any more.
void EventWatch::Watch(OnvifDevice& device) {
    bool again = false;
    while (!m_setup.ended()) {
        Subscribe(device);
        if (!m_trouble.empty()) {
            m_trouble.clear();
            m_setup.tell({CameraNews::Kind::Trouble, false, "the camera tells events again"});
        }
        try {
            while (!m_setup.ended()) {
                Pull(device);
                again = false;
                if (!m_setup.ended() && Clock::now() >= m_renewAt) {
                    Renew(device);
                }
            }
        } catch (const SoapFault&) {
            // The camera has forgotten the subscription, as after a start: once more at once, but no more.
            if (again || m_setup.ended()) {
                throw;
            }
            again = true;
        } catch (const CameraError&) {
            if (m_setup.ended()) {
                break;
            }
            throw;
        }
    }
    Unsubscribe(device);
}

std::unique_ptr<SoapDocument> EventWatch::Ask(OnvifDevice& device, const std::string& action,
                                              const std::string& body, milliseconds limit) {
    SoapRequest request;
    request.address = m_point.address;
    request.action = action;
    request.header = "<wsa:Action>" + action + "</wsa:Action><wsa:To>" + EscapeXml(m_point.address) +
                     "</wsa:To>" + m_point.header;
    request.body = body;
    request.limit = limit;
    return device.Call(request);
}

void EventWatch::KeepTime(const std::optional<std::chrono::seconds>& told) {
    const auto time = std::max(told.value_or(m_setup.timing.subscription), kShortestTime);
    m_renewAt = Clock::now() + std::min(time, m_setup.timing.subscription) / 2;
}

void EventWatch::Subscribe(OnvifDevice& device) {
    const std::string& service = device.Services().events;
    m_point = {};
    m_point.address = service;
    const auto document = Ask(
        device, std::string(kEventsSpace) + "/EventPortType/CreatePullPointSubscriptionRequest",
        std::string("<CreatePullPointSubscription xmlns=\"") + kEventsSpace + "\"><InitialTerminationTime>" +
            Duration(m_setup.timing.subscription) + "</InitialTerminationTime></CreatePullPointSubscription>",
        kUsual);
    PullPoint point = ReadPullPoint(document->Body());
    // Some cameras take all requests at one address.
    point.address = point.address.empty() ? service : ServiceAddress(point.address, service);
    m_point = std::move(point);
    m_begun = Clock::now();
    m_pulled = false;
    KeepTime(m_point.time);
}

void EventWatch::Pull(OnvifDevice& device) {
    const milliseconds wait = m_states.AnyPasses() ? std::min(m_setup.timing.pull, m_setup.timing.passing / 2)
                                                   : m_setup.timing.pull;
    const Clock::time_point begin = Clock::now();
    const auto document =
        Ask(device, std::string(kEventsSpace) + "/PullPointSubscription/PullMessagesRequest",
            std::string("<PullMessages xmlns=\"") + kEventsSpace + "\"><Timeout>" + Duration(wait) +
                "</Timeout><MessageLimit>64</MessageLimit></PullMessages>",
            wait + 2 * kUsual);
    const auto events = ReadEvents(document->Body());
    const Clock::time_point now = Clock::now();
    for (const OnvifEvent& event : events) {
        // A device with several pictures tells of all.
        if (!event.video.empty() && !m_sources.empty() && !m_sources.contains(event.video)) {
            continue;
        }
        m_states.Add(event, event.passing ? std::optional(now + m_setup.timing.passing) : std::nullopt);
    }
    // A subscription begins with all that goes on.
    if (!m_pulled) {
        m_pulled = true;
        m_states.DropOlder(m_begun);
    }
    m_states.Expire(now);
    TellChanges();
    if (events.empty() && now - begin < kQuick) {
        m_setup.pause(milliseconds(500));
    }
}

void EventWatch::Renew(OnvifDevice& device) {
    try {
        const auto document = Ask(device, std::string(kManager) + "RenewRequest",
                                  std::string("<Renew xmlns=\"") + kNotify + "\"><TerminationTime>" +
                                      Duration(m_setup.timing.subscription) + "</TerminationTime></Renew>",
                                  kUsual);
        KeepTime(ReadPullPoint(document->Body()).time);
    } catch (const SoapFault& fault) {
        // Where it is not known, asking for messages prolongs it.
        if (!fault.IsUnknown()) {
            throw;
        }
        KeepTime(std::nullopt);
    }
}

// Cameras hold few subscriptions at a time.
void EventWatch::Unsubscribe(OnvifDevice& device) {
    m_closing = true;
    try {
        Ask(device, std::string(kManager) + "UnsubscribeRequest",
            std::string("<Unsubscribe xmlns=\"") + kNotify + "\"/>", kFarewell);
    } catch (const CameraError&) {
        // It ends by itself.
    }
}

void EventWatch::TellChanges() {
    for (const CameraNews& news : m_states.Changes()) {
        m_setup.tell(news);
    }
}

void EventWatch::TellTrouble(const std::string& words) {
    if (std::exchange(m_trouble, words) != words) {
        m_setup.tell({CameraNews::Kind::Trouble, true, "its events cannot be had, " + words});
    }
}

}  // namespace kvrecorder
