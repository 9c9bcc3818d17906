// The calls that the maker's three libraries for Vivotek cameras offer, and the records that they share with
// us.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace kvmon {

// The records are told for libraries of 32 bits, where every field here stands at its told byte. Elsewhere a
// pointer is as wide as the machine's and aligned to itself, and what follows it moves; the order and all
// other widths stay. docs/makers_libraries.md has both tables.
template <typename Pointer>
struct VivotekPacketOf {
    Pointer data;
    std::uint32_t headerLength;
    std::uint32_t payloadLength;
    std::uint32_t mediaType;
    std::uint32_t keyFlag;
    std::uint32_t unknown;
    std::uint32_t codec;
    std::uint32_t zero[2];  // one value of 64 bits
    std::uint32_t samplesPerSecond;
    std::uint8_t channels;
    std::uint8_t unknown2[63];
    std::uint32_t furtherFlag;
    std::uint32_t unknown3[2];
};

template <typename Pointer>
struct VivotekVideoOutputOf {
    std::uint32_t unknown[2];
    std::uint32_t capacity;
    std::uint32_t unknown2;
    Pointer buffer;
    std::uint32_t unknown3[30];
};

template <typename Pointer>
struct VivotekAudioOutputOf {
    std::uint32_t unknown;
    std::uint32_t capacity;
    Pointer buffer;
    std::uint32_t unknown2[31];
};

template <typename Pointer>
struct VivotekInputOptionsOf {
    Pointer statusCallback;
    Pointer packetCallback;
    Pointer statusContext;
    Pointer packetContext;
    Pointer modelName;
    std::uint32_t zero;
    std::uint32_t count;
    std::uint32_t zero2;
    Pointer furtherName;
};

struct VivotekDecoderOptions {
    std::uint32_t zero[2];
    std::uint32_t outputFormat;
    std::uint32_t zero2;
};

using VivotekPacket = VivotekPacketOf<const std::uint8_t*>;
using VivotekVideoOutput = VivotekVideoOutputOf<std::uint8_t*>;
using VivotekAudioOutput = VivotekAudioOutputOf<std::uint8_t*>;
using VivotekInputOptions = VivotekInputOptionsOf<const void*>;

using VivotekStatusCallback = std::int32_t (*)(void* context, std::uint32_t status);
using VivotekPacketCallback = std::int32_t (*)(void* context, VivotekPacket* packet);

// A result with the top bit set is a failure. A number of unknown width goes as wide as a pointer, which a
// library that takes fewer bits of it does not mind.
struct VivotekLibrary {
    using Number = std::uintptr_t;

    // AVSynchronizer
    std::int32_t (*AvSynchronizer_InitialEx)(void** handle, Number, Number, Number, Number, Number, Number,
                                             Number, Number);
    std::int32_t (*AvSynchronizer_CreateDecoderChannel)(void* handle, void** channel,
                                                        const VivotekDecoderOptions* options);
    std::int32_t (*AvSynchronizer_DecodeVideo)(void* channel, VivotekPacket* packet,
                                               VivotekVideoOutput* output, std::int32_t* length);
    std::int32_t (*AvSynchronizer_DecodeAudio)(void* channel, VivotekPacket* packet,
                                               VivotekAudioOutput* output, std::int32_t* length);
    std::int32_t (*AvSynchronizer_DeleteDecoderChannel)(void* handle, void** channel);
    std::int32_t (*AvSynchronizer_Release)(void** handle);

    // DataBroker
    std::int32_t (*DataBroker_Initial)(void** handle, Number, Number, Number, Number, Number, Number);
    std::int32_t (*DataBroker_CreateInputEx)(void* handle, void** input);
    std::int32_t (*DataBroker_SetInputOptions)(void* input, const VivotekInputOptions* options);
    std::int32_t (*DataBroker_InputPacketEx)(void* input, Number, const std::uint8_t* data, Number length);
    std::int32_t (*DataBroker_DeleteInputEx)(void* handle, void** input);
    std::int32_t (*DataBroker_Release)(void** handle);

    // parsedatapacket
    std::int32_t (*DataPacket_Parse)(VivotekPacket* packet);

    // Of one library either all calls are there or none.
    bool HasSynchronizer() const { return AvSynchronizer_InitialEx != nullptr; }
    bool HasBroker() const { return DataBroker_Initial != nullptr; }
    bool HasParser() const { return DataPacket_Parse != nullptr; }
};

// Binds libAVSynchronizer.so, libDataBroker.so and libparsedatapacket.so, each from the first of the folders
// that has it, where an empty folder stands for the system's own search. A library without one of its calls
// is as good as none. They stay for the life of the process, since threads of theirs may do so.
VivotekLibrary LoadVivotekLibrary(std::span<const std::string> folders);

}  // namespace kvmon
