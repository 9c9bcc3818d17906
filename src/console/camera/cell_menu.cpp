#include "console/camera/cell_menu.h"

#include <algorithm>
#include <iterator>

#include "channel/camera/base_camera.h"
#include "channel/cell/camera_menu.h"
#include "channel/cell/channel_view.h"
#include "channel/cell/video_wnd.h"
#include "console/camera/picture_menu.h"
#include "console/dialogs/message_box.h"
#include "console/panel/console_controls.h"
#include "console/ports/commands.h"
#include "console/ports/desk.h"
#include "console/wall/active_camera.h"
#include "console/wall/camera_list.h"
#include "console/wall/feedback_line.h"
#include "console/wall/view_controller.h"
#include "persist/string_table.h"
#include "platform/text.h"
#include "server/kelvara_info.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kStrSnapshot = 3514;
constexpr std::uint32_t kStrStartRecording = 3528;
constexpr std::uint32_t kStrStopRecording = 3529;
constexpr std::uint32_t kStrCameraHome = 3507;
constexpr std::uint32_t kStrStreamSize = 6421;
constexpr std::uint32_t kStrCameraSettings = 6760;
constexpr std::uint32_t kStrZoomOn = 7438;
constexpr std::uint32_t kStrZoomOff = 7439;
constexpr int kDialogGap = 8;

// The user may choose when there are several. A camera's own stream is not one of the recorder's.
void AppendStreamSizes(BCMenu& menu, const CBaseCamera& camera) {
    const auto profiles = camera.GetStreamProfiles();
    if (camera.IsStreamFromCamera() || profiles.size() < 2) {
        return;
    }
    BCMenu* const sizes = menu.AppendPopup(LoadString(kStrStreamSize));
    const ClassSize fixed = camera.GetFixSizeServer();
    const bool bFixed = fixed.cx > 0 && fixed.cy > 0;
    sizes->AppendMenu(bFixed ? 0 : MF_CHECKED, kCmdStreamSizeOfView, LoadString(kCmdStreamSizeOfView));
    const int chosen = bFixed ? PreselectStream(profiles, static_cast<std::uint64_t>(fixed.cx) *
                                                              static_cast<std::uint64_t>(fixed.cy))
                              : -1;
    for (int i = 0; i < std::min(static_cast<int>(profiles.size()), kMaxStreamSizes); ++i) {
        const StreamProfile& profile = profiles[static_cast<std::size_t>(i)];
        if (StreamClassSize(profile)) {
            sizes->AppendMenu(i == chosen ? MF_CHECKED : 0, kCmdFirstStreamSize + i,
                              EscapeMenuText(StreamSizeText(profile)));
        }
    }
}

}  // namespace

void CellMenu::AppendCommands(BCMenu& menu, const CBaseCamera& camera) const {
    const int zoom = camera.IsDigitalZoom() ? kCmdDigitalZoomOff : kCmdDigitalZoomOn;
    menu.AppendMenu(camera.IsStreamRunning() ? 0 : MF_GRAYED, zoom,
                    LoadString(static_cast<std::uint32_t>(zoom)));
    // The menu offers what the panel offers.
    const ConsoleControls& controls = m_controls;
    const struct {
        int id;
        std::uint32_t text;
    } offered[] = {
        {kCtlSnapshot, kStrSnapshot},
        {kCtlRecord, controls.IsPressed(kCtlRecord) ? kStrStopRecording : kStrStartRecording},
        {kCtlCameraHome, kStrCameraHome},
    };
    for (const auto& entry : offered) {
        if (controls.Get(entry.id).shown) {
            menu.AppendMenu(controls.Get(entry.id).enabled ? 0 : MF_GRAYED, entry.id, LoadString(entry.text));
        }
    }
    if (camera.CanStreamFromCamera()) {
        menu.AppendMenu(camera.IsStreamFromCamera() ? MF_CHECKED : 0, kCmdFromCamera,
                        LoadString(kCmdFromCamera));
    }
    menu.AppendMenu(0, kCtlCameraSettings, LoadString(kStrCameraSettings));
}

void CellMenu::Open(const QPoint& screen) {
    const auto camera = m_active.Camera();
    const CVideoWnd* const cell = m_active.Cell();
    if (!camera || !camera->IsCameraUsable() || m_menu) {
        return;
    }
    auto* const menu = new BCMenu(m_desk.HostOf(*cell));
    m_menu = menu;
    AppendCommands(*menu, *camera);
    AppendStreamSizes(*menu, *camera);
    AppendPictureMenus(*menu, {&camera, 1}, AllCameras());
    // While digital zoom is on the panel steers the picture. This menu still steers the camera, which
    // could not be reached otherwise.
    if (camera->IsCameraSteerable()) {
        const CameraInfo info = camera->GetCameraInfo();
        BuildCameraMenu(*menu, info);
        // Only a camera that moves can store places.
        if (info.IsPanAndTiltable() || info.HasPresets()) {
            menu->AppendMenu(MF_SEPARATOR, 0, {});
            menu->AppendMenu(0, kCmdPresetDialog, LoadString(kCmdPresetDialog));
        }
    }
    menu->TrackPopupMenu(screen, {}, [this](int id) {
        m_menu.clear();
        if (id != 0) {
            m_commands.PressMenuEntry(id);
        }
    });
}

void CellMenu::OpenAtCell() {
    if (CVideoWnd* const cell = m_active.Cell()) {
        const CChannelView& view = cell->View();
        Open(view.mapToGlobal(view.rect().center()));
    }
}

bool CellMenu::OnCommand(int id) {
    switch (id) {
        case kCmdDigitalZoomOn:
        case kCmdDigitalZoomOff:
            if (CVideoWnd* const cell = m_active.Cell()) {
                cell->SetDigitalZoom(id == kCmdDigitalZoomOn);
                m_feedback.Say(LoadString(id == kCmdDigitalZoomOn ? kStrZoomOn : kStrZoomOff));
            }
            return true;
        case kCmdFromCamera:
            if (const auto camera = m_active.Camera()) {
                camera->SetStreamFrom(camera->IsStreamFromCamera() ? kStreamFromRecorder : kStreamFromCamera);
            }
            return true;
        case kCmdPresetDialog:
            OpenPresetDialog();
            return true;
        default:
            if (id != kCmdStreamSizeOfView &&
                (id < kCmdFirstStreamSize || id >= kCmdFirstStreamSize + kMaxStreamSizes)) {
                const auto camera = m_active.Camera();
                return camera && OnPictureCommand(id, {&camera, 1}, AllCameras());
            }
            ChooseStreamSize(id);
            return true;
    }
}

std::vector<std::shared_ptr<CBaseCamera>> CellMenu::AllCameras() const {
    std::vector<std::shared_ptr<CBaseCamera>> all;
    for (int n = 0; n < m_cameras.GetCount(); ++n) {
        if (auto camera = m_cameras.GetCameraByChannel(n)) {
            all.push_back(std::move(camera));
        }
    }
    return all;
}

void CellMenu::ChooseStreamSize(int id) {
    const auto camera = m_active.Camera();
    if (!camera) {
        return;
    }
    const auto profiles = camera->GetStreamProfiles();
    const auto index = static_cast<std::size_t>(id - kCmdFirstStreamSize);
    if (id == kCmdStreamSizeOfView) {
        camera->SetFixSizeServer(0, 0);
    } else if (index < profiles.size()) {
        const ClassSize size = StreamClassSize(profiles[index]).value_or(ClassSize{});
        camera->SetFixSizeServer(size.cx, size.cy);
    }
}

void CellMenu::OpenPresetDialog() {
    const auto camera = m_active.Camera();
    CVideoWnd* const cell = m_active.Cell();
    if (!camera || cell == nullptr || m_presets) {
        if (m_presets) {
            m_presets->raise();
            m_presets->activateWindow();
        }
        return;
    }
    QWidget* const host = m_desk.HostOf(*cell);
    m_presets = new PresetDialog(camera, host);
    m_presets->setAttribute(Qt::WA_DeleteOnClose);
    QObject::connect(m_presets, &QDialog::finished, &m_desk.Window(),
                     [dialog = m_presets.data()] { GiveKeyboardBack(*dialog); });
    // Must hide neither the picture that it is about nor the panel that steers the camera.
    m_presets->adjustSize();
    const QPoint middle = host->mapFromGlobal(cell->mapToGlobal(cell->rect().center()));
    const QRect wall = m_view.WallIn(*host);
    const int x = middle.x() < wall.center().x() ? wall.right() - m_presets->width() - kDialogGap
                                                 : wall.left() + kDialogGap;
    m_presets->move(host->mapToGlobal(QPoint(x, wall.top() + (wall.height() - m_presets->height()) / 2)));
    m_presets->show();
    m_presets->activateWindow();
}

void CellMenu::Close() {
    if (m_presets) {
        m_presets->reject();
    }
    if (m_menu) {
        m_menu->close();
    }
}

void CellMenu::Refresh() {
    if (m_presets) {
        m_presets->Refresh();
    }
}

}  // namespace kvmon
