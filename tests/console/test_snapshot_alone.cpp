// The command that saves a picture, alone: what is written where, what is asked, what is told.
#include <gmock/gmock.h>
#include <sys/resource.h>

#include <QtCore/QScopeGuard>
#include <QtGui/QClipboard>
#include <QtGui/QImage>
#include <QtWidgets/QAbstractButton>
#include <QtWidgets/QApplication>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QFileDialog>
#include <QtWidgets/QLabel>
#include <QtWidgets/QListWidget>
#include <QtWidgets/QMessageBox>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>

#include "console/camera/snapshot_command.h"
#include "console/camera/snapshot_gallery.h"
#include "console/ports/console_messages.h"
#include "console/wall/cell_flash.h"
#include "console/wall/feedback_line.h"
#include "feedback_reader.h"
#include "lone_wall.h"
#include "open_dialog.h"
#include "persist/string_table.h"
#include "settings_fixture.h"
#include "support/qt_pump.h"
#include "support/qt_user_input.h"
#include "support/silent_site.h"

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
    void ExpectFailure(const std::string& numbers, const std::string& words) {
        ASSERT_TRUE(PumpUntil([&] { return !wall.desk.messages.empty(); }));
        EXPECT_THAT(wall.desk.messages,
                    ElementsAre(testing::AllOf(HasSubstr("Error: Take snapshot failed(" + numbers + ")."),
                                               HasSubstr(words))));
        wall.desk.messages.clear();
        EXPECT_THAT(Files(), IsEmpty());
    }

    const std::string shots = folder.File("my shots");
    std::string Said() { return kvtest::FeedbackText(wall.desk.window); }
    QAbstractButton* Link(const std::string& text) { return kvtest::FeedbackButton(wall.desk.window, text); }

    class DesktopSite final : public kvtest::SilentSite {
        bool HasDesktop() const override { return true; }
    };
    kvtest::LoneWall wall{1};
    DesktopSite site;
    FeedbackLine feedback{wall.desk, wall.timers, wall.view};
    CellFlash flash{wall.timers};
    SnapshotCommand command{wall.desk, wall.active, wall.settings, feedback, flash, site, wall.clock};
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
    ExpectFailure("2.0", "no picture yet");  // no picture
    wall.ShowPicture(200);
    Take();
    ExpectFailure("1." + std::to_string(ENOENT), "does not exist and cannot be created: /proc/none");

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
    ExpectFailure("4." + std::to_string(EFBIG), "cannot be written to this folder: " + shots);

    // The picture is not lost: it can be saved elsewhere, or copied.
    ::setrlimit(RLIMIT_FSIZE, &old);
    EXPECT_THAT(Said(), HasSubstr(shots));
    ASSERT_NE(Link("Copy"), nullptr);
    ASSERT_NE(Link("Save as..."), nullptr);
    kvtest::PressKey(*Link("Save as..."), Qt::Key_Return);
    Pump();
    ASSERT_NE(FindOpen<QFileDialog>(), nullptr);
    emit FindOpen<QFileDialog>()->fileSelected(QString::fromStdString(shots + "/kept.bmp"));
    FindOpen<QFileDialog>()->reject();
    ASSERT_TRUE(PumpUntil([&] { return Files() == std::vector<std::string>{"kept.bmp"}; }));
    EXPECT_EQ(QImage(QString::fromStdString(shots + "/kept.bmp")).pixel(100, 100), qRgb(200, 200, 200));
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
        std::vector<SnapshotFailure> failures;
        SnapshotWriter writer([&](const SnapshotOrder&, const SnapshotFailure& failure) {
            if (failure) {
                failures.push_back(failure);
            }
        });
        for (int i = 0; i < 4; ++i) {
            writer.Write({picture, {}, shots + "/n" + std::to_string(i) + ".bmp", SnapshotFormat::Bmp});
        }
        EXPECT_THAT(failures, IsEmpty());
        writer.Write({picture, {}, shots + "/more.bmp", SnapshotFormat::Bmp});
        ASSERT_EQ(failures.size(), 1u) << "a disk that is this slow is told of";
        EXPECT_EQ(failures[0].step, SnapshotStep::Queue);
    }
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(QImage(QString::fromStdString(shots + "/n" + std::to_string(i) + ".bmp")).size(),
                  QSize(320, 200));
    }
}

// A flash at the click; then the line, whose links work by the keyboard; it goes by itself, but not from
// under the pointer or the keyboard.
TEST_F(SnapshotCommandTest, ASnapshotFlashesAndIsTold) {
    Options().bSaveSnapshotAsJpeg = false;
    wall.desk.window.resize(900, 600);
    wall.desk.window.show();
    QWidget& cell = *wall.cells.Get(0);
    cell.setGeometry(0, 0, 320, 240);
    wall.ShowPicture(60);
    Pump();
    const auto middle = [&] { return qGray(cell.grab().toImage().pixel(160, 120)); };
    const int before = middle();
    Take();
    EXPECT_GT(middle(), before + 60);
    EXPECT_TRUE(wall.timers.IsTimerSet(kTimerFlash));
    flash.End();
    EXPECT_EQ(middle(), before);
    ASSERT_TRUE(PumpUntil([&] { return !Said().empty(); }));
    EXPECT_THAT(Said(), testing::MatchesRegex("Saved: Hall - Camera 1 .*\\.bmp"));
    ASSERT_NE(Link("Open folder"), nullptr);
    EXPECT_NE(Link("Today's snapshots"), nullptr);

    feedback.Focus();
    EXPECT_EQ(wall.desk.window.focusWidget(), Link("Open folder"));
    feedback.OnTimer();
    EXPECT_NE(Said(), "") << "somebody is about to use it";
    kvtest::PressKey(*Link("Open folder"), Qt::Key_Right);
    EXPECT_EQ(wall.desk.window.focusWidget(), Link("Copy"));
    kvtest::PressKey(*Link("Copy"), Qt::Key_Space);
    const QImage copied = QGuiApplication::clipboard()->image();
    ASSERT_EQ(copied.size(), QSize(320, 200));
    EXPECT_EQ(copied.pixel(10, 10), qRgb(60, 60, 60));
    EXPECT_EQ(Said(), "");

    Take();
    ASSERT_TRUE(PumpUntil([&] { return Link("Open folder") != nullptr; }));
    const int rooms = wall.desk.roomsMade;
    kvtest::ClickAt(*Link("Open folder"), {8, 8});
    EXPECT_EQ(wall.desk.roomsMade, rooms + 1);
    feedback.Say("Something else");
    const auto fire = [&](std::uint32_t id) { id == kTimerFeedback ? feedback.OnTimer() : flash.End(); };
    wall.timers.Elapse(kFeedbackTime.count() - 1, fire);
    EXPECT_EQ(Said(), "Something else");
    wall.timers.Elapse(1, fire);
    EXPECT_EQ(Said(), "");
}

// The user's own computer is where the browser is.
TEST_F(SnapshotCommandTest, APageGetsThePictureThatItsUserHasTaken) {
    class PageSite final : public kvtest::SilentSite {
    public:
        bool TakesPictures() const override { return true; }
        void GivePicture(GivenPicture&& picture) override { given.push_back(std::move(picture)); }

        std::vector<GivenPicture> given;
    } page;
    SnapshotCommand inPage{wall.desk, wall.active, wall.settings, feedback, flash, page, wall.clock};
    wall.desk.window.resize(900, 600);
    wall.desk.window.show();
    wall.ShowPicture(60);
    Pump();
    const auto takeAndPress = [&](const char* link) {
        inPage.Take(false);
        ASSERT_TRUE(PumpUntil([&] { return Link(link) != nullptr; })) << Said();
        EXPECT_EQ(Link("Open folder"), nullptr);
        EXPECT_EQ(Link("Today's snapshots"), nullptr);
        kvtest::ClickAt(*Link(link), {8, 8});
    };
    takeAndPress("Save as...");
    ASSERT_TRUE(PumpUntil([&] { return page.given.size() == 1; }));
    std::ifstream file(shots + "/" + page.given[0].name, std::ios::binary);
    EXPECT_EQ(std::string(page.given[0].bytes.begin(), page.given[0].bytes.end()),
              std::string(std::istreambuf_iterator<char>(file), {}));
    EXPECT_EQ(page.given[0].use, GivenPicture::Use::Save);
    takeAndPress("Copy");
    ASSERT_TRUE(PumpUntil([&] { return page.given.size() == 2; }));
    EXPECT_EQ(page.given[1].use, GivenPicture::Use::Copy);
    // One that is gone meanwhile.
    inPage.Take(false);
    ASSERT_TRUE(PumpUntil([&] { return Link("Copy") != nullptr; }));
    std::filesystem::remove_all(shots);
    kvtest::ClickAt(*Link("Copy"), {8, 8});
    EXPECT_TRUE(PumpUntil([&] { return Said() == LoadString(7420); }));
}

// Those of the day, the newest first, as small pictures; what is not a picture does no harm.
TEST_F(SnapshotCommandTest, TheGalleryShowsOpensCopiesAndThrowsAway) {
    Options().bSaveSnapshotAsJpeg = false;
    std::filesystem::create_directory(folder.File("data"));
    ::setenv("XDG_DATA_HOME", folder.File("data").c_str(), 1);  // with the trash
    const auto before = qScopeGuard([] { ::unsetenv("XDG_DATA_HOME"); });
    command.OpenGallery();
    auto* const gallery = FindOpen<SnapshotGallery>();
    ASSERT_NE(gallery, nullptr);
    auto& list = *gallery->findChild<QListWidget*>("snapshots");
    auto& hint = *gallery->findChild<QLabel*>("emptyHint");
    ASSERT_TRUE(PumpUntil([&] { return hint.text().contains("Press S"); }));
    EXPECT_TRUE(hint.isVisible());
    for (const int grey : {40, 200}) {
        wall.ShowPicture(static_cast<std::uint8_t>(grey));
        Take();
        wall.clock.Advance(Milliseconds(1000));
    }
    ASSERT_TRUE(PumpUntil([&] { return list.count() == 2; }));
    EXPECT_FALSE(hint.isVisible());
    EXPECT_EQ(gallery->findChild<QLabel*>("count")->text(), "2 snapshots");
    // As it is drawn: the whole picture, with its words below.
    const auto greyOf = [&](int row) {
        list.clearSelection();  // it is tinted, and each reading selects a row
        const QRect place = list.visualItemRect(list.item(row));
        const QImage drawn = list.viewport()->grab().toImage();
        const int foot = place.top() + kThumbnailSize.height() - 20;
        return place.bottom() > foot + 40 ? qGray(drawn.pixel(place.center().x(), foot)) : -1;
    };
    EXPECT_TRUE(PumpUntil([&] { return std::abs(greyOf(0) - 200) < 4 && std::abs(greyOf(1) - 40) < 4; }))
        << greyOf(0) << " " << greyOf(1);
    EXPECT_LE(list.item(0)->icon().actualSize({1000, 1000}).width(), kThumbnailSize.width());

    list.setCurrentRow(1);
    kvtest::PressKey(list, Qt::Key_C, Qt::ControlModifier);
    ASSERT_TRUE(PumpUntil([&] { return gallery->findChild<QLabel*>("message")->text() == "Copied."; }));
    EXPECT_EQ(QGuiApplication::clipboard()->image().pixel(10, 10), qRgb(40, 40, 40));
    kvtest::PressKey(list, Qt::Key_Delete);
    ASSERT_TRUE(PumpUntil([&] { return list.count() == 1; }));
    EXPECT_EQ(Files().size(), 1u);
    EXPECT_TRUE(std::filesystem::exists(folder.File("data/Trash/files"))) << "it can be got back";
    EXPECT_EQ(gallery->findChild<QLabel*>("count")->text(), "1 snapshot");
    EXPECT_NEAR(greyOf(0), 200, 3);

    // Not of the day, no picture, and a file that went meanwhile.
    const std::string old = shots + "/Hall - Camera 1 2020-01-01-00-00-00.bmp";
    std::filesystem::copy_file(shots + "/" + Files()[0], old);
    std::filesystem::last_write_time(old,
                                     std::filesystem::file_time_type::clock::now() - std::chrono::hours(48));
    gallery->Load();
    ASSERT_TRUE(PumpUntil([&] { return list.count() == 1; }));
    gallery->reject();
    Pump();
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
