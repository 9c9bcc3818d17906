#include "console/layout/channel_orders.h"

#include <algorithm>
#include <string>
#include <vector>

#include "persist/orvo_registry.h"

namespace kvmon {

namespace {

constexpr int kPageSizes[6] = {4, 6, 8, 9, 10, 12};  // styles 2 to 7
constexpr std::string_view kPipEntry = "PinInPicList";

std::string ListName(std::size_t i) {
    return std::to_string(kPageSizes[i]) + "ChList";
}

// The four stored channels, or the natural ones if they are no four different ones.
std::array<std::uint32_t, 4> LoadPipList(const COrvoRegistry& registry, std::string_view key) {
    std::uint8_t bytes[8] = {};
    const std::size_t stored = registry.GetProfileBinary(key, kPipEntry, bytes) / 2;
    std::vector<std::uint32_t> list;
    for (std::size_t i = 0; i < stored; ++i) {
        const std::uint32_t channel = bytes[2 * i] | static_cast<std::uint32_t>(bytes[2 * i + 1]) << 8;
        if (std::find(list.begin(), list.end(), channel) != list.end()) {
            break;
        }
        list.push_back(channel);
    }
    if (list.size() != 4) {
        return {0, 1, 2, 3};
    }
    return {list[0], list[1], list[2], list[3]};
}

void SavePipList(COrvoRegistry& registry, std::string_view key, const std::array<std::uint32_t, 4>& list) {
    std::uint8_t bytes[8];
    for (std::size_t i = 0; i < list.size(); ++i) {
        bytes[2 * i] = static_cast<std::uint8_t>(list[i]);
        bytes[2 * i + 1] = static_cast<std::uint8_t>(list[i] >> 8);
    }
    registry.WriteProfileBinary(key, kPipEntry, bytes);
}

}  // namespace

ChannelOrders::ChannelOrders()
    : m_arrays{CChannelArray(4), CChannelArray(6),  CChannelArray(8),
               CChannelArray(9), CChannelArray(10), CChannelArray(12)} {}

CChannelArray* ChannelOrders::Find(ViewStyle style) {
    if (style == VIEW_STYLE_CUSTOM) {
        return &m_custom.GetCurrent();
    }
    return IsPageStyle(style) ? &m_arrays[static_cast<std::size_t>(style - VIEW_STYLE_4CH)] : nullptr;
}

int ChannelOrders::PageSize(ViewStyle style) const {
    switch (style) {
        case VIEW_STYLE_SINGLE_1CH:
            return 1;
        case VIEW_STYLE_PIP:
            return 4;
        case VIEW_STYLE_CUSTOM:
            return static_cast<int>(m_custom.GetPageSize());
        default:
            return kPageSizes[style - VIEW_STYLE_4CH];
    }
}

void ChannelOrders::SetTotalCount(std::uint32_t n) {
    for (CChannelArray& array : m_arrays) {
        array.SetTotalCount(n);
    }
    m_custom.SetTotalCount(n);
}

void ChannelOrders::ResetOrder() {
    for (CChannelArray& array : m_arrays) {
        array.ResetOrder();
    }
    m_custom.ResetOrder();
}

void ChannelOrders::SetScreens(std::uint32_t n) {
    for (CChannelArray& array : m_arrays) {
        array.SetScreens(n);
    }
}

void ChannelOrders::Save(COrvoRegistry& registry, std::string_view key) {
    for (std::size_t i = 0; i < m_arrays.size(); ++i) {
        CChannelArray& array = m_arrays[i];
        const std::string name = ListName(i);
        if (array.GetTotalCount() != 0) {
            array.SaveOrder(registry, key, name);
        }
        registry.WriteProfileInt(key, name + "CurPageIdx", array.GetCurPage());
        registry.WriteProfileInt(key, name + "CurActIdx", array.GetCurAct());
    }
    SavePipList(registry, key, m_pip);
    m_custom.SaveToReg(registry, key);
}

void ChannelOrders::Load(const COrvoRegistry& registry, std::string_view key) {
    m_pip = LoadPipList(registry, key);
    for (std::size_t i = 0; i < m_arrays.size(); ++i) {
        m_arrays[i].LoadOrder(registry, key, ListName(i), true);
    }
    for (std::size_t i = 0; i < m_arrays.size(); ++i) {
        m_arrays[i].SetCurPage(registry.GetProfileInt(key, ListName(i) + "CurPageIdx", 0));
    }
    for (std::size_t i = 0; i < m_arrays.size(); ++i) {
        m_arrays[i].SetCurAct(registry.GetProfileInt(key, ListName(i) + "CurActIdx", 0));
    }
    m_custom.LoadFromReg(registry, key);
}

}  // namespace kvmon
