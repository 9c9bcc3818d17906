// Cells with cameras of a recorder that nobody logs in to: what subjects are handed beside their ports.
#pragma once

#include <memory>
#include <string>

#include "../channel/test_frames.h"
#include "channel/camera/base_camera.h"
#include "channel/cell/channel_view.h"
#include "channel/cell/video_wnd.h"
#include "console/panel/console_controls.h"
#include "console/settings/console_settings.h"
#include "console/wall/active_camera.h"
#include "console/wall/camera_list.h"
#include "console/wall/cell_pool.h"
#include "console/wall/heard_camera.h"
#include "console/wall/view_controller.h"
#include "port_doubles.h"
#include "server/recorder_list.h"
#include "support/fake_clock.h"

namespace kvtest {

struct LoneWall {
    explicit LoneWall(int cameraCount, std::uint16_t port = 1) {
        recorders.AddServer("127.0.0.1", port, "admin", "secret");
        Recorder().SetServerName("Hall");
        Recorder().SetCameraCount(cameraCount);
        cells.CreateVideoWnd(desk.window, cameraCount);
        for (int n = 0; n < cameraCount; ++n) {
            kvmon::CameraSettings camera;
            camera.m_nCh = n;
            camera.m_bMonitorRight = 1;
            camera.m_NetworkSetting[0].szAddress = "10.0.0.1";
            camera.m_lpszSvrIP = "127.0.0.1";
            camera.m_nSvrPort = port;
            camera.m_lpszSvrBase64Auth = "QUJD";
            auto made = kvmon::CreateCamera(&camera, cameraClock);
            *made = camera;
            made->SetCameraName("Camera " + std::to_string(n));
            Recorder().SetCamera(n, made);
            cells.Get(n)->SetCamera(made);
            cells.Get(n)->show();
        }
        cameras.UpdateCameraList(settings.options);
        cells.Activate(cells.Get(0), kvmon::PlaySound::No);
    }
    ~LoneWall() {
        for (int n = 0; n < cameras.GetCount(); ++n) {
            Camera(n).StopCameraThreads(kvmon::StopWait::ToTheEnd);
        }
    }
    LoneWall(const LoneWall&) = delete;
    LoneWall& operator=(const LoneWall&) = delete;

    kvmon::CKelvaraInfo& Recorder() { return *recorders.GetServer(0); }
    kvmon::CBaseCamera& Camera(int n = 0) { return *cameras.GetCameraByChannel(n); }
    void ShowPicture(std::uint8_t grey) {
        auto frame = MakePlainFrame(320, 200, {grey, grey, grey});
        Camera().Picture().SetBitmapInfo(frame->Info());
        Camera().Picture().Present(std::move(frame));
    }

    FakeClock clock;              // stands still until the test moves it
    FakeClock cameraClock{true};  // for the cameras' threads, that wait for nothing
    FakeDesk desk;
    FakeCommands commands;
    FakeTimers timers;
    FakePanelButtons buttons;
    DeafWallEvents wallEvents;
    kvmon::ConsoleSettings settings;
    kvmon::ConsoleControls controls;
    kvmon::RecorderList recorders{clock};
    kvmon::CameraList cameras{recorders};
    kvmon::CellPool cells;
    kvmon::ActiveCamera active{cells, cameras, recorders};
    kvmon::HeardCamera heard{controls, cells, cameras};
    kvmon::ViewController view{desk,    commands, wallEvents, cells,    controls,
                               cameras, settings, heard,      recorders};
};

}  // namespace kvtest
