#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <ctime>

#include "media/media_hub.h"
#include "media/scene_renderer.h"
#include "media/utf8.h"

using namespace kvrecorder;

namespace {

using Pixels = std::vector<std::uint32_t>;

constexpr int kWidth = 320;

Pixels Draw(SceneRenderer& renderer, int height, const SceneMoment& moment) {
    const PixelView view = renderer.Draw(kWidth, height, moment);
    Pixels out;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            std::uint32_t pixel = 0;
            std::memcpy(&pixel, view.pixels + y * view.stride + x * 4, 4);
            out.push_back(pixel & 0xFFFFFF);
        }
    }
    return out;
}

// Pixels that differ in the rows from `top` to `bottom`.
int Changed(const Pixels& a, const Pixels& b, int top, int bottom) {
    int changed = 0;
    for (int i = top * kWidth; i < bottom * kWidth; ++i) {
        changed += a[static_cast<std::size_t>(i)] != b[static_cast<std::size_t>(i)] ? 1 : 0;
    }
    return changed;
}

SceneMoment MomentAt(double seconds) {
    SceneMoment moment;
    moment.seconds = seconds;
    moment.wall = std::chrono::system_clock::time_point(std::chrono::hours(480'000));
    moment.name = "Gate";
    return moment;
}

}  // namespace

TEST(MediaScene, SomethingMovesAtAnyTimeInEveryScene) {
    for (const Scene& scene : Scenes()) {
        for (const int height : {240, 180}) {
            SceneRenderer renderer(scene, 0);
            const int strip = StripHeight(height);
            for (double seconds = 0; seconds < 60; seconds += 2.9) {
                const auto before = Draw(renderer, height, MomentAt(seconds));
                const auto after = Draw(renderer, height, MomentAt(seconds + 0.4));
                EXPECT_GT(Changed(before, after, strip, height - strip), 60)
                    << scene.name << " at " << seconds << " in " << height << " rows";
            }
        }
    }
}

TEST(MediaScene, ScenesAreToldApartAtAGlance) {
    std::vector<Pixels> pictures;
    for (const Scene& scene : Scenes()) {
        SceneRenderer renderer(scene, 0);
        pictures.push_back(Draw(renderer, 240, MomentAt(5)));
    }
    ASSERT_GE(pictures.size(), 8u);
    for (std::size_t i = 0; i < pictures.size(); ++i) {
        for (std::size_t j = 0; j < i; ++j) {
            EXPECT_GT(Changed(pictures[i], pictures[j], 0, 240), kWidth * 240 * 7 / 10) << i << " " << j;
        }
    }
    // Channels with the same scene show different moments of it.
    SceneRenderer first(Scenes()[0], 0);
    SceneRenderer again(Scenes()[0], 10);
    EXPECT_GT(Changed(Draw(first, 240, MomentAt(5)), Draw(again, 240, MomentAt(5)), 30, 210), 500);
}

TEST(MediaScene, StripsShowNameNumberAndTenths) {
    SceneRenderer renderer(Scenes()[5], 4);
    const int strip = StripHeight(240);
    SceneMoment moment = MomentAt(3);
    const auto before = Draw(renderer, 240, moment);
    moment.wall += std::chrono::milliseconds(99);
    EXPECT_EQ(Changed(before, Draw(renderer, 240, moment), 0, 240), 0);
    moment.wall += std::chrono::milliseconds(1);
    const auto tenth = Draw(renderer, 240, moment);
    EXPECT_GT(Changed(before, tenth, 240 - strip, 240), 5);
    EXPECT_EQ(Changed(before, tenth, 0, 240 - strip), 0);
    moment.name = "Yard";
    const auto renamed = Draw(renderer, 240, moment);
    EXPECT_GT(Changed(tenth, renamed, 0, strip), 50);
    EXPECT_EQ(Changed(tenth, renamed, strip, 240), 0);
    SceneRenderer other(Scenes()[5], 5);
    EXPECT_GT(Changed(renamed, Draw(other, 240, moment), 0, strip), 20);
}

TEST(MediaScene, AHostileNameSpoilsNothingElse) {
    SceneRenderer renderer(Scenes()[0], 0);
    const int strip = StripHeight(240);
    const auto plain = Draw(renderer, 240, MomentAt(3));
    for (const std::string& name : {std::string("\xFF\xFE\x80 %s%n", 8), std::string(5000, 'W'),
                                    std::string("a\0b", 3), std::string()}) {
        SceneMoment moment = MomentAt(3);
        moment.name = name;
        const auto picture = Draw(renderer, 240, moment);
        EXPECT_EQ(Changed(plain, picture, strip, 240), 0);
        EXPECT_GT(Changed(plain, picture, 0, strip), 20);
    }
}

TEST(MediaScene, AViewShowsAnotherPartOfTheWorld) {
    for (const Scene& scene : Scenes()) {
        SceneRenderer renderer(scene, 0);
        const auto home = Draw(renderer, 240, MomentAt(3));
        SceneMoment moment = MomentAt(3);
        moment.view = {800, 800, 1};
        const auto left = Draw(renderer, 240, moment);
        EXPECT_GT(Changed(home, left, 30, 210), 2000) << scene.name;
        moment.view = {1600, 800, 4};
        EXPECT_GT(Changed(home, Draw(renderer, 240, moment), 30, 210), 2000) << scene.name;
        // Home again is the same picture as before.
        EXPECT_EQ(Changed(home, Draw(renderer, 240, MomentAt(3)), 0, 240), 0) << scene.name;
    }
}

TEST(MediaScene, OnlyWellFormedTextIsDrawn) {
    struct Case {
        std::string in, out;
    };
    for (const Case& c :
         {Case{"Tor 3 \xC3\xBC", "Tor 3 \xC3\xBC"}, Case{"\xE9\x96\x80", "\xE9\x96\x80"},
          Case{"\xF0\x9F\x9A\xA2", "\xF0\x9F\x9A\xA2"}, Case{"\xC3", "?"}, Case{"\xC0\xAF", "??"},
          Case{"\xED\xA0\x80", "???"}, Case{"\xF5\x80\x80\x80", "????"}, Case{"a\nb\x7F", "a?b?"},
          Case{"\xE9\x96", "??"}, Case{"\xC2\x85", "?"}, Case{"a\xE2\x80\xAE\xD8\x9C\xE2\x81\xA6", "a???"},
          Case{"123456789", "12345678"}}) {
        EXPECT_EQ(PrintableUtf8(c.in, 8), c.out);
    }
    std::string text = "a\xE9\x96\x80";
    DropLastCharacter(text);
    EXPECT_EQ(text, "a");
}
