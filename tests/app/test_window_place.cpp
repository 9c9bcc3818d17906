#include "app/window_place.h"

#include <gtest/gtest.h>

#include "persist/orvo_registry.h"
#include "support/temp_folder.h"

namespace kvmon {
namespace {

constexpr QSize kSmallest(1000, 680);

TEST(WindowPlaceTest, ReturnsOnlyToADisplayThatIsThere) {
    const QRect left(-1280, 0, 1280, 1024);
    const QRect right(0, 0, 1920, 1080);
    const QRect was(-1200, 50, 1100, 700);
    EXPECT_EQ(FitToDisplays(was, {right, left}, kSmallest), was);
    EXPECT_FALSE(FitToDisplays(was, {right}, kSmallest));
    EXPECT_FALSE(FitToDisplays(was, {}, kSmallest));
    // A strip at the edge is no place; half a window comes back whole.
    EXPECT_FALSE(FitToDisplays(QRect(1900, 100, 1000, 680), {right}, kSmallest));
    EXPECT_EQ(FitToDisplays(QRect(1500, 900, 1000, 680), {right}, kSmallest), QRect(920, 400, 1000, 680));
    // Larger than the display, and a display that is too small.
    EXPECT_EQ(FitToDisplays(QRect(10, 10, 4000, 3000), {right}, kSmallest), right);
    EXPECT_EQ(FitToDisplays(QRect(10, 10, 1000, 680), {QRect(0, 0, 800, 600)}, kSmallest),
              QRect(0, 0, 1000, 680));
}

TEST(WindowPlaceTest, WhatIsStoredIsReadBackAndCheckedFirst) {
    const kvtest::TempFolder folder;
    RegistryApp app;
    app.databasePath = folder.File("settings.db");
    Registry().InitRegistry(false, app);
    EXPECT_FALSE(LoadWindowPlace());
    SaveWindowPlace({QRect(-1200, 40, 1100, 700), true});
    const auto place = LoadWindowPlace();
    ASSERT_TRUE(place);
    EXPECT_EQ(place->rect, QRect(-1200, 40, 1100, 700));
    EXPECT_TRUE(place->bMaximised);
    for (const char* const entry : {"Left", "Top", "Width", "Height"}) {
        for (const std::uint32_t number : {0x7FFFFFFFu, 0x80000000u}) {
            SaveWindowPlace({QRect(0, 0, 1100, 700), false});
            Registry().WriteProfileInt("Window", entry, number);
            EXPECT_FALSE(LoadWindowPlace()) << entry << number;
        }
    }
}

}  // namespace
}  // namespace kvmon
