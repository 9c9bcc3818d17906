// One cell of the monitor grid: caption strip, frame and the channel's picture.
#pragma once

#include <QtCore/QPointer>
#include <QtCore/QRect>
#include <QtCore/QSize>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "channel/base/sound_switches.h"
#include "channel/cell/cell_icons.h"
#include "channel/cell/cell_press.h"
#include "channel/picture/digital_zoom.h"
#include "skin/wheel_notches.h"
#include "skin/window_base.h"

class QPinchGesture;

namespace kvmon {

class CBaseCamera;
class CChannelView;
struct InputMessage;
struct StripColours;

inline constexpr int kCellMargin = 2;
inline constexpr int kCellTitleHeight = 21;
inline constexpr int kZoomLevelsOfNotch = 5;  // of the wheel, some 10 %

// User interface thread only. A right click, and nothing else of the mouse, asks the parent for the menu:
// WM_CONTEXTMENU with the point on the screen.
class CVideoWnd : public WindowBase {
public:
    explicit CVideoWnd(QWidget* parent = nullptr);
    ~CVideoWnd() override;

    void SetIdx(std::uint32_t uIdx);
    std::uint32_t GetIdx() const { return m_uIdx; }
    // Is told to refresh its buttons (WM_COMMAND 1757), and whether a recording command
    // was accepted (11406: wParam 1 if so, lParam the index).
    void SetOwner(WindowHandle hOwner) { m_hOwner = std::move(hOwner); }
    // Gets the forwarded mouse and key messages, at once; the point is one of the window that was hit.
    void SetParentWnd(WindowBase* pParentWnd);
    // Is posted 1025 at the end of timer 97.
    void SetNotifyDlg(WindowHandle hNotifyDlg) { m_hNotifyDlg = std::move(hNotifyDlg); }

    // Shows this channel, or none. The cell does not keep it alive.
    void SetCamera(const std::shared_ptr<CBaseCamera>& pCamera);
    std::shared_ptr<CBaseCamera> GetCamera() const { return m_pCamera.lock(); }
    // The sound of an active cell's channel plays when it is wanted and the user has the right.
    void SetWindowActive(bool bActive, PlaySound sound);
    bool IsWindowActive() const { return m_bActive; }
    // The picture's size; 702 x 480 without a channel.
    int GetWidth() const;
    int GetHeight() const;
    // What a cell has around its picture; kept for layouts of other hosts.
    static QSize GetVideoMargin() { return {2 * kCellMargin, 2 * kCellMargin}; }
    // The view's place in a cell of this size.
    static QRect GetViewRect(const QSize& cell);
    CChannelView& View() { return *m_pChannelView; }

    // What the channel's camera can do may have changed: the strip and the pointer follow.
    void RefreshFeatures();
    // Switches the channel's digital zoom.
    void SetDigitalZoom(bool bOn);
    // Sends a command of the panel to the channel's camera.
    void OnPtzCommand(std::uint32_t nId);
    // The same, past digital zoom.
    void SendToCamera(std::uint32_t nId);
    // Lets the frame of a channel with an event blink.
    void SetEventBlink(bool bOn);

protected:
    void OnTimer(std::uint32_t id) override;
    LParam OnMessage(std::uint32_t message, WParam wParam, LParam lParam) override;
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    enum class CellPart { Strip, View };
    enum class DragEnd { Drop, Cancel };

    CellState GetState() const;
    const StripColours& Strip() const;
    void PaintBorder(QPainter& painter) const;
    int PaintIcon(QPainter& painter) const;
    void PaintCaptionText(QPainter& painter, int iconsWidth) const;
    std::vector<PlacedIcon> Icons() const;
    void ShowTip(const QPoint& point, const QPoint& screen);
    void Describe();
    void RepaintStrip();
    void OnStillTimer();
    void RefreshCamera(std::uint32_t command);
    bool ClearHighlight();
    bool OnInput(const InputMessage& message, CellPart part);
    bool OnZoomInput(CBaseCamera& camera, const InputMessage& message);
    void OnZoomWheel(CBaseCamera& camera, const InputMessage& message);
    void ZoomTo(CBaseCamera& camera, LParam point, int nLevels);
    void OnPinch(const QPinchGesture& pinch);
    ZoomPoint ViewPoint(LParam point) const;
    std::optional<ZoomPoint> PlaceInPicture(const CBaseCamera& camera, LParam point) const;
    void BeginPress(const CBaseCamera& camera, const InputMessage& message, CellPart part);
    void EndFinger(const QPoint& screen);
    bool OnPressInput(const InputMessage& message, CellPart part);
    void EndDrag(DragEnd end, const QPoint& screen);
    LParam TellParent(std::uint32_t message, const QPoint& screen) const;
    void OpenMenu(const InputMessage& message, CellPart part);
    bool CanClickToCentre(const CBaseCamera& camera) const;
    void RefreshCursor();
    void PTZFunction(LParam point);
    void OnEndStop(LParam nCode);

    const std::unique_ptr<CChannelView> m_pChannelView;
    WindowHandle m_hOwner;
    QPointer<WindowBase> m_pParentWnd;
    WindowHandle m_hNotifyDlg;
    bool m_bActive = false;
    bool m_bEventBlink = false;
    bool m_bToldStill = false;
    std::uint32_t m_nBlinkCount = 0;
    std::uint32_t m_nPtzCommand = 0;
    std::uint32_t m_uIdx = 0xFFFFFFFF;
    std::weak_ptr<CBaseCamera> m_pCamera;
    CellPress m_press;            // the left button is down, and may drag the cell
    bool m_bCentreAtEnd = false;  // it turns the camera if it was a click
    bool m_bDragging = false;     // the picture, by the left button
    bool m_bMenuPress = false;    // the right button is down and opens the menu
    int m_nPinched = 0;           // levels that the fingers have turned since they came
    bool m_bZoomByPinch = false;  // they have switched digital zoom on
    WheelNotches m_wheel{kZoomLevelsOfNotch};
};

}  // namespace kvmon
