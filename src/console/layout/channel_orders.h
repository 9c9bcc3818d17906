// The user's orders of all styles, and the picture-in-picture list.
#pragma once

#include <array>
#include <string_view>

#include "console/layout/channel_array.h"
#include "console/layout/custom_channel_style.h"
#include "console/layout/view_style.h"

namespace kvmon {

class COrvoRegistry;

class ChannelOrders {
public:
    ChannelOrders();

    // The order of a page style; null for the two styles without pages.
    CChannelArray* Find(ViewStyle style);
    CCustomChannelStyle& Custom() { return m_custom; }
    // Cells of a page; 1 for the single style, 4 for picture-in-picture.
    int PageSize(ViewStyle style) const;

    void SetTotalCount(std::uint32_t n);
    // The picture-in-picture list keeps its order.
    void ResetOrder();
    // 2 with a live second display, else 1. The custom orders keep 1.
    void SetScreens(std::uint32_t n);

    // Channels of the large window and of the small ones behind it.
    std::array<std::uint32_t, 4>& PipList() { return m_pip; }
    const std::array<std::uint32_t, 4>& PipList() const { return m_pip; }

    void Save(COrvoRegistry& registry, std::string_view key);
    void Load(const COrvoRegistry& registry, std::string_view key);

private:
    std::array<CChannelArray, 6> m_arrays;  // styles 2 to 7
    CCustomChannelStyle m_custom;
    std::array<std::uint32_t, 4> m_pip{0, 1, 2, 3};
};

}  // namespace kvmon
