// The menu of the active cell, alone: what it offers, and what a choice does to the camera.
#include <gmock/gmock.h>

#include <QtWidgets/QApplication>

#include "channel/base/cam_commands.h"
#include "channel/cell/camera_menu.h"
#include "console/camera/cell_menu.h"
#include "console/wall/feedback_line.h"
#include "lone_wall.h"
#include "menu_entries.h"
#include "persist/orvo_registry.h"
#include "settings_fixture.h"
#include "support/qt_pump.h"

using namespace kvmon;
using kvtest::Entries;
using kvtest::Pump;
using testing::Contains;
using testing::ElementsAre;
using testing::Not;

namespace {

class CellMenuAlone : public kvtest::SettingsTest {
protected:
    QMenu* OpenMenu() {
        cellMenu.OpenAtCell();
        return qobject_cast<QMenu*>(QApplication::activePopupWidget());
    }
    std::vector<std::string> Offered() {
        QMenu* const menu = OpenMenu();
        const std::vector<std::string> entries =
            menu != nullptr ? Entries(*menu) : std::vector<std::string>();
        if (menu != nullptr) {
            menu->close();
        }
        Pump();
        return entries;
    }
    // By the menu, and as the console then hands it back.
    void Choose(const std::vector<std::string>& path) {
        QMenu* const menu = OpenMenu();
        ASSERT_NE(menu, nullptr);
        ASSERT_TRUE(kvtest::Choose(*menu, path)) << path.back();
        Pump();
        ASSERT_EQ(wall.commands.chosen.size(), 1u);
        EXPECT_TRUE(cellMenu.OnCommand(wall.commands.chosen[0]));
        wall.commands.chosen.clear();
    }

    kvtest::LoneWall wall{2};
    FeedbackLine feedback{wall.desk, wall.timers, wall.view};
    CellMenu cellMenu{wall.desk,    wall.commands, wall.controls, wall.active,
                      wall.cameras, wall.view,     feedback};
};

}  // namespace

TEST(CameraMenu, HoldsWhatTheCameraCan) {
    CameraInfo info;
    BCMenu nothing;
    BuildCameraMenu(nothing, info);
    EXPECT_TRUE(nothing.isEmpty());

    info.bZoomable = info.bHome = true;
    info.dwPresetMask = 1u << 1 | 1u << 9;
    info.presetNames[1] = "Gate && yard";
    BCMenu menu;
    menu.AppendMenu(0, 1, "first");
    BuildCameraMenu(menu, info);
    EXPECT_THAT(Entries(menu), ElementsAre("first", "-", "PTZ", "Preset"));
    EXPECT_THAT(Entries(*menu.actions()[2]->menu()), ElementsAre("Home", "Zoom in", "Zoom out"));
    const QMenu& presets = *menu.actions()[3]->menu();
    EXPECT_THAT(Entries(presets), ElementsAre("Gate && yard", "Preset 10"));
    EXPECT_EQ(presets.actions()[1]->data().toInt(), 1820);
}

TEST_F(CellMenuAlone, OffersWhatThePanelDoes) {
    EXPECT_THAT(Offered(), Not(Contains("Snapshot")));
    wall.controls.SetShown(kCtlSnapshot, true);
    wall.controls.SetShown(kCtlRecord, true);
    wall.controls.SetPressed(kCtlRecord, true);
    EXPECT_THAT(Offered(), testing::IsSupersetOf({"Snapshot", "Stop manual recording"}));
    QMenu* const menu = OpenMenu();
    ASSERT_NE(menu, nullptr);
    EXPECT_EQ(OpenMenu(), menu) << "one at a time";
    EXPECT_TRUE(kvtest::Choose(*menu, {"Snapshot"}));
    Pump();
    EXPECT_THAT(wall.commands.chosen, ElementsAre(kCtlSnapshot));
    // The end of a session takes it away; without a camera there is none.
    ASSERT_NE(OpenMenu(), nullptr);
    cellMenu.Close();
    Pump();
    EXPECT_EQ(QApplication::activePopupWidget(), nullptr);
    wall.cells.Activate(nullptr, PlaySound::No);
    EXPECT_EQ(OpenMenu(), nullptr);
    EXPECT_TRUE(cellMenu.OnCommand(kCmdDigitalZoomOn));
    EXPECT_FALSE(wall.Camera().IsDigitalZoom());
}

TEST_F(CellMenuAlone, ThePictureIsSetAndKept) {
    wall.Camera().SetRegFolder("Hall");
    ChannelPicture& picture = wall.Camera().Picture();
    Choose({"Picture", "Keep the aspect ratio"});
    EXPECT_EQ(picture.GetDisplayMode(), DisplayMode::KeepAspect);
    Choose({"Picture", "Smaller by halves"});
    EXPECT_EQ(picture.GetDisplayMode(), DisplayMode::PowerOfTwo);
    Choose({"Picture", "Deinterlace"});
    EXPECT_TRUE(picture.IsDeinterlace());
    Choose({"Picture", "Caption colour", "White"});
    EXPECT_EQ(picture.GetMainOsdColor(), 0x00FFFFFFu);
    Choose({"Picture", "Information lines", "View size"});
    EXPECT_TRUE(picture.IsLineShown(SubString::View));
    EXPECT_FALSE(picture.IsLineShown(SubString::Draw));
    for (const bool bShown : {true, false}) {
        Choose({"Picture", "Information lines", "All lines of all cameras"});
        EXPECT_EQ(picture.IsLineShown(SubString::Draw), bShown);
    }
    EXPECT_NE(wall.Camera(1).Picture().GetDisplayMode(), DisplayMode::PowerOfTwo);
    // For all cameras; what only some have all get.
    wall.Camera(1).SetRegFolder("Hall");
    Choose({"Picture of all cameras", "Deinterlace"});
    EXPECT_TRUE(picture.IsDeinterlace() && wall.Camera(1).Picture().IsDeinterlace());
    Choose({"Picture of all cameras", "Information lines", "All lines"});
    EXPECT_TRUE(wall.Camera(1).Picture().IsLineShown(SubString::Dropped));
    Choose({"Picture of all cameras", "Information lines", "All lines"});
    EXPECT_EQ(picture.GetShowSubStringMask() | wall.Camera(1).Picture().GetShowSubStringMask(), 0u);
    Choose({"Picture of all cameras", "Original size"});
    EXPECT_EQ(Registry().GetProfileInt("Hall\\Ch01", "DisplayMode", 99), 2u) << "kept at once";
    Choose({"Picture", "Smaller by halves"});
    EXPECT_EQ(wall.Camera(1).Picture().GetDisplayMode(), DisplayMode::OwnSize);
    wall.Camera().SaveCameraSettings();
    kvtest::LoneWall next{1};
    next.Camera().SetRegFolder("Hall");
    next.Camera().LoadCameraSettings();
    EXPECT_EQ(next.Camera().Picture().GetDisplayMode(), DisplayMode::PowerOfTwo);
    EXPECT_EQ(next.Camera().Picture().GetMainOsdColor(), 0x00FFFFFFu);
    EXPECT_TRUE(next.Camera().Picture().IsDeinterlace());
}
