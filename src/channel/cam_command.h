// What the command thread does with a command. Inside this folder and its tests only.
#pragma once

#include <cstdint>

#include "channel/channel_core.h"

namespace kvmon {

// Results in message 11411.
enum class PtzResult : std::uint32_t {
    ConnectFailed = 1,
    BadStatus = 2,
    Done = 3,  // with the end-stop code
    ReadFailed = 5,
    CreateFailed = 8,
    SendFailed = 9,
    UnknownZoomCommand = 12,
};

// Results in message 11412.
enum class InfoResult : std::uint32_t {
    None = 0,
    ConnectFailed = 1,
    CreateFailed = 4,
    SendFailed = 5,
    Changed = 6,
    Same = 7,
    ReadFailed = 8,
    BadStatus = 9,  // with the status
    RequestTooLong = 12,
};

// Results in message 11406.
enum class RecordingResult : std::uint32_t {
    ConnectFailed = 1,
    StatusLineFailed = 3,
    BadStatus = 4,  // with the status
    LastLineFailed = 5,
    NotOk = 6,
    Done = 7,
    CreateFailed = 8,
    SendFailed = 9,
};

// Carries a command out and posts the outcome to the cell. Leaves early when the abort flag is set.
void ExecuteCamCmd(ChannelCore& core, const CamCmd& command, ThreadControl& control);

// Reads what the camera can do. A change is believed when two reads in a row tell of one; five failed rounds
// leave all as it was, and some failures are tried again for ever. The commands that come meanwhile are
// carried out between two rounds.
void GetCameraInfoFromKelvara(ChannelCore& core, ThreadControl& control);

// Reads how the recorder takes presets, once; a failure leaves what was known.
void GetPresetCapacityFromKelvara(ChannelCore& core, const FlagWord& bAbort);

}  // namespace kvmon
