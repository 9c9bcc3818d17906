// The panel that steers a camera, alone: from a button's press to what the camera is sent.
#include <gmock/gmock.h>

#include "channel/base/cam_commands.h"
#include "channel/base/channel_messages.h"
#include "console/camera/ptz_panel.h"
#include "console/ports/console_messages.h"
#include "lone_wall.h"
#include "support/qt_pump.h"
#include "support/scripted_server.h"

using namespace kvmon;
using kvtest::Pump;
using kvtest::PumpUntil;

namespace {

class PtzPanelTest : public testing::Test {
protected:
    PtzPanelTest() {
        wall.desk.window.onMessage = [this](std::uint32_t message, WParam, LParam) {
            if (message == kMsgEndStop) {
                ++answers;
                panel.OnFinished();
            }
        };
        wall.Camera().StartCameraThreads();
    }
    // How often the camera was sent a command of the wire.
    int Sent(const std::string& command) const {
        int count = 0;
        for (const std::string& head : camera.Heads()) {
            count += head.find("&command=" + command + " ") != std::string::npos ? 1 : 0;
        }
        return count;
    }
    bool IsRead() {
        return PumpUntil([&] { return wall.Camera().IsCameraInfoLoaded(); });
    }
    bool IsAnswered(int times) {
        return PumpUntil([&] { return answers == times; });
    }
    int Wait() const { return wall.timers.Period(kTimerHold); }
    void Press(int id) {
        wall.buttons.held = {id};
        panel.OnPress(id, true);
    }
    void Release(int id) {
        wall.buttons.held.clear();
        panel.OnPress(id, false);
    }
    void AfterMs(int ms) { wall.clock.Advance(Milliseconds(ms)); }

    int answers = 0;
    // Can zoom and turn; knows no presets.
    kvtest::ScriptedServer camera{[](kvtest::Peer& peer) {
                                      const bool bAbilities =
                                          peer.ReadHead().find("command=16") != std::string::npos;
                                      peer.Write(kvtest::HttpReply(200, "OK", bAbilities ? "7" : "0"));
                                  },
                                  "ptz.cgi"};
    kvtest::LoneWall wall{1, camera.Port()};
    PtzPanel panel{wall.buttons, wall.timers, wall.active, wall.clock};
};

}  // namespace

TEST_F(PtzPanelTest, AHeldButtonRepeatsFirstAfter1500ThenAfter850AndNeverBeforeTheAnswer) {
    ASSERT_TRUE(IsRead());
    Press(kCmdUp);
    AfterMs(100);
    ASSERT_TRUE(IsAnswered(1));
    EXPECT_EQ(Wait(), 1400);
    AfterMs(1400);
    panel.OnHoldTimer();
    EXPECT_EQ(Wait(), -1);
    AfterMs(100);
    ASSERT_TRUE(IsAnswered(2));
    EXPECT_EQ(Wait(), 750);
    // A camera that takes longer than that is served at its own pace.
    AfterMs(750);
    panel.OnHoldTimer();
    AfterMs(2650);
    ASSERT_TRUE(IsAnswered(4));
    EXPECT_EQ(Sent("0"), 4);
    EXPECT_EQ(Wait(), 850);
    // What was on its way at the release is answered, and nothing follows.
    panel.OnHoldTimer();
    Release(kCmdUp);
    EXPECT_EQ(Wait(), -1);
    ASSERT_TRUE(IsAnswered(5));
    EXPECT_EQ(Wait(), -1);
    panel.OnHoldTimer();
    EXPECT_EQ(Sent("0"), 5);
}

TEST_F(PtzPanelTest, AHoldIsItsOwnWhateverAnotherHadSent) {
    ASSERT_TRUE(IsRead());
    Press(kCmdUp);
    ASSERT_TRUE(IsAnswered(1));
    AfterMs(1500);
    panel.OnHoldTimer();
    // Pressed anew before the repeat is answered: both answers come to the new hold.
    Release(kCmdUp);
    Press(kCmdLeft);
    AfterMs(20);
    ASSERT_TRUE(IsAnswered(3));
    EXPECT_EQ(Wait(), 1480);
    EXPECT_EQ(Sent("2"), 1);
    // The button let go without a word, as under another window: the next answer ends the hold.
    wall.buttons.held.clear();
    panel.OnHoldTimer();
    EXPECT_EQ(Wait(), -1);
    wall.desk.window.onMessage(kMsgEndStop, 0, 0);
    EXPECT_EQ(Wait(), -1);
    EXPECT_EQ(Sent("2"), 1);
}

TEST_F(PtzPanelTest, AClickSendsOnceAlsoBehindThePressThatWasServed) {
    panel.Init();
    EXPECT_TRUE(wall.buttons.told.contains(kCmdUp) && !wall.buttons.told.contains(kCmdHome));
    ASSERT_TRUE(IsRead());
    Press(kCmdUp);
    panel.OnClick(kCmdUp);
    Release(kCmdUp);
    panel.OnClick(kCmdDown);
    ASSERT_TRUE(IsAnswered(2));
    // A press that ends beside the button leaves nothing behind for the next click.
    Press(kCmdUp);
    Release(kCmdUp);
    panel.OnClick(kCmdUp);
    panel.OnClick(kCmdHome);  // the last to be carried out
    ASSERT_TRUE(PumpUntil([&] { return Sent("13") == 1; }));
    EXPECT_EQ(Sent("0"), 3);
    EXPECT_EQ(Sent("1"), 1);
}

TEST_F(PtzPanelTest, DigitalZoomNeedsNoCamera) {
    ASSERT_TRUE(IsRead());
    wall.ShowPicture(100);
    wall.cells.Get(0)->SetDigitalZoom(true);
    Press(kCmdZoomIn);
    ASSERT_TRUE(IsAnswered(1));
    EXPECT_GT(wall.Camera().GetDigitalZoomLevel(), 0);
    EXPECT_EQ(Wait(), 16);
    // The camera's menu reaches the camera all the same.
    panel.OnMenu(kCmdZoomIn);
    EXPECT_TRUE(PumpUntil([&] { return Sent("8") == 1; }));
}

TEST_F(PtzPanelTest, TheWheelZoomsByWholeNotches) {
    ASSERT_TRUE(IsRead());
    for (const int delta : {0, 40, 40, 40, -60, 60, -120}) {  // sideways; a notch; a change of mind; one back
        panel.OnWheel(delta);
    }
    ASSERT_TRUE(IsAnswered(2));
    EXPECT_EQ(Sent("8"), 1);
    EXPECT_EQ(Sent("9"), 1);
    wall.cells.Activate(nullptr, PlaySound::No);
    panel.OnWheel(120);
    panel.OnClick(kCmdUp);
    EXPECT_EQ(Sent("8") + Sent("9") + Sent("0"), 2);
}
