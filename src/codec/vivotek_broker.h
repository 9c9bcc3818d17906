// Where the thread of the maker's library hands its packets over. Inside this folder only.
#pragma once

#include <array>
#include <cstring>
#include <memory>
#include <mutex>
#include <span>
#include <vector>

#include "codec/vivotek_library.h"
#include "platform/event.h"

namespace kvmon {

// A record with room behind it: a library newer than its description may know of a longer one.
template <typename Record>
struct Roomy {
    Roomy() { std::memset(static_cast<void*>(this), 0, sizeof *this); }  // its padding, too

    Record told;
    std::array<std::uint8_t, 256> further;
};

// A decoder channel with what it decodes into. The library's thread may come back long after a decoder that
// gave up waiting: it holds on to this by shared ownership, and finds it by a number that means nothing any
// more once the decoder is closed.
struct VivotekChannel {
    explicit VivotekChannel(const VivotekLibrary& calls) : library(calls) {}

    // The bytes of a picture that was decoded into `output`; below 0 if the library refused. Under cs.
    std::int32_t Decode(VivotekPacket& packet, std::span<std::uint8_t> output);

    const VivotekLibrary& library;
    Event answered;
    std::mutex cs;
    // Guarded by cs.
    void* hChannel = nullptr;  // null when closed
    std::vector<std::uint8_t> work;
    std::size_t capacity = 0;  // how much of the work buffer the next picture may take
    std::int32_t outputLength = 0;
};

constexpr bool IsVivotekVideo(std::uint32_t mediaType) {
    return mediaType == 1 || mediaType == 2 || mediaType == 4;
}

// Makes the channel known to the callbacks. Gives the context that stands for it.
void* AddVivotekContext(std::shared_ptr<VivotekChannel> channel);
// From here on the callbacks know nothing of it; one that is under way may still be.
void RemoveVivotekContext(void* context);

// What the library calls, on a thread of its own or within a call of ours.
std::int32_t OnBrokerStatus(void* context, std::uint32_t status);
std::int32_t OnBrokerPacket(void* context, VivotekPacket* packet);

}  // namespace kvmon
