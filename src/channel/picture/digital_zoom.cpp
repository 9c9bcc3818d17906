#include "channel/picture/digital_zoom.h"

#include <algorithm>
#include <iterator>
#include <limits>

#include "channel/base/cam_commands.h"

namespace kvmon {

namespace {

constexpr std::uint64_t kStepPart = 49;  // of fifty: a step of 2 %
constexpr std::uint64_t kStepWhole = 50;
constexpr std::uint64_t kMostMagnified = 3;
constexpr int kFarthest = 1 << 24;  // that a stored side may lie: more than any picture has
constexpr int kPanStep = 10;
constexpr int kInnerLimit = 1;   // for the left and the top edge
constexpr int kQuietLevels = 3;  // that report no end when they are clamped

constexpr int kWideEnd = 5;
constexpr int kTeleEnd = 6;

// End-stops by the edge met: vertical none, top, bottom; horizontal none, left, right.
constexpr int kEdgeCodes[3][3] = {{0, 2, 1}, {3, 11, 12}, {4, 13, 14}};

// One axis of the rectangle: which edge it met is 0 for none, 1 for the low and 2 for the high one.
struct Axis {
    std::int64_t low;
    std::int64_t high;
    int edge = 0;
};

Axis ClampAxis(std::int64_t low, std::int64_t high, std::int64_t limit) {
    if (low < 0) {
        return {0, high - low, 1};
    }
    if (high > limit) {
        return {limit - (high - low), limit, 2};
    }
    return {low, high, 0};
}

// A step of the panel: -1, 0 or 1. It snaps to an edge that it would come too near to.
Axis StepAxis(std::int64_t low, std::int64_t high, std::int64_t limit, int direction) {
    if (direction < 0) {
        return low - kPanStep < kInnerLimit ? Axis{0, high - low, 1} : Axis{low - kPanStep, high - kPanStep};
    }
    if (direction > 0) {
        return high + kPanStep >= limit ? Axis{limit - (high - low), limit, 2}
                                        : Axis{low + kPanStep, high + kPanStep};
    }
    return {low, high};
}

constexpr struct {
    std::uint32_t command;
    int right;
    int down;
} kMoves[] = {
    {kCmdUp, 0, -1},      {kCmdDown, 0, 1},     {kCmdLeft, -1, 0},     {kCmdRight, 1, 0},
    {kCmdUpLeft, -1, -1}, {kCmdUpRight, 1, -1}, {kCmdDownLeft, -1, 1}, {kCmdDownRight, 1, 1},
};

std::int64_t Width(const PixelRect& rect) {
    return std::int64_t{rect.right} - rect.left;
}

std::int64_t Height(const PixelRect& rect) {
    return std::int64_t{rect.bottom} - rect.top;
}

// An offset of the view in picture pixels.
std::int64_t Scale(std::int64_t offset, std::int64_t part, std::int64_t view) {
    return view > 0 ? offset * part / view : 0;
}

int Narrow(std::int64_t value) {
    return static_cast<int>(
        std::clamp<std::int64_t>(value, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

}  // namespace

void DigitalZoom::Restore(const State& state) {
    m_state = state;
    m_state.nLevel = std::max(m_state.nLevel, 0);
    for (int* const side :
         {&m_state.rect.left, &m_state.rect.top, &m_state.rect.right, &m_state.rect.bottom}) {
        *side = std::clamp(*side, -kFarthest, kFarthest);
    }
    m_restored = m_state;
    Rebuild(0);
}

// With another picture or another view.
void DigitalZoom::StartAgain() {
    if (m_restored) {
        m_state = *m_restored;
    }
    Rebuild(0);
}

void DigitalZoom::SetPictureSize(int width, int height) {
    if (width == m_nWidth && height == m_nHeight) {
        return;
    }
    m_nWidth = std::max(width, 0);
    m_nHeight = std::max(height, 0);
    StartAgain();
}

void DigitalZoom::SetViewWidth(int width) {
    m_nViewWidth = std::max(width, 0);
    StartAgain();
}

bool DigitalZoom::Switch(bool bOn) {
    if (m_state.bOn == bOn) {
        return false;
    }
    m_restored.reset();
    m_state.bOn = bOn;
    if (bOn) {
        m_state.nLevel = 0;
    }
    Rebuild(0);
    return true;
}

void DigitalZoom::DZSetMultiple(int nDelta) {
    if (nDelta != 0) {
        m_restored.reset();
    }
    Rebuild(nDelta);
}

void DigitalZoom::Rebuild(int nDelta) {
    const std::int64_t nLevel = std::max<std::int64_t>(std::int64_t{m_state.nLevel} + nDelta, 0);
    m_state.nLevel = Narrow(nLevel);
    if (!IsPictureKnown()) {
        return;
    }
    if (m_state.nLevel == 0 || !m_state.bOn) {
        m_state.rect = WholePicture();
        return;
    }
    const std::int64_t cx = (std::int64_t{m_state.rect.left} + m_state.rect.right) / 2;
    const std::int64_t cy = (std::int64_t{m_state.rect.top} + m_state.rect.bottom) / 2;
    std::uint64_t w = static_cast<std::uint64_t>(m_nWidth);
    for (int i = 0; i < m_state.nLevel; ++i) {
        const std::uint64_t next = w * kStepPart / kStepWhole;
        // The step that meets the limit still counts; a picture of nothing does not.
        if (next == 0 || static_cast<std::uint64_t>(m_nViewWidth) / next >= kMostMagnified) {
            w = next != 0 ? next : w;
            m_state.nLevel = i + 1;
            break;
        }
        w = next;
    }
    const std::uint64_t h = static_cast<std::uint64_t>(m_nHeight) * w / static_cast<std::uint64_t>(m_nWidth);
    const auto halfWidth = static_cast<std::int64_t>(w / 2);
    const auto halfHeight = static_cast<std::int64_t>(h / 2);
    Clamp({cx - halfWidth, cy - halfHeight, cx + halfWidth, cy + halfHeight});
}

ZoomOutcome DigitalZoom::DZClampRect() {
    const PixelRect& rect = m_state.rect;
    return Clamp({rect.left, rect.top, rect.right, rect.bottom});
}

ZoomOutcome DigitalZoom::Clamp(WideRect rect) {
    if (m_state.nLevel == 0 || rect.right - rect.left > m_nWidth || rect.bottom - rect.top > m_nHeight) {
        m_state.rect = WholePicture();
        return {-1, false};
    }
    const Axis x = ClampAxis(rect.left, rect.right, m_nWidth);
    const Axis y = ClampAxis(rect.top, rect.bottom, m_nHeight);
    m_state.rect = {Narrow(x.low), Narrow(y.low), Narrow(x.high), Narrow(y.high)};
    return {kEdgeCodes[y.edge][x.edge], m_state.nLevel > kQuietLevels};
}

std::optional<int> DigitalZoom::DZPTZFunction(std::uint32_t nId) {
    if (!m_state.bOn) {
        return std::nullopt;
    }
    if (!IsPictureKnown() && nId >= kCmdHome && nId <= kCmdZoomOut) {
        return 0;
    }
    m_restored.reset();
    PixelRect& rect = m_state.rect;
    if (nId == kCmdHome) {
        const std::int64_t left = m_nWidth / 2 - Width(rect) / 2;
        const std::int64_t top = m_nHeight / 2 - Height(rect) / 2;
        rect = {Narrow(left), Narrow(top), Narrow(left + Width(rect)), Narrow(top + Height(rect))};
        return 0;
    }
    if (nId == kCmdZoomIn) {
        const int before = m_state.nLevel;
        DZSetMultiple(1);
        return m_state.nLevel == before ? kTeleEnd : 0;
    }
    if (nId == kCmdZoomOut) {
        if (m_state.nLevel < 1) {
            return kWideEnd;
        }
        DZSetMultiple(-1);
        return 0;
    }
    const auto* const move = std::find_if(std::begin(kMoves), std::end(kMoves),
                                          [nId](const auto& entry) { return entry.command == nId; });
    if (move == std::end(kMoves)) {
        return std::nullopt;
    }
    const Axis x = StepAxis(rect.left, rect.right, m_nWidth, move->right);
    const Axis y = StepAxis(rect.top, rect.bottom, m_nHeight, move->down);
    rect = {Narrow(x.low), Narrow(y.low), Narrow(x.high), Narrow(y.high)};
    return kEdgeCodes[y.edge][x.edge];
}

// --- the mouse

ZoomOutcome DigitalZoom::MoveBy(std::int64_t dx, std::int64_t dy) {
    if (!IsPictureKnown()) {
        return {0, false};
    }
    m_restored.reset();
    const PixelRect& rect = m_state.rect;
    return Clamp({rect.left + dx, rect.top + dy, rect.right + dx, rect.bottom + dy});
}

ZoomOutcome DigitalZoom::DZTouchAndGo(const PixelRect& rcView, const ZoomPoint& point) {
    if (!m_state.bOn) {
        return {0, false};
    }
    const std::int64_t x = point.x - (rcView.left + rcView.right) / 2;
    const std::int64_t y = point.y - (rcView.top + rcView.bottom) / 2;
    return MoveBy(Scale(x, Width(m_state.rect), rcView.Width()),
                  Scale(y, Height(m_state.rect), rcView.Height()));
}

void DigitalZoom::StartDrag(const ZoomPoint& cursor) {
    m_rcDragStart = m_state.rect;
    m_ptDragStart = cursor;
}

ZoomOutcome DigitalZoom::DZDragMove(const ZoomPoint& cursor, int viewWidth, int viewHeight) {
    if (!m_state.bOn) {
        return {0, false};
    }
    const std::int64_t dx = Scale(std::int64_t{m_ptDragStart.x} - cursor.x, Width(m_state.rect), viewWidth);
    const std::int64_t dy = Scale(std::int64_t{m_ptDragStart.y} - cursor.y, Height(m_state.rect), viewHeight);
    m_state.rect = m_rcDragStart;
    const ZoomOutcome outcome = MoveBy(dx, dy);
    if (outcome.code != 0 && outcome.code != -1) {
        StartDrag(cursor);  // so that the way back off the edge begins at once
    }
    return outcome;
}

ZoomOutcome DigitalZoom::DZMoveToPicPos(std::int64_t x, std::int64_t y) {
    const PixelRect& rect = m_state.rect;
    return MoveBy(x - (std::int64_t{rect.left} + rect.right) / 2,
                  y - (std::int64_t{rect.top} + rect.bottom) / 2);
}

ZoomPoint DigitalZoom::DZViewToPicPos(const PixelRect& rcView, const ZoomPoint& point) const {
    const PixelRect& rect = m_state.rect;
    const std::int64_t x = (std::int64_t{rect.left} + rect.right) / 2 +
                           Scale(point.x - (rcView.left + rcView.right) / 2, Width(rect), rcView.Width());
    const std::int64_t y = (std::int64_t{rect.top} + rect.bottom) / 2 +
                           Scale(point.y - (rcView.top + rcView.bottom) / 2, Height(rect), rcView.Height());
    if (!m_state.bOn || x < 0 || y < 0 || x >= m_nWidth || y >= m_nHeight) {
        return {};
    }
    return {Narrow(x), Narrow(y)};
}

ZoomOutcome DigitalZoom::ZoomAt(const PixelRect& rcView, const ZoomPoint& point, int nDelta) {
    if (!m_state.bOn || !IsPictureKnown()) {
        return {0, false};
    }
    const ZoomPoint below = DZViewToPicPos(rcView, point);
    const int before = m_state.nLevel;
    DZSetMultiple(nDelta);
    if (m_state.nLevel == before) {
        return {nDelta > 0 ? kTeleEnd : kWideEnd, true};
    }
    const std::int64_t dx =
        Scale(point.x - (rcView.left + rcView.right) / 2, Width(m_state.rect), rcView.Width());
    const std::int64_t dy =
        Scale(point.y - (rcView.top + rcView.bottom) / 2, Height(m_state.rect), rcView.Height());
    DZMoveToPicPos(below.x - dx, below.y - dy);
    return {0, true};
}

}  // namespace kvmon
