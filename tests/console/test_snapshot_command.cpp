// The snapshot button, from the click to the file.
#include <gmock/gmock.h>
#include <sys/resource.h>

#include <QtCore/QPointer>
#include <QtCore/QScopeGuard>
#include <QtGui/QImage>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QFileDialog>
#include <QtWidgets/QMessageBox>
#include <cerrno>
#include <csignal>
#include <filesystem>

#include "../channel/test_frames.h"
#include "channel/camera/base_camera.h"
#include "channel/cell/channel_view.h"
#include "console/camera/snapshot_command.h"
#include "console_fixture.h"
#include "server/kelvara_info.h"
#include "support/fake_recorder.h"

using namespace kvmon;
using kvtest::FakeRecorder;
using kvtest::Pump;
using kvtest::PumpUntil;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

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
    template <typename Dialog>
    Dialog* Find() {
        for (QWidget* const widget : QApplication::topLevelWidgets()) {
            auto* const dialog = qobject_cast<Dialog*>(widget);
            if (dialog != nullptr && dialog->isVisible()) {
                return dialog;
            }
        }
        return nullptr;
    }
    void ExpectFailure(const char* numbers) {
        ASSERT_TRUE(PumpUntil([&] { return Find<QMessageBox>() != nullptr; }));
        EXPECT_THAT(Find<QMessageBox>()->text().toStdString(),
                    HasSubstr("Take snapshot failed(" + std::string(numbers) + ")."));
        EXPECT_EQ(Find<QMessageBox>()->windowTitle(), "Error");
        Find<QMessageBox>()->close();
        Pump();
        EXPECT_THAT(Files(), IsEmpty());
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
    EXPECT_EQ(recorder.CountHeads("/cgi-bin/param.cgi?action=list&group=System HTTP/1.0"), 1);
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
}

TEST_F(SnapshotButton, WithoutTheStampTheRecorderIsNotAskedAndThePictureIsPlain) {
    Set("SaveSnapshotAsJpeg", 0);
    SaveTo(shots);
    recorder.SetTime("20310203040506");
    OpenWithPicture();
    Command(kCtlSnapshot);
    ASSERT_TRUE(PumpUntil([&] { return Files().size() == 1 && Files()[0].ends_with(".bmp"); }));
    const QImage image(QString::fromStdString(shots + "/" + Files()[0]));
    EXPECT_EQ(image.pixel(2, 1), qRgb(200, 200, 200));
    PumpUntil([] { return false; }, std::chrono::milliseconds(1200));  // a tick of the second's timer
    EXPECT_EQ(recorder.CountHeads("param.cgi"), 0);
}

TEST_F(SnapshotButton, AFolderThatCannotBeWrittenAndAFullDiskAreToldOf) {
    Set("SaveSnapshotAsJpeg", 0);
    SaveTo("/proc/none");
    Open(recorder.Port());
    Command(kCtlSnapshot);
    ExpectFailure("2.0");  // no picture
    Show(200);
    Command(kCtlSnapshot);
    ExpectFailure(("1." + std::to_string(ENOENT)).c_str());

    Close();
    SaveTo(shots);
    OpenWithPicture();
    // No file may grow beyond this, as on a disk that is full but for a little.
    const auto before = std::signal(SIGXFSZ, SIG_IGN);
    rlimit old{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &old), 0);
    const rlimit small{20000, old.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
    const auto restore = qScopeGuard([&] {
        ::setrlimit(RLIMIT_FSIZE, &old);
        std::signal(SIGXFSZ, before);
    });
    Command(kCtlSnapshot);
    ExpectFailure(("4." + std::to_string(EFBIG)).c_str());
}

TEST_F(SnapshotButton, AsksForTheNameWhenToldTo) {
    Set("ManualInputSnapeshotFilename", 1);
    SaveTo(shots);
    OpenWithPicture();
    Command(kCtlSnapshot);
    ASSERT_NE(Find<QFileDialog>(), nullptr);
    EXPECT_THAT(Find<QFileDialog>()->nameFilters(), ElementsAre("JPEG(*.jpg)"));
    Find<QFileDialog>()->reject();
    Pump();
    EXPECT_THAT(Files(), IsEmpty());

    std::filesystem::create_directory(shots);
    Command(kCtlSnapshot);
    ASSERT_NE(Find<QFileDialog>(), nullptr);
    emit Find<QFileDialog>()->fileSelected(QString::fromStdString(shots + "/mine.jpg"));
    Find<QFileDialog>()->reject();
    ASSERT_TRUE(PumpUntil([&] { return Files() == std::vector<std::string>{"mine.jpg"}; }));
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
    QPointer<QFileDialog> dialog = Find<QFileDialog>();
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
    EXPECT_EQ(Find<QMessageBox>(), nullptr);
    const QImage image(QString::fromStdString(shots + "/mine.jpg"));
    EXPECT_NEAR(qRed(image.pixel(100, 100)), 200, 4);
    const auto date = std::filesystem::last_write_time(shots + "/mine.jpg");
    EXPECT_GE(date, before);
    EXPECT_LE(date, after);
}

TEST_F(SnapshotButton, TheEndWaitsForWhatIsBeingWritten) {
    OpenWithPicture();
    const auto picture = std::make_shared<const Snapshot>(*Cell(0).View().TakeSnapshot("stamp"));
    {
        SnapshotWriter writer(*console);
        for (int i = 0; i < 4; ++i) {
            writer.Write({picture, {}, shots + "/n" + std::to_string(i) + ".bmp", false, false});
        }
        EXPECT_EQ(Find<QMessageBox>(), nullptr);
        writer.Write({picture, {}, shots + "/more.bmp", false, false});
        ASSERT_NE(Find<QMessageBox>(), nullptr) << "a disk that is this slow is told of";
        EXPECT_THAT(Find<QMessageBox>()->text().toStdString(), HasSubstr("Take snapshot failed(5.0)."));
        Find<QMessageBox>()->close();
    }
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(QImage(QString::fromStdString(shots + "/n" + std::to_string(i) + ".bmp")).size(),
                  QSize(320, 200));
    }
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

TEST_F(SnapshotButton, ALowIntegrityProcessTellsAndSavesToItsOwnFolder) {
    SaveTo(shots);
    OpenWithPicture();
    ConsoleParts& parts = console->Parts();
    SnapshotCommand command(*console, parts.active, parts.settings, clock);
    command.Take(true);
    ASSERT_NE(Find<QMessageBox>(), nullptr);
    Find<QMessageBox>()->checkBox()->setChecked(true);
    Find<QMessageBox>()->button(QMessageBox::Cancel)->click();
    Pump();
    EXPECT_FALSE(FileExists(folder.File("~snapshot.jpg")));
    command.Take(true);  // not shown again
    EXPECT_EQ(Find<QMessageBox>(), nullptr);
    ASSERT_TRUE(PumpUntil([&] { return FileExists(folder.File("~snapshot.jpg")); }));
    EXPECT_THAT(Files(), IsEmpty());
    Close();
    EXPECT_FALSE(FileExists(folder.File("~snapshot.jpg")));
}
