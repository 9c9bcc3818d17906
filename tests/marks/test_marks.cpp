// What a guard sees: states are set at a recorder, and read from the pixels of cells and buttons.
#include <gmock/gmock.h>

#include <QtCore/QRegularExpression>
#include <QtGui/QHelpEvent>
#include <QtGui/QImage>
#include <QtWidgets/QApplication>
#include <QtWidgets/QDialog>
#include <QtWidgets/QLabel>
#include <QtWidgets/QMenu>
#include <QtWidgets/QToolTip>
#include <algorithm>
#include <functional>

#include "channel/cell/channel_view.h"
#include "console/wall/fs_panel.h"
#include "console_fixture.h"
#include "feedback_reader.h"
#include "menu_entries.h"
#include "recorder_process.h"
#include "skin/skin_colours.h"
#include "skin/xskin_od_button.h"
#include "support/fake_recorder.h"
#include "support/qt_user_input.h"

using namespace kvmon;
using kvtest::FakeRecorder;
using kvtest::Pump;
using kvtest::PumpUntil;
using kvtest::RecorderProcess;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace {

// As they stand on the dark strip of a cell that is not the active one.
constexpr QRgb kRed = qRgb(255, 118, 108);
constexpr QRgb kAmber = qRgb(250, 196, 70);
constexpr QRgb kGreen = qRgb(126, 205, 110);
constexpr QRgb kBlue = qRgb(110, 186, 240);
constexpr QRgb kPlate = qRgb(214, 40, 44);
constexpr QRgb kEventFrame = qRgb(185, 52, 53);

bool Near(QRgb a, QRgb b, int by = 12) {
    return std::abs(qRed(a) - qRed(b)) <= by && std::abs(qGreen(a) - qGreen(b)) <= by &&
           std::abs(qBlue(a) - qBlue(b)) <= by;
}

int Count(const QImage& image, const std::function<bool(QRgb)>& counts) {
    int count = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            count += counts(image.pixel(x, y)) ? 1 : 0;
        }
    }
    return count;
}

bool IsColourful(QRgb pixel) {
    const auto [low, high] = std::minmax({qRed(pixel), qGreen(pixel), qBlue(pixel)});
    return high - low > 40;
}

class Marks : public kvtest::ConsoleTest {
protected:
    ~Marks() override { Close(); }

    // The right end of a cell's strip, where the icons are; the name has grey letters only.
    QImage Strip(int cell) {
        const QImage image = Cell(cell).grab().toImage();
        return image.copy(0, 3, image.width(), 20);
    }
    bool Says(int cell, const QString& words) {
        return PumpUntil([&] {
            QStringList said = Cell(cell).accessibleDescription().split(QStringLiteral(", "));
            for (const char* const state : {"Active camera", "Live", "No picture"}) {
                said.removeOne(QLatin1String(state));  // before the signs
            }
            return said.join(QStringLiteral(", ")) == words;
        });
    }
    // What a pointer that rests at a place of a cell is told.
    std::string Tip(int cell, const QPoint& at) {
        QHelpEvent help(QEvent::ToolTip, at, Cell(cell).mapToGlobal(at));
        QApplication::sendEvent(&Cell(cell), &help);
        return QToolTip::text().remove(QRegularExpression("<[^>]*>")).toStdString();
    }
    // All that is told along the strip, from the right.
    std::vector<std::string> TipsAlong(int cell) {
        std::vector<std::string> tips;
        for (int x = Cell(cell).width() - 4; x > Cell(cell).width() / 3; x -= 3) {
            const std::string tip = Tip(cell, {x, 12});
            if (tips.empty() || tips.back() != tip) {
                tips.push_back(tip);
            }
        }
        return tips;
    }
    void Click(int id) {
        CXSkinODButton* const button = console->GetButton(id);
        ASSERT_EQ(console->childAt(button->geometry().center()), button);
        kvtest::ClickAt(*button, button->rect().center());
        Pump();
    }
    void Key(int key) {
        kvtest::PressKey(*console, key);
        Pump();
    }
    std::string RecordTip() {
        std::string text;
        console->OnSkinToolTipNeedTextNotify(*console->GetButton(kCtlRecord), text);
        return text;
    }
    // The record button's sign has the live red, which the one at rest has not.
    bool IsLit() {
        const QImage image = console->GetButton(kCtlRecord)->grab().toImage();
        return Count(image, [](QRgb pixel) { return Near(pixel, ColoursOf(SkinLook::Dark).record); }) > 12;
    }
    QRgb Dot() {
        auto* const line = console->findChild<QLabel*>("statusLine");
        return line->grab().toImage().pixel(5, line->height() / 2);
    }
    bool AllLive(int count) {
        const QString all = QString("- %1 of %1 channels live").arg(count);
        return PumpUntil([&] { return console->findChild<QLabel*>("statusLine")->text().endsWith(all); },
                         std::chrono::seconds(40));
    }
};

}  // namespace

TEST_F(Marks, EachStateOfTheRecorderHasItsSignAndItsWord) {
    const struct {
        const char* command;
        const char* words;
        const char* tip;
        QRgb colour;
        int least;
    } kSigns[] = {
        {"record on", "Camera connected, Recording", "Recording", kRed, 30},
        {"event on", "Camera connected, Event", "Event", kAmber, 20},
        {"motion on", "Camera connected, Motion", "Motion", kGreen, 20},
        {"loss on", "Camera connected, Signal loss", "Signal loss", kPlate, 70},
        {"input on", "Camera connected, Input", "Input", kBlue, 12},
        {"alarm on", "Camera connected, Alarm", "Alarm", kRed, 30},
        {"manual on", "Camera connected, Manual recording", "Manual recording", kRed, 40},
        {"connect off", "Camera not connected", "Camera not connected", kPlate, 120},
    };
    RecorderProcess recorder(9);
    Open(recorder.Port());
    Command(StyleButtonId(VIEW_STYLE_9CH));
    ASSERT_TRUE(Says(8, "Camera connected"));
    // What is as it should be says so without a colour.
    const QImage quiet = Strip(8);
    EXPECT_EQ(Count(quiet, IsColourful), 0);
    EXPECT_THAT(TipsAlong(8), ElementsAre("Camera connected", "Camera 8"));
    EXPECT_TRUE(PumpUntil([&] { return Tip(8, {60, 80}).empty(); }));

    // The first cell is the active one, on another ground.
    int cell = 1;
    for (const auto& sign : kSigns) {
        recorder.Send("status " + std::to_string(cell++) + " " + sign.command);
    }
    std::vector<QImage> looks{quiet.copy(80, 0, 180, 20)};
    cell = 1;
    for (const auto& sign : kSigns) {
        ASSERT_TRUE(Says(cell, sign.words)) << sign.command;
        const QImage strip = Strip(cell);
        EXPECT_GE(Count(strip, [&](QRgb pixel) { return Near(pixel, sign.colour); }), sign.least)
            << sign.command;
        const std::vector<std::string> tips = TipsAlong(cell);
        EXPECT_THAT(tips, testing::Contains(sign.tip)) << sign.command;
        EXPECT_THAT(tips.back(), testing::StartsWith("Camera " + std::to_string(cell)));
        const QImage look = strip.copy(80, 0, 180, 20);  // beside the name
        EXPECT_THAT(looks, Not(testing::Contains(look))) << sign.command << " looks like another";
        looks.push_back(look);
        ++cell;
    }
    // A narrow cell with all of them keeps those that must not be missed.
    for (const char* state : {"record", "event", "motion", "loss", "input", "alarm"}) {
        recorder.Send(std::string("status 3 ") + state + " on");
    }
    ASSERT_TRUE(Says(3, "Camera connected, Recording, Event, Motion, Signal loss, Input, Alarm"));
    Cell(3).resize(70, 60);
    EXPECT_THAT(TipsAlong(3), testing::Contains("Signal loss"));
    EXPECT_EQ(Tip(3, {14, 12}), "Alarm");

    Key(Qt::Key_F1);
    auto* const help = console->findChild<QDialog*>("keyboardHelp");
    ASSERT_NE(help, nullptr);
    QStringList words;
    for (const QLabel* const label : help->findChildren<QLabel*>()) {
        words.append(label->text());
    }
    for (const CellIcon icon : AllCellIcons()) {
        EXPECT_TRUE(words.contains(CellIconText(icon))) << CellIconText(icon).toStdString();
    }
    EXPECT_TRUE(words.contains("Signs in the cells"));
}

TEST_F(Marks, TheRecordButtonFollowsTheRecorder) {
    RecorderProcess recorder(4);
    Open(recorder.Port());
    ASSERT_TRUE(Says(0, "Camera connected"));
    ASSERT_TRUE(PumpUntil([&] { return console->Parts().controls.Get(kCtlRecord).shown; }));
    Pump();
    EXPECT_FALSE(IsLit()) << "connected is not recorded";
    EXPECT_EQ(RecordTip(), "Start manual recording (R)");

    Click(kCtlRecord);
    EXPECT_TRUE(IsLit());
    ASSERT_TRUE(Says(0, "Camera connected, Manual recording"));
    EXPECT_THAT(recorder.Line(0), HasSubstr(" record connect manual"));
    EXPECT_TRUE(IsLit());
    EXPECT_EQ(RecordTip(), "Stop manual recording (R)");
    EXPECT_TRUE(PumpUntil([&] { return !console->IsTimerSet(kTimerManualRecording); }));
    EXPECT_TRUE(IsLit());

    // The active cell gets another camera and comes back.
    Command(kCtlFirstStyle);
    ASSERT_THAT(ShownNames(), ElementsAre("Camera 0"));
    EXPECT_TRUE(IsLit());
    Key(Qt::Key_PageDown);
    ASSERT_THAT(ShownNames(), ElementsAre("Camera 1"));
    EXPECT_TRUE(PumpUntil([&] { return !IsLit(); }));
    EXPECT_EQ(RecordTip(), "Start manual recording (R)");
    Key(Qt::Key_PageUp);
    EXPECT_TRUE(PumpUntil([&] { return IsLit(); }));

    Key(Qt::Key_R);
    EXPECT_FALSE(IsLit());
    ASSERT_TRUE(Says(0, "Camera connected"));
    EXPECT_THAT(recorder.Line(0), Not(HasSubstr("manual")));
    EXPECT_TRUE(PumpUntil([&] { return !console->IsTimerSet(kTimerManualRecording); }));
    EXPECT_FALSE(IsLit());

    // Either word of the recorder lights it.
    for (const char* state : {"record", "manual"}) {
        recorder.Send(std::string("status 0 ") + state + " on");
        EXPECT_TRUE(PumpUntil([&] { return IsLit(); })) << state;
        recorder.Send(std::string("status 0 ") + state + " off");
        EXPECT_TRUE(PumpUntil([&] { return !IsLit(); })) << state;
    }
    // Without a camera there is nothing to record.
    console->Parts().session.OnBtnLogout();
    EXPECT_TRUE(PumpUntil([&] { return !console->Parts().controls.Get(kCtlRecord).shown; }));
    EXPECT_FALSE(console->Parts().controls.Get(kCtlSnapshot).shown);
}

TEST_F(Marks, TheWallTellsThatTalkingHasEnded) {
    const std::string words = "Camera 0: talk has ended";
    std::ofstream(folder.File("voice.raw")) << std::string(16'000, '\x20');
    qputenv("KVMON_MICROPHONE", QByteArray::fromStdString(folder.File("voice.raw")));
    RecorderProcess recorder(4, true);
    Open(recorder.Port());
    ASSERT_TRUE(PumpUntil([&] { return console->Parts().controls.Get(kCtlTalk).shown; }));
    Pump();
    Click(kCtlTalk);
    QWidget* talk = nullptr;
    ASSERT_TRUE(PumpUntil([&] {
        talk = console->findChild<QWidget*>("talkDialog");
        return talk != nullptr && talk->isVisible();
    }));
    EXPECT_EQ(kvtest::FeedbackText(*console), "");
    kvtest::PressKey(*talk, Qt::Key_Escape);
    EXPECT_TRUE(PumpUntil([&] { return kvtest::FeedbackText(*console) == words; }));
    qunsetenv("KVMON_MICROPHONE");
}

TEST_F(Marks, ARefusedRecordingGoesOutAtOnceAndIsAskedForAgain) {
    FakeRecorder recorder("Hall", 4);
    // Cameras that can do nothing but be recorded.
    recorder.SetDocument("ptz.cgi", kvtest::HttpReply(200, "OK", "0\r\n"));
    recorder.SetDocument("param.cgi", kvtest::HttpReply(200, "OK", "<audio_enabled>0</audio_enabled>\r\n"));
    recorder.SetDocument("mrec.cgi", "HTTP/1.0 200 OK\r\nA: b\r\nC: d\r\n\r\nNG\r\n");
    Open(recorder.Port());
    ASSERT_TRUE(PumpUntil([&] { return console->Parts().controls.Get(kCtlRecord).shown; }));
    Pump();
    for (int times = 1; times <= 2; ++times) {
        Click(kCtlRecord);
        EXPECT_TRUE(PumpUntil([&] { return recorder.CountHeads("mrec.cgi") == times; }));
        EXPECT_TRUE(PumpUntil([&] { return !IsLit(); }));
        EXPECT_TRUE(console->IsTimerSet(kTimerManualRecording)) << "not by the end of the wait";
        EXPECT_EQ(recorder.CountHeads("act=1"), times) << "it does not record, so that it is to begin";
    }
    // One that says yes and never records is believed until the wait ends.
    recorder.SetDocument("mrec.cgi", "HTTP/1.0 200 OK\r\nA: b\r\nC: d\r\n\r\nOK\r\n");
    Click(kCtlRecord);
    EXPECT_TRUE(IsLit());
    EXPECT_TRUE(PumpUntil([&] { return !console->IsTimerSet(kTimerManualRecording); }));
    EXPECT_FALSE(IsLit());
}

TEST_F(Marks, AnEventThatNoCellShowsIsSeenWhenTheCameraComesOn) {
    RecorderProcess recorder(4);
    Registry().WriteProfileInt("Hall", "EventHighLight", 1);
    Open(recorder.Port());
    Command(kCtlFirstStyle);
    ASSERT_THAT(ShownNames(), ElementsAre("Camera 0"));
    ASSERT_TRUE(Says(0, "Camera connected"));
    const auto camera = console->Parts().cameras.GetCameraByChannel(2);
    EXPECT_FALSE(camera->Picture().IsEventHighlight());
    recorder.Send("status 2 loss on");
    ASSERT_TRUE(PumpUntil([&] { return camera->Picture().IsEventHighlight(); }));
    EXPECT_EQ(camera->Picture().GetEventKind(), 3);
    recorder.Send("status 2 loss off");
    Key(Qt::Key_PageDown);
    Key(Qt::Key_PageDown);
    ASSERT_THAT(ShownNames(), ElementsAre("Camera 2"));
    EXPECT_TRUE(PumpUntil([&] {
        const QImage image = Cell(0).View().grab().toImage();
        return Near(image.pixel(1, 1), kEventFrame) && Near(image.pixel(1, image.height() - 2), kEventFrame);
    }));
    EXPECT_TRUE(PumpUntil([&] { return Tip(0, {20, 12}) == "Camera 2\nSignal loss"; }));
}

TEST_F(Marks, AWallThatStandsStillSaysSo) {
    RecorderProcess recorder(4);
    Open(recorder.Port());
    ASSERT_TRUE(AllLive(4));
    constexpr QRgb kWell = 0xff57b36a;
    EXPECT_TRUE(PumpUntil([&] { return Near(Dot(), kWell); }));
    const auto isGrey = [&](int cell) { return Count(Cell(cell).View().grab().toImage(), IsColourful) == 0; };
    EXPECT_FALSE(isGrey(0));

    recorder.Freeze();
    ASSERT_TRUE(PumpUntil([&] { return isGrey(0) && isGrey(1) && isGrey(2) && isGrey(3); }));
    EXPECT_TRUE(PumpUntil([&] { return !Near(Dot(), kWell); }));
    EXPECT_THAT(Cell(1).accessibleDescription().toStdString(), HasSubstr("The picture stands still"));
    // The seconds count, in white on a dark plate in the middle.
    const auto notice = [&] {
        CChannelView& view = Cell(1).View();
        return view.grab(QRect(0, view.height() / 2 - 16, view.width(), 32)).toImage();
    };
    const QImage first = notice();
    EXPECT_GT(Count(first, [](QRgb pixel) { return Near(pixel, qRgb(255, 255, 255)); }), 60);
    const int seconds = Cell(1).GetCamera()->Picture().GetStillSeconds();
    EXPECT_GE(seconds, 5);
    EXPECT_TRUE(PumpUntil([&] { return Cell(1).GetCamera()->Picture().GetStillSeconds() > seconds; }));
    EXPECT_NE(notice(), first);

    Command(kCtlFullScreen);
    EXPECT_NE(Cell(1).parentWidget(), console.get());
    EXPECT_TRUE(PumpUntil([&] { return isGrey(0) && isGrey(3); }));
    EXPECT_GT(Count(notice(), [](QRgb pixel) { return Near(pixel, qRgb(255, 255, 255)); }), 60);
    Command(kCtlFullScreen);

    recorder.Continue();
    EXPECT_TRUE(PumpUntil([&] { return !isGrey(0) && !isGrey(1) && !isGrey(2) && !isGrey(3); }));
    EXPECT_TRUE(AllLive(4));
    EXPECT_TRUE(PumpUntil([&] { return Near(Dot(), kWell); }));
    EXPECT_TRUE(Says(1, "Camera connected"));
}

// Each way to put a picture into its cell, chosen in the cell's menu, as it is to be seen.
TEST_F(Marks, PicturesAsTheyAre) {
    RecorderProcess recorder(4);
    Open(recorder.Port());
    Command(StyleButtonId(VIEW_STYLE_SINGLE_1CH));
    const auto camera = Cell(0).GetCamera();
    ASSERT_TRUE(PumpUntil([&] { return camera->IsStreamRunning(); }));
    CChannelView& view = Cell(0).View();
    const BITMAPINFOHEADER info = camera->Picture().GetBitmapInfo();
    const auto choose = [&](const std::vector<std::string>& entries) {
        kvtest::PressKey(*console, Qt::Key_Menu);
        auto* const menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
        ASSERT_NE(menu, nullptr);
        EXPECT_TRUE(kvtest::Choose(*menu, entries));
        Pump();
    };
    // Of the scene nothing is quite black along its edges.
    const auto isDrawnAt = [&](const QRect& drawn) {
        const QImage image = view.grab().toImage();
        const QRect outside = drawn.adjusted(-1, -1, 1, 1);
        const QPoint middle = drawn.center();
        const auto isBlack = [&](const QPoint& at) {
            return !image.rect().contains(at) || image.pixel(at) == qRgb(0, 0, 0);
        };
        return isBlack({outside.left(), middle.y()}) && isBlack({outside.right(), middle.y()}) &&
               isBlack({middle.x(), outside.top()}) && isBlack({middle.x(), outside.bottom()}) &&
               !isBlack({drawn.left() + 1, middle.y()}) && !isBlack({drawn.right() - 1, middle.y()}) &&
               !isBlack({middle.x(), drawn.top() + 1}) && !isBlack({middle.x(), drawn.bottom() - 1});
    };
    const auto shows = [&](const char* entry, const QRect& drawn) {
        choose({"Picture", entry});
        EXPECT_TRUE(PumpUntil([&] { return isDrawnAt(drawn); })) << entry;
    };
    const QRect whole = view.rect();
    const auto centred = [&](double scale) {
        QRect rect(QPoint(), QSize(static_cast<int>(info.biWidth * scale) / 2 * 2,
                                   static_cast<int>(info.biHeight * scale) / 2 * 2));
        rect.moveTopLeft({whole.width() / 2 - rect.width() / 2, whole.height() / 2 - rect.height() / 2});
        return rect;
    };
    const double fit = std::min(static_cast<double>(whole.width()) / info.biWidth,
                                static_cast<double>(whole.height()) / info.biHeight);
    const double shape = static_cast<double>(whole.width()) * info.biHeight / (whole.height() * info.biWidth);
    shows("Fill the cell", whole);
    shows("Keep the aspect ratio", centred(fit));
    shows("Original size", centred(std::min(fit, 1.0)));
    shows("Automatic, without distortion", std::abs(shape - 1) > 0.05 ? centred(fit) : whole);
    // The lines that tell of the stream, with their numbers.
    choose({"Picture", "Information lines", "All lines"});
    const auto line = [&](SubString which) { return camera->Picture().GetSubString(which); };
    EXPECT_TRUE(PumpUntil([&] { return !line(SubString::BitRate).empty(); }));
    EXPECT_THAT(line(SubString::BitRate), testing::MatchesRegex("Bit rate: [1-9][0-9]* kbit/s"));
    EXPECT_THAT(line(SubString::Codec), testing::MatchesRegex("Codec: (H.264|MPEG-4|MJPEG)"));
    EXPECT_THAT(line(SubString::Age), testing::MatchesRegex("Age of the picture: [0-9]+ ms"));
    EXPECT_THAT(line(SubString::Dropped), testing::MatchesRegex("Dropped pictures: [0-9]+"));
}
