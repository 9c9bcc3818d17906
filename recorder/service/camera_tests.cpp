#include "service/camera_tests.h"

#include <algorithm>
#include <utility>

#include "cameras/camera_error.h"
#include "cameras/camera_url.h"
#include "onvif/onvif_control.h"

namespace kvrecorder {
namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

std::vector<SeenCamera> Search(SearchSetup setup, milliseconds time, const CameraTools::Ended& ended) {
    setup.time = time;
    setup.ended = ended;
    std::vector<SeenCamera> seen;
    for (FoundCamera& camera : SearchCameras(setup)) {
        seen.push_back({std::move(camera.url), std::move(camera.host), std::move(camera.maker),
                        std::move(camera.model), std::move(camera.name), std::move(camera.streamUrls)});
    }
    return seen;
}

TestedCamera Test(const NetworkCamera& camera, milliseconds limit, const CameraTools::Ended& ended) {
    CameraReport report = ProbeAnyCamera(camera, limit, ended);
    TestedCamera tested;
    tested.codec = std::move(report.codec);
    tested.width = report.width;
    tested.height = report.height;
    tested.fps = report.fps;
    tested.keyInterval = report.keyInterval;
    tested.sound = std::move(report.sound);
    tested.connected = report.connected;
    tested.firstPicture = report.firstPicture;
    tested.faults = std::move(report.faults);
    tested.picture = std::move(report.picture);
    return tested;
}

}  // namespace

CameraTools MakeCameraTools(const SearchSetup& search) {
    return {
        [search](milliseconds time, const CameraTools::Ended& ended) { return Search(search, time, ended); },
        Test};
}

CameraReport ProbeAnyCamera(const NetworkCamera& camera, milliseconds limit,
                            const std::function<bool()>& ended) {
    if (!IsDeviceUrl(camera.url)) {
        return ProbeCamera(camera, limit, ended);
    }
    const Clock::time_point until = Clock::now() + limit;
    NetworkCamera asked = camera;
    try {
        asked.url =
            CreateOnvifStreamFinder()(camera, 0, [&] { return ended() || Clock::now() >= until; }).url;
    } catch (const CameraError& failure) {
        CameraReport report;
        report.faults.push_back(failure.Told());
        return report;
    } catch (const std::exception&) {
        CameraReport report;
        report.faults.emplace_back(FaultCode::OutOfMemory);
        return report;
    }
    if (asked.url.empty()) {
        CameraReport report;
        report.faults.emplace_back(FaultCode::StreamMissing);
        return report;
    }
    const auto left = std::chrono::duration_cast<milliseconds>(until - Clock::now());
    return ProbeCamera(asked, std::max(left, milliseconds(1)), ended);
}

}  // namespace kvrecorder
