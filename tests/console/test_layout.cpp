#include "console/layout/layout.h"

#include <gmock/gmock.h>

#include <algorithm>

#include "console/layout/cell_moves.h"
#include "console/layout/channel_array.h"

using namespace kvmon;
using testing::Each;
using testing::ElementsAre;
using testing::Field;
using testing::SizeIs;

namespace kvmon {
void PrintTo(const PixelRect& r, std::ostream* out) {
    *out << r.left << "," << r.top << " " << r.Width() << "x" << r.Height();
}
}  // namespace kvmon

namespace {

PixelRect At(int x, int y, int width, int height) {
    return {x, y, x + width, y + height};
}

constexpr PixelRect kView{19, 64, 802, 613};

struct Wall {
    explicit Wall(ViewStyle style, int cameras, std::uint32_t pageSize = 4) : array(pageSize) {
        array.SetTotalCount(static_cast<std::uint32_t>(cameras));
        in.style = style;
        in.windowCount = 42;
        in.cameraCount = cameras;
        in.area = At(0, 0, 702, 480);
        in.singleArea = At(0, 0, 647, 508);
        in.array = &array;
    }

    LayoutPlan Plan() const { return ComputeLayout(in); }

    CChannelArray array;
    LayoutInput in;
};

std::vector<int> Channels(const LayoutPlan& plan) {
    std::vector<int> channels(plan.cells.size(), -2);
    for (const CellPlan& cell : plan.cells) {
        channels[static_cast<std::size_t>(cell.window)] = cell.channel;
    }
    return channels;
}

int ShownCount(const LayoutPlan& plan) {
    return static_cast<int>(
        std::count_if(plan.cells.begin(), plan.cells.end(), [](const CellPlan& cell) { return cell.shown; }));
}

}  // namespace

TEST(ViewGeometry, AreaOfAStyle) {
    EXPECT_EQ(GetViewRect({}, true, kView, WallUse::ManyCells), kView);
    EXPECT_EQ(GetViewRect({}, false, kView, WallUse::OneCell), At(19 + 68, 64 + 20, 647, 508));
    EXPECT_EQ(GetViewRect({}, false, kView, WallUse::ManyCells), At(19 + 40, 64 + 34, 702, 480));
    EXPECT_EQ(GetViewRect(At(0, 0, 1280, 800), false, kView, WallUse::OneCell), At(0, 0, 1280, 800));
    // A small view is overflowed on both sides.
    EXPECT_EQ(GetViewRect({}, false, At(10, 10, 602, 380), WallUse::ManyCells), At(-40, -40, 702, 480));
    EXPECT_EQ(ViewRectOfConsole(1000, 680), kView);
    EXPECT_EQ(ViewRectOfConsole(640, 480), kView);
    EXPECT_EQ(ViewRectOfConsole(1280, 800), (PixelRect{19, 64, 1082, 733}));
}

TEST(ViewGeometry, CellsOfEachStyle) {
    const PixelRect area = At(0, 0, 702, 480);
    EXPECT_THAT(
        DivideArea(VIEW_STYLE_4CH, At(5, 7, 703, 481), 0, 0),
        ElementsAre(At(5, 7, 351, 240), At(356, 7, 351, 240), At(5, 247, 351, 240), At(356, 247, 351, 240)));
    EXPECT_THAT(DivideArea(VIEW_STYLE_6CH, area, 0, 0),
                ElementsAre(At(0, 0, 468, 320), At(468, 0, 234, 160), At(468, 160, 234, 160),
                            At(0, 320, 234, 160), At(234, 320, 234, 160), At(468, 320, 234, 160)));
    EXPECT_THAT(DivideArea(VIEW_STYLE_8CH, area, 0, 0),
                ElementsAre(At(0, 0, 525, 360), At(525, 0, 175, 120), At(525, 120, 175, 120),
                            At(525, 240, 175, 120), At(0, 360, 175, 120), At(175, 360, 175, 120),
                            At(350, 360, 175, 120), At(525, 360, 175, 120)));
    const auto ten = DivideArea(VIEW_STYLE_10CH, area, 0, 0);
    ASSERT_THAT(ten, SizeIs(10));
    EXPECT_EQ(ten[1], At(350, 0, 350, 240));
    EXPECT_EQ(ten[2], At(0, 240, 175, 120));
    EXPECT_EQ(ten[9], At(525, 360, 175, 120));
    const auto twelve = DivideArea(VIEW_STYLE_12CH, area, 0, 0);
    ASSERT_THAT(twelve, SizeIs(12));
    EXPECT_EQ(twelve[4], At(0, 160, 175, 160));
    const auto custom = DivideArea(VIEW_STYLE_CUSTOM, area, 6, 7);
    ASSERT_THAT(custom, SizeIs(42));
    EXPECT_EQ(custom[41], At(600, 400, 100, 80));
    EXPECT_THAT(DivideArea(VIEW_STYLE_9CH, area, 0, 0), SizeIs(9));
    EXPECT_THAT(DivideArea(VIEW_STYLE_CUSTOM, area, 1, 1), SizeIs(0));
}

TEST(ViewGeometry, SmallWindowsStandAtTheLowerRightOfPictureInPicture) {
    const auto cells = PipRects(At(59, 98, 702, 480), 3);
    ASSERT_THAT(cells, SizeIs(4));
    // Gap 41, image 175 x 119, frame 4, title 21.
    EXPECT_EQ(cells[1], At(761 - 220, 578 - 185, 179, 144));
    EXPECT_EQ(cells[2], At(761 - 440, 578 - 185, 179, 144));
    EXPECT_EQ(cells[3], At(761 - 660, 578 - 185, 179, 144));
}

TEST(ViewGeometry, SingleViewFitsTheImage) {
    EXPECT_EQ(FitSingleView(kView, 352, 240), At(19 + 213, 64 + 142, 356, 265));
    // Too high: 549 - 25 = 524 rows are left.
    EXPECT_EQ(FitSingleView(kView, 640, 640), At(19 + 127, 64, 528, 549));
    // Too wide, after the height was cut too.
    EXPECT_EQ(FitSingleView(kView, 1920, 1080), At(19, 64 + 43, 783, 438 + 25));
    const PixelRect tiny = FitSingleView(At(0, 0, 3, 3), 100000, 1);
    EXPECT_GT(tiny.Width(), 0);
}

TEST(Layout, StyleOutOfRangeIsTenChannels) {
    EXPECT_EQ(CheckedViewStyle(9), VIEW_STYLE_10CH);
    EXPECT_EQ(CheckedViewStyle(-1), VIEW_STYLE_10CH);
    EXPECT_EQ(CheckedViewStyle(8), VIEW_STYLE_CUSTOM);
}

TEST(Layout, PageShowsItsChannelsAndStopsTheOthers) {
    Wall wall(VIEW_STYLE_4CH, 6);
    wall.array.SetCurPage(1);
    wall.in.bAudio = true;
    const LayoutPlan plan = wall.Plan();

    ASSERT_THAT(plan.cells, SizeIs(42));
    EXPECT_EQ(ShownCount(plan), 4);
    // Channels 6 and 7 stand in the order but are no cameras.
    EXPECT_THAT(std::vector(plan.cells.begin(), plan.cells.begin() + 4),
                ElementsAre(Field(&CellPlan::channel, 4), Field(&CellPlan::channel, 5),
                            Field(&CellPlan::channel, -1), Field(&CellPlan::channel, -1)));
    EXPECT_THAT(plan.streams, ElementsAre(StreamPlan::Stop, StreamPlan::Stop, StreamPlan::Stop,
                                          StreamPlan::Stop, StreamPlan::StartWithAudio, StreamPlan::Start));
    EXPECT_EQ(plan.activeWindow, 0);
    EXPECT_EQ(plan.cells.back().host, CellHost::Console);
    EXPECT_FALSE(plan.cells.back().shown);

    wall.in.bStopInvisible = false;
    wall.in.bAudio = false;
    EXPECT_THAT(wall.Plan().streams, ElementsAre(StreamPlan::Keep, StreamPlan::Keep, StreamPlan::Keep,
                                                 StreamPlan::Keep, StreamPlan::Start, StreamPlan::Start));
}

TEST(Layout, GridsKeepTheOrderOfWindowsAndLargeStylesRaise) {
    Wall grid(VIEW_STYLE_9CH, 9, 9);
    EXPECT_EQ(grid.Plan().cells[8].order, CellOrder::Keep);
    Wall large(VIEW_STYLE_8CH, 9, 8);
    EXPECT_EQ(large.Plan().cells[7].order, CellOrder::Top);
}

TEST(Layout, SecondDisplayShowsThePageBehind) {
    Wall wall(VIEW_STYLE_6CH, 11, 6);
    wall.in.windowCount = 84;
    wall.in.secondArea = At(0, 0, 900, 600);
    const LayoutPlan plan = wall.Plan();
    const std::vector<int> channels = Channels(plan);
    EXPECT_EQ(channels[5], 5);
    EXPECT_EQ(channels[6], 6);
    EXPECT_EQ(channels[10], 10);
    EXPECT_EQ(channels[11], -1);
    EXPECT_EQ(plan.cells[6].host, CellHost::Second);
    EXPECT_EQ(plan.cells[6].rect, At(0, 0, 600, 400));
    EXPECT_EQ(ShownCount(plan), 12);
    EXPECT_THAT(plan.streams, Each(StreamPlan::Start));
}

TEST(Layout, FewWindowsOrNone) {
    Wall wall(VIEW_STYLE_12CH, 12, 12);
    wall.in.windowCount = 5;
    EXPECT_THAT(wall.Plan().cells, SizeIs(5));
    wall.in.windowCount = 0;
    EXPECT_THAT(wall.Plan().cells, SizeIs(0));
    EXPECT_THAT(wall.Plan().streams, SizeIs(0));
    Wall empty(VIEW_STYLE_4CH, 0);
    EXPECT_EQ(empty.Plan().activeWindow, -1);
    EXPECT_EQ(ShownCount(empty.Plan()), 4);
}

TEST(Layout, SingleStyleShowsTheSelectedCamera) {
    Wall wall(VIEW_STYLE_SINGLE_1CH, 3);
    const int combo[] = {0, 2};
    wall.in.comboChannels = combo;
    wall.in.comboSelection = 1;
    wall.in.bMaxViewMode = false;
    wall.in.bAudio = true;
    LayoutPlan plan = wall.Plan();
    EXPECT_EQ(plan.cells[0].channel, 2);
    EXPECT_EQ(plan.cells[0].rect, wall.in.singleArea);
    EXPECT_EQ(plan.activeWindow, 0);
    EXPECT_EQ(plan.restartChannel, 2);
    EXPECT_THAT(plan.streams, ElementsAre(StreamPlan::Stop, StreamPlan::Stop, StreamPlan::StartWithAudio));

    wall.in.bMaxViewMode = true;
    wall.in.secondArea = At(0, 0, 800, 600);
    plan = wall.Plan();
    EXPECT_EQ(plan.restartChannel, -1);
    EXPECT_EQ(plan.cells[1].channel, 0);  // the camera behind the last is the first
    EXPECT_EQ(plan.cells[1].host, CellHost::Second);
    EXPECT_THAT(plan.streams, ElementsAre(StreamPlan::Start, StreamPlan::Stop, StreamPlan::StartWithAudio));

    wall.in.comboChannels = {};
    wall.in.comboSelection = -1;
    plan = wall.Plan();
    EXPECT_EQ(plan.cells[0].channel, -1);
    EXPECT_THAT(plan.streams, Each(StreamPlan::Stop));
}

TEST(Layout, PictureInPictureStacksSmallWindowsOnTheLarge) {
    Wall wall(VIEW_STYLE_PIP, 6);
    wall.in.pipList = {5, 0, 1, 9};
    wall.in.pipChildren = 2;
    wall.in.bAudio = true;
    const LayoutPlan plan = wall.Plan();
    EXPECT_THAT(std::vector(plan.cells.begin(), plan.cells.begin() + 4),
                ElementsAre(Field(&CellPlan::window, 0), Field(&CellPlan::window, 2),
                            Field(&CellPlan::window, 1), Field(&CellPlan::window, 3)));
    EXPECT_EQ(plan.cells[0].order, CellOrder::Bottom);
    EXPECT_EQ(plan.cells[1].order, CellOrder::Top);
    EXPECT_FALSE(plan.cells[3].placed);
    EXPECT_THAT(plan.streams, ElementsAre(StreamPlan::Start, StreamPlan::Start, StreamPlan::Stop,
                                          StreamPlan::Stop, StreamPlan::Stop, StreamPlan::StartWithAudio));
}

TEST(Layout, PageCombo) {
    EXPECT_EQ(PageItemCount(3, 4, 1), 0);
    EXPECT_EQ(PageItemCount(4, 4, 1), 0);
    EXPECT_EQ(PageItemCount(5, 4, 1), 2);
    EXPECT_EQ(PageItemCount(10, 4, 2), 2);
    EXPECT_EQ(PageItemCount(0, 42, 2), 0);
    const ComboCandidate unnamed{false, true, true, true}, all{true, true, true, true};
    const ComboCandidate disabled{true, true, true, false}, noRight{true, false, true, false};
    EXPECT_FALSE(IsListedInCombo(unnamed, 0));
    EXPECT_TRUE(IsListedInCombo(noRight, 0));
    EXPECT_FALSE(IsListedInCombo(noRight, 1));
    EXPECT_TRUE(IsListedInCombo(disabled, 77));
    EXPECT_FALSE(IsListedInCombo(disabled, 2));
    EXPECT_TRUE(IsListedInCombo(all, 2));
}

TEST(Layout, StoredPipCount) {
    EXPECT_EQ(PipChildCount(2, 10), 2);
    EXPECT_EQ(PipChildCount(0, 3), 1);
    EXPECT_EQ(PipChildCount(4000000000u, 4), 3);
}

TEST(Layout, DropExchangesTwoCells) {
    CChannelArray array(4);
    array.SetTotalCount(8);
    const auto on = [](int channel) { return [channel](int c) { return c == channel; }; };

    auto swap = FindGridSwap(array, 0, false, on(3));
    ASSERT_TRUE(swap);
    EXPECT_TRUE(SwapCells(array, *swap));
    EXPECT_EQ(array.GetAt(0, 0), 3);
    EXPECT_EQ(array.GetAt(0, 3), 0);

    EXPECT_FALSE(FindGridSwap(array, 0, false, on(-1)));  // on empty space
    EXPECT_FALSE(FindGridSwap(array, 0, false, on(6)));   // another page
    EXPECT_FALSE(FindGridSwap(array, 5, false, on(6)));   // a page that is not on show
    EXPECT_FALSE(SwapCells(array, {0, 1, 1}));
    EXPECT_FALSE(SwapCells(array, {0, 1, 4}));
    EXPECT_FALSE(SwapCells(array, {7, 1, 2}));
}

TEST(Layout, SwapOnALaterPageWritesToTheFirst) {
    CChannelArray array(4);
    array.SetTotalCount(8);
    array.SetCurPage(1);
    const auto swap = FindGridSwap(array, 4, false, [](int channel) { return channel == 6; });
    ASSERT_TRUE(swap);
    EXPECT_TRUE(SwapCells(array, *swap));
    EXPECT_EQ(array.GetAt(0, 0), 6);
    EXPECT_EQ(array.GetAt(0, 2), 4);
    EXPECT_EQ(array.GetAt(1, 0), 4);  // doubled until the order is next repaired
    EXPECT_EQ(array.GetAt(1, 2), 6);
}

TEST(Layout, DropOnTheSecondDisplay) {
    CChannelArray array(4);
    array.SetTotalCount(8);
    const auto drop = [](int channel) { return channel == 6; };
    EXPECT_FALSE(FindGridSwap(array, 4, false, drop));
    const auto swap = FindGridSwap(array, 4, true, drop);
    ASSERT_TRUE(swap);
    EXPECT_EQ(swap->page, 1u);
    EXPECT_FALSE(FindGridSwap(array, 1, true, drop));  // from one display to the other
}

TEST(Layout, DropInPictureInPicture) {
    const std::array<std::uint32_t, 4> list{3, 2, 1, 0};
    const auto swap = FindPipSwap(list, 0, [](int channel) { return channel == 3; });
    ASSERT_TRUE(swap);
    EXPECT_EQ(swap->from, 3);
    EXPECT_EQ(swap->to, 0);
    EXPECT_FALSE(FindPipSwap(list, 9, [](int channel) { return channel == 3; }));
}

TEST(CellMoves, LeadWhereTheEyeSeesTheNextCell) {
    const auto places = [](ViewStyle style, int cameras, std::uint32_t pageSize) {
        std::vector<PixelRect> cells;
        for (const CellPlan& cell : Wall(style, cameras, pageSize).Plan().cells) {
            if (cell.shown) {
                cells.push_back(cell.rect);
            }
        }
        return cells;
    };
    using enum CellMove;
    const std::vector<PixelRect> nine = places(VIEW_STYLE_9CH, 9, 9);
    ASSERT_THAT(nine, SizeIs(9));
    const struct {
        int from;
        CellMove move;
        int to;
    } inNine[] = {{4, Left, 3}, {4, Right, 5}, {4, Up, 1},   {4, Down, 7}, {2, Right, 3},
                  {3, Left, 2}, {8, Right, 0}, {0, Left, 8}, {1, Up, 1},   {7, Down, 7}};
    for (const auto& each : inNine) {
        EXPECT_EQ(FindCellMove(nine, each.from, each.move), each.to) << each.from;
    }
    // The large one at the corner, three cells in all around it, and the one behind them.
    const std::vector<PixelRect> six = places(VIEW_STYLE_6CH, 6, 6);
    ASSERT_THAT(six, SizeIs(6));
    const auto at = [&six](int x, int y) {
        return static_cast<int>(
            std::find_if(six.begin(), six.end(),
                         [&](const PixelRect& cell) { return cell.left == x && cell.top == y; }) -
            six.begin());
    };
    const int large = at(0, 0);
    EXPECT_EQ(FindCellMove(six, large, Right), at(468, 0));
    EXPECT_EQ(FindCellMove(six, large, Down), at(0, 320));
    EXPECT_EQ(FindCellMove(six, at(468, 160), Left), large);
    EXPECT_EQ(FindCellMove(six, at(234, 320), Up), large);
    EXPECT_EQ(FindCellMove(six, at(468, 320), Up), at(468, 160));
    // Nothing to move to, and nowhere to move from.
    EXPECT_EQ(FindCellMove({}, 0, Left), -1);
    EXPECT_EQ(FindCellMove({nine[0]}, 0, Right), 0);
    EXPECT_EQ(FindCellMove(nine, -1, Down), 0);
}
