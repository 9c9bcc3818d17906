// The user's order of the channels for one page size.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kvmon {

class COrvoRegistry;

// Answers which channel stands in cell i of page p, and keeps the page and the active channel. The total
// is the number of showable channels rounded up to whole pages, so that channels which do not exist may
// stand in it. Values are channel numbers, positions count from 0 over all pages.
class CChannelArray {
public:
    explicit CChannelArray(std::uint32_t nPageSize);

    std::uint32_t GetTotalCount() const { return m_dwTotalCamCount; }
    std::uint32_t GetPageSize() const { return m_nPageSize; }
    std::uint32_t GetPageCount() const { return m_nPageCount; }
    // A total that rounds to the present one changes nothing, so that the order is kept.
    void SetTotalCount(std::uint32_t n);

    // -1 for a position outside.
    int GetAt(std::uint32_t page, std::uint32_t i) const;
    // The same for the present and for the next page.
    int GetAtCurPage(std::uint32_t i) const { return GetAt(m_nCurPage, i); }
    int GetAtNextPage(std::uint32_t i) const { return GetAt(m_nCurPage + 1, i); }
    // 0 for a position outside.
    std::uint32_t GetIdx(std::uint32_t i) const;
    // Stores; at the size appends; beyond it does nothing.
    void SetIdx(std::uint32_t i, std::uint32_t value);
    // The first position of a channel; 0 when absent too.
    std::uint32_t FindChannel(std::uint32_t value) const;

    // Makes an invisible active channel the first visible one on the way.
    std::uint32_t GetCurPage();
    bool SetCurPage(std::uint32_t page);
    std::uint32_t GetCurAct() const { return m_nCurAct; }
    bool SetCurAct(std::uint32_t value);
    // 2 with a live second display, else 1.
    void SetScreens(std::uint32_t n) { m_nScreens = n; }

    void ResetOrder();
    // Repairs a stored order: doubles become the smallest missing channel, a number out of range resets
    // all.
    void Repair();
    // For debugging; nothing in this program calls it.
    void DumpToDebug() const;

    // The order as stored: 16-bit little-endian numbers, all positions.
    void SaveOrder(COrvoRegistry& registry, std::string_view section, std::string_view entry) const;
    // Takes the stored order; what was not stored counts as zeros. False, with nothing changed, if there
    // is no stored order and it `mustExist`.
    bool LoadOrder(const COrvoRegistry& registry, std::string_view section, std::string_view entry,
                   bool mustExist);

private:
    void FixActive();

    std::uint32_t m_nScreens = 1;
    std::uint32_t m_nPageSize;
    std::uint32_t m_dwTotalCamCount = 0;
    std::uint32_t m_nCurPage = 0;
    std::uint32_t m_nCurAct = 0;
    std::uint32_t m_nPageCount = 1;
    std::vector<std::uint32_t> m_IdxArray;
};

}  // namespace kvmon
