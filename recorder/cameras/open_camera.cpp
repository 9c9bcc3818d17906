#include "cameras/open_camera.h"

#include "cameras/camera_url.h"
#include "cameras/http_input.h"
#include "cameras/rtsp_input.h"
#include "cameras/rtsp_tcp_input.h"
#include "cameras/usb_input.h"

namespace kvrecorder {
namespace {

std::unique_ptr<CameraInput> OpenOther(const NetworkCamera& camera, const std::string& url, bool withSound,
                                       InputLimit& limit, ReaderChoice& choice) {
    try {
        auto input = std::make_unique<RtspInput>(camera, url, withSound, limit);
        choice.NoteOther(url, withSound, input->Codec(),
                         input->Sound() ? input->Sound()->codec_id : AV_CODEC_ID_NONE);
        return input;
    } catch (const OddSession&) {
        choice.Forget();
        throw;
    }
}

}  // namespace

std::unique_ptr<CameraInput> OpenCameraInput(const NetworkCamera& camera, const std::string& url,
                                             bool withSound, InputLimit& limit, ReaderChoice& choice) {
    if (url.starts_with("http://") || url.starts_with("https://")) {
        return std::make_unique<HttpInput>(camera, url, limit);
    }
    if (url.starts_with(kUsbScheme)) {
        return std::make_unique<UsbInput>(url, limit);
    }
    if (IsEncryptedUrl(url)) {
        if (auto input = OpenRtspTcp(camera, url, withSound, limit)) {
            return input;
        }
        // The other reader checks no certificates.
        throw CameraError(FaultCode::EncryptedNotRead);
    }
    if (!camera.overUdp && !choice.IsOther(url, withSound)) {
        if (auto input = OpenRtspTcp(camera, url, withSound, limit)) {
            choice.Forget();
            return input;
        }
    }
    return OpenOther(camera, url, withSound, limit, choice);
}

}  // namespace kvrecorder
