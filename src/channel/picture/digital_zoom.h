// The part of the picture that digital zoom shows. Plain arithmetic, no window and no lock.
#pragma once

#include <cstdint>
#include <optional>

#include "codec/picture.h"

namespace kvmon {

struct ZoomPoint {
    int x = 0;
    int y = 0;
};

// What an operation came to. The codes are those of message 11411.
struct ZoomOutcome {
    int code = 0;           // the end-stop; -1: the rectangle became the whole picture by force
    bool bReported = true;  // the user is told of it
};

// The rectangle in picture pixels, its level and the switch. A level is a step of 2 %: 0 is the whole
// picture, and it grows until a step would magnify the picture to three times the view. All sizes and places
// may be any numbers: stored ones come from outside.
class DigitalZoom {
public:
    // What is kept between two runs.
    struct State {
        bool bOn = false;
        std::int32_t nLevel = 0;
        PixelRect rect;
    };

    // What is to be stored: the present state, or the one that was restored as long as the user leaves it.
    const State& Get() const { return m_restored ? *m_restored : m_state; }
    // Takes a stored state. It belongs to the pictures of one stream, which need not be the first that comes:
    // until the user moves or zooms, each picture size and each view starts from it again.
    void Restore(const State& state);
    bool IsOn() const { return m_state.bOn; }
    int GetLevel() const { return m_state.nLevel; }
    const PixelRect& GetRect() const { return m_state.rect; }
    // Size 0: unknown, the rectangle stays as it is. Both recompute, the
    // first when the size is new.
    void SetPictureSize(int width, int height);
    void SetViewWidth(int width);
    // Switching on begins at level 0. False if it stood so already.
    bool Switch(bool bOn);

    // Adds to the level and rebuilds the rectangle around its centre.
    void DZSetMultiple(int nDelta);
    // Forces the rectangle into the picture. Gives -1 if it became the whole one, else the edges it met.
    ZoomOutcome DZClampRect();
    // Moves or zooms for a command of the panel, 1800 to 1810. Nothing for a command that it does not know,
    // or while it is off.
    std::optional<int> DZPTZFunction(std::uint32_t nId);

    // --- the mouse; view rectangles and points in the same units
    // The point clicked goes to the middle of the view.
    ZoomOutcome DZTouchAndGo(const PixelRect& rcView, const ZoomPoint& point);
    // The picture follows the pointer from where the drag began.
    void StartDrag(const ZoomPoint& cursor);
    ZoomOutcome DZDragMove(const ZoomPoint& cursor, int viewWidth, int viewHeight);
    ZoomOutcome DZMoveToPicPos(std::int64_t x, std::int64_t y);
    // The picture's point below a point of the view; (0, 0) while it is off and beside the picture.
    ZoomPoint DZViewToPicPos(const PixelRect& rcView, const ZoomPoint& point) const;
    // Zooms by so many levels and keeps what is below the pointer there.
    ZoomOutcome ZoomAt(const PixelRect& rcView, const ZoomPoint& point, int nDelta);

private:
    struct WideRect {
        std::int64_t left, top, right, bottom;
    };

    bool IsPictureKnown() const { return m_nWidth > 0 && m_nHeight > 0; }
    PixelRect WholePicture() const { return {0, 0, m_nWidth, m_nHeight}; }
    ZoomOutcome Clamp(WideRect rect);
    ZoomOutcome MoveBy(std::int64_t dx, std::int64_t dy);

    void Rebuild(int nDelta);
    void StartAgain();

    State m_state;
    std::optional<State> m_restored;
    int m_nWidth = 0;
    int m_nHeight = 0;
    int m_nViewWidth = 0;
    PixelRect m_rcDragStart;
    ZoomPoint m_ptDragStart;
};

}  // namespace kvmon
