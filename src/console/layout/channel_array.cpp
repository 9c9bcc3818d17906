#include "console/layout/channel_array.h"

#include <algorithm>
#include <array>
#include <numeric>

#include "persist/log_file.h"
#include "persist/orvo_registry.h"
#include "platform/text.h"

namespace kvmon {

namespace {
constexpr std::size_t kStoredBytes = 1024;
}

CChannelArray::CChannelArray(std::uint32_t nPageSize) : m_nPageSize(nPageSize) {}

void CChannelArray::SetTotalCount(std::uint32_t n) {
    const std::uint32_t total = (n + m_nPageSize - 1) / m_nPageSize * m_nPageSize;
    if (total == m_dwTotalCamCount) {
        return;
    }
    m_dwTotalCamCount = total;
    m_nPageCount = total / m_nPageSize;
    const auto size = static_cast<std::uint32_t>(m_IdxArray.size());
    m_IdxArray.resize(total);
    if (size < total) {
        std::iota(m_IdxArray.begin() + size, m_IdxArray.end(), size);
    }
    Repair();
}

int CChannelArray::GetAt(std::uint32_t page, std::uint32_t i) const {
    const std::uint64_t position = std::uint64_t{page} * m_nPageSize + i;
    return position < m_IdxArray.size() ? static_cast<int>(m_IdxArray[position]) : -1;
}

std::uint32_t CChannelArray::GetIdx(std::uint32_t i) const {
    return i < m_IdxArray.size() ? m_IdxArray[i] : 0;
}

void CChannelArray::SetIdx(std::uint32_t i, std::uint32_t value) {
    if (i < m_IdxArray.size()) {
        m_IdxArray[i] = value;
    } else if (i == m_IdxArray.size()) {
        m_IdxArray.push_back(value);
    }
}

std::uint32_t CChannelArray::FindChannel(std::uint32_t value) const {
    const auto found = std::find(m_IdxArray.begin(), m_IdxArray.end(), value);
    return found == m_IdxArray.end() ? 0 : static_cast<std::uint32_t>(found - m_IdxArray.begin());
}

std::uint32_t CChannelArray::GetCurPage() {
    FixActive();
    return m_nCurPage;
}

bool CChannelArray::SetCurPage(std::uint32_t page) {
    if (page >= m_nPageCount) {
        return false;
    }
    if (page != m_nCurPage) {
        m_nCurPage = page;
        FixActive();
    }
    return true;
}

bool CChannelArray::SetCurAct(std::uint32_t value) {
    if (value >= m_dwTotalCamCount) {
        return false;
    }
    m_nCurAct = value;
    return true;
}

void CChannelArray::FixActive() {
    const std::size_t size = m_IdxArray.size();
    const std::size_t first = std::size_t{m_nCurPage} * m_nPageSize;
    if (first >= size) {
        return;
    }
    const std::size_t last = std::min(size, first + std::size_t{m_nPageSize} * m_nScreens);
    const auto begin = m_IdxArray.begin() + static_cast<std::ptrdiff_t>(first);
    const auto end = m_IdxArray.begin() + static_cast<std::ptrdiff_t>(last);
    if (std::find(begin, end, m_nCurAct) == end) {
        m_nCurAct = *begin;
    }
}

void CChannelArray::ResetOrder() {
    Trace("CChannelArray::ResetOrder: m_IdxArray.GetSize()=%zu, m_dwTotalCamCount=%u...\n", m_IdxArray.size(),
          m_dwTotalCamCount);
    m_IdxArray.resize(m_dwTotalCamCount);
    std::iota(m_IdxArray.begin(), m_IdxArray.end(), 0u);
}

void CChannelArray::Repair() {
    std::vector<bool> stands(m_dwTotalCamCount);
    for (const std::uint32_t value : m_IdxArray) {
        if (value >= m_dwTotalCamCount) {
            ResetOrder();
            return;
        }
        stands[value] = true;
    }
    std::vector<bool> seen(m_dwTotalCamCount);
    std::uint32_t missing = 0;
    for (std::uint32_t& value : m_IdxArray) {
        if (seen[value]) {
            while (stands[missing]) {
                ++missing;
            }
            value = missing;
            stands[missing] = true;
        }
        seen[value] = true;
    }
}

void CChannelArray::DumpToDebug() const {
    std::string line;
    for (const std::uint32_t value : m_IdxArray) {
        line += FormatText("%02d ", static_cast<int>(value));
    }
    Trace("CChannelArray::DumpToDebug: %s...\n", line.c_str());
}

void CChannelArray::SaveOrder(COrvoRegistry& registry, std::string_view section,
                              std::string_view entry) const {
    std::vector<std::uint8_t> bytes;
    for (const std::uint32_t value : m_IdxArray) {
        bytes.push_back(static_cast<std::uint8_t>(value));
        bytes.push_back(static_cast<std::uint8_t>(value >> 8));
    }
    bytes.resize(std::min(bytes.size(), kStoredBytes));
    registry.WriteProfileBinary(section, entry, bytes);
}

bool CChannelArray::LoadOrder(const COrvoRegistry& registry, std::string_view section, std::string_view entry,
                              bool mustExist) {
    std::array<std::uint8_t, kStoredBytes> bytes{};
    if (registry.GetProfileBinary(section, entry, bytes) == 0 && mustExist) {
        return false;
    }
    for (std::uint32_t i = 0; i < m_dwTotalCamCount; ++i) {
        const bool stored = i * 2 + 1 < bytes.size();
        SetIdx(i, stored ? static_cast<std::uint32_t>(bytes[i * 2] | bytes[i * 2 + 1] << 8) : 0);
    }
    Repair();
    return true;
}

}  // namespace kvmon
