#include "onvif/onvif_moves.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

#include "onvif/soap_xml.h"

namespace kvrecorder {
namespace {

// So near to an end is at it, in parts of the whole.
constexpr double kEndPart = 0.005;

std::string Space(const PtzSpace& space) {
    return space.uri.empty() ? "" : " space=\"" + EscapeXml(space.uri) + "\"";
}

}  // namespace

std::string Told(EndStop end) {
    return std::to_string(static_cast<int>(end));
}

std::string Decimal(double value) {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.4f", std::clamp(value, -1e6, 1e6));
    return text.data();
}

std::string PanTilt(const PtzSpace& space, double x, double y) {
    return "<tt:PanTilt x=\"" + Decimal(space.x.Clamp(x)) + "\" y=\"" + Decimal(space.y.Clamp(y)) + "\"" +
           Space(space) + "/>";
}

std::string ZoomTo(const PtzSpace& space, double x) {
    return "<tt:Zoom x=\"" + Decimal(space.x.Clamp(x)) + "\"" + Space(space) + "/>";
}

int EndIn(const std::optional<double>& position, const Range& range) {
    if (!position || !std::isfinite(range.high - range.low)) {
        return 0;
    }
    const double near = (range.high - range.low) * kEndPart;
    return *position >= range.high - near ? 1 : *position <= range.low + near ? -1 : 0;
}

double SpanOf(const Range& range) {
    return std::isfinite(range.high - range.low) ? (range.high - range.low) / 2 : 1;
}

}  // namespace kvrecorder
