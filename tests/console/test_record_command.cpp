// The record button and the wait for the recorder, alone.
#include <gmock/gmock.h>

#include "channel/base/cam_commands.h"
#include "channel/command/command_results.h"
#include "console/camera/record_command.h"
#include "console/ports/console_messages.h"
#include "console/wall/busy_state.h"
#include "console/wall/feedback_line.h"
#include "feedback_reader.h"
#include "lone_wall.h"

using namespace kvmon;

namespace {

class RecordCommandTest : public testing::Test {
protected:
    // As the panel does it: the press turns the button's look first.
    void Click() {
        wall.controls.SetPressed(kCtlRecord, !IsLit());
        record.OnBtnManualRecording();
    }
    bool IsLit() const { return wall.controls.IsPressed(kCtlRecord); }

    kvtest::LoneWall wall{2};
    BusyState busy{wall.desk, wall.timers, wall.controls, wall.view};
    std::string Said() { return kvtest::FeedbackText(wall.desk.window); }

    FeedbackLine feedback{wall.desk, wall.timers, wall.view};
    RecordCommand record{wall.active, wall.cells, wall.timers, busy, wall.controls, feedback};
};

}  // namespace

TEST_F(RecordCommandTest, AnOrderIsShownAndWaitedForAndARefusalTakenBack) {
    Click();
    EXPECT_TRUE(IsLit());
    EXPECT_TRUE(busy.IsBusy());
    EXPECT_EQ(wall.timers.Period(kTimerManualRecording), 3000);
    record.OnRecordingResult(RecordingResult::NotOk, 1);  // of another cell
    record.OnRecordingResult(RecordingResult::NotOk, 7);
    EXPECT_TRUE(IsLit());
    record.OnRecordingResult(RecordingResult::NotOk, 0);
    EXPECT_FALSE(IsLit());
    EXPECT_EQ(Said(), "Camera 0: the recorder refused");
    Click();
    EXPECT_TRUE(IsLit()) << "it does not record, so that it is to begin";

    // Accepted counts before the recorder tells: the next click ends it.
    record.OnRecordingResult(RecordingResult::Done, 0);
    EXPECT_EQ(Said(), "Camera 0: recording has begun");
    EXPECT_TRUE(record.IsRecording(wall.active.Camera()));
    Click();
    EXPECT_FALSE(IsLit());
    const int before = wall.desk.cursorRefreshes;
    record.OnRecordingWaitEnd();
    EXPECT_EQ(Said(), "Camera 0: no answer from the recorder");
    EXPECT_FALSE(busy.IsBusy() || wall.timers.IsTimerSet(kTimerManualRecording));
    EXPECT_GT(wall.desk.cursorRefreshes, before);
}

TEST_F(RecordCommandTest, WithoutAnOrderTheRecordersWordCounts) {
    wall.Camera().SetStatusFlags({});  // it tells of itself
    wall.Camera().SetManualRecording(true);
    EXPECT_TRUE(record.IsRecording(wall.active.Camera()));
    Click();
    EXPECT_FALSE(IsLit());
    record.OnRecordingWaitEnd();
    EXPECT_TRUE(IsLit()) << "an order that was not followed is forgotten with the wait";

    wall.cells.Activate(nullptr, PlaySound::No);
    wall.timers.running.clear();
    Click();
    EXPECT_FALSE(IsLit());
    EXPECT_TRUE(wall.timers.running.empty());
}

TEST_F(RecordCommandTest, AWaitForCamerasEndsWithTheLast) {
    busy.SetDlgItemBusyWaitCursor(true, 60000, kCtlFirstStyle);
    busy.SetWaittingCamera(wall.cameras.GetCameraByChannel(0));
    busy.SetWaittingCamera(wall.cameras.GetCameraByChannel(1));
    EXPECT_TRUE(wall.controls.Get(kCtlFirstStyle).busy);
    EXPECT_EQ(wall.timers.Period(kTimerWaitCursor), 60000);
    busy.OnGetDataStream(1);
    EXPECT_TRUE(busy.IsBusy());
    wall.view.SetSavedStyle(VIEW_STYLE_9CH);
    busy.OnGetDataStream(0);
    EXPECT_FALSE(busy.IsBusy() || wall.controls.Get(kCtlFirstStyle).busy);
    EXPECT_EQ(wall.view.GetStyle(), VIEW_STYLE_9CH);
}
