// Named views: what they keep of the wall, how they come back, and how two programs share them.
#include "named_views_fixture.h"

#include <QtWidgets/QComboBox>
#include <QtWidgets/QMenu>

#include "channel/base/cam_commands.h"
#include "console/views/view_file.h"
#include "menu_entries.h"
#include "some_pictures.h"

using namespace kvmon;
using kvtest::FakeRecorder;
using kvtest::NamedViews;
using kvtest::PressKey;
using kvtest::Pump;
using kvtest::PumpUntil;

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
