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
constexpr std::uint32_t kStrLines = 6836;
constexpr std::uint32_t kStrColour = 6848;

// Commands numbered as their texts: the display modes in the order of their codes, and two switches.
constexpr int kCmdFirstMode = 6831;
constexpr int kModes = 4;
constexpr int kCmdDeinterlace = 6835;
constexpr int kCmdAllLines = 6847;
// These have numbers of their own, as some share their text with other things.
constexpr int kCmdFirstLine = 16900;
constexpr int kCmdFirstColour = 16920;

constexpr std::uint32_t kLineTexts[kSubStringCount] = {2603, 6837, 6838, 6839, 6840, 6841,
                                                       6842, 6843, 6844, 6845, 6846, 6835};

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

}  // namespace

void AppendPictureMenu(BCMenu& menu, const CBaseCamera& camera) {
    const ChannelPicture& picture = camera.Picture();
    BCMenu* const looks = menu.AppendPopup(LoadString(kStrPicture));
    for (int i = 0; i < kModes; ++i) {
        looks->AppendMenu(Checked(static_cast<int>(picture.GetDisplayMode()) == i), kCmdFirstMode + i,
                          LoadString(static_cast<std::uint32_t>(kCmdFirstMode + i)));
    }
    looks->AppendMenu(MF_SEPARATOR, 0, {});
    looks->AppendMenu(Checked(picture.IsDeinterlace()), kCmdDeinterlace, LoadString(kCmdDeinterlace));
    BCMenu* const colours = looks->AppendPopup(LoadString(kStrColour));
    for (int i = 0; i < static_cast<int>(std::size(kColours)); ++i) {
        colours->AppendMenu(Checked(picture.GetMainOsdColor() == kColours[i].colour), kCmdFirstColour + i,
                            LoadString(kColours[i].text));
    }
    BCMenu* const lines = looks->AppendPopup(LoadString(kStrLines));
    const std::uint32_t mask = picture.GetShowSubStringMask();
    for (int i = 0; i < kSubStringCount; ++i) {
        lines->AppendMenu(Checked((mask >> i & 1) != 0), kCmdFirstLine + i, LoadString(kLineTexts[i]));
    }
    lines->AppendMenu(MF_SEPARATOR, 0, {});
    lines->AppendMenu(Checked(Globals().debugLines), kCmdAllLines, LoadString(kCmdAllLines));
}

bool OnPictureCommand(int id, CBaseCamera& camera) {
    ChannelPicture& picture = camera.Picture();
    if (IsWithin(id, kCmdFirstMode, kModes)) {
        picture.SetDisplayMode(static_cast<DisplayMode>(id - kCmdFirstMode));
    } else if (id == kCmdDeinterlace) {
        picture.SetDeinterlace(!picture.IsDeinterlace());
    } else if (id == kCmdAllLines) {
        Globals().debugLines = !Globals().debugLines;
    } else if (IsWithin(id, kCmdFirstLine, kSubStringCount)) {
        picture.SetShowSubStringMask(picture.GetShowSubStringMask() ^ 1u << (id - kCmdFirstLine));
    } else if (IsWithin(id, kCmdFirstColour, static_cast<int>(std::size(kColours)))) {
        picture.SetMainOsdColor(kColours[id - kCmdFirstColour].colour);
    } else {
        return false;
    }
    return true;
}

}  // namespace kvmon
