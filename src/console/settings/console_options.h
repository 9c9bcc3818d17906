// The options of the console, and what a session begins with, as they are stored.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "skin/look_keeper.h"

namespace kvmon {

class COrvoRegistry;

struct ConsoleOptions {
    // Of the whole program.
    bool bStopGetDataWhenViewInvisible = true;
    std::uint32_t nShowViewTypeInSequentialMode = 1;
    bool bKeepUnseen = true;                // what nobody sees is kept undecoded
    bool bPacePictures = true;              // each takes the screen at its time
    bool bScaleOnDevice = true;             // what a device decodes is made as small there as its cell
    bool bFewerInSmallCells = false;        // there pictures that no other needs are left out
    LookChoice look = LookChoice::Desktop;  // as the host has it, which stored or was told it
    // Of the key named after the first server.
    bool bEventHighLight = false;
    bool bShowNoMonitoringRight = true;
    bool bShowNoConfig = true;
    bool bShowRecorderName = false;  // in the captions, when there are several recorders
    bool bStreamFromCamera = true;
    bool bSaveProcessImage = false;
    bool bManualInputSnapshotFilename = false;
    bool bSaveSnapshotAsJpeg = true;
    bool bShowSnapshotTimeStamp = false;
    std::string strSnapshotFolder;
    bool bEnableEventNotify = false;
    bool bShowBrowserToolbar = true;

    friend bool operator==(const ConsoleOptions&, const ConsoleOptions&) = default;

    // Reads all of them, and hands those that all channels share to the channels.
    void Load(const COrvoRegistry& registry, std::string_view key);
    void HandToChannels() const;
};

// The look of the program.
LookChoice LoadLook(const COrvoRegistry& registry);
void StoreLook(COrvoRegistry& registry, LookChoice look);

// What a session begins with. Its subjects change these and store them; here they are read alone.
struct SessionStart {
    std::uint32_t sequentialMs = 5000;  // 3000 to 3600000
    bool maxViewMode = true;
    bool audio = true;
};

SessionStart LoadSessionStart(const COrvoRegistry& registry, std::string_view key);

// Stores what the settings dialog can change, as far as it differs from `old`.
void StoreChangedOptions(COrvoRegistry& registry, std::string_view key, const ConsoleOptions& old,
                         const ConsoleOptions& wanted);

}  // namespace kvmon
