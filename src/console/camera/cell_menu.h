// The menu of the active cell, at the right button and at the menu key.
#pragma once

#include <QtCore/QPoint>
#include <QtCore/QPointer>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "console/camera/preset_dialog.h"
#include "skin/bc_menu.h"

namespace kvmon {

class ActiveCamera;
class CBaseCamera;
class CameraList;
class Commands;
class ConsoleControls;
class Desk;
class FeedbackLine;
class ViewController;

// Commands that only the menu has, numbered as their texts.
inline constexpr int kCmdDigitalZoomOn = 2606;
inline constexpr int kCmdDigitalZoomOff = 2607;
inline constexpr int kCmdPresetDialog = 6400;
inline constexpr int kCmdFromCamera = 6892;
inline constexpr int kCmdStreamSizeOfView = 6420;
inline constexpr int kCmdFirstStreamSize = 6430;
inline constexpr int kMaxStreamSizes = 16;

// User interface thread only.
class CellMenu {
public:
    CellMenu(Desk& desk, Commands& commands, const ConsoleControls& controls, const ActiveCamera& active,
             const CameraList& cameras, const ViewController& view, FeedbackLine& feedback)
        : m_desk(desk),
          m_commands(commands),
          m_controls(controls),
          m_active(active),
          m_cameras(cameras),
          m_view(view),
          m_feedback(feedback) {}

    // Opens the active camera's menu at the point of the screen. Does nothing without a camera that may be
    // watched.
    void Open(const QPoint& screen);
    // The same in the middle of the active cell, for the keyboard.
    void OpenAtCell();
    // True if the command was one of the menu's own.
    bool OnCommand(int id);
    // With command 1757: what stands open shows what the camera can do now.
    void Refresh();
    // At the end of a session.
    void Close();

private:
    // All cameras that there are a channel for.
    std::vector<std::shared_ptr<CBaseCamera>> AllCameras() const;
    void AppendCommands(BCMenu& menu, const CBaseCamera& camera) const;
    void ChooseStreamSize(int id);
    void OpenPresetDialog();

    Desk& m_desk;
    Commands& m_commands;
    const ConsoleControls& m_controls;
    const ActiveCamera& m_active;
    const CameraList& m_cameras;
    const ViewController& m_view;
    FeedbackLine& m_feedback;
    QPointer<PresetDialog> m_presets;
    QPointer<BCMenu> m_menu;
};

}  // namespace kvmon
