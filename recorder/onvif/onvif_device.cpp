#include "onvif/onvif_device.h"

#include <algorithm>
#include <cmath>

#include "media/utf8.h"
#include "onvif/onvif_address.h"

namespace kvrecorder {
namespace {

// A small stream is best of about this size.
constexpr double kSmallPixels = 640.0 * 360.0;
// A login holds for minutes; one more look at the clock is worth it only if it is off.
constexpr std::chrono::seconds kClockStep{2};

double PixelsOf(const OnvifProfile& profile) {
    return static_cast<double>(profile.width) * profile.height;
}

bool IsCalled(const OnvifProfile& profile, const std::string& name) {
    return profile.token == name || profile.name == name;
}

const OnvifProfile& FindProfile(const std::vector<OnvifProfile>& all, const std::string& name) {
    const auto found = std::find_if(all.begin(), all.end(),
                                    [&](const OnvifProfile& profile) { return IsCalled(profile, name); });
    if (found == all.end()) {
        throw CameraError({FaultCode::ProfileUnknown, {{"profile", PrintableUtf8(name, 64)}}});
    }
    return *found;
}

}  // namespace

std::vector<OnvifProfile> ChooseProfiles(const std::vector<OnvifProfile>& all, const NetworkCamera& camera) {
    std::vector<OnvifProfile> usable;
    std::copy_if(all.begin(), all.end(), std::back_inserter(usable),
                 [](const OnvifProfile& profile) { return !profile.encoding.empty(); });
    if (usable.empty()) {
        throw CameraError(FaultCode::OnvifNoProfile);
    }
    OnvifProfile main = usable.front();
    if (!camera.profile.empty()) {
        main = FindProfile(usable, camera.profile);
    } else {
        for (const OnvifProfile& profile : usable) {
            if (profile.source == usable.front().source && PixelsOf(profile) > PixelsOf(main)) {
                main = profile;
            }
        }
    }
    std::vector<OnvifProfile> chosen = {main};
    if (!camera.subProfile.empty()) {
        chosen.push_back(FindProfile(usable, camera.subProfile));
        return chosen;
    }
    const auto farness = [](const OnvifProfile& profile) {
        return std::abs(std::log(PixelsOf(profile) / kSmallPixels));
    };
    const OnvifProfile* small = nullptr;
    for (const OnvifProfile& profile : usable) {
        const bool smaller = PixelsOf(profile) > 0 && PixelsOf(profile) < PixelsOf(main);
        if (smaller && profile.source == main.source && (!small || farness(profile) < farness(*small))) {
            small = &profile;
        }
    }
    if (small) {
        chosen.push_back(*small);
    }
    return chosen;
}

OnvifDevice::OnvifDevice(const NetworkCamera& camera, std::function<bool()> ended)
    : m_camera(camera),
      m_address(DeviceAddress(camera.url)),
      m_client(camera.user, camera.password, camera.certificate, std::move(ended)) {}

// True if a login of before may be good now.
bool OnvifDevice::ReadClock() {
    const auto before = m_ahead;
    try {
        SoapRequest request;
        request.address = m_address;
        request.action = std::string(kDeviceSpace) + "/GetSystemDateAndTime";
        request.body = std::string("<GetSystemDateAndTime xmlns=\"") + kDeviceSpace + "\"/>";
        request.login = false;
        const auto document = m_client.Call(request);
        if (const auto told = kvrecorder::ReadClock(document->Body())) {
            m_ahead =
                std::chrono::duration_cast<std::chrono::seconds>(*told - std::chrono::system_clock::now());
            m_client.SetClockAhead(m_ahead);
        }
    } catch (const LoginError&) {
        // It may be asked for without one, but not everywhere.
    } catch (const SoapFault&) {
    }
    return std::chrono::abs(m_ahead - before) >= kClockStep;
}

std::unique_ptr<SoapDocument> OnvifDevice::Call(const SoapRequest& request) {
    try {
        return m_client.Call(request);
    } catch (const LoginError&) {
        // Its clock may have been set meanwhile.
        if (!ReadClock()) {
            throw;
        }
    }
    return m_client.Call(request);
}

std::unique_ptr<SoapDocument> OnvifDevice::Ask(const std::string& service, const std::string& space,
                                               const std::string& name, const std::string& inner,
                                               std::chrono::milliseconds limit) {
    SoapRequest request;
    request.address = service;
    request.action = space + "/" + name;
    request.body = "<" + name + " xmlns=\"" + space + "\">" + inner + "</" + name + ">";
    request.limit = limit;
    return Call(request);
}

void OnvifDevice::Open() {
    ReadClock();
    try {
        const auto document =
            Ask(m_address, kDeviceSpace, "GetServices", "<IncludeCapability>false</IncludeCapability>");
        m_services = ReadServices(document->Body());
    } catch (const SoapFault&) {
        // Older cameras do not know it.
    }
    if (m_services.media.empty() && m_services.media2.empty()) {
        const auto document = Ask(m_address, kDeviceSpace, "GetCapabilities", "<Category>All</Category>");
        m_services = ReadServices(document->Body());
    }
    for (std::string* const service :
         {&m_services.media, &m_services.media2, &m_services.ptz, &m_services.imaging, &m_services.events}) {
        if (!service->empty()) {
            *service = ServiceAddress(*service, m_address);
        }
    }
}

OnvifInformation OnvifDevice::Information() {
    return ReadInformation(Ask(m_address, kDeviceSpace, "GetDeviceInformation", "")->Body());
}

std::vector<OnvifProfile> OnvifDevice::ReadAllProfiles() {
    if (!m_services.media2.empty()) {
        try {
            const auto document = Ask(m_services.media2, kMedia2Space, "GetProfiles", "<Type>All</Type>");
            auto profiles = ReadProfiles(document->Body());
            m_later = std::any_of(profiles.begin(), profiles.end(),
                                  [](const OnvifProfile& profile) { return !profile.encoding.empty(); });
            if (m_later) {
                return profiles;
            }
        } catch (const SoapFault&) {
        }
    }
    if (m_services.media.empty()) {
        throw CameraError(FaultCode::OnvifNoService);
    }
    return ReadProfiles(Ask(m_services.media, kMediaSpace, "GetProfiles", "")->Body());
}

std::vector<OnvifProfile> OnvifDevice::Profiles() {
    return ChooseProfiles(ReadAllProfiles(), m_camera);
}

// What stands before the profile's token differs between the two services.
std::string OnvifDevice::AskUri(const OnvifProfile& profile, const std::string& name,
                                const std::string& later, const std::string& former) {
    const std::string token = "<ProfileToken>" + EscapeXml(profile.token) + "</ProfileToken>";
    const auto document = m_later ? Ask(m_services.media2, kMedia2Space, name, later + token)
                                  : Ask(m_services.media, kMediaSpace, name, former + token);
    return ReadUri(document->Body());
}

std::string OnvifDevice::StreamUrl(const OnvifProfile& profile) {
    try {
        return StreamAddress(
            AskUri(profile, "GetStreamUri", "<Protocol>RTSP</Protocol>",
                   "<StreamSetup><tt:Stream>RTP-Unicast</tt:Stream><tt:Transport><tt:Protocol>"
                   "RTSP</tt:Protocol></tt:Transport></StreamSetup>"),
            m_address);
    } catch (const SoapFault&) {
        try {
            return ServiceAddress(AskUri(profile, "GetSnapshotUri", "", ""), m_address);
        } catch (const CameraError&) {
        }
        throw;
    }
}

}  // namespace kvrecorder
