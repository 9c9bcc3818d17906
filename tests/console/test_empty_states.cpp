// What is said where there is nothing yet, and while cameras come.
#include <gmock/gmock.h>

#include <QtWidgets/QComboBox>
#include <QtWidgets/QLabel>
#include <QtWidgets/QProgressBar>

#include "channel/base/cam_commands.h"
#include "channel/base/channel_messages.h"
#include "console/dialogs/recorder_list_dialog.h"
#include "console/events/event_window.h"
#include "console_fixture.h"
#include "feedback_reader.h"
#include "server/documents/nvr_event.h"
#include "skin/input_messages.h"
#include "support/fake_recorder.h"
#include "support/qt_user_input.h"

using namespace kvmon;
using kvtest::FakeRecorder;
using kvtest::Pump;
using kvtest::PumpUntil;
using kvtest::ShownPart;
using testing::HasSubstr;

namespace {

std::string HintOf(QWidget& window) {
    const auto* const hint = static_cast<QLabel*>(ShownPart(window, "emptyHint"));
    return hint != nullptr ? hint->text().toStdString() : "";
}

class ManyCameras : public kvtest::ConsoleTest {
protected:
    void Seconds(int count) {
        for (int i = 0; i < count; ++i) {
            console->Parts().OnSecond();
        }
    }
    std::string Progress() {
        QWidget* const box = ShownPart(*console, "progress");
        return box != nullptr ? box->findChild<QLabel*>()->text().toStdString() : "";
    }
};

}  // namespace

TEST(EmptyStates, ListsSayWhatComesNext) {
    EventList events;
    CEventWindow window(nullptr, events);
    window.show();
    EXPECT_THAT(HintOf(window), HasSubstr("No events yet"));
    CNvrEvent event;
    event.m_strServer = "Hall";
    event.m_strTime = "2024-05-06 07:08:09";
    event.m_nLevel = kEventWarning;
    events.Update("Hall", {event});
    window.Refresh();
    EXPECT_EQ(HintOf(window), "");
    EXPECT_EQ(window.findChild<QComboBox*>("eventServer")->itemText(0), "All recorders");
    auto& levels = *window.findChild<QComboBox*>("eventLevel");
    levels.setCurrentIndex(levels.findData(kEventError));
    EXPECT_THAT(HintOf(window), HasSubstr("No events match"));

    const SavedServer server{"Gate", "192.168.100.200", 8080, "operator", "secret", 16, true};
    RecorderListDialog alone({server}, nullptr);
    alone.show();
    EXPECT_THAT(HintOf(alone), HasSubstr("Choose \"Add...\""));
    RecorderListDialog two({server, server}, nullptr);
    two.show();
    EXPECT_EQ(HintOf(two), "");
}

// Of a wall whose cameras take their time: how many have come, until nobody waits any more; Cancel ends it.
TEST_F(ManyCameras, TheirComingIsShownAndCanBeCancelled) {
    FakeRecorder recorder("Hall", 9);
    Open(recorder.Port());
    Command(kCtl9Channels);
    Seconds(2);
    EXPECT_EQ(Progress(), "0 of 9 cameras connected");
    Seconds(20);
    EXPECT_EQ(Progress(), "") << "the status line tells of those that do not come";

    Close();
    Open(recorder.Port());
    Command(kCtl9Channels);
    Seconds(2);
    QWidget* const box = ShownPart(*console, "progress");
    ASSERT_NE(box, nullptr);
    EXPECT_EQ(box->findChild<QProgressBar*>()->maximum(), 9);
    kvtest::ClickAt(*box->findChild<QWidget*>("progressCancel"), {6, 6});
    EXPECT_TRUE(PumpUntil([&] { return !console->IsLoggedIn(); }));
    EXPECT_EQ(Progress(), "");
}

// What a user has done by hand gets a word.
TEST_F(ManyCameras, OrdersOfTheUserAreTold) {
    FakeRecorder recorder("Hall", 9);
    Open(recorder.Port());
    Command(kCtl4Channels);
    const auto middle = [&](int n) { return Cell(n).mapToGlobal(Cell(n).rect().center()); };
    console->SendMessage(kMsgVideoWndMove, 3, PackPoint(middle(0)));
    EXPECT_EQ(kvtest::FeedbackText(*console), "Channel 4 and Channel 1 have changed places");
    Command(kCtlOrderReset);
    EXPECT_EQ(kvtest::FeedbackText(*console), "Reset display order successful.");
    Command(kCmdDigitalZoomOn);
    EXPECT_THAT(kvtest::FeedbackText(*console), HasSubstr("Digital zoom on"));
    // It stands on the wall, above the cells that a change of style brings up.
    Command(kCtl9Channels);
    QWidget* const line = ShownPart(*console, "feedback");
    ASSERT_NE(line, nullptr);
    const QPoint at = line->geometry().center();
    EXPECT_TRUE(line == console->childAt(at) || line->isAncestorOf(console->childAt(at)));
    kvtest::PressKey(*line, Qt::Key_Escape);
    EXPECT_EQ(kvtest::FeedbackText(*console), "");
}
