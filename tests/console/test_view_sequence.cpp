// Sequences of named views: how long each stands, and what ends them.
#include "named_views_fixture.h"

#include <QtWidgets/QComboBox>

#include "console/wall/menu_spot.h"
#include "console/wall/screen_controller.h"
#include "console/wall/sequential_mode.h"
#include "lone_wall.h"

using namespace kvmon;
using kvtest::FakeRecorder;
using kvtest::NamedViews;
using kvtest::PressKey;
using kvtest::Pump;

namespace {

class ViewSequence : public kvtest::SettingsTest {
protected:
    void Elapse(std::int64_t seconds) {
        wall.timers.Elapse(seconds * 1000, [this](std::uint32_t id) {
            if (id == kTimerViewStep) {
                views.OnStepTimer();
            }
        });
    }
    int Style() const { return wall.view.GetStyle(); }

    kvtest::LoneWall wall{9};
    kvtest::SilentSite site;
    MenuSpots spots{wall.desk, wall.buttons, wall.cells};
    ScreenController screens{wall.desk, wall.commands, wall.wallEvents, wall.controls, wall.view};
    SequentialMode sequential{wall.desk, wall.timers, spots, wall.controls, wall.view, wall.settings};
    ViewSwitch views{wall.desk, site,       wall.commands, wall.timers,  wall.controls,
                     wall.view, sequential, screens,       wall.cameras, wall.recorders};
};

}  // namespace

TEST_F(NamedViews, ASequenceRunsUntilTheUserChooses) {
    FakeRecorder recorder("Hall", 9);
    Open(recorder.Port());
    Command(kCtl4Channels);
    ASSERT_TRUE(Views().Save("Four"));
    Command(kCtl9Channels);
    ASSERT_TRUE(Views().Save("Nine"));
    std::vector<NamedView> views = Views().List().All();
    NamedView tour;
    tour.name = "Tour";
    tour.steps = {{"Four", 600}, {"Gone", 600}, {"Nine", 900}};
    views.push_back(tour);
    Views().List().Set(views);

    const auto isRunning = [&] { return !Views().Sequence().empty() && console->IsTimerSet(kTimerViewStep); };
    const std::function<void()> choices[] = {
        [&] { Command(kCtlFirstStyle); },   [&] { PressKey(*console, Qt::Key_PageDown); },
        [&] { Command(kCtlSequential); },   [&] { Swap(0, 1); },
        [&] { console->OpenView("Four"); }, [&] { emit console->Parts().view.Combo().activated(1); },
    };
    for (const auto& choose : choices) {
        console->OpenView("Four");
        console->OpenView("Tour");
        ASSERT_TRUE(isRunning());
        choose();
        EXPECT_FALSE(isRunning()) << &choose - choices;
    }
    // Sequential mode of pages and a sequence of views are never on together.
    console->OpenView("Tour");
    EXPECT_FALSE(console->Parts().sequential.IsOn());
    console->Logout();
    Pump();
    EXPECT_FALSE(isRunning());
}

// Each view stands as long as its step says; a view that is gone takes no time.
TEST_F(ViewSequence, TheStepsTakeTheirTimes) {
    wall.view.ViewStyleChanged(VIEW_STYLE_4CH);
    ASSERT_TRUE(views.Save("Four"));
    wall.view.ViewStyleChanged(VIEW_STYLE_9CH);
    ASSERT_TRUE(views.Save("Nine"));
    std::vector<NamedView> all = views.List().All();
    NamedView tour;
    tour.name = "Tour";
    tour.steps = {{"Four", 600}, {"Gone", 600}, {"Nine", 900}};
    all.push_back(tour);
    views.List().Set(all);
    ASSERT_TRUE(views.Open("Tour"));
    const std::pair<int, ViewStyle> times[] = {{599, VIEW_STYLE_4CH},
                                               {1, VIEW_STYLE_9CH},
                                               {899, VIEW_STYLE_9CH},
                                               {1, VIEW_STYLE_4CH},
                                               {600, VIEW_STYLE_9CH}};
    for (const auto& [seconds, style] : times) {
        Elapse(seconds);
        EXPECT_EQ(Style(), style) << &seconds - &times[0].first;
    }
    Elapse(1500 * 100 + 900);  // a night
    EXPECT_EQ(Style(), VIEW_STYLE_4CH);
    // Its last view is deleted: the sequence ends, and the wall stays.
    views.List().Set({all[2]});
    Elapse(600);
    EXPECT_EQ(views.Sequence(), "");
    EXPECT_EQ(Style(), VIEW_STYLE_4CH);
}
