#include "console/admin/camera_admin.h"

#include <algorithm>

#include "console/admin/api_caller.h"
#include "console/admin/cameras_dialog.h"
#include "console/dialogs/message_box.h"
#include "console/ports/desk.h"
#include "server/recorder_list.h"

namespace kvmon {

namespace {

constexpr int kPauseSeconds = 10;
constexpr int kMostUnheard = 3;

ApiTarget TargetOf(const CKelvaraInfo& recorder) {
    return {recorder.GetHost(), recorder.GetPort(), recorder.GetUser(), recorder.GetPassword()};
}

}  // namespace

CameraAdmin::CameraAdmin(Desk& desk, const RecorderList& recorders) : m_desk(desk), m_recorders(recorders) {}

CameraAdmin::~CameraAdmin() = default;

void CameraAdmin::Update() {
    if (!m_desk.IsLoggedIn()) {
        Close();
        return;
    }
    m_nPause = std::max(m_nPause - 1, 0);
    const CKelvaraInfo* const first = m_recorders.GetServer(0);
    if (m_api || m_nPause > 0 || m_nUnheard >= kMostUnheard || first == nullptr || !first->IsConnected() ||
        !first->IsOwnRecorder() || m_desk.IsClosing()) {
        return;
    }
    m_api = std::make_unique<ApiCaller>(TargetOf(*first));
    m_api->Get("/info", [this](const ApiAnswer& answer) {
        if (answer.IsGood() && answer.json["api"].toInt() == 1) {
            m_info = answer.json;
        } else if (answer.status == 0 || answer.status == 503) {
            m_nPause = kPauseSeconds;
            ++m_nUnheard;
            m_api.reset();
        }
    });
}

void CameraAdmin::Open() {
    const CKelvaraInfo* const first = m_recorders.GetServer(0);
    if (!IsOffered() || first == nullptr || m_desk.IsLocked()) {
        return;
    }
    if (m_window) {
        m_window->raise();
        m_window->activateWindow();
        return;
    }
    m_window = new CamerasDialog(TargetOf(*first), m_info, m_desk.DialogHost());
    OpenDialog(m_window);
}

void CameraAdmin::Close() {
    m_api.reset();
    m_info = {};
    m_nPause = 0;
    m_nUnheard = 0;
    if (m_window) {
        m_window->close();
    }
}

}  // namespace kvmon
