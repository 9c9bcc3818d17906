#include "cameras/picture_times.h"

#include <algorithm>

namespace kvrecorder {
namespace {

// A picture that is further from its arrival is a jump of the camera's clock.
constexpr PictureTimes::Time kFarthest{2'000'000};
// Longer steps back are no reordering.
constexpr PictureTimes::Time kLongestBack{1'000'000};
// Clocks drift: each picture moves the offset by this part of what it is off.
constexpr int kSlew = 256;
constexpr std::int64_t kMostStamp = std::int64_t{1} << 52;

}  // namespace

PictureTimes::Times PictureTimes::Next(std::int64_t stampUs, Time arrival) {
    const bool known = stampUs > -kMostStamp && stampUs < kMostStamp;
    const Time stamp(known ? stampUs : 0);
    Time seen = known ? stamp + m_offset : arrival;
    const Time off = arrival - seen;
    if (known && (!m_anchored || off > kFarthest || off < -kFarthest)) {
        // It goes on at its arrival, and never before the picture that came last.
        seen = std::max(arrival, m_latest);
        m_offset = seen - stamp;
        m_anchored = true;
        m_backStep = Time::zero();
        m_latest = seen;
    } else if (known) {
        m_offset += off / kSlew;
    }
    const Time back = m_latest - seen;
    if (back > Time::zero() && back < kLongestBack) {
        m_backStep = std::max(m_backStep, back);
    }
    m_latest = std::max(m_latest, seen);
    const Time decode = m_begun ? std::max(m_last, seen - m_backStep) : seen;
    m_begun = true;
    m_last = decode;
    return {decode, std::max(seen - decode, Time::zero())};
}

}  // namespace kvrecorder
