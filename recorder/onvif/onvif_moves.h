// Moves of a camera's head and lens: their numbers, as ONVIF writes them, and the ends that they come to.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "media/ptz_camera.h"
#include "onvif/onvif_replies.h"

namespace kvrecorder {

// Waits; false when a stop came, or the end.
using MoveWait = std::function<bool(std::chrono::milliseconds)>;

// The words for whoever gave an order that the camera cannot follow.
inline constexpr const char* kRefused = "-1";

// Of the fastest.
inline constexpr double kSpeed = 0.5;
// A camera that only knows to run is let run so long.
inline constexpr std::chrono::milliseconds kRunTime{300};
// Until it rests, it is looked at in these steps, and no longer than this.
inline constexpr std::chrono::milliseconds kLookPause{100};
inline constexpr std::chrono::milliseconds kLongestMove{1'500};

std::string Told(EndStop end);
std::string Decimal(double value);
// Within what the space knows.
std::string PanTilt(const PtzSpace& space, double x, double y);
std::string ZoomTo(const PtzSpace& space, double x);

// 1: at the upper end of the range, -1: at the lower one, 0: at neither, or not known.
int EndIn(const std::optional<double>& position, const Range& range);
// Half of the range; 1 where it has no ends.
double SpanOf(const Range& range);

}  // namespace kvrecorder
