// Walls on displays beside the first console's: one program covers them all.
#include <gmock/gmock.h>

#include <QtWidgets/QAbstractButton>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QDialog>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QMenu>
#include <sstream>
#include <stdexcept>

#include "app/app_options.h"
#include "app/desktop_window.h"
#include "channel/cell/channel_view.h"
#include "fingers.h"
#include "persist/orvo_registry.h"
#include "screens_fixture.h"
#include "skin/xskin_od_button.h"
#include "support/fake_recorder.h"

const bool kvtest::kHasScreens = qputenv("QT_QPA_PLATFORM", "offscreen:configfile=" KV_THREE_SCREENS);

using namespace kvmon;
using kvtest::FakeRecorder;
using kvtest::PressKey;
using kvtest::Pump;
using kvtest::PumpUntil;
using kvtest::ScreenAt;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

class DisplayWallsTest : public kvtest::Screens {
protected:
    ~DisplayWallsTest() override { window.reset(); }

    // As the program does it, with this command line, until all its walls have their cells.
    CMainDlg& Run(std::vector<std::string> args) {
        args.insert(args.end(), {"--port", std::to_string(recorder.Port()), "--auth",
                                 "YWRtaW46aHVudGVyMg==", "--auto-start"});
        std::istringstream none;
        const ParsedCommandLine parsed = ParseCommandLine(args, none);
        EXPECT_TRUE(parsed.options) << parsed.text;
        window = std::make_unique<DesktopWindow>(*parsed.options, clock);
        window->Activate();
        window->show();
        EXPECT_TRUE(PumpUntil([&] { return HasCells(First()); }));
        Pump();
        return First();
    }
    CMainDlg& First() {
        return *dynamic_cast<CMainDlg*>(window->findChild<QWidget*>(QStringLiteral("console")));
    }
    // Null where no wall is.
    static CMainDlg* WallOn(int display) {
        for (QWidget* const widget : QApplication::topLevelWidgets()) {
            for (QWidget* const child : widget->findChildren<QWidget*>(QStringLiteral("console"))) {
                auto* const wall = dynamic_cast<CMainDlg*>(child);
                if (wall != nullptr && wall->IsFullScreen() && wall->IsOn(ScreenAt(display))) {
                    return wall;
                }
            }
        }
        return nullptr;
    }
    static CMainDlg& Wall(int display) {
        if (!PumpUntil([&] { return WallOn(display) != nullptr && HasCells(*WallOn(display)); })) {
            throw std::runtime_error("no wall on display " + std::to_string(display));
        }
        return *WallOn(display);
    }
    static bool HasCells(CMainDlg& console) {
        return console.IsLoggedIn() && console.Parts().cells.GetCount() > 0;
    }
    // Where panels are, by the displays' places.
    static std::vector<int> Covered() {
        std::vector<int> covered;
        for (const CFSPanel* const panel : Panels()) {
            covered.push_back(panel->geometry().left());
        }
        std::sort(covered.begin(), covered.end());
        return covered;
    }
    static CFSPanel& PanelOn(int display) {
        for (CFSPanel* const panel : Panels()) {
            if (panel->geometry() == ScreenAt(display).geometry()) {
                return *panel;
            }
        }
        throw std::runtime_error("no panel on display " + std::to_string(display));
    }
    static void KeyOn(int display, int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        PressKey(PanelOn(display), key, modifiers);
        Pump();
    }
    static std::string ViewOn(int display) { return Wall(display).Parts().views.Current(); }
    static int StyleOf(CMainDlg& console) { return console.Parts().view.GetStyle(); }
    static QDialog* OpenDialog() {
        for (QWidget* const widget : QApplication::topLevelWidgets()) {
            auto* const dialog = qobject_cast<QDialog*>(widget);
            if (dialog != nullptr && dialog->isVisible()) {
                return dialog;
            }
        }
        return nullptr;
    }
    static void Unplug(int display) {
        emit qGuiApp->screenRemoved(&ScreenAt(display));
        Pump();
    }
    static void PlugIn(int display) {
        emit qGuiApp->screenAdded(&ScreenAt(display));
        Pump();
    }

    FakeRecorder recorder{"Hall", 9};
    std::unique_ptr<DesktopWindow> window;
};

constexpr int kLeftOfB = 1280;
constexpr int kLeftOfC = 2304;

}  // namespace

TEST_F(DisplayWallsTest, EachDisplayHasAWallWithAViewOfItsOwnAndKeepsIt) {
    CMainDlg& first = Run({"--full-screen", "--all-displays"});
    Wall(1);
    Wall(2);
    EXPECT_THAT(Covered(), ElementsAre(0, kLeftOfB, kLeftOfC));
    // What one wall saves all can open.
    KeyOn(2, Qt::Key_1);
    ASSERT_TRUE(PumpUntil([&] { return StyleOf(Wall(2)) == VIEW_STYLE_SINGLE_1CH; }));
    ASSERT_TRUE(Wall(2).SaveView("Alone"));
    KeyOn(1, Qt::Key_7);
    ASSERT_TRUE(Wall(1).SaveView("Nine"));
    EXPECT_EQ(first.ViewNames(), "Alone\nNine");
    KeyOn(2, Qt::Key_2, Qt::ControlModifier);
    EXPECT_EQ(ViewOn(2), "Nine");
    KeyOn(1, Qt::Key_1, Qt::ControlModifier);
    EXPECT_EQ(ViewOn(1), "Alone");
    EXPECT_EQ(StyleOf(Wall(1)), VIEW_STYLE_SINGLE_1CH);
    const int own = StyleOf(first);
    EXPECT_NE(own, VIEW_STYLE_SINGLE_1CH);
    EXPECT_THAT(first.Parts().views.Current(), IsEmpty());

    window.reset();
    EXPECT_EQ(StyleOf(Run({"--full-screen", "--all-displays"})), own);
    EXPECT_EQ(ViewOn(1), "Alone");
    EXPECT_EQ(StyleOf(Wall(1)), VIEW_STYLE_SINGLE_1CH);
    EXPECT_EQ(ViewOn(2), "Nine");

    // The command line's view goes before what was left there, on the displays that it names.
    window.reset();
    testing::internal::CaptureStderr();
    Run({"--display-view", "3=Alone", "--display-view", "9=Nine", "--display-view", "1=Nine"});
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                AllOf(HasSubstr("kvmon: there is no display 9; 3 are there"),
                      HasSubstr("kvmon: display 1 is the window's own")));
    EXPECT_EQ(ViewOn(2), "Alone");
    EXPECT_THAT(Covered(), ElementsAre(0, kLeftOfC)) << "the first wall was left in full screen";
}

TEST_F(DisplayWallsTest, WallsComeAndGoByTheMenuAndByEscape) {
    CMainDlg& first = Run({});
    EXPECT_THAT(Panels(), IsEmpty());
    PressKey(first, Qt::Key_D, Qt::ControlModifier);
    Wall(1);
    Wall(2);
    EXPECT_THAT(Covered(), ElementsAre(kLeftOfB, kLeftOfC)) << "the console's own display stays as it is";
    KeyOn(2, Qt::Key_Escape);
    EXPECT_THAT(Covered(), ElementsAre(kLeftOfB));
    EXPECT_TRUE(HasCells(*WallOn(1)));

    // The menu of another wall brings it back.
    KeyOn(1, Qt::Key_F10);
    auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
    ASSERT_NE(menu, nullptr);
    const auto entry = [&menu] {
        for (QAction* const action : menu->actions()) {
            if (action->text().startsWith("All displays")) {
                return action;
            }
        }
        return static_cast<QAction*>(nullptr);
    };
    ASSERT_NE(entry(), nullptr);
    EXPECT_FALSE(entry()->isChecked());
    entry()->trigger();
    menu->close();
    Wall(2);
    EXPECT_THAT(Covered(), ElementsAre(kLeftOfB, kLeftOfC));

    // The second display of the first console goes before a wall there, and leaves it to the wall again.
    PressKey(first, Qt::Key_D);
    ASSERT_TRUE(PumpUntil([&] { return first.Parts().view.HasSecondPanel() && Panels().size() == 2; }));
    Pump();
    EXPECT_EQ(WallOn(1), nullptr);
    PressKey(first, Qt::Key_D);
    Wall(1);
    // So does full screen, where the window has come to.
    window->move(kLeftOfC + 20, 20);
    PressKey(first, Qt::Key_F11);
    ASSERT_TRUE(PumpUntil([&] { return first.IsFullScreen() && WallOn(0) != nullptr; }));
    EXPECT_EQ(WallOn(2), &first);
    EXPECT_THAT(Covered(), ElementsAre(0, kLeftOfB, kLeftOfC));

    PressKey(first, Qt::Key_F11);
    Pump();

    // They are there at the next start, and not after they were turned off.
    window.reset();
    Run({});
    Wall(0);
    Wall(1);
    EXPECT_THAT(Covered(), ElementsAre(0, kLeftOfB));
    window.reset();
    Run({"--display", "1"});  // beside other programs on other displays
    Pump();
    EXPECT_THAT(Panels(), IsEmpty());
    window.reset();
    Run({});
    Wall(1);
    KeyOn(1, Qt::Key_D, Qt::ControlModifier);
    EXPECT_THAT(Panels(), IsEmpty());
    window.reset();
    Run({});
    Pump();
    EXPECT_THAT(Panels(), IsEmpty());
}

TEST_F(DisplayWallsTest, AWallComesBackWithItsDisplayAndGoesOn) {
    Run({"--all-displays"});
    Wall(2);
    KeyOn(2, Qt::Key_7);
    EXPECT_EQ(StyleOf(Wall(2)), VIEW_STYLE_10CH);
    ASSERT_TRUE(Wall(2).SaveView("Ten"));
    KeyOn(2, Qt::Key_1);
    ASSERT_TRUE(Wall(2).SaveView("One"));
    std::vector<NamedView> views = Wall(2).Parts().views.List().All();
    views.push_back({});
    views.back().name = "Round";
    views.back().steps = {{"Ten", 3600}, {"One", 3600}};
    Wall(2).Parts().views.Change(views);
    KeyOn(2, Qt::Key_1, Qt::ControlModifier);
    ASSERT_EQ(ViewOn(2), "Ten");
    Unplug(2);
    EXPECT_THAT(Covered(), ElementsAre(kLeftOfB));
    PlugIn(2);
    ASSERT_TRUE(PumpUntil([] { return ViewOn(2) == "Ten"; }));
    EXPECT_EQ(StyleOf(Wall(2)), VIEW_STYLE_10CH);
    EXPECT_THAT(Covered(), ElementsAre(kLeftOfB, kLeftOfC));
    // A sequence goes on, after the next start, too.
    KeyOn(2, Qt::Key_3, Qt::ControlModifier);
    ASSERT_EQ(Wall(2).Sequence(), "Round");
    Unplug(2);
    PlugIn(2);
    ASSERT_TRUE(PumpUntil([] { return Wall(2).Sequence() == "Round"; }));
    window.reset();
    Run({"--all-displays"});
    ASSERT_TRUE(PumpUntil([] { return Wall(2).Sequence() == "Round"; }));
    EXPECT_THAT(Wall(1).Sequence(), IsEmpty());
    // Not the one that its user has left.
    KeyOn(2, Qt::Key_Escape);
    Unplug(2);
    PlugIn(2);
    EXPECT_THAT(Covered(), ElementsAre(kLeftOfB));
}

TEST_F(DisplayWallsTest, FingersReachTheWallThatTheyTouch) {
    CMainDlg& first = Run({"--full-screen", "--all-displays"});
    kvtest::Fingers fingers;
    const auto cell = [](CMainDlg& desk, int n) -> CVideoWnd& { return *desk.Parts().cells.Get(n); };
    const auto name = [&](CMainDlg& desk) { return cell(desk, 0).GetCamera()->GetCameraName(); };
    CMainDlg& wall = Wall(2);
    KeyOn(2, Qt::Key_3);
    ASSERT_TRUE(PumpUntil([&] { return StyleOf(wall) == VIEW_STYLE_4CH; }));
    const std::string before = name(first);
    ASSERT_EQ(name(wall), "Channel 1");
    fingers.Swipe(cell(wall, 0).View(), {-200, 5});
    EXPECT_EQ(name(wall), "Channel 5");
    EXPECT_EQ(name(first), before);
    fingers.Swipe(cell(wall, 0).View(), {200, 5});
    EXPECT_EQ(name(wall), "Channel 1");

    // A rest opens the menu on the display that was touched.
    QWidget& view = cell(wall, 3).View();
    fingers.Put(view, view.rect().center());
    ASSERT_TRUE(PumpUntil([] {
        const auto windows = QApplication::topLevelWidgets();
        return std::any_of(windows.begin(), windows.end(), [](const QWidget* widget) {
            return widget->objectName() == "dragGhost" && widget->isVisible();
        });
    }));
    fingers.Lift(view, view.rect().center());
    QWidget* const menu = QApplication::activePopupWidget();
    ASSERT_NE(menu, nullptr);
    EXPECT_TRUE(ScreenAt(2).geometry().contains(menu->geometry().center()));
    EXPECT_TRUE(cell(wall, 3).IsWindowActive());
    menu->close();
    Pump();
}

TEST_F(DisplayWallsTest, TheSessionIsTheFirstConsoles) {
    CMainDlg& first = Run({"--all-displays"});
    Wall(1);
    Wall(2);
    KeyOn(2, Qt::Key_L, Qt::ControlModifier);
    ASSERT_TRUE(PumpUntil(
        [&] { return !first.IsLoggedIn() && !WallOn(1)->IsLoggedIn() && !WallOn(2)->IsLoggedIn(); }));
    EXPECT_THAT(Covered(), ElementsAre(kLeftOfB, kLeftOfC)) << "it stays a wall";

    // By the card of the first console, at another recorder.
    FakeRecorder other("Yard", 4);
    QWidget* card = nullptr;
    ASSERT_TRUE(PumpUntil([&] {
        card = window->findChild<QWidget*>(QStringLiteral("signIn"));
        return card != nullptr && card->isVisible();
    }));
    const auto field = [&](const char* name) { return card->findChild<QLineEdit*>(QLatin1String(name)); };
    if (auto* const port = card->findChild<QWidget*>(QStringLiteral("port"))) {
        port->setProperty("value", other.Port());
    }
    field("password")->setText("hunter2");
    PressKey(*field("password"), Qt::Key_Return);
    ASSERT_TRUE(PumpUntil([&] { return first.IsLoggedIn() && HasCells(first); }));
    for (const int display : {1, 2}) {
        ASSERT_TRUE(PumpUntil([&] { return Wall(display).Parts().cameras.GetCount() == 4; })) << display;
    }
}

TEST_F(DisplayWallsTest, OneLockHoldsAllOfThem) {
    CMainDlg& first = Run({"--lock", "--all-displays"});
    Wall(1);
    Wall(2);
    ASSERT_TRUE(
        PumpUntil([&] { return first.IsLocked() && WallOn(1)->IsLocked() && WallOn(2)->IsLocked(); }));
    for (const int key : {+Qt::Key_F10, +Qt::Key_O}) {
        KeyOn(2, key);
        EXPECT_EQ(OpenDialog(), nullptr);
        EXPECT_EQ(QApplication::activePopupWidget(), nullptr);
    }
    KeyOn(2, Qt::Key_D, Qt::ControlModifier);
    Unplug(1);
    EXPECT_THAT(Covered(), ElementsAre(0, kLeftOfC)) << "a wall keeps to its display";
    PlugIn(1);
    ASSERT_TRUE(PumpUntil([&] { return WallOn(1) != nullptr && WallOn(1)->IsLocked(); }));

    const auto type = [](const char* password) {
        ASSERT_NE(OpenDialog(), nullptr);
        auto& field = *OpenDialog()->findChild<QLineEdit*>(QStringLiteral("password"));
        kvtest::TypeText(field, password);
        PressKey(field, Qt::Key_Return);
        Pump();
    };
    KeyOn(2, Qt::Key_Escape);
    type("hunter3");
    EXPECT_THAT(Covered(), ElementsAre(0, kLeftOfB, kLeftOfC));
    type("hunter2");
    EXPECT_THAT(Panels(), IsEmpty());
    // As they began: the lock holds all again.
    PressKey(first, Qt::Key_F11);
    ASSERT_TRUE(PumpUntil([&] { return WallOn(1) != nullptr && WallOn(1)->IsLocked(); }));
    ASSERT_TRUE(PumpUntil([&] { return WallOn(2) != nullptr && WallOn(2)->IsLocked(); }));
    EXPECT_TRUE(first.IsLocked());
    KeyOn(0, Qt::Key_Escape);
    type("hunter2");
    EXPECT_THAT(Panels(), IsEmpty());
}

TEST_F(DisplayWallsTest, OptionsAndRecordersAreThoseOfTheFirstConsole) {
    FakeRecorder annex("Annex", {{"Stable"}, {"Barn"}});
    SaveServerList(Registry(), "Hall",
                   {{"", "127.0.0.1", recorder.Port(), "admin", "hunter2", 9},
                    {"", "127.0.0.1", annex.Port(), "admin", "hunter2", 2}});
    CMainDlg& first = Run({"--all-displays"});
    const auto cameras = [](CMainDlg& each) { return each.Parts().cameras.GetCount(); };
    ASSERT_TRUE(
        PumpUntil([&] { return cameras(first) == 11 && cameras(Wall(1)) == 11 && cameras(Wall(2)) == 11; }));

    KeyOn(2, Qt::Key_O);
    ASSERT_TRUE(PumpUntil([] { return OpenDialog() != nullptr; }));
    for (const char* const flag : {"1513", "1510"}) {  // recorders' names in the captions, flash on events
        if (auto* const check = OpenDialog()->findChild<QAbstractButton*>(QLatin1String(flag))) {
            check->click();
        }
    }
    OpenDialog()->accept();
    Pump();
    const ConsoleOptions wanted = first.Parts().settings.options;
    ASSERT_TRUE(wanted.bEventHighLight);
    EXPECT_EQ(Wall(1).Parts().settings.options, wanted);
    EXPECT_EQ(Wall(2).Parts().settings.options, wanted);

    first.Press(kCtlRecorders);
    ASSERT_TRUE(PumpUntil([] { return OpenDialog() != nullptr; }));
    OpenDialog()->findChild<QAbstractButton*>(QStringLiteral("remove"))->click();
    OpenDialog()->accept();
    ASSERT_TRUE(
        PumpUntil([&] { return cameras(first) == 9 && cameras(Wall(1)) == 9 && cameras(Wall(2)) == 9; }));
    window.reset();
    EXPECT_THAT(LoadServerList(Registry(), "admin@127.0.0.1:" + std::to_string(recorder.Port())), IsEmpty());
}

// Its dialogs are the first console's, which alone writes what is kept for all.
TEST_F(DisplayWallsTest, WhatIsOfTheProgramOpensAtTheFirstConsole) {
    CMainDlg& first = Run({"--all-displays"});
    Wall(1);
    Wall(2);
    KeyOn(2, Qt::Key_O);
    ASSERT_TRUE(PumpUntil([] { return OpenDialog() != nullptr; }));
    EXPECT_EQ(OpenDialog()->parentWidget(), &first);
    OpenDialog()->reject();
    // Another language makes all of them anew.
    const QPointer<CMainDlg> before = WallOn(2);
    KeyOn(2, Qt::Key_L);
    ASSERT_TRUE(PumpUntil([] { return OpenDialog() != nullptr; }));
    auto* const languages = OpenDialog()->findChild<QComboBox*>();
    languages->setCurrentIndex(languages->findData(static_cast<std::uint16_t>(0x0407)));
    OpenDialog()->accept();
    ASSERT_TRUE(PumpUntil([&] { return !before; }));
    ASSERT_TRUE(PumpUntil([&] { return WallOn(2) != nullptr && HasCells(*WallOn(2)); }));
    EXPECT_THAT(Covered(), ElementsAre(kLeftOfB, kLeftOfC));
}
