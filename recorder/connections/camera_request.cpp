#include "connections/camera_request.h"

#include "state/text.h"

namespace kvrecorder {

int CameraRequest::Answer(const Snapshot& state) {
    const auto request = m_head.Parse();
    if (!request) {
        return 400;
    }
    m_request = *request;
    return Judge(state);
}

int CameraRequest::Judge(const Snapshot& state) {
    for (std::size_t i = 0; i < state.channels.size(); ++i) {
        const int number = static_cast<int>(i);
        const Channel* const channel = state.Configured(number);
        if (!channel || !channel->config.camera.direct ||
            CameraPath(channel->config, number) != m_request.path) {
            continue;
        }
        const CameraConfig& camera = channel->config.camera;
        const bool sameName = ConstantTimeEqual(m_request.user, camera.user);
        const bool samePassword = ConstantTimeEqual(m_request.password, camera.password);
        if (!camera.user.empty() && !(m_request.hasAuthorization && sameName && samePassword)) {
            return 401;
        }
        m_channel = number;
        return 200;
    }
    return 404;
}

}  // namespace kvrecorder
