#include "console/layout/custom_channel_style.h"

#include <string>

#include "persist/log_file.h"
#include "persist/orvo_registry.h"

namespace kvmon {

namespace {

struct Grid {
    const char* menuText;
    const char* name;  // begins the value names and stands in the traces
    std::uint32_t columns;
    std::uint32_t rows;
    // Where the active channel is read from. Nothing writes the one of the 6 x 7 grid.
    const char* activeValue;
};

// By style.
constexpr Grid kGrids[CCustomChannelStyle::kStyleCount] = {
    {"4 x 4", "4x4", 4, 4, "4x4ChListCurPageIdx"}, {"4 x 5", "4x5", 4, 5, "4x5ChListCurPageIdx"},
    {"5 x 4", "5x4", 5, 4, "5x4ChListCurPageIdx"}, {"5 x 5", "5x5", 5, 5, "5x5ChListCurPageIdx"},
    {"6 x 6", "6x6", 6, 6, "6x6ChListCurPageIdx"}, {"6 x 7", "6x7", 6, 7, "7x7ChListCurPageIdx"},
    {"7 x 6", "7x6", 7, 6, "7x6ChListCurPageIdx"},
};

// The order in which the styles are stored and read.
constexpr std::uint32_t kStoredOrder[] = {0, 1, 2, 6, 5, 3, 4};

std::string Section(std::string_view key) {
    return std::string(key) + "\\CustomChannelStyle";
}
std::string GridListName(const Grid& grid) {
    return std::string(grid.name) + "ChList";
}

}  // namespace

CCustomChannelStyle::CCustomChannelStyle()
    : m_arrays{CChannelArray(16), CChannelArray(20), CChannelArray(20), CChannelArray(25),
               CChannelArray(36), CChannelArray(42), CChannelArray(42)} {}

std::uint32_t CCustomChannelStyle::GetRows() const {
    return kGrids[Selected()].rows;
}
std::uint32_t CCustomChannelStyle::GetColumns() const {
    return kGrids[Selected()].columns;
}

void CCustomChannelStyle::SetStyleAndPage(std::uint32_t page, std::uint32_t style) {
    m_nStyle = style;
    GetCurrent().SetCurPage(page);
}

const char* CCustomChannelStyle::MenuText(std::uint32_t style) {
    return kGrids[style < kStyleCount ? style : 0].menuText;
}

void CCustomChannelStyle::SetTotalCount(std::uint32_t n) {
    for (CChannelArray& array : m_arrays) {
        array.SetTotalCount(n);
    }
}

void CCustomChannelStyle::ResetOrder() {
    for (CChannelArray& array : m_arrays) {
        array.ResetOrder();
    }
}

void CCustomChannelStyle::SaveToReg(COrvoRegistry& registry, std::string_view key) const {
    const std::string section = Section(key);
    registry.WriteProfileInt(section, "Style", m_nStyle);
    for (const std::uint32_t style : kStoredOrder) {
        const Grid& grid = kGrids[style];
        CChannelArray array = m_arrays[style];  // asking for the page may move the active channel
        Trace("CCustomChannelStyle::SaveToReg: m_%sChArray.GetTotalCount()=%d...\n", grid.name,
              static_cast<int>(array.GetTotalCount()));
        const std::string list = GridListName(grid);
        array.SaveOrder(registry, section, list);
        registry.WriteProfileInt(section, list + "Count", array.GetTotalCount());
        registry.WriteProfileInt(section, list + "CurPageIdx", array.GetCurPage());
        registry.WriteProfileInt(section, list + "CurActIdx", array.GetCurAct());
    }
}

void CCustomChannelStyle::LoadFromReg(const COrvoRegistry& registry, std::string_view key) {
    const std::string section = Section(key);
    m_nStyle = registry.GetProfileInt(section, "Style", 0);
    for (const std::uint32_t style : kStoredOrder) {
        m_arrays[style].LoadOrder(registry, section, GridListName(kGrids[style]), false);
    }
    for (const std::uint32_t style : kStoredOrder) {
        m_arrays[style].SetCurPage(
            registry.GetProfileInt(section, GridListName(kGrids[style]) + "CurPageIdx", 0));
    }
    for (const std::uint32_t style : kStoredOrder) {
        m_arrays[style].SetCurAct(registry.GetProfileInt(section, kGrids[style].activeValue, 0));
    }
}

}  // namespace kvmon
