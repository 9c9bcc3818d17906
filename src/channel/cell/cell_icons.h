// The status icons in a cell's caption strip.
#pragma once

#include <QtCore/QString>
#include <climits>
#include <cstdint>
#include <span>
#include <vector>

#include "channel/base/status_flags.h"

class QPainter;
class QRectF;

namespace kvmon {

struct StripColours;

enum class CellIcon {
    PtzOn,
    PtzOff,
    DigitalZoom,
    SoundOn,
    SoundOff,
    Connected,
    NotConnected,
    Recording,
    ManualRecording,
    Event,
    Motion,
    SignalLoss,
    Input,
    Alarm,
};

// What the strip tells about a channel.
struct CellState {
    bool bPtz = false;      // pan, tilt or focus is available
    bool bPtzOpen = false;  // and open to this user
    bool bDigitalZoom = false;
    bool bSound = false;
    bool bSoundOpen = false;
    bool bTold = false;  // the recorder has told the flags: a camera that is not connected is known to be so
    bool bManual = false;  // it records because a user wants it
    StatusFlags flags{};
    friend bool operator==(const CellState&, const CellState&) = default;
};

struct PlacedIcon {
    CellIcon icon;
    int x;
    int width;
};

inline constexpr int kIconTop = 3;
inline constexpr int kIconHeight = 19;

// The icons from right to left, the first ending at `right`. Where they do not fit before `left`, those that
// say the least are left out.
std::vector<PlacedIcon> PlaceIcons(const CellState& state, int right, int left = INT_MIN);

// All icons, in the strip's order.
std::span<const CellIcon> AllCellIcons();
// What it says, in the user's language.
QString CellIconText(CellIcon icon);
// The icon of a state that is on.
CellIcon IconOfFlag(StatusFlag flag);

// Draws the icon in the middle of the box, in vectors, to stand on a strip of these colours.
void DrawCellIcon(QPainter& painter, CellIcon icon, const QRectF& box, const StripColours& colours);

}  // namespace kvmon
