// The command that saves a picture, alone: what is written where, what is asked, what is told.
#include <gmock/gmock.h>
#include <sys/resource.h>

#include <QtCore/QScopeGuard>
#include <QtGui/QImage>
#include <QtWidgets/QApplication>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QFileDialog>
#include <QtWidgets/QMessageBox>
#include <cerrno>
#include <csignal>
#include <filesystem>

#include "console/camera/snapshot_command.h"
#include "lone_wall.h"
#include "open_dialog.h"
#include "settings_fixture.h"
#include "support/qt_pump.h"

using namespace kvmon;
using kvtest::FindOpen;
using kvtest::Pump;
using kvtest::PumpUntil;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

class SnapshotCommandTest : public kvtest::SettingsTest {
protected:
    SnapshotCommandTest() { Options().strSnapshotFolder = shots; }

    ConsoleOptions& Options() { return wall.settings.options; }
    void Take() { command.Take(false); }
    std::vector<std::string> Files() const {
        std::vector<std::string> names;
        if (std::filesystem::is_directory(shots)) {
            for (const auto& entry : std::filesystem::directory_iterator(shots)) {
                names.push_back(entry.path().filename().string());
            }
        }
        return names;
    }
    void ExpectFailure(const std::string& numbers) {
        ASSERT_TRUE(PumpUntil([&] { return !wall.desk.messages.empty(); }));
        EXPECT_THAT(wall.desk.messages,
                    ElementsAre(HasSubstr("Error: Take snapshot failed(" + numbers + ").")));
        wall.desk.messages.clear();
        EXPECT_THAT(Files(), IsEmpty());
    }

    const std::string shots = folder.File("my shots");
    kvtest::LoneWall wall{1};
    SnapshotCommand command{wall.desk, wall.active, wall.settings, wall.clock};
};

}  // namespace

TEST_F(SnapshotCommandTest, WithoutTheStampThePictureIsPlain) {
    Options().bSaveSnapshotAsJpeg = false;
    wall.ShowPicture(200);
    Take();
    ASSERT_TRUE(PumpUntil([&] { return Files().size() == 1 && Files()[0].ends_with(".bmp"); }));
    EXPECT_THAT(Files()[0], testing::MatchesRegex("Hall - Camera 1 2024-01-0[-0-9]+\\.bmp"));
    const QImage image(QString::fromStdString(shots + "/" + Files()[0]));
    EXPECT_EQ(image.pixel(2, 1), qRgb(200, 200, 200));
    EXPECT_THAT(wall.desk.messages, IsEmpty());
}

TEST_F(SnapshotCommandTest, AFolderThatCannotBeWrittenAndAFullDiskAreToldOf) {
    Options().bSaveSnapshotAsJpeg = false;
    Options().strSnapshotFolder = "/proc/none";
    Take();
    ExpectFailure("2.0");  // no picture
    wall.ShowPicture(200);
    Take();
    ExpectFailure("1." + std::to_string(ENOENT));

    Options().strSnapshotFolder = shots;
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
    Take();
    ExpectFailure("4." + std::to_string(EFBIG));
}

TEST_F(SnapshotCommandTest, AsksForTheNameWhenToldTo) {
    Options().bManualInputSnapshotFilename = true;
    wall.ShowPicture(200);
    Take();
    ASSERT_NE(FindOpen<QFileDialog>(), nullptr);
    EXPECT_THAT(FindOpen<QFileDialog>()->nameFilters(), ElementsAre("JPEG(*.jpg)"));
    FindOpen<QFileDialog>()->reject();
    Pump();
    EXPECT_THAT(Files(), IsEmpty());

    std::filesystem::create_directory(shots);
    Take();
    ASSERT_NE(FindOpen<QFileDialog>(), nullptr);
    emit FindOpen<QFileDialog>()->fileSelected(QString::fromStdString(shots + "/mine.jpg"));
    FindOpen<QFileDialog>()->reject();
    ASSERT_TRUE(PumpUntil([&] { return Files() == std::vector<std::string>{"mine.jpg"}; }));
}

TEST_F(SnapshotCommandTest, TheEndWaitsForWhatIsBeingWritten) {
    wall.ShowPicture(200);
    const auto picture = std::make_shared<const Snapshot>(*wall.cells.Get(0)->View().TakeSnapshot("stamp"));
    {
        SnapshotWriter writer(wall.desk);
        for (int i = 0; i < 4; ++i) {
            writer.Write({picture, {}, shots + "/n" + std::to_string(i) + ".bmp", SnapshotFormat::Bmp});
        }
        EXPECT_THAT(wall.desk.messages, IsEmpty());
        writer.Write({picture, {}, shots + "/more.bmp", SnapshotFormat::Bmp});
        EXPECT_THAT(wall.desk.messages, ElementsAre(HasSubstr("Take snapshot failed(5.0).")))
            << "a disk that is this slow is told of";
    }
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(QImage(QString::fromStdString(shots + "/n" + std::to_string(i) + ".bmp")).size(),
                  QSize(320, 200));
    }
}

TEST_F(SnapshotCommandTest, ALowIntegrityProcessTellsAndSavesToItsOwnFolder) {
    wall.ShowPicture(200);
    command.Take(true);
    ASSERT_NE(FindOpen<QMessageBox>(), nullptr);
    FindOpen<QMessageBox>()->checkBox()->setChecked(true);
    FindOpen<QMessageBox>()->button(QMessageBox::Cancel)->click();
    Pump();
    EXPECT_FALSE(FileExists(folder.File("~snapshot.jpg")));
    command.Take(true);  // not shown again
    EXPECT_EQ(FindOpen<QMessageBox>(), nullptr);
    ASSERT_TRUE(PumpUntil([&] { return wall.desk.roomsMade == 1; })) << "it is opened for the user";
    EXPECT_TRUE(FileExists(folder.File("~snapshot.jpg")));
    EXPECT_THAT(Files(), IsEmpty());
}
