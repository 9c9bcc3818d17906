#include "channel/frames/frame_budget.h"

#include <unistd.h>

#include <algorithm>

namespace kvmon {

namespace {

constexpr std::uint64_t kMost = 1u << 30;

}  // namespace

std::uint64_t FrameBudget::Usual() {
    const long pages = ::sysconf(_SC_PHYS_PAGES);
    const long size = ::sysconf(_SC_PAGESIZE);
    return pages <= 0 || size <= 0
               ? kMost
               : std::min(kMost, static_cast<std::uint64_t>(pages) * static_cast<std::uint64_t>(size) / 4);
}

std::uint64_t FrameBudget::Held() const {
    const std::lock_guard lock(m_cs);
    return m_held;
}

bool FrameBudget::Take(std::uint64_t held, std::uint64_t bytes) {
    const std::lock_guard lock(m_cs);
    const std::uint64_t divided = m_most / 4;
    const bool bFits = bytes <= m_most && m_held <= m_most - bytes;
    const bool bFirstCome = bFits && m_held + bytes <= m_most - divided;
    if (!bFirstCome && !(bFits && held + bytes <= divided / std::max<std::uint64_t>(m_shares, 1))) {
        return false;
    }
    m_held += bytes;
    return true;
}

void FrameBudget::Give(std::uint64_t bytes) {
    const std::lock_guard lock(m_cs);
    m_held -= bytes;
}

void FrameBudget::Join() {
    const std::lock_guard lock(m_cs);
    ++m_shares;
}

void FrameBudget::Leave() {
    const std::lock_guard lock(m_cs);
    --m_shares;
}

bool FrameShare::Take(std::uint64_t bytes) {
    const std::lock_guard lock(m_cs);
    if (!m_budget->Take(m_held, bytes)) {
        return false;
    }
    m_held += bytes;
    return true;
}

void FrameShare::Give(std::uint64_t bytes) {
    const std::lock_guard lock(m_cs);
    m_budget->Give(bytes);
    m_held -= bytes;
}

std::uint64_t FrameShare::Held() const {
    const std::lock_guard lock(m_cs);
    return m_held;
}

bool HeldBytes::Change(std::uint64_t bytes) {
    if (m_share && bytes > m_bytes && !m_share->Take(bytes - m_bytes)) {
        return false;
    }
    if (m_share && bytes < m_bytes) {
        m_share->Give(m_bytes - bytes);
    }
    m_bytes = bytes;
    return true;
}

void HeldBytes::SetShare(const std::shared_ptr<FrameShare>& share) {
    if (m_bytes == 0) {
        m_share = share;
    }
}

}  // namespace kvmon
