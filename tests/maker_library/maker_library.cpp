// Stands for AVSynchronizer, DataBroker and parsedatapacket, and checks what it is given.
#include <algorithm>
#include <cstring>
#include <optional>
#include <thread>

#include "codec/picture.h"
#include "codec/vivotek_library.h"
#include "maker_library/maker_shim.h"

namespace {

using kvmon::VivotekPacket;
using Number = std::uintptr_t;

constexpr auto kRefused = static_cast<std::int32_t>(0x80000001);
constexpr std::int32_t kDone = 0;

int g_synchronizer;
int g_broker;
int g_input;

// A channel for sound and one for each form of pictures: a camera's two decoders stand side by side.
struct Channel {
    std::uint32_t outputFormat;
};
Channel g_channels[] = {{0}, {6}, {7}};
std::optional<kvmon::VivotekInputOptions> g_options;
std::vector<std::thread> g_threads;
std::vector<std::string> g_owed;

kvtest::MakerShim& Shim() {
    static kvtest::MakerShim shim;
    return shim;
}

// Notes the call and whether its arguments are right. The result that it has to give.
std::int32_t Note(const char* name, bool bRight) {
    kvtest::MakerShim& shim = Shim();
    const std::lock_guard lock(shim.cs);
    shim.calls.emplace_back(name);
    if (!bRight) {
        shim.faults.emplace_back(name);
    }
    shim.changed.notify_all();
    return shim.failing == name ? kRefused : kDone;
}

bool IsZero(const void* bytes, std::size_t size) {
    const auto* const first = static_cast<const std::uint8_t*>(bytes);
    return std::all_of(first, first + size, [](std::uint8_t byte) { return byte == 0; });
}

// Nothing is set in the record but the room for the output.
template <typename Output>
bool IsFresh(const Output& output, std::int32_t length) {
    Output rest;
    std::memcpy(&rest, &output, sizeof rest);  // a copy by value may leave the padding out
    rest.capacity = 0;
    rest.buffer = nullptr;
    return output.buffer != nullptr && static_cast<std::int32_t>(output.capacity) == length &&
           IsZero(&rest, sizeof rest);
}

std::uint32_t Word(const std::uint8_t* bytes) {
    return std::uint32_t{bytes[0]} | std::uint32_t{bytes[1]} << 8 | std::uint32_t{bytes[2]} << 16 |
           std::uint32_t{bytes[3]} << 24;
}

// The head that was made for a bare picture of the 7000 series.
bool IsMadeRight(const VivotekPacket& packet, const kvmon::VivotekVideoOutput& output) {
    VivotekPacket rest;
    std::memcpy(&rest, &packet, sizeof rest);
    rest.data = nullptr;
    rest.headerLength = rest.payloadLength = rest.mediaType = rest.keyFlag = rest.codec = rest.furtherFlag =
        0;
    const std::uint8_t* const head = packet.data;
    return packet.headerLength == 24 && packet.mediaType == 4 && packet.keyFlag == 1 &&
           packet.furtherFlag == 1 && IsZero(&rest, sizeof rest) && head == output.buffer &&
           Word(head) == packet.payloadLength + 20 && std::memcmp(head + 4, "MP4U", 4) == 0 && head[8] == 0 &&
           IsZero(head + 10, 9) && head[19] == 1 && IsZero(head + 20, 4);
}

// 24 bits: bare rows, each of its own value.
std::int32_t WriteRows(int width, int height, std::uint8_t value, const kvmon::VivotekVideoOutput& output) {
    const auto row = static_cast<std::size_t>(width) * 3;
    if (output.capacity < row * static_cast<std::size_t>(height)) {
        return kRefused;
    }
    for (int y = 0; y < height; ++y) {
        std::memset(output.buffer + row * static_cast<std::size_t>(y), value + 10 * y, row);
    }
    return static_cast<std::int32_t>(row * static_cast<std::size_t>(height));
}

// 32 bits: the image of a bitmap file.
std::int32_t WriteFile(int width, int height, std::uint8_t value, const kvmon::VivotekVideoOutput& output) {
    constexpr std::size_t kPixels = 54;
    kvmon::BITMAPINFOHEADER info;
    info.biWidth = width;
    info.biHeight = height;
    info.biBitCount = 32;
    info.biSizeImage = static_cast<std::uint32_t>(width * height * 4);
    if (output.capacity < kPixels + info.biSizeImage) {
        return kRefused;
    }
    std::memset(output.buffer, 0, kPixels);
    std::memcpy(output.buffer + 14, &info, sizeof info);
    std::memset(output.buffer + kPixels, value, info.biSizeImage);
    return static_cast<std::int32_t>(kPixels + info.biSizeImage);
}

std::int32_t Parse(VivotekPacket& packet) {
    packet.headerLength = packet.data[10];
    packet.payloadLength = Word(packet.data) + 4 - packet.headerLength;
    packet.mediaType = packet.data[8] | std::uint32_t{packet.data[9]} << 8;
    return packet.headerLength != 0 ? kDone : kRefused;
}

// What the broker's own thread does with a packet.
void Answer(std::string bytes) {
    bytes.resize(bytes.size() + 24);
    VivotekPacket packet{};
    packet.data = reinterpret_cast<const std::uint8_t*>(bytes.data());
    Parse(packet);
    const bool bWhole = std::uint64_t{packet.headerLength} + packet.payloadLength <= bytes.size() - 24;
    const auto onStatus =
        reinterpret_cast<kvmon::VivotekStatusCallback>(const_cast<void*>(g_options->statusCallback));
    const auto onPacket =
        reinterpret_cast<kvmon::VivotekPacketCallback>(const_cast<void*>(g_options->packetCallback));
    if (!bWhole || packet.mediaType == kvtest::kMakerNoPicture) {
        onStatus(const_cast<void*>(g_options->statusContext), 5);
        onStatus(const_cast<void*>(g_options->statusContext), 6);
        return;
    }
    onPacket(const_cast<void*>(g_options->packetContext), &packet);
}

void AnswerLate() {
    std::thread([] {
        for (std::string& bytes : g_owed) {
            Answer(std::move(bytes));
        }
        g_owed.clear();
    }).join();
}

}  // namespace

extern "C" {

kvtest::MakerShim* kv_maker_shim() {
    Shim().answerLate = AnswerLate;
    return &Shim();
}

std::int32_t _AvSynchronizer_InitialEx(void** handle, Number a, Number b, Number c, Number d, Number e,
                                       Number f, Number g, Number h) {
    const bool bRight = handle != nullptr && *handle == nullptr && a == 0 && b == 0 && c == 0 && d == 1 &&
                        e == 0 && f == 0xF000404 && g == 1 && h == 0;
    const std::int32_t result = Note("InitialEx", bRight);
    *handle = result == kDone ? &g_synchronizer : nullptr;
    return result;
}

std::int32_t _AvSynchronizer_CreateDecoderChannel(void* handle, void** channel,
                                                  const kvmon::VivotekDecoderOptions* options) {
    kvmon::VivotekDecoderOptions rest = *options;
    rest.outputFormat = 0;
    Channel* const made = std::find_if(std::begin(g_channels), std::end(g_channels), [&](const Channel& c) {
        return c.outputFormat == options->outputFormat;
    });
    const bool bFormat = made != std::end(g_channels);
    const std::int32_t result =
        Note("CreateDecoderChannel", handle == &g_synchronizer && bFormat && IsZero(&rest, sizeof rest));
    *channel = result == kDone && bFormat ? made : nullptr;
    return result;
}

std::int32_t _AvSynchronizer_DecodeVideo(void* channel, VivotekPacket* packet,
                                         kvmon::VivotekVideoOutput* output, std::int32_t* length) {
    constexpr std::uint32_t kBareMpeg4 = 0xAC04C06;
    const bool bBare = packet->codec == kBareMpeg4;
    const bool bRight = (channel == &g_channels[1] || channel == &g_channels[2]) &&
                        IsFresh(*output, *length) && (!bBare || IsMadeRight(*packet, *output));
    if (Note("DecodeVideo", bRight) != kDone) {
        return kRefused;
    }
    if (bBare) {
        const std::lock_guard lock(Shim().cs);
        if (packet->data[9] != Shim().acceptedByte) {
            ++Shim().searched;
            return kRefused;
        }
    }
    const std::uint8_t* const payload = packet->data + packet->headerLength;
    if (packet->payloadLength < 4 || payload[0] != 'P') {
        return kRefused;
    }
    const auto write = channel == &g_channels[2] ? WriteFile : WriteRows;
    *length = write(payload[1], payload[2], payload[3], *output);
    return *length < 0 ? kRefused : kDone;
}

std::int32_t _AvSynchronizer_DecodeAudio(void* channel, VivotekPacket* packet,
                                         kvmon::VivotekAudioOutput* output, std::int32_t* length) {
    const std::int32_t result = Note("DecodeAudio", channel == &g_channels[0] && IsFresh(*output, *length));
    const std::size_t whole = std::size_t{packet->headerLength} + packet->payloadLength;
    {
        const std::lock_guard lock(Shim().cs);
        Shim().sound.emplace_back(reinterpret_cast<const char*>(packet->data), whole);
    }
    if (result != kDone || packet->payloadLength > output->capacity) {
        return kRefused;
    }
    std::memcpy(output->buffer, packet->data + packet->headerLength, packet->payloadLength);
    *length = static_cast<std::int32_t>(packet->payloadLength);
    packet->samplesPerSecond = 16000;
    packet->channels = 2;
    return kDone;
}

std::int32_t _AvSynchronizer_DeleteDecoderChannel(void* handle, void** channel) {
    const bool bMade = std::any_of(std::begin(g_channels), std::end(g_channels),
                                   [&](const Channel& c) { return *channel == &c; });
    return Note("DeleteDecoderChannel", handle == &g_synchronizer && bMade);
}

std::int32_t _AvSynchronizer_Release(void** handle) {
    return Note("AvSynchronizer_Release", *handle == &g_synchronizer);
}

std::int32_t _DataBroker_Initial(void** handle, Number a, Number b, Number c, Number d, Number e, Number f) {
    const bool bRight =
        *handle == nullptr && a == 7 && b == 0 && c == 0 && d == 3847 && e == 0 && f == 0x1A000104;
    const std::int32_t result = Note("DataBroker_Initial", bRight);
    *handle = result == kDone ? &g_broker : nullptr;
    return result;
}

std::int32_t _DataBroker_CreateInputEx(void* handle, void** input) {
    const std::int32_t result = Note("CreateInputEx", handle == &g_broker);
    *input = result == kDone ? &g_input : nullptr;
    return result;
}

std::int32_t _DataBroker_SetInputOptions(void* input, const kvmon::VivotekInputOptions* options) {
    const auto text = [](const void* bytes) { return std::string(static_cast<const char*>(bytes)); };
    const bool bRight = input == &g_input && options->statusCallback != nullptr &&
                        options->packetCallback != nullptr && options->statusContext != nullptr &&
                        options->statusContext == options->packetContext &&
                        text(options->modelName) == "TR3300" && options->zero == 0 && options->count == 2 &&
                        options->zero2 == 0 && text(options->furtherName) == "0";
    g_options = *options;
    return Note("SetInputOptions", bRight);
}

std::int32_t _DataBroker_InputPacketEx(void* input, Number kind, const std::uint8_t* data, Number length) {
    const std::int32_t result =
        Note("InputPacketEx", input == &g_input && kind == 2 && data != nullptr && length > 0);
    if (result != kDone) {
        return result;
    }
    std::string bytes(reinterpret_cast<const char*>(data), length);
    bool bSilent = false;
    {
        const std::lock_guard lock(Shim().cs);
        bSilent = Shim().silent;
    }
    if (bSilent) {
        g_owed = {std::move(bytes)};
    } else {
        g_threads.emplace_back(Answer, std::move(bytes));
    }
    return kDone;
}

std::int32_t _DataBroker_DeleteInputEx(void* handle, void** input) {
    for (std::thread& thread : g_threads) {
        thread.join();
    }
    g_threads.clear();
    return Note("DeleteInputEx", handle == &g_broker && *input == &g_input);
}

std::int32_t _DataBroker_Release(void** handle) {
    return Note("DataBroker_Release", *handle == &g_broker);
}

std::int32_t _DataPacket_Parse(VivotekPacket* packet) {
    VivotekPacket rest = *packet;
    rest.data = nullptr;
    if (packet->data == nullptr || !IsZero(&rest, sizeof rest)) {
        Note("Parse", false);
    }
    const std::lock_guard lock(Shim().cs);
    return Shim().failing == "Parse" ? kRefused : Parse(*packet);
}

}  // extern "C"
