// The window that shows a channel's picture.
#pragma once

#include <QtCore/QPointer>
#include <QtCore/QRect>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "channel/picture/channel_picture.h"
#include "skin/sight.h"
#include "skin/window_base.h"

namespace kvmon {

class CBaseCamera;
class DirectScreen;
class RepaintTicket;

// User interface thread only.
class CChannelView : public WindowBase {
public:
    explicit CChannelView(QWidget* parent = nullptr);
    ~CChannelView() override;

    void SetIdx(std::uint32_t uIdx) { m_uIdx = uIdx; }
    // Gets all mouse and key messages of this view, at once. An answer other than 0 to a double click or the
    // wheel keeps the view from its own use of it.
    void SetEventWnd(WindowBase* pEventWnd);
    // Is posted each double click (515), and the Escape key as one.
    void SetParentWnd(WindowHandle hParentWnd) { m_hParentWnd = std::move(hParentWnd); }
    void SetAllowFullScreen(bool bAllow) { m_bAllowFullScreen = bAllow; }

    // Shows this channel; null shows black. The view does not keep the channel alive.
    void SetCamera(const std::shared_ptr<CBaseCamera>& pCamera);
    std::shared_ptr<CBaseCamera> GetCamera() const { return m_pCamera.lock(); }
    void SetDisplayMode(DisplayMode nMode);
    // The main caption; a while is 2000 ms.
    void SetMessage(std::uint32_t uStringId, CaptionStay stay);
    void SetMessageText(const std::string& text, CaptionStay stay);
    // Shows "Digital zoom x2.00" for 3000 ms if digital zoom is on.
    void RefreshZoomLabel();

    // The view's rectangle in its cell; during full screen it takes it on the way back.
    void SetPlace(const QRect& rect);
    // Over the whole screen that the view is on, and back to its place.
    void SetFullScreen(bool bFull);
    bool IsFullScreen() const { return m_bFullScreen; }

    // The picture's pixel below a point of the view; nothing beside the picture.
    std::optional<QPoint> ClientToImage(const QPoint& point) const;

    // The picture as it is now, with the stamp, if any, written into it. Nothing without a channel that is
    // shown here, or a picture of it.
    std::optional<Snapshot> TakeSnapshot(const std::string& stamp) const;

protected:
    void OnTimer(std::uint32_t id) override;
    LParam OnMessage(std::uint32_t message, WParam wParam, LParam lParam) override;
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    struct SavedPlace {
        QPointer<QWidget> parent;
        Qt::WindowFlags flags;
        QRect rect;
    };

    bool IsShownHere(const CBaseCamera& camera) const;
    void GiveViewSize(CBaseCamera& camera);
    void ShowState(const CBaseCamera& camera);
    void TellSeen(bool bSeen);
    bool PutPicture(DirectScreen& screen);
    void OnLButtonDblClk();
    bool OnWheel(const QWheelEvent& wheel);

    std::uint32_t m_uIdx = 0xFFFFFFFF;
    QPointer<WindowBase> m_pEventWnd;
    WindowHandle m_hParentWnd;
    bool m_bAllowFullScreen = false;
    bool m_bFullScreen = false;
    SavedPlace m_savedPlace;
    std::weak_ptr<CBaseCamera> m_pCamera;
    const std::shared_ptr<RepaintTicket> m_repaint;
    QSize m_givenSize;  // device pixels, as the channel knows them
    Sight m_sight{*this, [this](bool bSeen) { TellSeen(bSeen); }};
};

}  // namespace kvmon
