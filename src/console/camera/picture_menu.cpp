#include "console/camera/picture_menu.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

#include "channel/base/channel_globals.h"
#include "channel/camera/base_camera.h"
#include "persist/string_table.h"
#include "skin/bc_menu.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kStrPicture = 6830;
constexpr std::uint32_t kStrPictureOfAll = 7221;
constexpr std::uint32_t kStrLines = 6836;
constexpr std::uint32_t kStrColour = 6848;

constexpr struct {
    int command;  // numbered as its text
    DisplayMode mode;
} kModes[] = {{7220, DisplayMode::Natural},
              {6831, DisplayMode::Fill},
              {6832, DisplayMode::KeepAspect},
              {6833, DisplayMode::OwnSize},
              {6834, DisplayMode::PowerOfTwo}};

// Numbered as their texts.
constexpr int kCmdDeinterlace = 6835;
constexpr int kCmdAllLines = 6847;
constexpr int kCmdLinesOfCamera = 7222;
// These have numbers of their own, as some share their text with other things.
constexpr int kCmdFirstLine = 16900;
constexpr int kCmdFirstColour = 16920;
// On top of each of them: the same for all cameras.
constexpr int kForAll = 20000;

constexpr std::uint32_t kLineTexts[kSubStringCount] = {2603, 6837, 6838, 6839, 6840, 6841, 6842, 6843, 6844,
                                                       6845, 6846, 6835, 7223, 7224, 7225, 7226, 7721};
constexpr std::uint32_t kEveryLine = (1u << kSubStringCount) - 1;

constexpr struct {
    std::uint32_t text;
    std::uint32_t colour;  // red in the low byte
} kColours[] = {
    {6849, kDefaultOsdColor}, {6850, 0x00FFFFFF}, {6851, 0x003CE1FF}, {6852, 0x0078DC6E}, {6853, 0x00FFC878}};

unsigned Checked(bool bOn) {
    return bOn ? MF_CHECKED : 0;
}

bool IsWithin(int id, int first, int count) {
    return id >= first && id < first + count;
}

// What is so of all of them.
template <typename Test>
bool AllHave(PictureCameras cameras, const Test& test) {
    return !cameras.empty() && std::all_of(cameras.begin(), cameras.end(), [&test](const auto& camera) {
        return test(std::as_const(*camera).Picture());
    });
}

bool HasLines(const ChannelPicture& picture, std::uint32_t lines) {
    return (picture.GetShowSubStringMask() & lines) == lines;
}

void AppendLines(BCMenu& menu, PictureCameras cameras, int offset) {
    BCMenu* const lines = menu.AppendPopup(LoadString(kStrLines));
    for (int i = 0; i < kSubStringCount; ++i) {
        const bool bOn =
            AllHave(cameras, [i](const ChannelPicture& picture) { return HasLines(picture, 1u << i); });
        lines->AppendMenu(Checked(bOn), offset + kCmdFirstLine + i, LoadString(kLineTexts[i]));
    }
    lines->AppendMenu(MF_SEPARATOR, 0, {});
    const bool bEvery =
        AllHave(cameras, [](const ChannelPicture& picture) { return HasLines(picture, kEveryLine); });
    lines->AppendMenu(Checked(bEvery), offset + kCmdLinesOfCamera, LoadString(kCmdLinesOfCamera));
    if (offset == 0) {
        lines->AppendMenu(Checked(Globals().debugLines), kCmdAllLines, LoadString(kCmdAllLines));
    }
}

void AppendMenuFor(BCMenu& menu, PictureCameras cameras, std::uint32_t title, int offset) {
    BCMenu* const looks = menu.AppendPopup(LoadString(title));
    for (const auto& row : kModes) {
        const bool bOn = AllHave(
            cameras, [&row](const ChannelPicture& picture) { return picture.GetDisplayMode() == row.mode; });
        looks->AppendMenu(Checked(bOn), offset + row.command,
                          LoadString(static_cast<std::uint32_t>(row.command)));
    }
    looks->AppendMenu(MF_SEPARATOR, 0, {});
    const bool bDeinterlaced =
        AllHave(cameras, [](const ChannelPicture& picture) { return picture.IsDeinterlace(); });
    looks->AppendMenu(Checked(bDeinterlaced), offset + kCmdDeinterlace, LoadString(kCmdDeinterlace));
    BCMenu* const colours = looks->AppendPopup(LoadString(kStrColour));
    for (int i = 0; i < static_cast<int>(std::size(kColours)); ++i) {
        const bool bOn = AllHave(cameras, [i](const ChannelPicture& picture) {
            return picture.GetMainOsdColor() == kColours[i].colour;
        });
        colours->AppendMenu(Checked(bOn), offset + kCmdFirstColour + i, LoadString(kColours[i].text));
    }
    AppendLines(*looks, cameras, offset);
}

// All of them get it, unless all have it already.
void TurnLines(PictureCameras cameras, std::uint32_t lines) {
    const bool bOff =
        AllHave(cameras, [lines](const ChannelPicture& picture) { return HasLines(picture, lines); });
    for (const auto& camera : cameras) {
        ChannelPicture& picture = camera->Picture();
        const std::uint32_t mask = picture.GetShowSubStringMask();
        picture.SetShowSubStringMask(bOff ? mask & ~lines : mask | lines);
    }
}

bool Set(int id, PictureCameras cameras) {
    const auto* const mode = std::find_if(std::begin(kModes), std::end(kModes),
                                          [id](const auto& row) { return row.command == id; });
    if (mode != std::end(kModes)) {
        for (const auto& camera : cameras) {
            camera->Picture().SetDisplayMode(mode->mode);
        }
    } else if (id == kCmdDeinterlace) {
        const bool bOff =
            AllHave(cameras, [](const ChannelPicture& picture) { return picture.IsDeinterlace(); });
        for (const auto& camera : cameras) {
            camera->Picture().SetDeinterlace(!bOff);
        }
    } else if (id == kCmdLinesOfCamera) {
        TurnLines(cameras, kEveryLine);
    } else if (IsWithin(id, kCmdFirstLine, kSubStringCount)) {
        TurnLines(cameras, 1u << (id - kCmdFirstLine));
    } else if (IsWithin(id, kCmdFirstColour, static_cast<int>(std::size(kColours)))) {
        for (const auto& camera : cameras) {
            camera->Picture().SetMainOsdColor(kColours[id - kCmdFirstColour].colour);
        }
    } else {
        return false;
    }
    for (const auto& camera : cameras) {
        camera->SaveCameraSettings();
    }
    return true;
}

}  // namespace

void AppendPictureMenus(BCMenu& menu, PictureCameras one, PictureCameras all) {
    AppendMenuFor(menu, one, kStrPicture, 0);
    AppendMenuFor(menu, all, kStrPictureOfAll, kForAll);
}

bool OnPictureCommand(int id, PictureCameras one, PictureCameras all) {
    if (id == kCmdAllLines) {
        Globals().debugLines = !Globals().debugLines;
        return true;
    }
    return Set(id, one) || Set(id - kForAll, all);
}

}  // namespace kvmon
