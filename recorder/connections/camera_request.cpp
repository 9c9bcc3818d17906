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

const CameraConfig* CameraRequest::Find(const Snapshot& state, int& number) const {
    for (number = 0; number < static_cast<int>(state.channels.size()); ++number) {
        const Channel* const channel = state.Configured(number);
        if (channel && channel->config.camera.direct &&
            CameraPath(channel->config, number) == m_request.path) {
            return &channel->config.camera;
        }
    }
    return nullptr;
}

bool CameraRequest::AsksForLogin(const Snapshot& state) const {
    int number = 0;
    const CameraConfig* const camera = Find(state, number);
    return camera && !camera->user.empty();
}

int CameraRequest::Judge(const Snapshot& state) {
    int number = 0;
    if (const CameraConfig* const found = Find(state, number)) {
        const CameraConfig& camera = *found;
        const bool sameName = ConstantTimeEqual(m_request.user, camera.user);
        const bool samePassword = ConstantTimeEqual(m_request.password.View(), camera.password);
        if (!camera.user.empty() && !(m_request.hasAuthorization && sameName && samePassword)) {
            return 401;
        }
        m_channel = number;
        return 200;
    }
    return 404;
}

}  // namespace kvrecorder
