// The head and the lens of the tests' camera: they take time to get where they are sent.
#pragma once

#include <array>
#include <chrono>
#include <mutex>

namespace kvtest {

class OnvifHead {
public:
    enum Axis { kPan, kTilt, kZoom, kFocus, kAxes };

    // To a place; beyond the ends it stops there.
    void MoveTo(Axis axis, double place);
    void MoveBy(Axis axis, double distance);
    // In parts of the whole a second, until it is stopped or the time is over.
    void Run(Axis axis, double speed, std::chrono::milliseconds time);
    void Stop(Axis axis);

    double Place(Axis axis) const;
    bool Moves(Axis axis) const;

    static double Low(Axis axis) { return axis == kPan || axis == kTilt ? -1 : 0; }
    static constexpr double kHigh = 1;

private:
    using Clock = std::chrono::steady_clock;
    struct Motion {
        double from = 0;
        double speed = 0;  // a second
        Clock::time_point begin;
        Clock::time_point end;
    };
    double At(Axis axis, Clock::time_point now) const;

    mutable std::mutex m_mutex;
    std::array<Motion, kAxes> m_axes{};
};

}  // namespace kvtest
