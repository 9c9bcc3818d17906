#include "console/settings/console_options.h"

#include <algorithm>

#include "channel/base/channel_globals.h"
#include "console/settings/snapshot_name.h"
#include "persist/orvo_registry.h"

namespace kvmon {

namespace {

struct FlagRow {
    const char* entry;
    bool ConsoleOptions::*flag;
};

// The flags of the settings dialog, in the order in which they are stored. The tree spells one of them so.
constexpr FlagRow kDialogFlags[] = {
    {"EventHighLight", &ConsoleOptions::bEventHighLight},
    {"ShowNoMonitoringRight", &ConsoleOptions::bShowNoMonitoringRight},
    {"ShowNoConfig", &ConsoleOptions::bShowNoConfig},
    {"ShowRecorderName", &ConsoleOptions::bShowRecorderName},
    {"ManualInputSnapeshotFilename", &ConsoleOptions::bManualInputSnapshotFilename},
    {"SaveSnapshotAsJpeg", &ConsoleOptions::bSaveSnapshotAsJpeg},
    {"ShowSnapshotTimeStamp", &ConsoleOptions::bShowSnapshotTimeStamp},
    {"EnableEventNotify", &ConsoleOptions::bEnableEventNotify},
    {"ShowBrowserToolbar", &ConsoleOptions::bShowBrowserToolbar},
    {"StreamFromCamera", &ConsoleOptions::bStreamFromCamera},
    {"SaveProcessImage", &ConsoleOptions::bSaveProcessImage},
};

constexpr std::string_view kLook = "Look";
constexpr std::string_view kSnapshotFolder = "SanpshotFolder";  // the stored tree spells it so

bool LoadFlag(const COrvoRegistry& registry, std::string_view section, std::string_view entry, bool value) {
    return registry.GetProfileInt(section, entry, value ? 1 : 0) != 0;
}

}  // namespace

void ConsoleOptions::Load(const COrvoRegistry& registry, std::string_view key) {
    const ConsoleOptions defaults;
    bStopGetDataWhenViewInvisible =
        LoadFlag(registry, {}, "StopGetDataWhenViewInvisible", defaults.bStopGetDataWhenViewInvisible);
    bKeepUnseen = LoadFlag(registry, {}, "KeepUnseen", defaults.bKeepUnseen);
    bPacePictures = LoadFlag(registry, {}, "PacePictures", defaults.bPacePictures);
    bFewerInSmallCells = LoadFlag(registry, {}, "FewerInSmallCells", defaults.bFewerInSmallCells);
    bScaleOnDevice = LoadFlag(registry, {}, "ScaleOnDevice", defaults.bScaleOnDevice);
    nShowViewTypeInSequentialMode =
        registry.GetProfileInt({}, "ShowViewTypeInSequentialMode", defaults.nShowViewTypeInSequentialMode);
    for (const FlagRow& row : kDialogFlags) {
        this->*row.flag = LoadFlag(registry, key, row.entry, defaults.*row.flag);
    }
    strSnapshotFolder = registry.GetProfileString(key, kSnapshotFolder, {});
    if (strSnapshotFolder.empty()) {
        strSnapshotFolder = DefaultSnapshotFolder();
    }
    HandToChannels();
}

void ConsoleOptions::HandToChannels() const {
    Globals().streamFromCamera = bStreamFromCamera;
    Globals().saveProcessImage = bSaveProcessImage;
    Globals().keepUnseen = bKeepUnseen;
    Globals().pacesPictures = bPacePictures;
    Globals().fewerInSmallCells = bFewerInSmallCells;
    Globals().scalesOnDevice = bScaleOnDevice;
}

LookChoice LoadLook(const COrvoRegistry& registry) {
    return LookChoiceOf(registry.GetProfileInt({}, kLook, 0));
}

void StoreLook(COrvoRegistry& registry, LookChoice look) {
    registry.WriteProfileInt({}, kLook, static_cast<std::uint32_t>(look));
}

SessionStart LoadSessionStart(const COrvoRegistry& registry, std::string_view key) {
    SessionStart start;
    start.sequentialMs = std::clamp<std::uint32_t>(
        registry.GetProfileInt(key, "SequentialInterval", start.sequentialMs), 3000, 3600000);
    start.maxViewMode = LoadFlag(registry, key, "MaxViewMode", start.maxViewMode);
    start.audio = LoadFlag(registry, key, "EnableAudio", start.audio);
    return start;
}

void StoreChangedOptions(COrvoRegistry& registry, std::string_view key, const ConsoleOptions& old,
                         const ConsoleOptions& wanted) {
    const COrvoRegistry::Batch together(registry);
    for (const FlagRow& row : kDialogFlags) {
        if (old.*row.flag != wanted.*row.flag) {
            registry.WriteProfileInt(key, row.entry, wanted.*row.flag ? 1 : 0);
        }
    }
    if (old.strSnapshotFolder != wanted.strSnapshotFolder) {
        registry.WriteProfileString(key, kSnapshotFolder, wanted.strSnapshotFolder);
    }
    if (old.look != wanted.look) {
        StoreLook(registry, wanted.look);
    }
}

}  // namespace kvmon
