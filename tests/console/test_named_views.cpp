// Named views: what they keep of the wall, how they come back, sequences of them, files.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <QtCore/QFile>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QFileDialog>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QMenu>
#include <QtWidgets/QMessageBox>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QSpinBox>
#include <QtWidgets/QTreeWidget>
#include <fstream>
#include <set>

#include "channel/base/cam_commands.h"
#include "channel/base/channel_messages.h"
#include "console/views/view_file.h"
#include "console/views/view_switch.h"
#include "console/views/views_dialog.h"
#include "console/views/views_menu.h"
#include "console/wall/menu_spot.h"
#include "console/wall/screen_controller.h"
#include "console/wall/sequential_mode.h"
#include "console_fixture.h"
#include "lone_wall.h"
#include "menu_entries.h"
#include "open_dialog.h"
#include "persist/string_table.h"
#include "platform/worker.h"
#include "skin/input_messages.h"
#include "some_pictures.h"
#include "support/fake_recorder.h"
#include "support/qt_user_input.h"

using namespace kvmon;
using kvtest::FakeRecorder;
using kvtest::FindOpen;
using kvtest::PressKey;
using kvtest::Pump;
using kvtest::PumpUntil;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

class NamedViews : public kvtest::ConsoleTest {
protected:
    ViewSwitch& Views() { return console->Parts().views; }
    int Style() { return console->Parts().view.GetStyle(); }
    // The ticks come when the test says so.
    void Second() { console->Parts().OnSecond(); }
    std::string Status() { return console->Parts().status.text().toStdString(); }
    void Swap(int a, int b) {
        console->SendMessage(kMsgVideoWndMove, static_cast<WParam>(a), PackPoint(MiddleOf(b)));
        Pump();
    }
    QPoint MiddleOf(int n) { return Cell(n).mapToGlobal(Cell(n).rect().center()); }
    ViewsDialog* OpenDialog() {
        console->Press(kCmdViews);
        Pump();
        auto* const dialog = FindOpen<ViewsDialog>();
        EXPECT_NE(dialog, nullptr);
        return dialog;
    }
    static void Click(QWidget& dialog, const char* button) {
        dialog.findChild<QPushButton*>(QString(button))->click();
        Pump();
    }
    static void TypeName(QWidget& dialog, const std::string& name) {
        QLineEdit* editor = nullptr;  // one that was closed may still be there
        for (QLineEdit* const each :
             dialog.findChild<QTreeWidget*>("views")->viewport()->findChildren<QLineEdit*>()) {
            editor = each->isVisible() ? each : editor;
        }
        ASSERT_NE(editor, nullptr);
        editor->clear();
        kvtest::TypeText(*editor, name);
        PressKey(*editor, Qt::Key_Return);
        Pump();
    }
    static std::vector<std::string> Names(QWidget& dialog) {
        std::vector<std::string> names;
        auto* const list = dialog.findChild<QTreeWidget*>("views");
        for (int i = 0; i < list->topLevelItemCount(); ++i) {
            names.push_back(list->topLevelItem(i)->text(0).toStdString());
        }
        return names;
    }
    // The names of the cameras of one order.
    static std::vector<std::string> CellsOf(const NamedView& view, const std::string& style) {
        std::vector<std::string> names;
        for (const ViewPages& pages : view.pages) {
            for (const int cell : pages.style == style ? pages.cells : std::vector<int>()) {
                names.push_back(cell >= 0 ? view.cameras[static_cast<std::size_t>(cell)].name : "-");
            }
        }
        return names;
    }
    std::string MessageAfterImport(QWidget& dialog, const QByteArray& text) {
        const QString path = QString::fromStdString(folder.File("views.kvviews"));
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly) && file.write(text) == text.size());
        file.close();
        return ChooseFile(dialog, "import", path);
    }
    static std::string ChooseFile(QWidget& dialog, const char* button, const QString& path) {
        Click(dialog, button);
        auto* const choice = dialog.findChild<QFileDialog*>();
        choice->selectFile(path);
        emit choice->fileSelected(path);
        choice->close();
        EXPECT_TRUE(PumpUntil([&] { return dialog.findChild<QPushButton*>("import")->isEnabled(); }));
        return dialog.findChild<QLabel*>("message")->text().toStdString();
    }
};

}  // namespace

TEST_F(NamedViews, AViewBringsStyleCellsPageAndZoomBack) {
    FakeRecorder recorder("Hall", 9);
    Open(recorder.Port());
    Command(kCtl4Channels);
    PressKey(*console, Qt::Key_PageDown);
    Swap(4, 1);  // on the page
    const std::vector<std::string> saved = ShownNames();
    auto& zoomed = *console->Parts().cameras.GetCameraByChannel(5);
    zoomed.RestoreZoom({true, 7, {10, 20, 110, 100}});
    ASSERT_TRUE(Views().Save("Night"));
    Command(kCtl9Channels);
    zoomed.SetDigitalZoom(false);
    ASSERT_TRUE(Views().Save("Day"));
    Command(kCtlOrderReset);

    // By its key.
    PressKey(*console, Qt::Key_1, Qt::ControlModifier);
    Pump();
    EXPECT_EQ(Style(), VIEW_STYLE_4CH);
    EXPECT_EQ(ShownNames(), saved);
    EXPECT_EQ(console->Parts().view.Combo().currentIndex(), 1);
    EXPECT_TRUE(zoomed.IsDigitalZoom());
    EXPECT_EQ(zoomed.GetZoom().nLevel, 7);
    EXPECT_EQ(zoomed.GetZoom().rect, (PixelRect{10, 20, 110, 100}));

    // By the menu, which says what is shown and tells the keys.
    Command(kCtlMainMenu);
    auto* const menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
    ASSERT_NE(menu, nullptr);
    ASSERT_TRUE(kvtest::Choose(*menu, {"Views", "Day\tCtrl+2"}));
    Pump();
    EXPECT_EQ(Style(), VIEW_STYLE_9CH);
    EXPECT_FALSE(zoomed.IsDigitalZoom());

    // The next start has them, and opens one before there is a wall.
    Close();
    Start(recorder.Port());
    EXPECT_FALSE(console->OpenView("Noon"));
    EXPECT_EQ(console->ViewNames(), "Night\nDay");
    EXPECT_TRUE(console->OpenView("Night"));
    EXPECT_TRUE(PumpUntil([&] { return Views().Current() == "Night"; }));
    EXPECT_EQ(ShownNames(), saved);
}

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

TEST_F(NamedViews, ASequenceRunsUntilTheUserChooses) {
    FakeRecorder recorder("Hall", 9);
    Open(recorder.Port());
    Command(kCtl4Channels);
    ASSERT_TRUE(Views().Save("Four"));
    Command(kCtl9Channels);
    ASSERT_TRUE(Views().Save("Nine"));
    std::vector<NamedView> views = Views().List().All();
    NamedView tour;
    tour.name = "Tour";
    tour.steps = {{"Four", 600}, {"Gone", 600}, {"Nine", 900}};
    views.push_back(tour);
    Views().List().Set(views);

    const auto isRunning = [&] { return !Views().Sequence().empty() && console->IsTimerSet(kTimerViewStep); };
    const std::function<void()> choices[] = {
        [&] { Command(kCtlFirstStyle); },   [&] { PressKey(*console, Qt::Key_PageDown); },
        [&] { Command(kCtlSequential); },   [&] { Swap(0, 1); },
        [&] { console->OpenView("Four"); }, [&] { emit console->Parts().view.Combo().activated(1); },
    };
    for (const auto& choose : choices) {
        console->OpenView("Four");
        console->OpenView("Tour");
        ASSERT_TRUE(isRunning());
        choose();
        EXPECT_FALSE(isRunning()) << &choose - choices;
    }
    // Sequential mode of pages and a sequence of views are never on together.
    console->OpenView("Tour");
    EXPECT_FALSE(console->Parts().sequential.IsOn());
    console->Logout();
    Pump();
    EXPECT_FALSE(isRunning());
}

// Two programs on one file of settings, each of which saves what the other does not know yet.
TEST_F(NamedViews, TwoProgramsLoseNoView) {
    RegistryApp app;
    app.databasePath = folder.File("settings.db");
    COrvoRegistry settings[2];
    std::vector<ViewList> lists;
    for (COrvoRegistry& each : settings) {
        each.InitRegistry(false, app);
        lists.emplace_back(each);
        EXPECT_TRUE(lists.back().Load());
    }
    const auto view = [](const std::string& name, int style) {
        NamedView made;
        made.name = name;
        made.style = style;
        return made;
    };
    lists[0].Put(view("Night", 2));
    lists[1].Put(view("Day", 3));
    lists[1].Put(view("Dusk", 4));
    lists[0].Put(view("Dawn", 5));
    lists[0].Set({view("Dawn", 5), view("Late", 2)});  // "Night" has another name now
    for (COrvoRegistry& each : settings) {
        EXPECT_TRUE(each.Close());
    }
    COrvoRegistry later;
    later.InitRegistry(false, app);
    ViewList list(later);
    EXPECT_TRUE(list.Load());
    std::vector<std::string> names;
    for (const NamedView& each : list.All()) {
        names.push_back(each.name);
    }
    EXPECT_THAT(names, testing::UnorderedElementsAre("Day", "Dusk", "Dawn", "Late"));
    // As they were all kept in one value.
    const QByteArray together = WriteViews({view("Old", 2), view("Day", 6)});
    later.WriteProfileBinary("Views", "List",
                             {reinterpret_cast<const std::uint8_t*>(together.constData()),
                              static_cast<std::size_t>(together.size())});
    EXPECT_TRUE(list.Load());
    EXPECT_EQ(list.All().size(), 5u);
    EXPECT_EQ(list.Find("Day")->style, 3);
}

// Ctrl with a digit is the view's where there is one; the preset has Alt with it.
TEST_F(NamedViews, ADigitWithAltGoesToThePreset) {
    FakeRecorder recorder("Hall", 1);
    recorder.SetDocument("command=16", kvtest::HttpReply(200, "OK", "19"));
    recorder.SetDocument("Recording.MediaProperty", kvtest::HttpReply(200, "OK", "\n<audio_enabled>\n"));
    recorder.SetDocument("command=15", kvtest::HttpReply(200, "OK", "002044761746503412642"));
    recorder.SetDocument("command=12", kvtest::HttpReply(200, "OK", "0"));
    recorder.SetStream(kvtest::SomePictures());
    Open(recorder.Port());
    ASSERT_TRUE(PumpUntil([&] { return console->Parts().controls.Get(kCmdPresetFirst + 1).shown; }));
    ASSERT_TRUE(Views().Save("Night"));
    const auto sent = [&](int preset) {
        return recorder.CountHeads("command=12&arg=" + std::to_string(preset) + " ");
    };
    PressKey(*console, Qt::Key_1, Qt::AltModifier);
    EXPECT_TRUE(PumpUntil([&] { return sent(0) == 1; }));
    Command(kCtl4Channels);
    PressKey(*console, Qt::Key_1, Qt::ControlModifier);
    PressKey(*console, Qt::Key_2, Qt::ControlModifier);  // there is one view
    EXPECT_TRUE(PumpUntil([&] { return sent(1) == 1; }));
    EXPECT_EQ(Views().Current(), "Night");
    EXPECT_EQ(sent(0), 1);
}

TEST_F(NamedViews, TheDialogSavesNamesOrdersAndDeletes) {
    FakeRecorder recorder("Hall", 9);
    Open(recorder.Port());
    ViewsDialog* dialog = OpenDialog();
    ASSERT_NE(dialog, nullptr);
    EXPECT_FALSE(dialog->findChild<QPushButton*>("newSequence")->isEnabled());
    auto& hint = *dialog->findChild<QLabel*>("emptyHint");
    EXPECT_TRUE(hint.isVisible());
    EXPECT_THAT(hint.text().toStdString(), HasSubstr("Save present view"));
    Click(*dialog, "save");
    TypeName(*dialog, "  Night   shift ");
    EXPECT_FALSE(hint.isVisible());
    Click(*dialog, "save");
    TypeName(*dialog, "Night shift");  // taken
    EXPECT_THAT(Names(*dialog), ElementsAre("Night shift", "Night shift (2)"));
    Click(*dialog, "newSequence");
    TypeName(*dialog, "Tour");
    dialog->findChild<QSpinBox*>("stepSeconds")->setValue(5);
    Click(*dialog, "addStep");
    EXPECT_EQ(dialog->findChild<QTreeWidget*>("steps")->topLevelItemCount(), 3);
    PressKey(*dialog->findChild<QTreeWidget*>("views"), Qt::Key_Up, Qt::ControlModifier);
    EXPECT_THAT(Names(*dialog), ElementsAre("Night shift", "Tour", "Night shift (2)"));
    Click(*dialog, "down");
    Click(*dialog, "up");
    dialog->accept();
    Pump();
    const std::vector<NamedView> views = Views().List().All();
    ASSERT_EQ(views.size(), 3u);
    EXPECT_EQ(views[1].name, "Tour");
    ASSERT_EQ(views[1].steps.size(), 3u);
    EXPECT_EQ(views[1].steps[0].view, "Night shift");
    EXPECT_EQ(views[1].steps[0].seconds, 5);

    // A new name follows into the sequences; what is cancelled changes nothing; Enter opens.
    dialog = OpenDialog();
    Click(*dialog, "rename");
    TypeName(*dialog, "Dusk");
    dialog->accept();
    Pump();
    EXPECT_EQ(Views().List().All()[1].steps[0].view, "Dusk");
    dialog = OpenDialog();
    Click(*dialog, "delete");
    dialog->reject();
    Pump();
    EXPECT_EQ(Views().List().All().size(), 3u);
    dialog = OpenDialog();
    PressKey(*dialog->findChild<QTreeWidget*>("views"), Qt::Key_Delete);
    PressKey(*dialog->findChild<QTreeWidget*>("views"), Qt::Key_Return);
    Pump();
    EXPECT_EQ(Views().List().All().size(), 2u);
    EXPECT_EQ(Views().Sequence(), "Tour");
}

TEST_F(NamedViews, FilesOfNonsenseChangeNothing) {
    FakeRecorder recorder("Hall", 4);
    Open(recorder.Port());
    ASSERT_TRUE(Views().Save("Night"));
    ViewsDialog* const dialog = OpenDialog();
    const QByteArray good = WriteViews(Views().List().All());
    const QByteArray sequence = R"({"format":"kvmon views","version":1,"views":[{"name":"Tour","steps":)";
    const std::string noViews = "This file holds no views.";
    const std::pair<QByteArray, std::string> files[] = {
        {"", noViews},
        {"\x89PNG\r\n", noViews},
        {good.left(good.size() / 2), noViews},
        {QByteArray(good).replace("\"version\": 1", "\"version\": 2"), "newer version"},
        {QByteArray(good).replace("\"style\": 2", "\"style\": 9"), noViews},
        {QByteArray(good).replace("\"host\"", "\"post\""), noViews},
        {QByteArray(good).replace("\"name\": \"Night\"", "\"name\": \" \""), noViews},
        {sequence + R"([{"view":"Night","seconds":0}]}]})", noViews},
        {sequence + R"([{"view":"Night","seconds":1e99}]}]})", noViews},
        {sequence + "[]}]}", noViews},
        {QByteArray(100000, '['), noViews},
        {QByteArray(kMaxViewFile + 1, ' '), noViews},
    };
    for (const auto& [text, word] : files) {
        EXPECT_THAT(MessageAfterImport(*dialog, text), HasSubstr(word)) << text.left(300).toStdString();
        EXPECT_THAT(Names(*dialog), ElementsAre("Night"));
    }
    EXPECT_THAT(ChooseFile(*dialog, "import", "/nonexistent/views"), HasSubstr("cannot be read"));
    EXPECT_THAT(ChooseFile(*dialog, "export", "/nonexistent/views"), HasSubstr("cannot be written"));
    // What is exported can be imported; names that are taken get a number.
    const QString path = QString::fromStdString(folder.File("out.kvviews"));
    EXPECT_THAT(ChooseFile(*dialog, "export", path), IsEmpty());
    EXPECT_THAT(ChooseFile(*dialog, "import", path), IsEmpty());
    EXPECT_THAT(Names(*dialog), ElementsAre("Night", "Night (2)"));
    dialog->reject();
    Pump();

    // Stored nonsense is kept aside, and told once.
    Close();
    const auto store = [](const std::string& section, const QByteArray& text) {
        const auto bytes = std::as_bytes(std::span(text.constData(), static_cast<std::size_t>(text.size())));
        Registry().WriteProfileBinary("Views\\Each\\" + section, "View",
                                      {reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
    };
    const QByteArray nonsense = good.left(good.size() / 2);
    store("of another", nonsense);
    Open(recorder.Port());
    auto* const box = console->findChild<QMessageBox*>();
    ASSERT_NE(box, nullptr);
    EXPECT_THAT(box->text().toStdString(), HasSubstr("kept aside"));
    box->close();
    const auto aside = Registry().GetSections("Views\\Aside");
    ASSERT_EQ(aside.size(), 1u);
    EXPECT_EQ(Registry().GetProfileBinarySize("Views\\Aside\\" + aside[0], "View"),
              static_cast<std::size_t>(nonsense.size()));
    EXPECT_THAT(console->ViewNames(), testing::StrEq("Night")) << "what can be read stays";
    Close();
    Open(recorder.Port());
    EXPECT_EQ(console->findChild<QMessageBox*>(), nullptr);

    // A newer program's view of this name is not shown, and is kept aside when the name is taken.
    Close();
    store(Registry().GetSections("Views\\Each").at(0),
          QByteArray(good).replace("\"version\": 1", "\"version\": 2"));
    Open(recorder.Port());
    EXPECT_EQ(console->ViewNames(), "");
    ASSERT_TRUE(Views().Save("Night"));
    EXPECT_EQ(Registry().GetSections("Views\\Aside").size(), 2u);
    EXPECT_EQ(console->ViewNames(), "Night");
}

namespace {

// A file of a share that is gone: nothing comes of it, and nobody waits for it.
TEST_F(NamedViews, AFileThatHangsCanBeStopped) {
    FakeRecorder recorder("Hall", 4);
    Open(recorder.Port());
    ASSERT_TRUE(Views().Save("Mine"));
    ViewsDialog& dialog = *OpenDialog();
    auto& stop = *dialog.findChild<QPushButton*>("stop");
    auto& open = *dialog.findChild<QPushButton*>("import");
    const auto says = [&](std::uint32_t text) {
        return PumpUntil(
            [&] { return dialog.findChild<QLabel*>("message")->text().toStdString() == LoadString(text); });
    };
    EXPECT_FALSE(stop.isVisible());
    const std::string pipe = folder.File("pipe.kvviews");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    Click(dialog, "import");
    auto& choice = *dialog.findChild<QFileDialog*>();
    emit choice.fileSelected(QString::fromStdString(pipe));
    choice.close();
    ASSERT_TRUE(says(7451));
    EXPECT_FALSE(open.isEnabled());
    ASSERT_TRUE(stop.isVisible());
    PressKey(stop, Qt::Key_Space);
    EXPECT_TRUE(says(7452));
    EXPECT_FALSE(stop.isVisible());
    EXPECT_TRUE(open.isEnabled());
    // What comes of it later is not heard of.
    std::ofstream(pipe) << "late";
    EXPECT_TRUE(PumpUntil([] { return Worker::AbandonedCount() == 0; }));
    Pump();
    EXPECT_TRUE(says(7452));
    EXPECT_THAT(Names(dialog), ElementsAre("Mine"));
}

class ViewSequence : public kvtest::SettingsTest {
protected:
    void Elapse(std::int64_t seconds) {
        wall.timers.Elapse(seconds * 1000, [this](std::uint32_t id) {
            if (id == kTimerViewStep) {
                views.OnStepTimer();
            }
        });
    }
    int Style() const { return wall.view.GetStyle(); }

    kvtest::LoneWall wall{9};
    MenuSpots spots{wall.desk, wall.buttons, wall.cells};
    ScreenController screens{wall.desk, wall.commands, wall.wallEvents, wall.controls, wall.view};
    SequentialMode sequential{wall.desk, wall.timers, spots, wall.controls, wall.view, wall.settings};
    ViewSwitch views{wall.desk,  wall.commands, wall.timers,  wall.controls, wall.view,
                     sequential, screens,       wall.cameras, wall.recorders};
};

}  // namespace

// Each view stands as long as its step says; a view that is gone takes no time.
TEST_F(ViewSequence, TheStepsTakeTheirTimes) {
    wall.view.ViewStyleChanged(VIEW_STYLE_4CH);
    ASSERT_TRUE(views.Save("Four"));
    wall.view.ViewStyleChanged(VIEW_STYLE_9CH);
    ASSERT_TRUE(views.Save("Nine"));
    std::vector<NamedView> all = views.List().All();
    NamedView tour;
    tour.name = "Tour";
    tour.steps = {{"Four", 600}, {"Gone", 600}, {"Nine", 900}};
    all.push_back(tour);
    views.List().Set(all);
    ASSERT_TRUE(views.Open("Tour"));
    const std::pair<int, ViewStyle> times[] = {{599, VIEW_STYLE_4CH},
                                               {1, VIEW_STYLE_9CH},
                                               {899, VIEW_STYLE_9CH},
                                               {1, VIEW_STYLE_4CH},
                                               {600, VIEW_STYLE_9CH}};
    for (const auto& [seconds, style] : times) {
        Elapse(seconds);
        EXPECT_EQ(Style(), style) << &seconds - &times[0].first;
    }
    Elapse(1500 * 100 + 900);  // a night
    EXPECT_EQ(Style(), VIEW_STYLE_4CH);
    // Its last view is deleted: the sequence ends, and the wall stays.
    views.List().Set({all[2]});
    Elapse(600);
    EXPECT_EQ(views.Sequence(), "");
    EXPECT_EQ(Style(), VIEW_STYLE_4CH);
}
