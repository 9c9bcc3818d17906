// Named views whose cameras are gone: the cells stay theirs until the user takes them out.
#include "named_views_fixture.h"

#include <set>

using namespace kvmon;
using kvtest::FakeRecorder;
using kvtest::NamedViews;
using kvtest::PressKey;
using kvtest::Pump;
using kvtest::PumpUntil;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

// Its cell is empty and stays so, the status line names it, and the others stand where they stood.
TEST_F(NamedViews, ACameraThatIsGoneLeavesItsCellEmpty) {
    FakeRecorder recorder("Hall", {{"Door"}, {"Gate"}, {"Yard"}, {"Roof"}});
    Open(recorder.Port());
    Command(kCtl4Channels);
    ASSERT_TRUE(Views().Save("All"));
    std::vector<NamedView> views = Views().List().All();
    views[0].cameras[1].channel = 40;  // the recorder has none of this number
    views[0].cameras[1].name = "Cellar";
    views[0].zooms = {{1, {true, 7, {10, 20, 110, 100}}}};
    Views().List().Set(views);
    ASSERT_TRUE(console->OpenView("All"));
    Second();
    const std::vector<std::string> expected{"Door", "-", "Yard", "Roof"};
    EXPECT_EQ(ShownNames(), expected);
    EXPECT_THAT(Status(), HasSubstr("Cellar"));
    // The present wall under another name, with its cells moved: the camera is there still, with its zoom.
    Swap(3, 0);
    ASSERT_TRUE(Views().Save("Moved"));
    const NamedView moved = *Views().List().Find("Moved");
    EXPECT_THAT(CellsOf(moved, "4"), ElementsAre("Roof", "Cellar", "Yard", "Door", "Gate"));
    EXPECT_EQ(moved.zooms.size(), 1u);
    EXPECT_EQ(moved.cameras[static_cast<std::size_t>(moved.zooms.at(0).camera)].channel, 40);
    ASSERT_TRUE(console->OpenView("All"));
    // The camera that the view does not name is behind it, and a new start keeps the hole.
    PressKey(*console, Qt::Key_PageDown);
    EXPECT_EQ(ShownNames()[0], "Gate");
    PressKey(*console, Qt::Key_PageUp);
    Close();
    Open(recorder.Port());
    EXPECT_EQ(ShownNames(), expected);
    // Saved again by a program that does not know what the hole is: the stored view does.
    ASSERT_TRUE(Views().Save("All"));
    EXPECT_THAT(CellsOf(*Views().List().Find("All"), "4"),
                ElementsAre("Door", "Cellar", "Yard", "Roof", "Gate"));
    EXPECT_EQ(Views().List().Find("All")->zooms.size(), 1u);
    Second();
    EXPECT_EQ(ShownNames(), expected);
    EXPECT_THAT(Status(), HasSubstr("Cellar"));
    Command(kCtlOrderReset);
    Second();
    EXPECT_EQ(ShownNames(), (std::vector<std::string>{"Door", "Gate", "Yard", "Roof"}));
    EXPECT_THAT(Status(), Not(HasSubstr("Cellar")));
}

TEST_F(NamedViews, CamerasThatAreGoneAreTakenOutByMouseAndByKeys) {
    FakeRecorder recorder("Hall", {{"Door"}, {"Gate"}, {"Yard"}, {"Roof"}});
    Open(recorder.Port());
    Command(kCtl4Channels);
    ASSERT_TRUE(Views().Save("All"));
    std::vector<NamedView> views = Views().List().All();
    for (const auto& [place, name] : {std::pair(0, "Attic"), std::pair(1, "Cellar"), std::pair(3, "Shed")}) {
        views[0].cameras[static_cast<std::size_t>(place)].channel = 40 + place;
        views[0].cameras[static_cast<std::size_t>(place)].name = name;
    }
    views[0].pip = {2, 3, 1, 0};
    views[0].zooms = {{0, {true, 7, {10, 20, 110, 100}}}, {2, {true, 5, {1, 2, 11, 10}}}};
    Views().List().Set(views);
    ASSERT_TRUE(console->OpenView("All"));
    EXPECT_THAT(Status(), HasSubstr("Attic, Cellar, Shed"));

    ViewsDialog* dialog = OpenDialog();
    auto* absent = dialog->findChild<QTreeWidget*>("absent");
    const auto listed = [&absent] {
        std::vector<std::string> names;
        for (int i = 0; i < absent->topLevelItemCount(); ++i) {
            names.push_back(absent->topLevelItem(i)->text(0).toStdString());
        }
        return names;
    };
    ASSERT_TRUE(absent->isVisible());
    EXPECT_THAT(listed(), ElementsAre("Attic", "Cellar", "Shed"));
    PressKey(*absent, Qt::Key_Down);
    PressKey(*absent, Qt::Key_Delete);
    EXPECT_THAT(listed(), ElementsAre("Attic", "Shed"));
    auto* const one = dialog->findChild<QPushButton*>("takeOut");
    kvtest::ClickAt(*one, one->rect().center());
    EXPECT_THAT(listed(), ElementsAre("Attic"));
    EXPECT_THAT(Names(*dialog), ElementsAre("All")) << "the view stays";
    PressKey(*dialog, Qt::Key_Escape);
    Pump();
    EXPECT_EQ(Views().List().Find("All")->cameras.size(), 4u) << "what is cancelled changes nothing";

    dialog = OpenDialog();
    absent = dialog->findChild<QTreeWidget*>("absent");
    PressKey(*absent, Qt::Key_Delete);
    dialog->accept();
    Pump();
    const NamedView less = *Views().List().Find("All");
    EXPECT_THAT(CellsOf(less, "4"), ElementsAre("-", "Cellar", "Yard", "Shed"));
    EXPECT_EQ(less.pip, (std::array<int, 4>{1, 2, 0, -1}));
    ASSERT_EQ(less.zooms.size(), 1u);
    EXPECT_EQ(less.cameras[static_cast<std::size_t>(less.zooms[0].camera)].name, "Yard");
    EXPECT_THAT(Status(), Not(HasSubstr("Attic"))) << "the wall follows";
    EXPECT_THAT(Status(), HasSubstr("Cellar, Shed"));

    dialog = OpenDialog();
    auto* const all = dialog->findChild<QPushButton*>("takeAllOut");
    kvtest::ClickAt(*all, all->rect().center());
    EXPECT_FALSE(dialog->findChild<QTreeWidget*>("absent")->isVisible()) << "there are none any more";
    EXPECT_TRUE(dialog->findChild<QTreeWidget*>("views")->hasFocus());
    dialog->accept();
    Pump();
    EXPECT_THAT(CellsOf(*Views().List().Find("All"), "4"), ElementsAre("-", "-", "Yard", "-"));
    EXPECT_EQ(ShownNames(), (std::vector<std::string>{"-", "-", "Yard", "-"}));
}

// Also when cells were moved after the view, the wall is saved under another name, and the program begins
// anew.
TEST_F(NamedViews, CamerasThatGoAndComeKeepTheirPlaces) {
    FakeRecorder recorder("Hall", {{"Door"}, {"Gate"}, {"Yard"}, {"Roof"}, {"Cellar"}});
    Registry().WriteProfileInt("Hall", "ShowNoConfig", 0);
    // Those of these numbers are there.
    const auto there = [&](std::set<int> numbers) {
        std::vector<kvtest::FakeChannel> channels{{"Door"}, {"Gate"}, {"Yard"}, {"Roof"}, {"Cellar"}};
        for (int n = 0; n < 5; ++n) {
            channels[static_cast<std::size_t>(n)].configured = numbers.contains(n);
        }
        recorder.SetChannels(channels);
        ASSERT_TRUE(recorder.WaitForListener());
        recorder.Notify("2\n");
        ASSERT_TRUE(PumpUntil(
            [&] { return console->Parts().cameras.GetCount() == static_cast<int>(numbers.size()); }));
        Second();
    };
    using Names = std::vector<std::string>;
    const Names all{"Roof", "Gate", "Yard", "Door"};
    const auto saved = [&](const std::string& name) {
        EXPECT_TRUE(Views().Save(name));
        return CellsOf(*Views().List().Find(name), "4");
    };
    Open(recorder.Port());
    Command(kCtl4Channels);
    ASSERT_TRUE(Views().Save("All"));
    Swap(3, 0);
    ASSERT_EQ(ShownNames(), all);

    there({0, 2, 3, 4});
    EXPECT_EQ(ShownNames(), (Names{"Roof", "-", "Yard", "Door"}));
    EXPECT_THAT(Status(), HasSubstr("Gate"));
    EXPECT_THAT(saved("One gone"), ElementsAre("Roof", "Gate", "Yard", "Door", "Cellar"));
    there({0});  // all fit on fewer pages
    EXPECT_EQ(ShownNames(), (Names{"-", "-", "-", "Door"}));
    Close();
    Open(recorder.Port());
    EXPECT_EQ(ShownNames(), (Names{"-", "-", "-", "Door"}));
    EXPECT_THAT(saved("Four gone"), ElementsAre("Roof", "Gate", "Yard", "Door", "Cellar"));
    there({0, 1, 2, 3, 4});
    EXPECT_EQ(ShownNames(), all);
    EXPECT_THAT(Status(), Not(HasSubstr("Gate")));
    PressKey(*console, Qt::Key_PageDown);
    EXPECT_EQ(ShownNames()[0], "Cellar");

    // Until the user takes them out.
    there({0, 2, 3, 4});
    Command(kCtlOrderReset);
    there({0, 2, 3});
    EXPECT_THAT(saved("All"), ElementsAre("Door", "Yard", "Roof"));
    EXPECT_THAT(Status(), Not(HasSubstr("Gate")));
}

TEST_F(NamedViews, ARecorderThatIsAwayAtTheStartFindsItsCellsWhenItComes) {
    FakeRecorder hall("Hall", {{"Door"}, {"Yard"}});
    FakeRecorder annex("Annex", {{"Stable"}, {"Barn"}});
    SaveServerList(Registry(), "Hall",
                   {{"", "127.0.0.1", hall.Port(), "admin", "secret", 2},
                    {"", "127.0.0.1", annex.Port(), "admin", "secret", 2}});
    using Names = std::vector<std::string>;
    Open(hall.Port());
    Command(kCtl4Channels);
    Swap(0, 3);
    ASSERT_TRUE(Views().Save("Both"));
    Swap(0, 1);
    const Names both{"Barn", "Door", "Stable", "Yard"};
    ASSERT_EQ(ShownNames(), both);
    Close();

    annex.AnswerAll("HTTP/1.0 503 Busy\r\n\r\n");
    Start(hall.Port());
    ASSERT_TRUE(PumpUntil([&] { return console->IsTimerSet(kTimerPendingServers); }));
    console->Parts().binding.BuildView();  // what the timer does after 30 s
    Second();
    EXPECT_EQ(ShownNames(), (Names{"-", "Door", "-", "Yard"}));
    EXPECT_THAT(Status(), HasSubstr("Barn"));
    ASSERT_TRUE(Views().Save("Away"));
    EXPECT_THAT(CellsOf(*Views().List().Find("Away"), "4"), testing::ElementsAreArray(both));
    annex.AnswerAll("");
    ASSERT_TRUE(PumpUntil([&] { return console->Parts().cameras.GetCount() == 4; }));
    Second();
    EXPECT_EQ(ShownNames(), both);
    EXPECT_EQ(Views().Current(), "Away");
}
