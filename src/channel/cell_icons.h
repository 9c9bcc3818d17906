// The status icons in a cell's caption strip.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

class QPainter;
class QRectF;

namespace kvmon {

enum class CellIcon {
    PtzOn,
    PtzOff,
    DigitalZoom,
    SoundOn,
    SoundOff,
    Recording,
    EventRecording,
    Alarm,
    Motion,
    Input,
    Output,
    Fault,
};

// What the strip tells about a channel.
struct CellState {
    bool bPtz = false;      // pan, tilt or focus is available
    bool bPtzOpen = false;  // and open to this user
    bool bDigitalZoom = false;
    bool bSound = false;
    bool bSoundOpen = false;
    std::array<std::uint32_t, 7> flags{};
    friend bool operator==(const CellState&, const CellState&) = default;
};

struct PlacedIcon {
    CellIcon icon;
    int x;
    int width;
};

inline constexpr int kIconTop = 3;
inline constexpr int kIconHeight = 19;

// The icons from right to left, the first ending at `right`.
std::vector<PlacedIcon> PlaceIcons(const CellState& state, int right);

// Draws the icon in the middle of the box, in vectors.
void DrawCellIcon(QPainter& painter, CellIcon icon, const QRectF& box, bool bActive);

}  // namespace kvmon
