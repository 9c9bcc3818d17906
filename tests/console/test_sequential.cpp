// Sequential mode and picture-in-picture's settings: the rules, and the console that follows them.
#include <gmock/gmock.h>

#include <QtWidgets/QComboBox>
#include <QtWidgets/QMessageBox>
#include <QtWidgets/QSpinBox>

#include "channel/camera/base_camera.h"
#include "console/dialogs/interval_dialog.h"
#include "console/dialogs/pip_dialog.h"
#include "console/layout/sequential_rules.h"
#include "console_fixture.h"
#include "support/fake_recorder.h"
#include "support/qt_ui_watchdog.h"

using namespace kvmon;
using kvtest::FakeRecorder;
using kvtest::Pump;
using kvtest::PumpUntil;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Sequential : public kvtest::ConsoleTest {
protected:
    // The thread is watched from here on.
    void Open(std::uint16_t port) {
        ConsoleTest::Open(port);
        kvtest::WatchedApplication::Instance().ForgetLongest();
    }
    ~Sequential() override {
        const auto& app = kvtest::WatchedApplication::Instance();
        EXPECT_LT(app.LongestWaitMs(), kvtest::UiWaitLimitMs()) << app.LongestWait();
        EXPECT_LT(app.LongestWorkMs(), kvtest::kUiWorkLimitMs) << app.LongestWork();
    }
    bool IsTiming() { return console->IsTimerSet(kTimerSequential); }
    bool IsPressed() { return console->Parts().controls.IsPressed(kCtlSequential); }
    bool Runs(int channel) { return console->Parts().cameras.GetCameraByChannel(channel)->IsVideoRunning(); }
    QDialog* Dialog(const char* name) { return console->findChild<QDialog*>(name); }
    QMessageBox* Box(QWidget* parent) { return parent->findChild<QMessageBox*>(); }
};

int CellsOf(ViewStyle style, std::uint32_t customStyle) {
    constexpr int kCells[] = {1, 0, 4, 6, 8, 9, 10, 12};
    constexpr int kCustomCells[] = {16, 20, 20, 25, 36, 42, 42};
    return style == VIEW_STYLE_CUSTOM ? kCustomCells[customStyle] : kCells[style];
}

}  // namespace

TEST(SequentialRules, AStyleRotatesWhenAPageIsSmallerThanTheWall) {
    for (int cameras = 0; cameras < 60; ++cameras) {
        for (int number = 0; number < kViewStyleCount; ++number) {
            const auto style = static_cast<ViewStyle>(number);
            for (std::uint32_t custom = 0; custom < 7; ++custom) {
                // From five cameras on; the four largest grids and picture-in-picture never do.
                const bool bAllowed =
                    cameras < 5 || (CellsOf(style, custom) < cameras && style != VIEW_STYLE_PIP &&
                                    (style != VIEW_STYLE_CUSTOM || custom < 3));
                ASSERT_EQ(GetSequentialStyle(style, custom, cameras),
                          bAllowed ? style : VIEW_STYLE_SINGLE_1CH)
                    << cameras << " cameras, style " << style << ", custom " << custom;
            }
        }
    }
    EXPECT_EQ(SequentialLeadMs(3000), 0u);
    EXPECT_EQ(SequentialLeadMs(5000), 0u);
    EXPECT_EQ(SequentialLeadMs(3600000), 3595000u);
}

TEST(SequentialRules, WhatIsPreparedIsWhatComesNext) {
    CChannelArray array(4);
    array.SetTotalCount(10);
    PreparationInput input;
    input.array = &array;
    input.comboSelection = 0;
    input.comboCount = 3;
    using Cells = std::vector<PreparedCell>;
    EXPECT_EQ(PlanPreparation(input), (Cells{{0, 4}, {1, 5}, {2, 6}, {3, 7}}));
    input.comboSelection = 2;
    EXPECT_EQ(PlanPreparation(input)[0], (PreparedCell{0, 0}));
    // Two displays: the pages after the two on show, each for its own windows.
    input.bSecondDisplay = true;
    input.comboSelection = 1;
    input.comboCount = 2;
    EXPECT_EQ(PlanPreparation(input),
              (Cells{{0, 0}, {1, 1}, {2, 2}, {3, 3}, {4, 4}, {5, 5}, {6, 6}, {7, 7}}));
    input.comboSelection = 0;
    EXPECT_EQ(PlanPreparation(input)[0], (PreparedCell{0, 8}));

    const int channels[] = {2, 5, 7};
    input.style = VIEW_STYLE_SINGLE_1CH;
    input.comboChannels = channels;
    input.comboCount = 3;
    input.comboSelection = 1;
    EXPECT_EQ(PlanPreparation(input), (Cells{{0, 7}, {1, 2}}));
    input.bSecondDisplay = false;
    input.comboSelection = 2;
    EXPECT_EQ(PlanPreparation(input), (Cells{{0, 2}}));
    input.comboCount = 1;
    EXPECT_THAT(PlanPreparation(input), IsEmpty());
    input.comboCount = 3;
    input.style = VIEW_STYLE_PIP;
    EXPECT_THAT(PlanPreparation(input), IsEmpty());
}

TEST_F(Sequential, PagesFollowEachOtherAndTheNextIsReady) {
    FakeRecorder recorder("Hall", 10);
    Open(recorder.Port());
    Command(StyleButtonId(VIEW_STYLE_4CH));
    console->Parts().sequential.SetInterval(9000);
    Command(kCtlSequential);
    EXPECT_TRUE(IsTiming() && console->IsTimerSet(kTimerPrepare));
    EXPECT_FALSE(Runs(4));
    console->Parts().sequential.OnPrepareTimer();
    EXPECT_FALSE(console->IsTimerSet(kTimerPrepare));
    EXPECT_TRUE(Runs(0) && Runs(4) && Runs(7));
    EXPECT_FALSE(Runs(8));
    EXPECT_EQ(ShownNames()[0], "Channel 1");

    console->Parts().sequential.OnSwitchTimer();
    EXPECT_TRUE(IsTiming() && console->IsTimerSet(kTimerPrepare));
    EXPECT_EQ(ShownNames()[0], "Channel 5");
    EXPECT_FALSE(Runs(0));
    console->Parts().sequential.OnSwitchTimer();
    EXPECT_THAT(ShownNames(), ElementsAre("Channel 9", "Channel 10", "-", "-"));
    console->Parts().sequential.OnPrepareTimer();
    EXPECT_TRUE(Runs(0) && Runs(3));
    console->Parts().sequential.OnSwitchTimer();
    EXPECT_EQ(ShownNames()[0], "Channel 1");

    Command(kCtlFirstStyle);
    EXPECT_TRUE(IsTiming());
    console->Parts().sequential.OnSwitchTimer();
    EXPECT_THAT(ShownNames(), ElementsAre("Channel 2"));
    console->Parts().sequential.OnPrepareTimer();
    EXPECT_TRUE(Runs(2));

    // A button's press ends it; the next page's streams end with it.
    Command(kCtlSequential);
    EXPECT_FALSE(IsTiming() || console->IsTimerSet(kTimerPrepare) || IsPressed());
    EXPECT_FALSE(Runs(2));
}

TEST_F(Sequential, StyleThatHoldsTheWholeWallEndsIt) {
    FakeRecorder recorder("Hall", 20);
    Open(recorder.Port());
    Command(StyleButtonId(VIEW_STYLE_8CH));
    Command(kCtlSequential);
    console->Parts().styles.SelectCustomStyle(0);
    EXPECT_TRUE(IsTiming());
    console->Parts().styles.SelectCustomStyle(3);  // 5 x 5
    EXPECT_FALSE(IsTiming() || IsPressed());
    EXPECT_EQ(console->Parts().view.GetStyle(), VIEW_STYLE_CUSTOM);
    // Begun in a style that may not rotate it goes to one camera after another.
    Command(kCtlSequential);
    EXPECT_EQ(console->Parts().view.GetStyle(), VIEW_STYLE_SINGLE_1CH);
    EXPECT_TRUE(IsTiming() && IsPressed());
    Command(kCtlPip);
    EXPECT_FALSE(IsTiming() || IsPressed());
    EXPECT_TRUE(console->Parts().controls.IsPressed(kCtlPip));
    Command(kCtlPip);
    EXPECT_TRUE(console->Parts().controls.IsPressed(kCtlPip));

    Command(StyleButtonId(VIEW_STYLE_4CH));
    Command(kCtlSequential);
    console->Parts().session.OnBtnLogout();
    EXPECT_FALSE(IsTiming() || IsPressed());
    console->PostMessage(WM_COMMAND, kCtlSequential, 0);  // one that was on its way
    Pump();
    EXPECT_FALSE(IsTiming() || IsPressed());
}

TEST_F(Sequential, ComesBackAfterARestartAndSkipsNothingWithOneCamera) {
    FakeRecorder recorder("Hall", 6);
    Open(recorder.Port());
    Command(kCtlSequential);
    EXPECT_TRUE(IsTiming());
    Close();
    Open(recorder.Port());
    EXPECT_TRUE(PumpUntil([&] { return IsTiming(); }));
    EXPECT_TRUE(IsPressed());
    Close();

    FakeRecorder one("Gate", 1);
    Open(one.Port());
    Command(kCtlFirstStyle);
    Command(kCtlSequential);
    console->Parts().sequential.OnSwitchTimer();
    console->Parts().sequential.OnPrepareTimer();
    EXPECT_THAT(ShownNames(), ElementsAre("Channel 1"));
    EXPECT_TRUE(Runs(0));
}

TEST_F(Sequential, IntervalIsAskedForWithinItsBounds) {
    FakeRecorder recorder("Hall", 6);
    Open(recorder.Port());
    Command(kCtlSequentialInterval);
    QDialog* const dialog = Dialog("intervalDialog");
    ASSERT_NE(dialog, nullptr);
    auto* const seconds = dialog->findChild<QSpinBox*>();
    EXPECT_EQ(seconds->value(), 5);
    for (const int refused : {2, 3601}) {
        seconds->setValue(refused);
        dialog->accept();
        ASSERT_NE(Box(dialog), nullptr);
        EXPECT_TRUE(Box(dialog)->text().contains("(The interval must be 3 - 3600 sec.)"));
        EXPECT_EQ(Box(dialog)->windowTitle(), "Error");
        delete Box(dialog);
        EXPECT_TRUE(dialog->isVisible());
    }
    EXPECT_FALSE(IsTiming());
    seconds->stepBy(10);
    EXPECT_EQ(seconds->value(), 3600);
    seconds->setValue(7);
    dialog->accept();
    EXPECT_TRUE(IsTiming() && IsPressed());
    EXPECT_EQ(console->Parts().sequential.GetInterval(), 7000u);
    EXPECT_EQ(Registry().GetProfileInt("Hall", "SequentialInterval", 0), 7000u);
}

TEST_F(Sequential, PictureInPictureIsSetUpByItsDialog) {
    FakeRecorder recorder("Hall", {{"A", true, true}, {"B", false, true}, {"C", true, true}, {"D"}, {"E"}});
    Open(recorder.Port());
    Command(kCtlPipSettings);
    auto* const dialog = Dialog("pipDialog");
    ASSERT_NE(dialog, nullptr);
    const auto combo = [&](int i) { return dialog->findChild<QComboBox*>(QString("channel%1").arg(i)); };
    EXPECT_EQ(combo(0)->count(), 5);
    EXPECT_EQ(combo(0)->itemText(0), "A");
    EXPECT_EQ(combo(0)->itemText(1), "");  // may not be watched
    // What one window takes, the one that had it gives.
    combo(0)->activated(2);
    EXPECT_EQ(combo(0)->currentIndex(), 2);
    EXPECT_EQ(combo(2)->currentIndex(), 0);
    combo(3)->activated(4);
    auto* const count = dialog->findChild<QSpinBox*>();
    for (const int refused : {0, 4}) {
        count->setValue(refused);
        dialog->accept();
        ASSERT_NE(Box(dialog), nullptr);
        EXPECT_TRUE(Box(dialog)->text().contains("Invalid channel numbers. (The number must be 1 - 3)"));
        delete Box(dialog);
    }
    count->setValue(2);
    dialog->accept();
    Pump();
    EXPECT_EQ(console->Parts().view.GetStyle(), VIEW_STYLE_PIP);
    EXPECT_THAT(ShownNames(), ElementsAre("C", "B", "A"));
    EXPECT_EQ(Registry().GetProfileInt("Hall", "PIPChildChannel", 0), 2u);
    EXPECT_THAT(console->Parts().view.Orders().PipList(), ElementsAre(2, 1, 0, 4));

    // The window's size is no reason to read the number again.
    console->resize(1200, 780);
    const auto places = [this] { return std::vector<QRect>{Cell(1).geometry(), Cell(2).geometry()}; };
    const std::vector<QRect> both = places();
    console->resize(1000, 680);
    ASSERT_NE(places(), both);
    Registry().WriteProfileInt("Hall", "PIPChildChannel", 1);
    console->resize(1200, 780);
    EXPECT_EQ(places(), both);
    // The user's next choice is followed.
    Command(kCtlPipSettings);
    auto* const again = console->findChildren<QDialog*>("pipDialog").last();
    again->findChild<QSpinBox*>()->setValue(3);
    again->accept();
    Pump();
    EXPECT_THAT(ShownNames(), ElementsAre("C", "B", "A", "E"));
    EXPECT_EQ(Registry().GetProfileInt("Hall", "PIPChildChannel", 0), 3u);

    // A stored list of channels that are gone, for one of two cameras.
    EXPECT_THAT(PipChoice({9, 1, 1, 0}, 2).List(), ElementsAre(2, 1, 3, 0));
    const PipDialog numbered({}, {0, 1, 2, 3}, 1, nullptr);
    EXPECT_EQ(numbered.findChild<QComboBox*>("channel0")->itemText(3), "Channel 4");
}
