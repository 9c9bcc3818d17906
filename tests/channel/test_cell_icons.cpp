// The places of a cell's icons.
#include <gmock/gmock.h>

#include <climits>

#include "channel/cell/cell_icons.h"

namespace kvmon {
namespace {

std::vector<std::pair<CellIcon, int>> Placed(const CellState& state, int right, int left = INT_MIN) {
    std::vector<std::pair<CellIcon, int>> placed;
    for (const PlacedIcon& icon : PlaceIcons(state, right, left)) {
        placed.emplace_back(icon.icon, icon.x);
    }
    return placed;
}

TEST(CellIcons, StandInOrderFromTheRight) {
    using Icons = std::vector<std::pair<CellIcon, int>>;
    CellState state{.bPtz = true, .bPtzOpen = false, .bDigitalZoom = true, .bSound = true};
    state.bSoundOpen = state.bTold = true;
    state.flags = {1, 1, 1, 1, 1, 1, 1};
    EXPECT_EQ(Placed(state, 300), (Icons{{CellIcon::PtzOff, 282},
                                         {CellIcon::DigitalZoom, 264},
                                         {CellIcon::SoundOn, 246},
                                         {CellIcon::Connected, 220},
                                         {CellIcon::Recording, 194},
                                         {CellIcon::Event, 168},
                                         {CellIcon::Motion, 150},
                                         {CellIcon::SignalLoss, 132},
                                         {CellIcon::Input, 114},
                                         {CellIcon::Alarm, 96}}));
    state = {};
    state.flags[1] = 1;
    EXPECT_EQ(Placed(state, 100), (Icons{{CellIcon::Recording, 74}}));
    state.bManual = true;
    EXPECT_EQ(Placed(state, 100), (Icons{{CellIcon::ManualRecording, 74}}));
    state.bTold = true;  // and then what is missing is known
    EXPECT_EQ(Placed(state, 100), (Icons{{CellIcon::NotConnected, 74}, {CellIcon::ManualRecording, 48}}));
    EXPECT_TRUE(PlaceIcons({}, 100).empty());
    // What says least makes room.
    state.flags = {1, 1, 0, 1, 1, 0, 1};
    EXPECT_EQ(Placed(state, 100, 21),
              (Icons{{CellIcon::ManualRecording, 74}, {CellIcon::SignalLoss, 56}, {CellIcon::Alarm, 38}}));
    EXPECT_EQ(Placed(state, 100, 80), (Icons{{CellIcon::SignalLoss, 82}}));
    EXPECT_TRUE(PlaceIcons(state, 100, 90).empty());
}

}  // namespace
}  // namespace kvmon
