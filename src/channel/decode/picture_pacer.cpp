#include "channel/decode/picture_pacer.h"

#include <algorithm>
#include <cmath>

namespace kvmon {

namespace {

constexpr std::uint64_t kLongestStepMs = 2000;
constexpr double kFarOffMs = 1000;
constexpr double kJitterShare = 1.0 / 16;
constexpr double kDriftShare = 1.0 / 256;  // the clocks go at speeds of their own
constexpr double kRise = 1.0 / 4;          // one late picture alone is no reason to hold all others
constexpr double kFall = 1.0 / 64;

}  // namespace

bool PicturePacer::Follows(std::uint64_t ownMs, double way) const {
    return m_ownMs != 0 && ownMs > m_ownMs && ownMs - m_ownMs <= kLongestStepMs &&
           std::abs(way - m_way) <= kFarOffMs;
}

std::uint64_t PicturePacer::HoldFor(std::uint64_t ownMs, std::uint64_t readyMs, std::size_t waiting) {
    const double way = static_cast<double>(readyMs) - static_cast<double>(ownMs);
    const bool bFollows = Follows(ownMs, way);
    const double step = std::abs(way - m_way);
    m_ownMs = ownMs;
    m_way = way;
    m_heldMs = 0;
    if (!bFollows) {
        m_quickest = way;
        m_level = 0;
        m_jitter = 0;
        return 0;
    }
    m_jitter += (step - m_jitter) * kJitterShare;
    m_quickest = std::min(m_quickest, way);
    const double late = way - m_quickest;
    m_quickest += late * kDriftShare;
    m_level += (late - m_level) * (late > m_level ? kRise : kFall);
    m_level = std::min(m_level, static_cast<double>(kMostHeldMs));
    const double hold = m_level - late;
    if (hold >= static_cast<double>(kLeastHeldMs) && waiting < kMostWaiting) {
        m_heldMs = static_cast<std::uint64_t>(hold);
    }
    return m_heldMs;
}

}  // namespace kvmon
