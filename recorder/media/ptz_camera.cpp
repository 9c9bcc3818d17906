#include "media/ptz_camera.h"

#include <algorithm>
#include <cmath>

namespace kvrecorder {
namespace {

constexpr double kStiffness = 6;        // 1/s; an order is done within about a second
constexpr double kStepSeconds = 0.005;  // of the motion's sum
// After a longer pause nobody has seen the way.
constexpr double kLongestWay = 3;
constexpr double kMovePart = 0.2;  // of the picture's width, by one order
constexpr double kZoomFactor = 1.25;
constexpr double kFocusPart = 0.2;
constexpr double kTourStop = 6;  // seconds at each place
constexpr double kNearlyThere = 1e-4;

// Keeps the value within its range and tells which end was reached: -1, 0 or 1.
int Clamp(double& value, double low, double high) {
    const double wanted = value;
    value = low > high ? (low + high) / 2 : std::clamp(value, low, high);
    return wanted < low ? -1 : wanted > high ? 1 : 0;
}

// By vertical and horizontal side, each -1, 0 or 1.
constexpr EndStop kEnds[3][3] = {
    {EndStop::UpLeft, EndStop::Up, EndStop::UpRight},
    {EndStop::Left, EndStop::None, EndStop::Right},
    {EndStop::DownLeft, EndStop::Down, EndStop::DownRight},
};

double ShownWidth(double zoom) {
    return kHomeWidth / zoom;
}

double ShownHeight(double zoom, PictureShape shape) {
    return ShownWidth(zoom) * (shape == PictureShape::Wide ? 9.0 / 16 : 3.0 / 4);
}

}  // namespace

void PtzCamera::Axis::Step(double seconds) {
    speed += (kStiffness * kStiffness * (aim - at) - 2 * kStiffness * speed) * seconds;
    at += speed * seconds;
}

void PtzCamera::Axis::Jump() {
    at = aim;
    speed = 0;
}

bool PtzCamera::Axis::Rests(double tolerance) const {
    return std::abs(aim - at) < tolerance && std::abs(speed) < tolerance;
}

double PtzCamera::AimZoom() const {
    return std::exp(m_axes[kZoom].aim);
}

EndStop PtzCamera::Hold() {
    const double zoom = AimZoom();
    const double halfWidth = ShownWidth(zoom) / 2;
    const double halfHeight = ShownHeight(zoom, m_shape) / 2;
    const int x = Clamp(m_axes[kX].aim, halfWidth, kWorldWidth - halfWidth);
    const int y = Clamp(m_axes[kY].aim, halfHeight, kWorldHeight - halfHeight);
    return kEnds[y + 1][x + 1];
}

EndStop PtzCamera::Move(int right, int down) {
    const std::lock_guard lock(m_mutex);
    m_tour.clear();
    const double step = ShownWidth(AimZoom()) * kMovePart;
    m_axes[kX].aim += right * step;
    m_axes[kY].aim += down * step;
    return Hold();
}

EndStop PtzCamera::Zoom(int in) {
    const std::lock_guard lock(m_mutex);
    m_tour.clear();
    m_axes[kZoom].aim += in * std::log(kZoomFactor);
    const int end = Clamp(m_axes[kZoom].aim, std::log(kWidest), std::log(kNarrowest));
    Hold();
    return end < 0 ? EndStop::Wide : end > 0 ? EndStop::Tele : EndStop::None;
}

EndStop PtzCamera::Focus(int farther) {
    const std::lock_guard lock(m_mutex);
    m_axes[kFocus].aim += farther * kFocusPart;
    // Five steps may not add up to one exactly.
    const double slack = kFocusPart / 2;
    const double wanted = m_axes[kFocus].aim;
    m_axes[kFocus].aim = std::clamp(std::round(wanted / kFocusPart) * kFocusPart, -1.0, 1.0);
    return wanted > 1 + slack ? EndStop::Far : wanted < -1 - slack ? EndStop::Near : EndStop::None;
}

EndStop PtzCamera::Centre(double right, double down) {
    const std::lock_guard lock(m_mutex);
    m_tour.clear();
    // The user clicked on the picture as it was shown, not on the aim.
    const double zoom = std::exp(m_axes[kZoom].at);
    m_axes[kX].aim = m_axes[kX].at + (right - 0.5) * ShownWidth(zoom);
    m_axes[kY].aim = m_axes[kY].at + (down - 0.5) * ShownHeight(zoom, m_shape);
    return Hold();
}

void PtzCamera::Aim(const SceneView& view) {
    m_axes[kX].aim = view.centreX;
    m_axes[kY].aim = view.centreY;
    m_axes[kZoom].aim = std::log(std::clamp(view.zoom, kWidest, kNarrowest));
    m_axes[kFocus].aim = 0;
    Hold();
}

void PtzCamera::GoTo(const SceneView& view) {
    const std::lock_guard lock(m_mutex);
    m_tour.clear();
    Aim(view);
}

void PtzCamera::Tour(std::vector<SceneView> stops) {
    const std::lock_guard lock(m_mutex);
    m_tour = std::move(stops);
    m_tourNext = 0;
    m_tourWait = 0;
}

void PtzCamera::Halt() {
    const std::lock_guard lock(m_mutex);
    m_tour.clear();
}

SceneView PtzCamera::Aim() const {
    const std::lock_guard lock(m_mutex);
    return {m_axes[kX].aim, m_axes[kY].aim, AimZoom()};
}

bool PtzCamera::Moving() const {
    const std::lock_guard lock(m_mutex);
    return !m_axes[kX].Rests(1) || !m_axes[kY].Rests(1) || !m_axes[kZoom].Rests(0.01) ||
           !m_axes[kFocus].Rests(0.01);
}

void PtzCamera::FollowTour(double seconds) {
    m_tourWait -= seconds;
    if (m_tour.empty() || m_tourWait > 0) {
        return;
    }
    Aim(m_tour[m_tourNext]);
    m_tourNext = (m_tourNext + 1) % m_tour.size();
    m_tourWait = kTourStop;
}

CameraPose PtzCamera::Pose(MediaTime now) {
    const std::lock_guard lock(m_mutex);
    const double passed = static_cast<double>((now - m_last).count()) / 1e6;
    if (!m_begun || passed > 0) {
        m_last = now;
        FollowTour(m_begun ? passed : 0);
        for (Axis& axis : m_axes) {
            if (!m_begun || passed > kLongestWay) {
                axis.Jump();
                continue;
            }
            const int steps = static_cast<int>(std::ceil(passed / kStepSeconds));
            for (int i = 0; i < steps; ++i) {
                axis.Step(passed / steps);
            }
            if (axis.Rests(kNearlyThere)) {
                axis.Jump();
            }
        }
        m_begun = true;
    }
    CameraPose pose;
    pose.view = {m_axes[kX].at, m_axes[kY].at, std::exp(m_axes[kZoom].at)};
    // The nearer a lens looks, the less of the depth is sharp.
    const double depth = 0.3 + 0.7 * std::clamp(std::log2(pose.view.zoom) / 3, 0.0, 1.0);
    pose.blur = std::min(1.0, std::abs(m_axes[kFocus].at) * depth);
    return pose;
}

}  // namespace kvrecorder
