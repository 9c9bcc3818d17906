#include "console/console_options.h"

#include <algorithm>

#include "channel/channel_globals.h"
#include "console/snapshot_name.h"
#include "persist/orvo_registry.h"

namespace kvmon {

void ConsoleOptions::Load(const COrvoRegistry& registry, std::string_view key) {
    const auto flag = [&](std::string_view section, std::string_view entry, bool value) {
        return registry.GetProfileInt(section, entry, value ? 1 : 0) != 0;
    };
    const ConsoleOptions defaults;
    bStopGetDataWhenViewInvisible =
        flag({}, "StopGetDataWhenViewInvisible", defaults.bStopGetDataWhenViewInvisible);
    nShowViewTypeInSequentialMode =
        registry.GetProfileInt({}, "ShowViewTypeInSequentialMode", defaults.nShowViewTypeInSequentialMode);
    dwSequentialInterval = std::clamp<std::uint32_t>(
        registry.GetProfileInt(key, "SequentialInterval", defaults.dwSequentialInterval), 3000, 3600000);
    bEventHighLight = flag(key, "EventHighLight", defaults.bEventHighLight);
    bShowNoMonitoringRight = flag(key, "ShowNoMonitoringRight", defaults.bShowNoMonitoringRight);
    bShowNoConfig = flag(key, "ShowNoConfig", defaults.bShowNoConfig);
    bStreamFromCamera = flag(key, "StreamFromCamera", defaults.bStreamFromCamera);
    bSaveProcessImage = flag(key, "SaveProcessImage", defaults.bSaveProcessImage);
    bMaxViewMode = flag(key, "MaxViewMode", defaults.bMaxViewMode);
    bEnableAudio = flag(key, "EnableAudio", defaults.bEnableAudio);
    // The stored tree spells these two so.
    bManualInputSnapshotFilename =
        flag(key, "ManualInputSnapeshotFilename", defaults.bManualInputSnapshotFilename);
    strSnapshotFolder = registry.GetProfileString(key, "SanpshotFolder", DefaultSnapshotFolder());
    bSaveSnapshotAsJpeg = flag(key, "SaveSnapshotAsJpeg", defaults.bSaveSnapshotAsJpeg);
    bShowSnapshotTimeStamp = flag(key, "ShowSnapshotTimeStamp", defaults.bShowSnapshotTimeStamp);

    Globals().streamFromCamera = bStreamFromCamera;
    Globals().saveProcessImage = bSaveProcessImage;
}

}  // namespace kvmon
