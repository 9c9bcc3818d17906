#include <gmock/gmock.h>

#include "console/layout/view_geometry.h"
#include "console/panel/console_controls.h"
#include "console/settings/console_options.h"
#include "console/settings/fill_pattern.h"
#include "console/settings/multi_server_list.h"
#include "persist/orvo_registry.h"
#include "skin/background.h"
#include "support/temp_folder.h"

using namespace kvmon;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

class StoredLists : public testing::Test {
protected:
    StoredLists() {
        RegistryApp app;
        app.databasePath = folder.File("settings.db");
        registry.InitRegistry(false, app);
    }

    kvtest::TempFolder folder;
    COrvoRegistry registry;
};

const SavedServer kFirst{"Hall", "10.0.0.1", 80, "ann", "p", 4};
const SavedServer kSecond{"", "10.0.0.2", 8080, "bob", "q:q", 16};

}  // namespace

TEST_F(StoredLists, ServersComeBackUnderTheIdentityOfEach) {
    SaveServerList(registry, "Hall", {kFirst, kSecond});
    for (const SavedServer& server : {kFirst, kSecond}) {
        const auto loaded = LoadServerList(registry, ServerIdentity(server));
        ASSERT_THAT(loaded, SizeIs(2));
        EXPECT_EQ(loaded[1].name, "");
        EXPECT_EQ(loaded[1].address, kSecond.address);
        EXPECT_EQ(loaded[1].port, kSecond.port);
        EXPECT_EQ(loaded[1].password, kSecond.password);
        EXPECT_EQ(loaded[1].channelCount, 16u);
    }
    EXPECT_THAT(LoadServerList(registry, "ann@10.0.0.1:81"), IsEmpty());
}

TEST_F(StoredLists, OneServerIsNoList) {
    SaveServerList(registry, "Hall", {kFirst, kSecond});
    SaveServerList(registry, "Hall", {kFirst});
    EXPECT_THAT(LoadServerList(registry, ServerIdentity(kFirst)), IsEmpty());
    SaveServerList(registry, "", {kFirst, kSecond});
    EXPECT_THAT(LoadServerList(registry, ServerIdentity(kFirst)), IsEmpty());
}

TEST_F(StoredLists, EntriesThatCannotBeUsedAreLeftOut) {
    SaveServerList(registry, "Hall", {kFirst, kSecond, kFirst, kFirst});
    registry.WriteProfileString("MultiServer\\Hall\\00", "IPAddr", "");
    registry.WriteProfileString("MultiServer\\Hall\\02", "Username", "");
    registry.DeleteSection("MultiServer\\Hall\\03");
    registry.WriteProfileInt("MultiServer\\Hall", "Count", 4000000000u);
    const auto loaded = LoadServerList(registry, ServerIdentity(kFirst));
    ASSERT_THAT(loaded, SizeIs(1));
    EXPECT_EQ(loaded[0].address, kSecond.address);
}

TEST_F(StoredLists, NameOfARecorderIsNoPath) {
    EXPECT_EQ(KeyFromName("a\\b"), "a_b");
    SaveServerList(registry, KeyFromName("..\\x"), {kFirst, kSecond});
    EXPECT_THAT(LoadServerList(registry, ServerIdentity(kFirst)), SizeIs(2));
}

TEST_F(StoredLists, OptionsHaveDefaultsAndBounds) {
    ConsoleOptions options;
    options.Load(registry, "Hall");
    EXPECT_TRUE(options.bStopGetDataWhenViewInvisible && options.bShowNoConfig);
    EXPECT_TRUE(LoadSessionStart(registry, "Hall").maxViewMode);
    EXPECT_FALSE(options.bEventHighLight);
    registry.WriteProfileInt("Hall", "SequentialInterval", 0xFFFFFFFF);
    registry.WriteProfileInt("Hall", "MaxViewMode", 0);
    registry.WriteProfileString("Hall", "ShowNoConfig", "no number");
    options.Load(registry, "Hall");
    EXPECT_EQ(LoadSessionStart(registry, "Hall").sequentialMs, 3600000u);
    EXPECT_FALSE(LoadSessionStart(registry, "Hall").maxViewMode);
    EXPECT_TRUE(options.bShowNoConfig);
}

TEST(ConsoleControls, TableAndStates) {
    EXPECT_THAT(ControlTable(), SizeIs(37));
    ConsoleControls controls;
    std::vector<int> told;
    controls.SetListener([&](int id, const ConsoleControls::State&) { told.push_back(id); });
    controls.SetPressed(kCtlPip, true);
    controls.SetPressed(kCtlPip, true);
    controls.SetPressed(1613, true);  // has no row
    EXPECT_THAT(told, testing::ElementsAre(kCtlPip));
    EXPECT_TRUE(controls.IsPressed(kCtlPip));
    EXPECT_FALSE(controls.IsPressed(1613));
}

TEST(ConsoleControls, ViewStandsInTheSkinsWell) {
    for (const QSize size : {QSize(1000, 680), QSize(1600, 900)}) {
        const PixelRect view = ViewRectOfConsole(size.width(), size.height());
        const QRect well = SkinViewRect(size);
        EXPECT_EQ(QRect(view.left, view.top, view.Width(), view.Height()), well);
    }
}

TEST(FillPattern, TextIsNeverAFormat) {
    EXPECT_EQ(FillPattern("%s:%u (%s)", {"a", "80", "%s%n"}), "a:80 (%s%n)");
    EXPECT_EQ(FillPattern("%s %s 100% %n", {"a"}), "a  100% %n");
}
