// One camera's ONVIF services: opened with its clock and its login, then asked.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "media/stream_config.h"
#include "onvif/onvif_replies.h"
#include "onvif/soap_client.h"

namespace kvrecorder {

// One thread. All calls throw as SoapClient's.
class OnvifDevice {
public:
    OnvifDevice(const NetworkCamera& camera, std::function<bool()> ended);

    // Asks for the clock and for the services. To be called first.
    void Open();
    const OnvifServices& Services() const { return m_services; }

    OnvifInformation Information();
    // Those with pictures of the source that is chosen by the configuration or, without a word there, of the
    // first profile; the large one first, then the small one, if there is one.
    std::vector<OnvifProfile> Profiles();
    // Where its pictures are, at the host that the camera was reached at: an address of RTSP, or for a
    // profile that has none that of its single picture, of HTTP.
    std::string StreamUrl(const OnvifProfile& profile);

    // A request to a service by its name in the service's namespace, with what stands inside.
    std::unique_ptr<SoapDocument> Ask(const std::string& service, const std::string& space,
                                      const std::string& name, const std::string& inner,
                                      std::chrono::milliseconds limit = std::chrono::seconds(5));
    // Any request.
    std::unique_ptr<SoapDocument> Call(const SoapRequest& request);

private:
    bool ReadClock();
    std::string AskUri(const OnvifProfile& profile, const std::string& name, const std::string& later,
                       const std::string& former);
    std::vector<OnvifProfile> ReadAllProfiles();

    const NetworkCamera m_camera;
    const std::string m_address;
    SoapClient m_client;
    std::chrono::seconds m_ahead{};
    OnvifServices m_services;
    bool m_later = false;  // the profiles are those of the later service
};

// The large and the small one of those that there are. Throws CameraError when none is as wanted.
std::vector<OnvifProfile> ChooseProfiles(const std::vector<OnvifProfile>& all, const NetworkCamera& camera);

inline constexpr const char* kDeviceSpace = "http://www.onvif.org/ver10/device/wsdl";
inline constexpr const char* kMediaSpace = "http://www.onvif.org/ver10/media/wsdl";
inline constexpr const char* kMedia2Space = "http://www.onvif.org/ver20/media/wsdl";
inline constexpr const char* kPtzSpace = "http://www.onvif.org/ver20/ptz/wsdl";
inline constexpr const char* kImagingSpace = "http://www.onvif.org/ver20/imaging/wsdl";
inline constexpr const char* kEventsSpace = "http://www.onvif.org/ver10/events/wsdl";

}  // namespace kvrecorder
