// The seven custom grids, each with an order of its own.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "console/layout/channel_array.h"

namespace kvmon {

class COrvoRegistry;

class CCustomChannelStyle {
public:
    static constexpr std::uint32_t kStyleCount = 7;

    CCustomChannelStyle();

    // A style out of range acts as 0 in all that selects by it.
    std::uint32_t GetStyle() const { return m_nStyle; }
    CChannelArray& GetCurrent() { return Get(Selected()); }
    CChannelArray& Get(std::uint32_t style) { return m_arrays[style < kStyleCount ? style : 0]; }
    std::uint32_t GetRows() const;
    std::uint32_t GetColumns() const;
    std::uint32_t GetPageSize() const { return GetRows() * GetColumns(); }
    std::uint32_t GetCurPage() { return GetCurrent().GetCurPage(); }
    bool SetCurAct(std::uint32_t value) { return GetCurrent().SetCurAct(value); }
    void SetStyleAndPage(std::uint32_t page, std::uint32_t style);
    // "4 x 4" and so on; the text of a menu entry.
    static const char* MenuText(std::uint32_t style);

    void SetTotalCount(std::uint32_t n);
    void ResetOrder();

    void SaveToReg(COrvoRegistry& registry, std::string_view key) const;
    // The active channels are read from the values of the pages, as the stored format has it.
    void LoadFromReg(const COrvoRegistry& registry, std::string_view key);

private:
    std::uint32_t Selected() const { return m_nStyle < kStyleCount ? m_nStyle : 0; }

    std::uint32_t m_nStyle = 0;
    std::array<CChannelArray, kStyleCount> m_arrays;  // by style
};

}  // namespace kvmon
