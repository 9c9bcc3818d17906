// The commands of a channel, by the numbers of the console's controls.
#pragma once

#include <cstdint>

namespace kvmon {

enum CamCommand : std::uint32_t {
    kCmdManualRecording = 1751,
    kCmdHome = 1800,
    kCmdUp = 1801,
    kCmdDown = 1802,
    kCmdLeft = 1803,
    kCmdRight = 1804,
    kCmdUpLeft = 1805,
    kCmdUpRight = 1806,
    kCmdDownLeft = 1807,
    kCmdDownRight = 1808,
    kCmdZoomIn = 1809,
    kCmdZoomOut = 1810,
    kCmdPresetFirst = 1811,
    kCmdPresetLast = 1820,
    kCmdFocusNear = 1841,
    kCmdFocusFar = 1842,
    kCmdClickToCentre = 1981,  // argument: x in the high 16 bits, y in the low ones
    kCmdReadCameraInfo = 1982,
    kCmdReadPresets = 1983,  // has no form on the wire
    kCmdPresetIndex = 1984,
    kCmdPresetName = 1985,
    kCmdReadPresetFormat = 1986,
    kCmdTrackingOn = 6005,
    kCmdTrackingOff = 6006,
};

}  // namespace kvmon
