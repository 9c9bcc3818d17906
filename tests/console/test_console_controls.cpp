// The panel with a pointer and with keys: every button is where it is told, and does its thing.
#include <gmock/gmock.h>

#include <QtWidgets/QComboBox>
#include <QtWidgets/QDialog>
#include <QtWidgets/QMenu>
#include <set>

#include "channel/base/cam_commands.h"
#include "channel/camera/base_camera.h"
#include "console/panel/control_rules.h"
#include "console_fixture.h"
#include "skin/button_art.h"
#include "skin/skin_colours.h"
#include "skin/xskin_od_button.h"
#include "support/fake_recorder.h"
#include "support/qt_ui_watchdog.h"
#include "support/qt_user_input.h"

using namespace kvmon;
using kvtest::FakeRecorder;
using kvtest::Pump;
using kvtest::PumpUntil;
using testing::ElementsAre;
using testing::SizeIs;

namespace {

std::vector<SkinControlRow> AllRows() {
    std::vector<SkinControlRow> rows(ControlTable().begin(), ControlTable().end());
    rows.insert(rows.end(), ToolTable().begin(), ToolTable().end());
    return rows;
}

QRect PlaceOf(const SkinControlRow& row) {
    return {row.x, row.y, row.width, row.height};
}

class ConsolePanel : public kvtest::ConsoleTest {
protected:
    // The thread is watched from here on.
    void Open(std::uint16_t port) {
        ConsoleTest::Open(port);
        kvtest::WatchedApplication::Instance().ForgetLongest();
    }
    ~ConsolePanel() override {
        const auto& app = kvtest::WatchedApplication::Instance();
        EXPECT_LT(app.LongestWaitMs(), kvtest::UiWaitLimitMs()) << app.LongestWait();
        EXPECT_LT(app.LongestWorkMs(), kvtest::kUiWorkLimitMs) << app.LongestWork();
    }
    // A click of the left button at a place of the console; says whether a control was there.
    bool ClickAt(const QPoint& place) {
        QWidget* const target = console->childAt(place);
        if (target == nullptr || !target->isEnabled()) {
            return false;
        }
        kvtest::ClickAt(*target, target->mapFrom(console.get(), QPointF(place)));
        Pump();
        return true;
    }
    bool ClickOn(int id) {
        for (const SkinControlRow& row : AllRows()) {
            if (row.id == id) {
                return ClickAt(PlaceOf(row).center());
            }
        }
        return false;
    }
    void Send(QEvent::Type type, int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        kvtest::SendKey(*console, type, key, modifiers);
        Pump();
    }
    void Key(int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        Send(QEvent::KeyPress, key, modifiers);
        Send(QEvent::KeyRelease, key, modifiers);
    }
    QMenu* OpenMenu() { return qobject_cast<QMenu*>(QApplication::activePopupWidget()); }
    void Choose(const char* text) {
        QMenu* const menu = OpenMenu();
        ASSERT_NE(menu, nullptr);
        for (QAction* const entry : menu->actions()) {
            if (entry->text() == text) {
                menu->setActiveAction(entry);
                kvtest::SendKey(*menu, QEvent::KeyPress, Qt::Key_Return);
            }
        }
        Pump();
    }
    ViewController& View() { return console->Parts().view; }
};

}  // namespace

TEST_F(ConsolePanel, EveryButtonStandsAloneAndTellsItsPurpose) {
    FakeRecorder recorder("Hall", 9);
    Open(recorder.Port());
    std::set<std::string> names;
    for (const SkinControlRow& row : AllRows()) {
        console->Parts().controls.SetShown(row.id, true);
    }
    for (const SkinControlRow& row : AllRows()) {
        const CXSkinODButton* const button = console->GetButton(row.id);
        if (row.kind != SkinControlKind::kButton) {
            continue;
        }
        ASSERT_NE(button, nullptr) << row.id;
        EXPECT_EQ(button->geometry(), PlaceOf(row)) << row.id;
        for (const QPoint& corner : {QPoint(row.x, row.y), PlaceOf(row).bottomRight()}) {
            EXPECT_EQ(console->childAt(corner), button) << row.id << " is covered";
        }
        EXPECT_TRUE(HasButtonArt(row.id)) << row.id;
        EXPECT_TRUE(names.insert(button->accessibleName().toStdString()).second)
            << button->accessibleName().toStdString();
        std::string tip = button->TipText();
        EXPECT_TRUE(console->OnSkinToolTipNeedTextNotify(*console->GetButton(row.id), tip)) << row.id;
        if (row.id != kCtlGotoPage2) {
            EXPECT_NE(tip.find('('), std::string::npos) << tip << " tells no key";
        }
        for (int look = 0; look < kButtonLooks; ++look) {
            const auto image = [&](bool bChecked) {
                return RenderButton(row.id, button->size(), 1, static_cast<ButtonLook>(look), bChecked,
                                    ColoursOf(SkinLook::Dark))
                    .toImage();
            };
            EXPECT_FALSE(image(false) == image(true)) << row.id << " in look " << look;
        }
    }
}

TEST_F(ConsolePanel, ClicksSelectTheViewAndItsMenusTheRest) {
    FakeRecorder recorder("Hall", 30);
    Open(recorder.Port());
    constexpr std::size_t kCells[] = {1, 4, 4, 6, 8, 9, 10, 12};
    for (int style = 0; style < 8; ++style) {
        EXPECT_TRUE(ClickOn(kCtlFirstStyle + style));
        EXPECT_EQ(View().GetStyle(), style);
        EXPECT_THAT(ShownNames(), SizeIs(kCells[style]));
        for (int other = kCtlFirstStyle; other <= kCtlLastStyle; ++other) {
            EXPECT_EQ(console->GetButton(other)->GetCheck() == BST_CHECKED, other == kCtlFirstStyle + style);
        }
    }
    EXPECT_TRUE(ClickOn(kCtlLastStyle));
    Choose("5 x 4");
    EXPECT_TRUE(PumpUntil([&] { return View().GetStyle() == VIEW_STYLE_CUSTOM; }));
    EXPECT_THAT(ShownNames(), SizeIs(20));
    EXPECT_TRUE(ClickOn(kCtlPageMenu));
    Choose("Page 2");
    EXPECT_TRUE(PumpUntil([&] { return ShownNames()[0] == "Channel 21"; }));
    // A menu that is left alone leaves the view and its button.
    EXPECT_TRUE(ClickOn(StyleButtonId(VIEW_STYLE_9CH)));
    EXPECT_TRUE(ClickOn(kCtlLastStyle));
    ASSERT_NE(OpenMenu(), nullptr);
    EXPECT_THAT(OpenMenu()->actions(), SizeIs(7));
    OpenMenu()->close();
    EXPECT_TRUE(
        PumpUntil([&] { return console->Parts().controls.IsPressed(StyleButtonId(VIEW_STYLE_9CH)); }));
    EXPECT_FALSE(console->Parts().controls.IsPressed(kCtlLastStyle));

    EXPECT_TRUE(ClickOn(kCtlMainMenu));
    Choose("Playback");
    EXPECT_TRUE(PumpUntil([&] { return site.events.back() == "page 1"; }));
    Command(kCtlCameraSettings);
    EXPECT_THAT(site.events.back(), testing::MatchesRegex("server 1 http://127\\.0\\.0\\.1:[0-9]+/cgi-bin/"
                                                          "camsetting\\.cgi\\?count=[0-9]{10}&camid=1"));
    EXPECT_FALSE(console->GetButton(kCtlHelp)->isVisible());
    console->SetHelpURL("http://127.0.0.1/EN/help.html");
    EXPECT_TRUE(console->GetButton(kCtlHelp)->isVisible());
    EXPECT_TRUE(ClickOn(kCtlViewSize));
    EXPECT_FALSE(View().IsMaxViewMode());
    EXPECT_TRUE(ClickOn(kCtlSequential));
    EXPECT_TRUE(console->Parts().sequential.IsOn());
    EXPECT_TRUE(ClickOn(kCtlLogout));
    EXPECT_EQ(site.events.back(), "logout");
}

// Who has no mouse reaches every camera and, row by row, every button.
TEST_F(ConsolePanel, AllIsReachedByTheKeyboard) {
    FakeRecorder recorder("Hall", 3);
    Open(recorder.Port());
    Command(StyleButtonId(VIEW_STYLE_4CH));
    const auto active = [this] { return console->Parts().cells.IndexOf(console->Parts().cells.GetActive()); };
    ASSERT_EQ(active(), 0);
    for (const int next : {1, 2, 0}) {
        Key(Qt::Key_Right, Qt::ControlModifier);
        EXPECT_EQ(active(), next);
    }
    for (const int before : {2, 1}) {
        Key(Qt::Key_Left, Qt::ControlModifier);
        EXPECT_EQ(active(), before);
    }
    QWidget* widget = console->GetButton(kCtlOrderReset);
    QPoint last = widget->pos();
    for (const int end = kCtlLogout; widget != console->GetButton(end);) {
        widget = widget->nextInFocusChain();
        ASSERT_NE(widget, console.get()) << "all buttons come before the chain's end";
        if ((widget->focusPolicy() & Qt::TabFocus) == 0 || widget->parentWidget() != console.get()) {
            continue;
        }
        const QPoint at = widget->pos();
        EXPECT_TRUE(at.y() > last.y() || (at.y() == last.y() && at.x() >= last.x()))
            << widget->objectName().toStdString();
        last = at;
    }
}

TEST_F(ConsolePanel, KeysDoWhatTheButtonsDo) {
    FakeRecorder recorder("Hall", 30);
    Open(recorder.Port());
    Key(Qt::Key_6);
    EXPECT_EQ(View().GetStyle(), VIEW_STYLE_9CH);
    Key(Qt::Key_PageDown);
    EXPECT_EQ(ShownNames()[0], "Channel 10");
    Key(Qt::Key_PageUp);
    Key(Qt::Key_PageUp);
    EXPECT_EQ(ShownNames()[0], "Channel 28");
    Key(Qt::Key_3, Qt::KeypadModifier);  // steers, and there is nothing to steer
    EXPECT_EQ(View().GetStyle(), VIEW_STYLE_9CH);
    Key(Qt::Key_Q);
    EXPECT_TRUE(console->Parts().sequential.IsOn() && console->Parts().controls.IsPressed(kCtlSequential));
    Key(Qt::Key_F1);
    Key(Qt::Key_F1);
    EXPECT_THAT(console->findChildren<QDialog*>("keyboardHelp"), SizeIs(1));
    Key(Qt::Key_I);
    EXPECT_NE(console->findChild<QDialog*>("intervalDialog"), nullptr);

    // A key of the head holds its command until it is released or the keyboard is gone.
    Send(QEvent::KeyPress, Qt::Key_Up);
    EXPECT_FALSE(console->Parts().keys.IsHeld(kCmdUp));
    console->Parts().controls.SetShown(kCmdUp, true);
    Send(QEvent::KeyPress, Qt::Key_Up);
    EXPECT_TRUE(console->Parts().keys.IsHeld(kCmdUp));
    Send(QEvent::KeyRelease, Qt::Key_Up);
    EXPECT_TRUE(kvtest::PumpUntil([&] { return !console->Parts().keys.IsHeld(kCmdUp); }));
    console->Parts().controls.SetShown(kCmdUp, true);
    Send(QEvent::KeyPress, Qt::Key_8, Qt::KeypadModifier);
    EXPECT_TRUE(console->Parts().keys.IsHeld(kCmdUp));
    QEvent away(QEvent::WindowDeactivate);
    QCoreApplication::sendEvent(console.get(), &away);
    EXPECT_FALSE(console->Parts().keys.IsHeld(kCmdUp));
}

// As X11 tells it: released and pressed again at one moment of its clock, and neither marked.
TEST_F(ConsolePanel, AKeyThatRepeatsIsOnePress) {
    FakeRecorder recorder("Hall", 4);
    Open(recorder.Port());
    const auto key = [&](QEvent::Type type, int code, quint64 at) {
        kvtest::SendKeyAt(*console, type, code, at);
    };
    console->Parts().controls.SetShown(kCmdUp, true);
    key(QEvent::KeyPress, Qt::Key_Up, 10'000);
    for (quint64 at = 10'500; at < 12'000; at += 30) {
        key(QEvent::KeyRelease, Qt::Key_Up, at);
        key(QEvent::KeyPress, Qt::Key_Up, at);
        Pump();
        console->Parts().controls.SetShown(kCmdUp, true);
        ASSERT_TRUE(console->Parts().keys.IsHeld(kCmdUp));
        ASSERT_FALSE(console->IsTimerSet(kTimerKeyRelease));
    }
    key(QEvent::KeyRelease, Qt::Key_Up, 12'010);
    EXPECT_TRUE(kvtest::PumpUntil([&] { return !console->Parts().keys.IsHeld(kCmdUp); }));

    // A toggle's key that is held toggles once; pressed a second time it toggles back.
    const bool bBefore = View().IsMaxViewMode();
    key(QEvent::KeyPress, Qt::Key_V, 20'000);
    key(QEvent::KeyRelease, Qt::Key_V, 20'500);
    key(QEvent::KeyPress, Qt::Key_V, 20'500);
    Pump();
    EXPECT_NE(View().IsMaxViewMode(), bBefore);
    key(QEvent::KeyRelease, Qt::Key_V, 20'530);
    key(QEvent::KeyPress, Qt::Key_V, 20'600);
    Pump();
    EXPECT_EQ(View().IsMaxViewMode(), bBefore);
}

TEST_F(ConsolePanel, TheWheelZoomsByWholeNotchesAndNotSideways) {
    FakeRecorder recorder("Hall", 4);
    recorder.SetDocument("command=16", kvtest::HttpReply(200, "OK", "4"));
    recorder.SetDocument("Recording.MediaProperty", kvtest::HttpReply(200, "OK", "\naudio_enabled=0\n"));
    Open(recorder.Port());
    const auto active = console->Parts().cells.GetActiveCamera();
    ASSERT_TRUE(kvtest::PumpUntil([&] { return active->GetCameraInfo().bZoomable; }));
    const auto turn = [&](const QPoint& angle) { kvtest::TurnWheel(*console, {900, 600}, angle); };
    turn({120, 0});
    turn({0, 40});
    turn({0, 40});
    turn({0, 40});
    turn({0, -60});
    turn({0, 60});  // a change of mind
    turn({0, -120});
    EXPECT_TRUE(kvtest::PumpUntil([&] { return recorder.CountHeads("&command=9 ") == 1; }));
    EXPECT_EQ(recorder.CountHeads("&command=8 "), 1);
}

TEST(ControlRules, ShowsWhatTheActiveCameraCanDo) {
    ConsoleControls controls;
    const auto shown = [&](std::initializer_list<int> asked) {
        std::vector<int> ids;
        for (const int id : asked) {
            if (controls.Get(id).shown) {
                ids.push_back(id);
            }
        }
        return ids;
    };
    ActiveCameraFacts facts;
    facts.info.bPan = facts.info.bHome = facts.info.bZoomable = facts.info.bFocusable = true;
    facts.info.dwPresetMask = 0x201;
    facts.bWindow = facts.bSnapshotRight = facts.bRecordRight = facts.bRecording = true;
    facts.bMonitorable = facts.bHomePage = facts.bCanTalk = facts.bSoundOutput = facts.bSoundSource = true;
    // What needs the picture waits for it; rights and addresses do not.
    ShowCameraControls(facts, controls);
    EXPECT_THAT(shown({1800, 1801, 1808, 1809, 1810, 1811, 1820, 1841, 1842}), SizeIs(0));
    EXPECT_THAT(shown({1750, 1751, 1752, 1753, 1754}), SizeIs(5));
    EXPECT_TRUE(controls.IsPressed(kCtlRecord));
    facts.bConnected = true;
    ShowCameraControls(facts, controls);
    EXPECT_THAT(shown({1800, 1801, 1808, 1809, 1810, 1811, 1812, 1820, 1841, 1842}),
                ElementsAre(1800, 1801, 1808, 1809, 1810, 1811, 1820, 1841, 1842));
    facts.bRecordRight = facts.bSoundOutput = facts.bHomePage = facts.bWindow = facts.bRecording = false;
    ShowCameraControls(facts, controls);
    EXPECT_THAT(shown({1750, 1751, 1752, 1753, 1754, 1811}), ElementsAre(1750, 1753));
    EXPECT_FALSE(controls.IsPressed(kCtlRecord));
    facts = {};
    facts.bDigitalZoom = true;
    ShowCameraControls(facts, controls);
    EXPECT_THAT(shown({1750, 1753, 1801, 1809, 1810}), ElementsAre(1809, 1810));
}

TEST(UiWatchdog, SeesAThreadThatWaits) {
    auto& app = kvtest::WatchedApplication::Instance();
    app.ForgetLongest();
    QTimer::singleShot(0, &app, [] { std::this_thread::sleep_for(std::chrono::milliseconds(60)); });
    EXPECT_TRUE(PumpUntil([&] { return app.LongestWaitMs() >= 55; }));
    app.ForgetLongest();
}
