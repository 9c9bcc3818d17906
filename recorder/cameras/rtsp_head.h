// The heads of what a camera writes by RTSP, and where each piece of it begins and ends.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kvrecorder {

// The head of a reply, or of a request that a camera makes.
struct RtspHead {
    int status = 0;  // 0: no reply
    // Values may stand in a line of ours: nothing in them would end it.
    std::vector<std::pair<std::string, std::string>> fields;

    // Empty: there is none. Names are the same in any case of letters.
    std::string_view Field(std::string_view name) const;
    // Of the request that it answers; -1: it is not told.
    int Sequence() const;
    // Of what follows; nothing where no number is told that can be.
    std::optional<std::size_t> BodySize() const;
};
// Of all up to the empty line. Nothing for what is no head.
std::optional<RtspHead> ReadRtspHead(std::string_view text);

// "a" of "a; b=1-2", and the number behind the name of a part.
std::string FirstPart(std::string_view field);
std::optional<int> NumberOfPart(std::string_view field, std::string_view name);

// Of what a camera sends within its connection.
struct RtspItem {
    bool isPacket = false;
    int channel = 0;                      // of the packet
    std::span<const std::uint8_t> bytes;  // of the packet, or what follows a head; within what was looked at
    RtspHead head;                        // of a reply, or a request of the camera's
    std::size_t size = 0;                 // of all of it
};

inline constexpr std::size_t kMostRtspHead = 16 << 10;
inline constexpr std::size_t kMostRtspBody = 64 << 10;

// How many of the bytes begin nothing: some cameras send a line's end too much, and of what is damaged a
// beginning is looked for. Packets are those of channels below the told one.
std::size_t SkipToRtspItem(std::span<const std::uint8_t> bytes, int channels);
// What the bytes begin with; nothing as long as it has not come whole. Throws CameraError for what is no
// RTSP.
std::optional<RtspItem> ReadRtspItem(std::span<const std::uint8_t> bytes);

}  // namespace kvrecorder
