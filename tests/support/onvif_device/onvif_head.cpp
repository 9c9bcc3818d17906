#include "support/onvif_device/onvif_head.h"

#include <algorithm>
#include <cmath>

namespace kvtest {
namespace {

constexpr double kFast = 2;  // a second

}  // namespace

double OnvifHead::At(Axis axis, Clock::time_point now) const {
    const Motion& motion = m_axes[axis];
    const std::chrono::duration<double> time = std::clamp(now, motion.begin, motion.end) - motion.begin;
    return std::clamp(motion.from + motion.speed * time.count(), Low(axis), kHigh);
}

void OnvifHead::MoveTo(Axis axis, double place) {
    const std::lock_guard lock(m_mutex);
    const auto now = Clock::now();
    const double from = At(axis, now);
    const double way = std::clamp(place, Low(axis), kHigh) - from;
    m_axes[axis] = {from, way < 0 ? -kFast : kFast, now,
                    now + std::chrono::duration_cast<Clock::duration>(
                              std::chrono::duration<double>(std::abs(way) / kFast))};
}

void OnvifHead::MoveBy(Axis axis, double distance) {
    MoveTo(axis, Place(axis) + distance);
}

void OnvifHead::Run(Axis axis, double speed, std::chrono::milliseconds time) {
    const std::lock_guard lock(m_mutex);
    const auto now = Clock::now();
    m_axes[axis] = {At(axis, now), speed, now, now + time};
}

void OnvifHead::Stop(Axis axis) {
    const std::lock_guard lock(m_mutex);
    const auto now = Clock::now();
    m_axes[axis] = {At(axis, now), 0, now, now};
}

double OnvifHead::Place(Axis axis) const {
    const std::lock_guard lock(m_mutex);
    return At(axis, Clock::now());
}

bool OnvifHead::Moves(Axis axis) const {
    const std::lock_guard lock(m_mutex);
    return m_axes[axis].speed != 0 && Clock::now() < m_axes[axis].end;
}

}  // namespace kvtest
