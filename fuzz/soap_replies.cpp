// What a camera answers to any of the recorder's questions, and to whoever looks for cameras: the same
// document is taken for each.
#include <cmath>

#include "fuzz_input.h"
#include "onvif/camera_search.h"
#include "onvif/event_states.h"
#include "onvif/onvif_address.h"
#include "onvif/onvif_device.h"
#include "onvif/preset_places.h"

namespace {

using namespace kvrecorder;
using kvfuzz::Check;

const std::string kReached = "http://192.0.2.1:8080/onvif/device_service";

template <typename Read>
void Address(Read read, const std::string& told) {
    try {
        const std::string address = read(told, kReached);
        Check(HostOf(address) == "192.0.2.1");
        Check(address.find('@') == std::string::npos || address.find('@') > address.find("192.0.2.1"));
    } catch (const CameraError&) {
    }
}

void ReadSteering(const SoapNode& body) {
    for (const auto& space : {ReadPtzNode(body, "a").relativeInView, ReadPtzNode(body, "").absoluteZoom}) {
        Check(!space || (space->x.low < space->x.high && space->x.Clamp(0) >= space->x.low));
    }
    ReadPtzStatus(body);
    ReadFocusAbility(body);
    ReadFocusStatus(body);
    PresetPlaces places;
    places.Take(ReadPresets(body));
    places.Take(ReadPresets(body));
    for (const auto& name : places.Names()) {
        Check(!name || name->size() <= 99);
    }
}

void ReadPictures(const SoapNode& body) {
    const OnvifServices services = ReadServices(body);
    for (const std::string& service : {services.media, services.media2, services.ptz, services.events}) {
        Address(ServiceAddress, service);
    }
    Address(StreamAddress, ReadUri(body));
    ReadClock(body);
    ReadInformation(body);
    const auto profiles = ReadProfiles(body);
    for (const OnvifProfile& profile : profiles) {
        Check(!profile.token.empty() && profile.width >= 0 && profile.height >= 0);
    }
    try {
        const auto chosen = ChooseProfiles(profiles, {});
        Check(!chosen.empty() && chosen.size() <= 2 && !chosen[0].encoding.empty());
    } catch (const CameraError&) {
    }
}

void ReadNews(const SoapNode& body) {
    Address(ServiceAddress, ReadPullPoint(body).address);
    EventStates states;
    const auto now = std::chrono::steady_clock::now();
    for (const OnvifEvent& event : ReadEvents(body)) {
        states.Add(event, event.passing ? std::optional(now) : std::nullopt);
    }
    const auto begun = states.Changes();
    Check(begun.size() <= 4);
    states.Clear();
    Check(states.Changes().size() == begun.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text = kvfuzz::AsText({data, size});
    std::vector<FoundCamera> found;
    std::vector<std::string> endpoints;
    AddFound(text, "192.0.2.1", found, endpoints);
    for (const FoundCamera& camera : found) {
        Check(camera.host == "192.0.2.1" && camera.maker.size() <= 256);
    }
    try {
        const SoapDocument document(text);
        const SoapNode body = document.Body();
        ReadPictures(body);
        ReadSteering(body);
        ReadNews(body);
    } catch (const CameraError&) {
    }
    return 0;
}
