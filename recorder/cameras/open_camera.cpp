#include "cameras/open_camera.h"

#include "cameras/camera_url.h"
#include "cameras/http_input.h"
#include "cameras/rtsp_input.h"
#include "cameras/rtsp_tcp_input.h"
#include "cameras/usb_input.h"

namespace kvrecorder {

std::unique_ptr<CameraInput> OpenCameraInput(const NetworkCamera& camera, const std::string& url,
                                             bool withSound, InputLimit& limit) {
    if (url.starts_with("http://") || url.starts_with("https://")) {
        return std::make_unique<HttpInput>(camera, url, limit);
    }
    if (url.starts_with(kUsbScheme)) {
        return std::make_unique<UsbInput>(url, limit);
    }
    if (!camera.overUdp && url.starts_with("rtsp://")) {
        if (auto input = OpenRtspTcp(camera, url, withSound, limit)) {
            return input;
        }
    }
    return std::make_unique<RtspInput>(camera, url, withSound, limit);
}

}  // namespace kvrecorder
