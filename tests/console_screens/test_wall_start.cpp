// Walls that begin in full screen: on which display, how they are left, and how a locked one is not.
#include <gmock/gmock.h>

#include <QtWidgets/QAbstractButton>
#include <QtWidgets/QDialog>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QMenu>
#include <sstream>
#include <stop_token>
#include <thread>

#include "app/app_options.h"
#include "app/desktop_window.h"
#include "channel/cell/channel_view.h"
#include "console/console_tables.h"
#include "screens_fixture.h"
#include "server/server_messages.h"
#include "skin/xskin_od_button.h"
#include "support/fake_recorder.h"

using namespace kvmon;
using kvtest::ClickAt;
using kvtest::FakeRecorder;
using kvtest::PressKey;
using kvtest::Pump;
using kvtest::PumpUntil;
using kvtest::ScreenAt;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

// As the program does it, with this command line.
class WallStartTest : public kvtest::Screens {
protected:
    ~WallStartTest() override { window.reset(); }

    CMainDlg& Run(std::vector<std::string> args) { return Run(std::move(args), clock); }
    // A clock that stands goes on until the wall is there.
    CMainDlg& Run(std::vector<std::string> args, kvtest::FakeClock& itsClock) {
        args.insert(args.end(), {"--port", std::to_string(recorder.Port()), "--auth",
                                 "YWRtaW46aHVudGVyMg==", "--auto-start"});
        std::istringstream none;
        const ParsedCommandLine parsed = ParseCommandLine(args, none);
        EXPECT_TRUE(parsed.options) << parsed.text;
        window = std::make_unique<DesktopWindow>(*parsed.options, itsClock);
        window->Activate();
        window->show();
        auto& made = *dynamic_cast<CMainDlg*>(window->findChild<QWidget*>(QStringLiteral("console")));
        EXPECT_TRUE(PumpUntil([&] {
            itsClock.Advance(Milliseconds(10));
            return made.Parts().cells.GetCount() > 0;
        }));
        Pump();
        return made;
    }
    static QDialog* OpenDialog() {
        for (QWidget* const widget : QApplication::topLevelWidgets()) {
            auto* const dialog = qobject_cast<QDialog*>(widget);
            if (dialog != nullptr && dialog->isVisible()) {
                return dialog;
            }
        }
        return nullptr;
    }
    static void Type(QDialog& dialog, const char* password) {
        auto& field = *dialog.findChild<QLineEdit*>(QStringLiteral("password"));
        kvtest::TypeText(field, password);
        PressKey(field, Qt::Key_Return);
        Pump();
    }

    FakeRecorder recorder{"Hall", 9};
    std::unique_ptr<DesktopWindow> window;
};

}  // namespace

TEST_F(WallStartTest, FullScreenOnTheDisplayThatIsToldAndThePointerGoes) {
    CMainDlg& made = Run({"--full-screen", "--display", "2"});
    ASSERT_THAT(Panels(), SizeIs(1));
    QWidget& panel = *Panels()[0];
    EXPECT_EQ(panel.geometry(), ScreenAt(1).geometry());
    EXPECT_TRUE(made.Parts().controls.IsPressed(kCtlFullScreen));
    EXPECT_EQ(made.Parts().cells.Get(0)->window(), &panel);
    // What the picture of the program shows is the wall, not the window behind it.
    ASSERT_TRUE(window->SavePicture(folder.File("wall.png")));
    EXPECT_EQ(QImage(QString::fromStdString(folder.File("wall.png"))).size(), QSize(2048, 1536));

    ASSERT_TRUE(made.IsTimerSet(kTimerPointer));
    RunTimer(made.Parts(), kTimerPointer);
    ASSERT_NE(QApplication::overrideCursor(), nullptr);
    EXPECT_EQ(QApplication::overrideCursor()->shape(), Qt::BlankCursor);
    kvtest::SendMouse(panel, QEvent::MouseMove, {100, 100});
    EXPECT_EQ(QApplication::overrideCursor(), nullptr);
    RunTimer(made.Parts(), kTimerPointer);
    PressKey(panel, Qt::Key_Escape);
    Pump();
    EXPECT_THAT(Panels(), IsEmpty());
    EXPECT_EQ(QApplication::overrideCursor(), nullptr);
    EXPECT_FALSE(made.IsTimerSet(kTimerPointer));
    EXPECT_EQ(window->screen(), &ScreenAt(1));

    testing::internal::CaptureStderr();
    window.reset();
    Run({"--display", "3"});
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("kvmon: there is no display 3; 2 are there"));
    EXPECT_EQ(window->screen(), &ScreenAt(0)) << "the place of a window that was sent somewhere is not kept";
    EXPECT_THAT(Panels(), IsEmpty());
}

TEST_F(WallStartTest, ALockedWallIsLookedAtAndLeftByThePasswordAlone) {
    CMainDlg& made = Run({"--lock"});
    ASSERT_THAT(Panels(), SizeIs(1));
    QWidget& panel = *Panels()[0];
    CellPool& cells = made.Parts().cells;
    const auto key = [&panel](int code, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        PressKey(panel, code, modifiers);
        Pump();
    };
    // Nothing opens, is stored or sent.
    for (const int each : {Qt::Key_F10, Qt::Key_O, Qt::Key_L, Qt::Key_C, Qt::Key_S, Qt::Key_R, Qt::Key_F1,
                           Qt::Key_G, Qt::Key_9, Qt::Key_I, Qt::Key_P, Qt::Key_D, Qt::Key_Menu, Qt::Key_0}) {
        key(each);
    }
    key(Qt::Key_Q, Qt::ControlModifier);
    key(Qt::Key_L, Qt::ControlModifier);
    key(Qt::Key_F10, Qt::ShiftModifier);
    ClickAt(cells.Get(1)->View(), {40, 40}, Qt::RightButton);
    Pump();
    EXPECT_EQ(OpenDialog(), nullptr);
    EXPECT_EQ(QApplication::activePopupWidget(), nullptr);
    kvtest::SendMouse(panel, QEvent::MouseMove, {600, 1});
    key(Qt::Key_B);
    EXPECT_FALSE(panel.findChild<QWidget*>("wallBar")->isVisible());
    EXPECT_TRUE(made.IsLoggedIn() && !made.Parts().controls.IsPressed(kCtlCameraList));
    EXPECT_EQ(kvtest::Screens::Panels().size(), 1u);
    EXPECT_TRUE(kvtest::ScreenAt(0).geometry() == panel.geometry());
    // The pages, the styles and the active camera are to be looked at.
    key(Qt::Key_Right, Qt::ControlModifier);
    EXPECT_EQ(cells.IndexOf(cells.GetActive()), 1);
    DoubleClick(cells.Get(1)->View(), {40, 40});
    EXPECT_EQ(made.Parts().view.GetStyle(), VIEW_STYLE_SINGLE_1CH);
    key(Qt::Key_3);
    key(Qt::Key_PageDown);
    EXPECT_EQ(made.Parts().view.GetStyle(), VIEW_STYLE_4CH);

    // Each way out asks.
    EXPECT_FALSE(window->close());
    QDialog* dialog = OpenDialog();
    ASSERT_TRUE(dialog != nullptr && dialog->objectName() == "unlockDialog");
    dialog->reject();
    key(Qt::Key_F11);
    ASSERT_NE(OpenDialog(), nullptr);
    OpenDialog()->reject();
    DoubleClick(panel, {1, 1});
    ASSERT_NE(OpenDialog(), nullptr);
    OpenDialog()->reject();
    Pump();
    made.MakeRoom();
    ASSERT_THAT(Panels(), SizeIs(1));
    key(Qt::Key_Escape);
    key(Qt::Key_Escape);
    dialog = OpenDialog();
    ASSERT_NE(dialog, nullptr);
    Type(*dialog, "hunter");
    ASSERT_EQ(OpenDialog(), dialog);
    EXPECT_EQ(dialog->findChildren<QLabel*>().at(1)->text(), "The password is wrong.");
    EXPECT_THAT(Panels(), SizeIs(1));
    Type(*dialog, "hunter2");
    EXPECT_EQ(OpenDialog(), nullptr);
    EXPECT_THAT(Panels(), IsEmpty());
    // The next full screen is locked again.
    PressKey(made, Qt::Key_F11);
    Pump();
    ASSERT_THAT(Panels(), SizeIs(1));
    EXPECT_TRUE(made.IsLocked());
}

TEST_F(WallStartTest, WhoGuessesAtALockedWallHasToWait) {
    // The threads that wait by it may outlive the window.
    static kvtest::FakeClock still;
    CMainDlg& made = Run({"--lock"}, still);
    const auto ask = [&]() -> QDialog& {
        PressKey(*Panels().at(0), Qt::Key_Escape);
        return *OpenDialog();
    };
    const auto word = [] {
        const QDialog* const dialog = OpenDialog();
        return dialog != nullptr ? dialog->findChildren<QLabel*>().at(1)->text().toStdString() : "no window";
    };
    Type(ask(), "hunter");
    OpenDialog()->reject();
    Type(ask(), "hunter1");
    EXPECT_EQ(word(), "The password is wrong.");
    Type(*OpenDialog(), "hunter3");
    EXPECT_EQ(word(), "Too many wrong passwords. Wait 5 s.");
    OpenDialog()->reject();
    Type(ask(), "hunter2");
    EXPECT_EQ(word(), "Too many wrong passwords. Wait 5 s.");
    still.Advance(Milliseconds(5000));
    ASSERT_TRUE(PumpUntil([&] { return word().empty(); }));
    Type(*OpenDialog(), "hunter4");
    EXPECT_EQ(word(), "Too many wrong passwords. Wait 10 s.");
    still.Advance(Milliseconds(10000));
    ASSERT_TRUE(PumpUntil([&] { return word().empty(); }));
    Type(*OpenDialog(), "hunter2");
    EXPECT_EQ(OpenDialog(), nullptr);
    EXPECT_FALSE(made.Parts().view.IsFullScreen());
    // Those threads come to their end when time goes on.
    const std::jthread goesOn([](const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            still.Advance(Milliseconds(250));
            std::this_thread::sleep_for(Milliseconds(1));
        }
    });
    window.reset();
}

// The recorder takes the password no more: whoever knows the new one goes on, and nobody gets out by another
// recorder.
TEST_F(WallStartTest, ALockedWallThatIsRefusedStaysLockedAndIsNoDeadEnd) {
    CMainDlg& made = Run({"--lock"});
    ASSERT_TRUE(made.IsLocked());
    recorder.RefuseLogins(true);
    // What the recorder's thread tells with each of its tries, which lie further and further apart.
    for (int i = 0; i < 7; ++i) {
        made.SendMessage(WM_GETVSINFO_FAILED, kFailedAuthorization, 0);
    }
    QWidget* card = nullptr;
    const auto hasCard = [&] {
        card = Panels().empty() ? nullptr : Panels()[0]->findChild<QWidget*>(QStringLiteral("signIn"));
        return card != nullptr && card->isVisible();
    };
    ASSERT_TRUE(PumpUntil(hasCard));
    ASSERT_TRUE(OpenDialog() != nullptr && OpenDialog()->inherits("QMessageBox"));
    OpenDialog()->accept();
    const auto field = [&](const char* name) { return card->findChild<QWidget*>(QLatin1String(name)); };
    EXPECT_EQ(qobject_cast<QLineEdit*>(field("address"))->text(), "127.0.0.1");
    for (const char* const name : {"address", "port", "language"}) {
        EXPECT_FALSE(field(name)->isEnabled()) << name;
    }
    for (const char* const name : {"demo", "recorder", "forget"}) {
        EXPECT_FALSE(field(name)->isVisible()) << name;
    }
    for (const int way : {+Qt::Key_Escape, +Qt::Key_F11, +Qt::Key_F10}) {
        PressKey(*field("password"), way);
        Pump();
        EXPECT_EQ(OpenDialog() != nullptr, way != Qt::Key_F10);
        if (OpenDialog() != nullptr) {
            OpenDialog()->reject();
        }
    }
    ASSERT_THAT(Panels(), SizeIs(1));

    recorder.RefuseLogins(false);
    kvtest::TypeText(*field("password"), "brandnew");
    PressKey(*field("password"), Qt::Key_Return);
    ASSERT_TRUE(PumpUntil([&] { return made.IsLoggedIn(); }));
    EXPECT_TRUE(made.IsLocked());
    PressKey(*Panels()[0], Qt::Key_Escape);
    Pump();
    ASSERT_NE(OpenDialog(), nullptr);
    Type(*OpenDialog(), "hunter2");
    ASSERT_NE(OpenDialog(), nullptr);
    Type(*OpenDialog(), "brandnew");
    EXPECT_THAT(Panels(), IsEmpty());
}

// A display that sleeps is gone for the system. What stood on it comes back with it.
TEST_F(WallStartTest, ADisplayThatIsPluggedBackGetsItsWallBack) {
    const auto unplug = [](QScreen& display) {
        emit qGuiApp->screenRemoved(&display);
        Pump();
    };
    const auto plugIn = [](QScreen& display) {
        emit qGuiApp->screenAdded(&display);
        Pump();
    };
    CMainDlg& made = Run({"--full-screen", "--display", "2"});
    const QRect place = window->geometry();
    PressKey(*Panels()[0], Qt::Key_D);
    Pump();
    ASSERT_THAT(Panels(), SizeIs(2));
    unplug(ScreenAt(1));
    EXPECT_THAT(Panels(), IsEmpty());
    window->move(20, 20);
    plugIn(ScreenAt(1));
    EXPECT_EQ(window->geometry(), place);
    ASSERT_THAT(Panels(), SizeIs(2));
    EXPECT_EQ(made.Parts().cells.Get(0)->window()->geometry(), ScreenAt(1).geometry());
    EXPECT_TRUE(made.Parts().controls.IsPressed(kCtlFullScreen) &&
                made.Parts().controls.IsPressed(kCtlMultiScreens));
    // Not what the user has left.
    unplug(ScreenAt(0));
    EXPECT_THAT(Panels(), SizeIs(1));
    PressKey(*Panels()[0], Qt::Key_Escape);
    Pump();
    plugIn(ScreenAt(0));
    ASSERT_THAT(Panels(), SizeIs(1));
    EXPECT_EQ(Panels()[0]->geometry(), ScreenAt(0).geometry());
    PressKey(made, Qt::Key_D);
    Pump();
    unplug(ScreenAt(0));
    plugIn(ScreenAt(0));
    EXPECT_THAT(Panels(), IsEmpty());

    // A locked wall is nowhere without its lock.
    window.reset();
    CMainDlg& locked = Run({"--lock", "--display", "2"});
    ASSERT_THAT(Panels(), SizeIs(1));
    unplug(ScreenAt(1));
    ASSERT_THAT(Panels(), SizeIs(1));
    EXPECT_TRUE(locked.IsLocked());
    EXPECT_EQ(Panels()[0]->geometry(), ScreenAt(0).geometry());
    plugIn(ScreenAt(1));
    ASSERT_THAT(Panels(), SizeIs(1));
    EXPECT_TRUE(locked.IsLocked());
    EXPECT_EQ(Panels()[0]->geometry(), ScreenAt(1).geometry());
    EXPECT_FALSE(locked.GetButton(kCtlOptions)->isEnabled());  // of the panel below, for assistive tools
    PressKey(*Panels()[0], Qt::Key_Escape);
    Pump();
    Type(*OpenDialog(), "hunter2");
    EXPECT_THAT(Panels(), IsEmpty());
    EXPECT_TRUE(locked.GetButton(kCtlOptions)->isEnabled());
}

TEST_F(WallStartTest, TheBarSlidesInByThePointerAndByItsKey) {
    CMainDlg& made = Run({"--full-screen"});
    ASSERT_THAT(Panels(), SizeIs(1));
    QWidget& panel = *Panels()[0];
    auto* const bar = panel.findChild<QWidget*>(QStringLiteral("wallBar"));
    ASSERT_TRUE(bar != nullptr && !bar->isVisible());
    const auto move = [&](const QPointF& at) { kvtest::SendMouse(panel, QEvent::MouseMove, at); };
    const auto isIn = [bar] { return bar->isVisible() && bar->pos() == QPoint(0, 0); };
    const auto find = [bar](const char* name) {
        return bar->findChild<QAbstractButton*>(QLatin1String(name));
    };
    PressKey(panel, Qt::Key_3);
    Pump();
    move({600, 40});
    EXPECT_FALSE(bar->isVisible());
    move({600, 1});
    ASSERT_TRUE(PumpUntil(isIn));
    EXPECT_EQ(panel.childAt(600, 20), bar);  // above the cells, also when they are laid out anew
    ClickAt(*find("barNext"), {4, 4});
    Pump();
    EXPECT_EQ(bar->findChild<QLabel*>("barPage")->text(), "Page 2 of 3");
    EXPECT_EQ(panel.childAt(600, 20), bar);
    // It stays while the pointer is on it, and not for long without.
    RunTimer(made.Parts(), kTimerBar);
    EXPECT_TRUE(isIn());
    move({600, 300});
    ASSERT_TRUE(made.IsTimerSet(kTimerBar));
    RunTimer(made.Parts(), kTimerBar);
    ASSERT_TRUE(PumpUntil([&] { return !bar->isVisible(); }));

    // By the keyboard, which comes back to the wall.
    made.SaveView("Night");
    PressKey(panel, Qt::Key_B);
    ASSERT_TRUE(PumpUntil(isIn));
    ASSERT_EQ(QApplication::focusWidget(), find("barStyles"));
    EXPECT_EQ(find("barViews")->text(), "Views: Night");
    PressKey(*find("barStyles"), Qt::Key_Space);
    auto* const menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
    ASSERT_NE(menu, nullptr);
    menu->actions().front()->trigger();
    menu->close();
    panel.activateWindow();  // a window system does so by itself
    Pump();
    EXPECT_EQ(made.Parts().view.GetStyle(), VIEW_STYLE_SINGLE_1CH);
    RunTimer(made.Parts(), kTimerBar);
    EXPECT_TRUE(isIn());
    PressKey(*QApplication::focusWidget(), Qt::Key_Escape);
    ASSERT_TRUE(PumpUntil([&] { return !bar->isVisible(); }));
    EXPECT_THAT(Panels(), SizeIs(1));

    // On a narrow display no word is cut; the way out stays.
    PressKey(panel, Qt::Key_3);
    const std::string name = "The loading ramps behind the hall, and the street at night";
    made.SaveView(name);
    for (const int width : {1280, 800, 480, 360}) {
        panel.resize(width, 600);
        Pump();
        PressKey(panel, Qt::Key_B);
        ASSERT_TRUE(PumpUntil(isIn));
        Pump();
        for (const QWidget* const part : bar->findChildren<QWidget*>()) {
            EXPECT_TRUE(!part->isVisible() || (part->width() >= part->sizeHint().width() &&
                                               part->geometry().right() < bar->width()))
                << part->objectName().toStdString() << " at " << width;
        }
        EXPECT_TRUE(find("barLeave")->isVisible() && find("barNext")->isVisible());
        EXPECT_EQ(find("barViews")->accessibleName().toStdString(), "Views: " + name)
            << "readers hear it whole";
        PressKey(*QApplication::focusWidget(), Qt::Key_Escape);
        ASSERT_TRUE(PumpUntil([&] { return !bar->isVisible(); }));
    }
    panel.resize(1280, 800);
    move({600, 1});
    ASSERT_TRUE(PumpUntil(isIn));
    ClickAt(*find("barLeave"), {4, 4});
    Pump();
    EXPECT_THAT(Panels(), IsEmpty());
}
