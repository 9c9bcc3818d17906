// The step at which a query failed, by query. The numbers stand in the trace and, for the authorization
// failure, decide what the worker does.
#pragma once

#include <cstdint>

namespace kvmon {

enum class ConcInfoError : std::uint32_t {
    None = 0,
    Create = 1,
    Connect = 2,
    Send = 3,
    StatusLine = 4,
    NotFound = 5,
    BadStatus = 6,
    ServerName = 7,
    VersionRead = 9,
    VersionKey = 10,
    BuildRead = 11,
    BuildKey = 12,
    ChannelNumberRead = 13,
    ChannelNumberKey = 14,
    StartMarkerRead = 15,
    StartMarker = 16,
    RecordCount = 17,
    Unauthorized = 18,
    RequestTooLong = 19,
};

enum class DiskInfoError : std::uint32_t {
    None = 0,
    Create = 1,
    Connect = 2,
    Send = 3,
    StatusLine = 4,
    RecordingLine = 6,
    ChannelCount = 7,
    SectionA = 8,
    SectionB = 9,
    SectionC = 10,
    SectionD = 11,
    SectionE = 12,
    RequestTooLong = 13,
};

enum class ExtInfoError : std::uint32_t {
    None = 0,
    Create = 1,
    Connect = 2,
    Send = 3,
    StatusLine = 4,
    BadStatus = 5,
    FirstLine = 6,
    SecondLine = 7,
    ThirdLine = 8,
    StartMarker = 9,
    ChannelRead = 10,
    RequestTooLong = 11,
    EndMarkerEarly = 12,
    EndMarker = 13,
    EndRead = 14,
    ScrambledLine = 15,
};

// What the step was, for the trace.
const char* ErrorText(ConcInfoError error);
const char* ErrorText(DiskInfoError error);
const char* ErrorText(ExtInfoError error);

}  // namespace kvmon
