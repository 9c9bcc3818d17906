// The states that a recorder tells of a channel, as the cell shows them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace kvmon {

// In the order of the cell's icons.
enum class StatusFlag : std::size_t {
    Connected,  // the recorder reaches the camera
    Recording,
    Event,
    Motion,
    SignalLoss,
    Input,
    Alarm,
};
inline constexpr std::size_t kStatusFlagCount = 7;
using StatusFlags = std::array<std::uint32_t, kStatusFlagCount>;

constexpr bool Has(const StatusFlags& flags, StatusFlag flag) {
    return flags[static_cast<std::size_t>(flag)] != 0;
}

// Whether the rise of this state starts the event highlight.
constexpr bool StartsHighlight(StatusFlag flag) {
    return flag >= StatusFlag::Event;
}

// The kind of a highlight by its state: 0, and 2 to 5.
constexpr int EventKindOf(StatusFlag flag) {
    return flag == StatusFlag::Event ? 0 : static_cast<int>(flag) - 1;
}

constexpr std::optional<StatusFlag> FlagOfEventKind(int kind) {
    for (std::size_t i = static_cast<std::size_t>(StatusFlag::Event); i < kStatusFlagCount; ++i) {
        if (EventKindOf(static_cast<StatusFlag>(i)) == kind) {
            return static_cast<StatusFlag>(i);
        }
    }
    return std::nullopt;
}

}  // namespace kvmon
