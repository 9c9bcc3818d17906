#include <gtest/gtest.h>

#include "console/layout/channel_array.h"
#include "console/layout/custom_channel_style.h"
#include "persist/orvo_registry.h"
#include "support/temp_folder.h"

using namespace kvmon;

namespace {

std::vector<std::uint32_t> Order(const CChannelArray& array) {
    std::vector<std::uint32_t> order;
    for (std::uint32_t i = 0; i < array.GetTotalCount(); ++i) {
        order.push_back(array.GetIdx(i));
    }
    return order;
}

CChannelArray Filled(std::vector<std::uint32_t> values) {
    CChannelArray array(4);
    array.SetTotalCount(static_cast<std::uint32_t>(values.size()));
    for (std::uint32_t i = 0; i < values.size(); ++i) {
        array.SetIdx(i, values[i]);
    }
    return array;
}

TEST(ChannelArrayTest, TotalIsRoundedUpAndKeepsTheOrder) {
    CChannelArray array(4);
    array.SetTotalCount(5);
    EXPECT_EQ(array.GetTotalCount(), 8u);
    EXPECT_EQ(array.GetPageCount(), 2u);
    EXPECT_EQ(array.GetAt(1, 1), 5);
    EXPECT_EQ(array.GetAt(2, 0), -1);
    EXPECT_EQ(array.GetAt(0xFFFFFFFF, 3), -1);
    array.SetIdx(0, 7);
    array.SetIdx(7, 0);
    array.SetTotalCount(6);
    EXPECT_EQ(array.GetIdx(0), 7u);
    array.SetTotalCount(4);  // 7 is out of range now
    EXPECT_EQ(Order(array), (std::vector<std::uint32_t>{0, 1, 2, 3}));
    array.SetTotalCount(0);
    EXPECT_FALSE(array.SetCurPage(0));
    EXPECT_EQ(array.FindChannel(3), 0u);
}

TEST(ChannelArrayTest, RepairMendsDoublesAndResetsNonsense) {
    CChannelArray doubled = Filled({0, 1, 1, 3});
    doubled.Repair();
    EXPECT_EQ(Order(doubled), (std::vector<std::uint32_t>{0, 1, 2, 3}));
    CChannelArray several = Filled({3, 3, 3, 1});
    several.Repair();
    EXPECT_EQ(Order(several), (std::vector<std::uint32_t>{3, 0, 2, 1}));
    CChannelArray nonsense = Filled({0, 9, 2, 3});
    nonsense.Repair();
    EXPECT_EQ(Order(nonsense), (std::vector<std::uint32_t>{0, 1, 2, 3}));
}

TEST(ChannelArrayTest, ActiveChannelFollowsThePage) {
    CChannelArray array(4);
    array.SetTotalCount(12);
    EXPECT_TRUE(array.SetCurAct(2));
    EXPECT_FALSE(array.SetCurAct(12));
    EXPECT_TRUE(array.SetCurPage(1));
    EXPECT_EQ(array.GetCurAct(), 4u);
    array.SetCurAct(8);
    array.SetScreens(2);
    EXPECT_EQ(array.GetCurPage(), 1u);
    EXPECT_EQ(array.GetCurAct(), 8u);  // on the second display
    EXPECT_FALSE(array.SetCurPage(3));
}

TEST(ChannelArrayTest, StoredOrderSurvivesAndNonsenseIsMended) {
    kvtest::TempFolder folder;
    COrvoRegistry registry;
    RegistryApp app;
    app.databasePath = folder.File("settings.db");
    registry.InitRegistry(false, app);
    CChannelArray array = Filled({3, 2, 1, 0});
    array.SaveOrder(registry, "s", "4ChList");
    CChannelArray loaded(4);
    loaded.SetTotalCount(4);
    EXPECT_TRUE(loaded.LoadOrder(registry, "s", "4ChList", true));
    EXPECT_EQ(Order(loaded), (std::vector<std::uint32_t>{3, 2, 1, 0}));
    EXPECT_FALSE(loaded.LoadOrder(registry, "s", "missing", true));
    EXPECT_EQ(loaded.GetIdx(0), 3u);
    EXPECT_TRUE(loaded.LoadOrder(registry, "s", "missing", false));
    EXPECT_EQ(Order(loaded), (std::vector<std::uint32_t>{0, 1, 2, 3}));
}

TEST(CustomChannelStyleTest, SavesAllAndRestoresTheActiveChannelFromThePage) {
    kvtest::TempFolder folder;
    COrvoRegistry registry;
    RegistryApp app;
    app.databasePath = folder.File("settings.db");
    registry.InitRegistry(false, app);
    CCustomChannelStyle style;
    style.SetTotalCount(100);
    style.SetStyleAndPage(2, 2);
    EXPECT_EQ(style.GetColumns(), 5u);
    EXPECT_EQ(style.GetRows(), 4u);
    style.SetCurAct(47);
    style.SaveToReg(registry, "Server");
    EXPECT_EQ(registry.GetProfileInt("Server\\CustomChannelStyle", "5x4ChListCurActIdx", 0), 47u);
    EXPECT_EQ(registry.GetProfileInt("Server\\CustomChannelStyle", "7x6ChListCount", 0), 126u);

    CCustomChannelStyle loaded;
    loaded.SetTotalCount(100);
    loaded.LoadFromReg(registry, "Server");
    EXPECT_EQ(loaded.GetStyle(), 2u);
    EXPECT_EQ(loaded.GetCurrent().GetCurAct(), 2u);  // the page's number
    EXPECT_EQ(loaded.GetCurPage(), 2u);
    EXPECT_EQ(loaded.GetCurrent().GetCurAct(), 40u);  // and then the first that is seen
}

TEST(CustomChannelStyleTest, StyleOutOfRangeActsAsTheFirst) {
    CCustomChannelStyle style;
    style.SetTotalCount(20);
    style.SetStyleAndPage(1, 99);
    EXPECT_EQ(style.GetPageSize(), 16u);
    EXPECT_EQ(style.GetCurPage(), 1u);
    EXPECT_STREQ(CCustomChannelStyle::MenuText(6), "7 x 6");
}

}  // namespace
