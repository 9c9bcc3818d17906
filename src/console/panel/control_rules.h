// Which controls the panel shows for the active camera.
#pragma once

#include "channel/base/camera_info.h"

namespace kvmon {

class ConsoleControls;

// What is known of the active window, its camera and the sound; all false for no camera.
struct ActiveCameraFacts {
    CameraInfo info;
    bool bWindow = false;
    bool bConnected = false;    // a picture came since the stream began
    bool bDigitalZoom = false;  // zooms the picture, not the camera
    bool bSnapshotRight = false;
    bool bRecordRight = false;
    bool bRecording = false;  // the recorder says so
    bool bMonitorable = false;
    bool bHomePage = false;  // the camera has an address of its own
    bool bCanTalk = false;
    bool bSoundOutput = false;  // this machine can play sound
    bool bSoundSource = false;  // some connected camera has sound
};

// Command kCmdRefreshControls: shows and hides, and presses the record button.
void ShowCameraControls(const ActiveCameraFacts& facts, ConsoleControls& controls);

}  // namespace kvmon
