// The snapshot button, from the click to the file.
#include <gmock/gmock.h>

#include <QtCore/QPointer>
#include <QtGui/QImage>
#include <QtWidgets/QFileDialog>
#include <QtWidgets/QMessageBox>
#include <filesystem>
#include <fstream>

#include "../channel/test_frames.h"
#include "channel/camera/base_camera.h"
#include "console_fixture.h"
#include "open_dialog.h"
#include "server/kelvara_info.h"
#include "support/fake_recorder.h"

using namespace kvmon;
using kvtest::FakeRecorder;
using kvtest::FindOpen;
using kvtest::Pump;
using kvtest::PumpUntil;

namespace {

class SnapshotButton : public kvtest::ConsoleTest {
protected:
    SnapshotButton() { Set("ShowSnapshotTimeStamp", 0); }

    void Set(const char* entry, std::uint32_t value) { Registry().WriteProfileInt("Hall", entry, value); }
    void SaveTo(const std::string& place) { Registry().WriteProfileString("Hall", "SanpshotFolder", place); }
    // Opens the console with a grey picture in the first cell.
    void OpenWithPicture() {
        Open(recorder.Port());
        Show(200);
    }
    void Show(std::uint8_t grey) {
        ChannelPicture& picture = Cell(0).GetCamera()->Picture();
        auto frame = kvtest::MakePlainFrame(320, 200, {grey, grey, grey});
        picture.SetBitmapInfo(frame->Info());
        picture.Present(std::move(frame));
    }
    std::vector<std::string> Files() {
        std::vector<std::string> names;
        if (std::filesystem::is_directory(shots)) {
            for (const auto& entry : std::filesystem::directory_iterator(shots)) {
                names.push_back(entry.path().filename().string());
            }
        }
        std::sort(names.begin(), names.end());
        return names;
    }
    FakeRecorder recorder{"Hall", 2};
    const std::string shots = folder.File("my shots");
};

}  // namespace

TEST_F(SnapshotButton, TwoClicksOfOneSecondGiveTwoFilesWithTheRecordersTime) {
    Set("ShowSnapshotTimeStamp", 1);
    SaveTo(shots);
    recorder.SetTime("20310203040506");
    OpenWithPicture();
    ASSERT_TRUE(PumpUntil([&] { return console->Parts().recorders.GetServer(0)->IsServerTimeKnown(); }));
    EXPECT_GE(recorder.CountHeads("/cgi-bin/param.cgi?action=list&group=System HTTP/1.0"), 1);
    console->Press(kCtlSnapshot);
    console->Press(kCtlSnapshot);
    ASSERT_TRUE(PumpUntil([&] { return Files().size() == 2 && Files()[0].front() != '.'; }));
    EXPECT_THAT(Files()[1], testing::MatchesRegex("Hall - Camera 1 [-0-9]+\\.jpg"));
    EXPECT_THAT(Files()[0], testing::AnyOf(testing::MatchesRegex("Camera 1 [-0-9]+\\(1\\)\\.jpg"),
                                           testing::MatchesRegex("Hall - Camera 1 [-0-9]+\\.jpg")));
    for (const std::string& name : Files()) {
        const QImage image(QString::fromStdString(shots + "/" + name));
        EXPECT_EQ(image.size(), QSize(320, 200));
        EXPECT_NEAR(qRed(image.pixel(0, 0)), 200, 12);
        EXPECT_NEAR(qRed(image.pixel(2, 1)), 100, 12);  // the stamp's plate
        EXPECT_NEAR(qRed(image.pixel(10, 190)), 200, 4);
    }
    // The end takes away what a process of low integrity has written for the user to store.
    std::ofstream(folder.File("~snapshot.jpg")) << "picture";
    Close();
    EXPECT_FALSE(FileExists(folder.File("~snapshot.jpg")));
}

// The user thinks about the name while the wall goes on: the file tells of the moment of the click.
TEST_F(SnapshotButton, TheNameMayTakeItsTimeAndTheViewMayChange) {
    Set("ManualInputSnapeshotFilename", 1);
    SaveTo(shots);
    std::filesystem::create_directory(shots);
    OpenWithPicture();
    const auto before = std::chrono::file_clock::from_sys(clock.Now());
    Command(kCtlSnapshot);
    const auto after = std::chrono::file_clock::from_sys(clock.Now());
    QPointer<QFileDialog> dialog = FindOpen<QFileDialog>();
    ASSERT_NE(dialog, nullptr);
    Show(20);
    // With another address the channel is another one, and no cell shows the first any more.
    const std::weak_ptr<CBaseCamera> first = Cell(0).GetCamera();
    ASSERT_TRUE(recorder.WaitForListener());
    recorder.SetChannels({{"Channel 1", true, false}, {"Channel 2"}});
    recorder.Notify("2\n");
    ASSERT_TRUE(PumpUntil([&] { return Cell(0).GetCamera() != first.lock(); }));
    ASSERT_NE(dialog, nullptr);
    emit dialog->fileSelected(QString::fromStdString(shots + "/mine.jpg"));
    dialog->reject();
    ASSERT_TRUE(PumpUntil([&] { return Files() == std::vector<std::string>{"mine.jpg"}; }));
    EXPECT_EQ(FindOpen<QMessageBox>(), nullptr);
    const QImage image(QString::fromStdString(shots + "/mine.jpg"));
    EXPECT_NEAR(qRed(image.pixel(100, 100)), 200, 4);
    const auto date = std::filesystem::last_write_time(shots + "/mine.jpg");
    EXPECT_GE(date, before);
    EXPECT_LE(date, after);
}

// A recorder of CR LF lines leaves a CR at the end of its name.
TEST_F(SnapshotButton, ACrOfTheRecordersIsInNoFileNameAndNoSettingsKey) {
    FakeRecorder crLf("Hall\r", {{"Gate\r"}});
    SaveTo(shots);
    Open(crLf.Port());
    Show(200);
    EXPECT_EQ(Cell(0).GetCamera()->GetCameraName(), "Gate");
    Command(kCtlSnapshot);
    ASSERT_TRUE(PumpUntil([&] { return Files().size() == 1 && Files()[0].ends_with(".jpg"); }));
    EXPECT_THAT(Files()[0], testing::MatchesRegex("Hall - Camera 1 [-0-9]+\\.jpg"));
    Close();
    EXPECT_NE(Registry().GetProfileInt("Hall\\Ch00", "RegVersion", 7), 7u);
}
