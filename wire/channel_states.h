// What a recorder tells of a channel in the recording line: one hexadecimal digit a section, one bit a state.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace wire {

struct ChannelState {
    const char* name;     // as configurations and commands write it
    std::size_t section;  // 0 to 3, the first four sections behind the count
    std::uint8_t bit;
};

inline constexpr ChannelState kEvent = {"event", 0, 1};
inline constexpr ChannelState kRecord = {"record", 0, 4};    // the channel is being recorded
inline constexpr ChannelState kConnect = {"connect", 0, 8};  // the recorder reaches the camera
inline constexpr ChannelState kManual = {"manual", 1, 2};    // recorded because a user wants it
inline constexpr ChannelState kMotion = {"motion", 3, 1};
inline constexpr ChannelState kLoss = {"loss", 3, 2};  // the camera's picture is gone
inline constexpr ChannelState kInput = {"input", 3, 4};
inline constexpr ChannelState kAlarm = {"alarm", 3, 8};

inline constexpr std::array<ChannelState, 8> kChannelStates = {kEvent,  kRecord, kConnect, kManual,
                                                               kMotion, kLoss,   kInput,   kAlarm};

}  // namespace wire
