// What the wall shows when the number of cameras changes, and how it names whose they are.
#include <gmock/gmock.h>

#include <QtWidgets/QComboBox>

#include "console/settings/multi_server_list.h"
#include "console_fixture.h"
#include "skin/xskin_od_button.h"
#include "skin/xskin_static.h"
#include "support/fake_recorder.h"

using namespace kvmon;
using namespace kvtest;
using testing::ElementsAre;
using testing::SizeIs;

namespace {

class WallRules : public ConsoleTest {
protected:
    void SelectItem(int item) {
        console->Parts().view.Combo().setCurrentIndex(item);
        console->Parts().view.OnSelchangePage();
    }
    // The recorder has so many channels from now on.
    bool Shrink(FakeRecorder& recorder, int count) {
        std::vector<FakeChannel> channels;
        for (int i = 1; i <= count; ++i) {
            channels.push_back({"Channel " + std::to_string(i)});
        }
        recorder.SetChannels(channels);
        return recorder.WaitForListener() && (recorder.Notify("2\n"), true) &&
               PumpUntil([&] { return console->Parts().cameras.GetCount() == count; });
    }
    std::string Head(int id) { return dynamic_cast<CXSkinStatic*>(console->GetDlgItem(id))->GetWindowText(); }
    // The styles whose buttons are lit and can be seen.
    std::vector<int> LitButtons() {
        std::vector<int> lit;
        for (int id = kCtlFirstStyle; id <= kCtlLastStyle; ++id) {
            const CXSkinODButton* const button = console->GetButton(id);
            if (button->isVisible() && button->GetCheck() == BST_CHECKED) {
                lit.push_back(id);
            }
        }
        return lit;
    }
};

}  // namespace

TEST_F(WallRules, APageBehindTheEndBecomesTheLastThatHasCameras) {
    FakeRecorder recorder("Hall", 30);
    Open(recorder.Port());
    Command(StyleButtonId(VIEW_STYLE_9CH));
    SelectItem(3);
    EXPECT_EQ(ShownNames()[0], "Channel 28");
    Command(StyleButtonId(VIEW_STYLE_4CH));
    ASSERT_TRUE(Shrink(recorder, 12));
    Command(StyleButtonId(VIEW_STYLE_9CH));
    EXPECT_EQ(ShownNames()[0], "Channel 10");
    EXPECT_EQ(console->Parts().view.Combo().currentIndex(), 1);
    Command(StyleButtonId(VIEW_STYLE_4CH));
    ASSERT_TRUE(Shrink(recorder, 8));
    Command(StyleButtonId(VIEW_STYLE_9CH));
    EXPECT_EQ(ShownNames()[0], "Channel 1");
    EXPECT_EQ(ShownNames()[7], "Channel 8");
}

TEST_F(WallRules, TheStyleOnShowHasALitButtonWithFewCamerasToo) {
    FakeRecorder recorder("Hall", 20);
    Open(recorder.Port());
    Command(StyleButtonId(VIEW_STYLE_9CH));
    ASSERT_TRUE(Shrink(recorder, 5));
    EXPECT_THAT(ShownNames(), SizeIs(9));
    EXPECT_THAT(LitButtons(), ElementsAre(StyleButtonId(VIEW_STYLE_9CH)));
    Command(StyleButtonId(VIEW_STYLE_4CH));
    EXPECT_THAT(LitButtons(), ElementsAre(StyleButtonId(VIEW_STYLE_4CH)));
    EXPECT_FALSE(console->GetButton(StyleButtonId(VIEW_STYLE_9CH))->isVisible());
    Command(StyleButtonId(VIEW_STYLE_6CH));  // by its key
    EXPECT_THAT(LitButtons(), ElementsAre(StyleButtonId(VIEW_STYLE_6CH)));
}

TEST_F(WallRules, HiddenChannelsAreNotCounted) {
    FakeRecorder recorder("Hall", {{"a"}, {"b"}, {"c"}, {"d"}, {"e", false, false}});
    for (const bool bNoRight : {false, true}) {
        for (const bool bNoConfig : {false, true}) {
            Registry().WriteProfileInt("Hall", "ShowNoMonitoringRight", bNoRight ? 1 : 0);
            Registry().WriteProfileInt("Hall", "ShowNoConfig", bNoConfig ? 1 : 0);
            Open(recorder.Port());
            const int listed = bNoRight && bNoConfig ? 5 : 4;
            EXPECT_EQ(console->Parts().cameras.GetCount(), listed);
            EXPECT_EQ(console->Parts().view.GetShowableCount(), listed);
            EXPECT_EQ(console->Parts().view.Combo().count(), listed > 4 ? 2 : 0);
            Close();
        }
    }
}

TEST_F(WallRules, TheHeadNamesTheRecorderOfTheActiveCell) {
    FakeRecorder first("Hall", 2), second("Yard", 2);
    const auto at = [](const FakeRecorder& recorder) {
        return SavedServer{"", "127.0.0.1", recorder.Port(), "admin", "secret", 0};
    };
    SaveServerList(Registry(), "Hall", {at(first), at(second)});
    Open(first.Port());
    EXPECT_EQ(Head(kCtlServerName), "Hall");
    console->Parts().view.ActivateWindow(&Cell(3));
    EXPECT_EQ(Head(kCtlServerName), "Yard");
    EXPECT_EQ(Head(kCtlServerModel), "Yard(1.2.3)");
    // The user's own name for it is the one that counts; the model is the recorder's.
    SavedServer named = at(second);
    named.name = "Back yard";
    named.nameGiven = true;
    console->Parts().binding.ChangeServers({named});
    console->Parts().view.ActivateWindow(&Cell(3));
    EXPECT_EQ(Head(kCtlServerName), "Back yard");
    EXPECT_EQ(Head(kCtlServerModel), "Yard(1.2.3)");
    // The recorder itself is renamed.
    ASSERT_TRUE(first.WaitForListener());
    first.SetName("Great hall");
    first.Notify("2\n");
    console->Parts().view.ActivateWindow(&Cell(0));
    EXPECT_TRUE(PumpUntil([&] { return Head(kCtlServerName) == "Great hall"; }));

    EXPECT_EQ(Cell(3).accessibleName(), "Channel 2");
    ConsoleOptions options = console->Parts().settings.options;
    options.bShowRecorderName = true;
    console->Parts().settings.options = options;
    console->Parts().binding.NameRecordersInCaptions();
    Pump();
    EXPECT_EQ(Cell(3).accessibleName(), "Back yard: Channel 2");
    EXPECT_EQ(Cell(0).accessibleName(), "Great hall: Channel 1");
    console->Parts().binding.ChangeServers({});
    Pump();
    EXPECT_EQ(Cell(0).accessibleName(), "Channel 1");
}
