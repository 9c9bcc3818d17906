// What came of a command, as the cell is told.
#pragma once

#include <cstdint>

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
    ReadFailed = 3,  // of the status line
    BadStatus = 4,   // with the status
    LastLineFailed = 5,
    NotOk = 6,
    Done = 7,
    CreateFailed = 8,
    SendFailed = 9,
};

}  // namespace kvmon
