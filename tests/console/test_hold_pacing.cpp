#include <gmock/gmock.h>

#include "console/camera/hold_pacing.h"

namespace kvmon {
namespace {

using Next = HoldPacing::Next;

TEST(HoldPacingTest, RepeatsFirstAfter1500ThenAfter850AndNeverBeforeTheAnswer) {
    HoldPacing pacing;
    pacing.Press(1801);
    pacing.NoteSent(10'000);
    HoldPacing::Step step = pacing.OnFinished(true, false, 10'100);
    EXPECT_EQ(step.next, Next::Wait);
    EXPECT_EQ(step.waitMs, 1400u);
    pacing.NoteSent(11'500);
    step = pacing.OnFinished(true, false, 11'600);
    EXPECT_EQ(step.next, Next::Wait);
    EXPECT_EQ(step.waitMs, 750u);
    // A camera that takes longer than the interval is served at its own pace.
    pacing.NoteSent(12'350);
    EXPECT_EQ(pacing.OnFinished(true, false, 15'000).next, Next::Send);
}

TEST(HoldPacingTest, AReleaseForgetsTheHoldAndItsInterval) {
    HoldPacing pacing;
    pacing.Press(1801);
    pacing.NoteSent(1000);
    pacing.OnFinished(true, false, 1100);
    EXPECT_EQ(pacing.OnFinished(false, false, 1200).next, Next::Nothing);
    EXPECT_EQ(pacing.HeldId(), 0);
    pacing.Press(1802);
    EXPECT_EQ(pacing.OnFinished(true, false, 1300).next, Next::Nothing) << "nothing was sent yet";
    pacing.NoteSent(2000);
    EXPECT_EQ(pacing.OnFinished(true, false, 2000).waitMs, 1500u);
}

TEST(HoldPacingTest, WhatAHoldBeforeHadSentDoesNotShortenTheNextOne) {
    HoldPacing pacing;
    pacing.Press(1801);
    pacing.NoteSent(1000);
    EXPECT_EQ(pacing.OnFinished(true, false, 1100).waitMs, 1400u);
    pacing.NoteSent(2500);
    // Pressed anew before the repeat is answered: both answers come to the new hold.
    pacing.Press(1801);
    pacing.NoteSent(2600);
    EXPECT_EQ(pacing.OnFinished(true, false, 2620).waitMs, 1480u);
    EXPECT_EQ(pacing.OnFinished(true, false, 2700).waitMs, 1400u);
    EXPECT_EQ(pacing.OnFinished(true, false, 4050).waitMs, 50u);
}

TEST(HoldPacingTest, DigitalZoomDoesNotWait) {
    HoldPacing pacing;
    pacing.Press(1809);
    pacing.NoteSent(1000);
    const HoldPacing::Step step = pacing.OnFinished(true, true, 1001);
    EXPECT_EQ(step.next, Next::Wait);
    EXPECT_EQ(step.waitMs, 0u);
}

}  // namespace
}  // namespace kvmon
