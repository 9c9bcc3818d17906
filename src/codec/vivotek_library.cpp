#include "codec/vivotek_library.h"

#include "platform/loaded_library.h"

namespace kvmon {

namespace {

// The told layout, on a machine of 32 bits.
using Packet32 = VivotekPacketOf<std::uint32_t>;
static_assert(offsetof(Packet32, headerLength) == 4 && offsetof(Packet32, payloadLength) == 8 &&
              offsetof(Packet32, mediaType) == 12 && offsetof(Packet32, keyFlag) == 16 &&
              offsetof(Packet32, codec) == 24 && offsetof(Packet32, zero) == 28 &&
              offsetof(Packet32, samplesPerSecond) == 36 && offsetof(Packet32, channels) == 40 &&
              offsetof(Packet32, furtherFlag) == 104 && sizeof(Packet32) == 116);
using VideoOutput32 = VivotekVideoOutputOf<std::uint32_t>;
static_assert(offsetof(VideoOutput32, capacity) == 8 && offsetof(VideoOutput32, buffer) == 16 &&
              sizeof(VideoOutput32) == 140);
using AudioOutput32 = VivotekAudioOutputOf<std::uint32_t>;
static_assert(offsetof(AudioOutput32, capacity) == 4 && offsetof(AudioOutput32, buffer) == 8 &&
              sizeof(AudioOutput32) == 136);
using InputOptions32 = VivotekInputOptionsOf<std::uint32_t>;
static_assert(offsetof(InputOptions32, modelName) == 16 && offsetof(InputOptions32, count) == 24 &&
              offsetof(InputOptions32, furtherName) == 32 && sizeof(InputOptions32) == 36);
static_assert(sizeof(VivotekDecoderOptions) == 16);

LoadedLibrary Open(const std::string& name, std::span<const std::string> folders) {
    for (const std::string& folder : folders) {
        const std::string path = folder.empty() ? name : std::string(folder).append("/").append(name);
        if (LoadedLibrary library(path); library) {
            return library;
        }
    }
    return LoadedLibrary();
}

}  // namespace

VivotekLibrary LoadVivotekLibrary(std::span<const std::string> folders) {
    VivotekLibrary calls{};
    if (const LoadedLibrary library = Open("libAVSynchronizer.so", folders)) {
        const bool bWhole =
            library.Bind("_AvSynchronizer_InitialEx", calls.AvSynchronizer_InitialEx) &&
            library.Bind("_AvSynchronizer_CreateDecoderChannel", calls.AvSynchronizer_CreateDecoderChannel) &&
            library.Bind("_AvSynchronizer_DecodeVideo", calls.AvSynchronizer_DecodeVideo) &&
            library.Bind("_AvSynchronizer_DecodeAudio", calls.AvSynchronizer_DecodeAudio) &&
            library.Bind("_AvSynchronizer_DeleteDecoderChannel", calls.AvSynchronizer_DeleteDecoderChannel) &&
            library.Bind("_AvSynchronizer_Release", calls.AvSynchronizer_Release);
        if (!bWhole) {
            calls.AvSynchronizer_InitialEx = nullptr;
        }
    }
    if (const LoadedLibrary library = Open("libDataBroker.so", folders)) {
        const bool bWhole = library.Bind("_DataBroker_Initial", calls.DataBroker_Initial) &&
                            library.Bind("_DataBroker_CreateInputEx", calls.DataBroker_CreateInputEx) &&
                            library.Bind("_DataBroker_SetInputOptions", calls.DataBroker_SetInputOptions) &&
                            library.Bind("_DataBroker_InputPacketEx", calls.DataBroker_InputPacketEx) &&
                            library.Bind("_DataBroker_DeleteInputEx", calls.DataBroker_DeleteInputEx) &&
                            library.Bind("_DataBroker_Release", calls.DataBroker_Release);
        if (!bWhole) {
            calls.DataBroker_Initial = nullptr;
        }
    }
    if (const LoadedLibrary library = Open("libparsedatapacket.so", folders)) {
        library.Bind("_DataPacket_Parse", calls.DataPacket_Parse);
    }
    return calls;
}

}  // namespace kvmon
