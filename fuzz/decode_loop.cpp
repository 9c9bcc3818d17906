// Frames of all codes through a channel's decode loop, as the reception thread queues them: damaged, in any
// order, with changes of the code in mid-stream. The first byte says whether the makers' libraries are there;
// each frame follows a byte for its kind, one for its flags and two for its length.
#include <QGuiApplication>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "channel/camera/channel_core.h"
#include "channel/decode/decode_loop.h"
#include "channel/decode/open_decoders.h"
#include "maker_library/maker_shim.h"

namespace {

constexpr std::uint32_t kKinds[] = {wire::kZ264, wire::kZMP4, wire::kAVM4,
                                    wire::kZXPG, wire::kZV7K, wire::kZV6K,
                                    wire::kZV3K, wire::kZIVG, wire::FourCC('N', 'O', 'N', 'E'),
                                    wire::kFAAC};
constexpr std::uint32_t kSizes[][2] = {{176, 98}, {64, 48}, {0, 0}, {1920, 0xFFFFFFFF}};
constexpr int kMaxFrames = 64;
// Places in the image of a bitmap file.
constexpr std::size_t kWidth = 18;
constexpr std::size_t kHeight = 22;
constexpr std::size_t kBits = 26;  // and before them the planes
constexpr std::size_t kImageSize = 34;
constexpr std::size_t kPixels = 54;
enum Flags : std::uint8_t { kKey = 1, kSizeShift = 1, kSizeMask = 3, kReset = 8, kDecode = 16 };

const kvmon::VivotekLibrary& Library() {
    static const kvmon::VivotekLibrary library = [] {
        const std::string folders[] = {KV_MAKER_LIBRARIES};
        return kvmon::LoadVivotekLibrary(folders);
    }();
    return library;
}

std::unique_ptr<kvmon::VivotekDecoder> WithLibrary(const kvmon::GiveUp& giveUp) {
    return kvmon::MakeVivotekDecoder(Library(), giveUp);
}

std::unique_ptr<kvmon::VivotekDecoder> WithoutLibrary(const kvmon::GiveUp& giveUp) {
    static const kvmon::VivotekLibrary none{};
    return kvmon::MakeVivotekDecoder(none, giveUp);
}

struct Channel {
    kvmon::ChannelCore core{kvmon::SystemClock()};
    kvmon::ThreadControl control;
    std::unique_ptr<kvmon::VivotekDecoder> sound;

    void Queue(std::uint32_t code, std::uint8_t flags, std::span<const std::uint8_t> payload) {
        const bool bJpeg = code == wire::kZIVG;
        const std::size_t head = bJpeg ? 0 : wire::kFrameHeaderSize;
        auto frame = core.m_frames.NewDecodeFrame(0, head + payload.size());
        if (!frame) {
            std::abort();
        }
        std::uint8_t* const bytes = frame->Begin();
        const auto put = [bytes](std::size_t at, std::uint32_t value) {
            for (std::size_t i = 0; i < 4; ++i) {
                bytes[at + i] = static_cast<std::uint8_t>(value >> (8 * i));
            }
        };
        if (!bJpeg) {
            const auto& size = kSizes[flags >> kSizeShift & kSizeMask];
            std::memset(bytes, 0, head);
            put(wire::kFourccOffset, code);
            put(wire::kKeyFlagOffset, flags & kKey);
            put(wire::kWidthOffset, size[0]);
            put(wire::kHeightOffset, size[1]);
            put(wire::kDataSizeOffset, static_cast<std::uint32_t>(payload.size()));
        }
        std::copy(payload.begin(), payload.end(), bytes + head);
        frame->SetLength(static_cast<std::uint32_t>(head + payload.size()));
        core.m_frames.SetWaitKeyFrame(false);
        core.m_frames.AddDecodeFrameToQueue(bJpeg ? kvmon::FrameType::Jpeg : kvmon::FrameType::Wrapped,
                                            std::move(frame), &control.run);
    }
    void Hear(std::span<const std::uint8_t> packet) {
        if (!sound) {
            sound = core.factories.vivotekDecoder({});
            sound->AudioInit();
        }
        kvmon::CBuffer bytes(static_cast<std::uint32_t>(packet.size()));
        std::copy(packet.begin(), packet.end(), bytes.Begin());
        bytes.SetLength(static_cast<std::uint32_t>(packet.size()));
        std::array<std::uint8_t, 4096> room;
        const auto heard = sound->AudioDecode(bytes.Bytes(), room);
        if (heard && heard->length > room.size()) {
            std::abort();
        }
    }
    // With the exit event set a pass ends when no frame waits.
    void Decode(bool bReset) {
        control.exit.Set();
        while (core.m_frames.GetCount() > 0) {
            control.reset = bReset ? 1 : 0;
            control.leave = 0;
            bReset = false;
            kvmon::DecodeLoop(core.GetDecodeParts(), control).DecodeFrame();
        }
    }
    // A picture on show is as large as its own header tells, whatever the stream announced since.
    void Check() {
        const std::vector<std::uint8_t> file = core.m_picture.GetBitmapFile();
        if (file.empty()) {
            return;
        }
        const auto at = [&](std::size_t offset) {
            std::uint32_t value = 0;
            std::memcpy(&value, file.data() + offset, sizeof value);
            return value;
        };
        if (file.size() < kPixels || file.size() != kPixels + at(kImageSize) ||
            (at(kWidth) * (at(kBits) >> 16) + 31) / 32 * 4 * at(kHeight) != at(kImageSize)) {
            std::abort();
        }
    }
};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
    setenv("QT_QPA_PLATFORM", "offscreen", 1);
    static QGuiApplication application(*argc, *argv);
    if (!Library().HasBroker()) {
        std::abort();
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 1) {
        return 0;
    }
    static kvtest::MakerShim& shim = *kvtest::FindMakerShim(KV_MAKER_LIBRARIES);
    shim.Reset();
    shim.acceptedByte = data[0] >> 1;
    kvmon::Factories() = {.waveOutput = nullptr,
                          .mxpegDecoder = kvmon::MakeOpenMxpegDecoder,
                          .vivotekDecoder = (data[0] & 1) != 0 ? WithLibrary : WithoutLibrary};
    Channel channel;
    channel.core.m_frames.SetPlaying(true);
    channel.core.m_picture.SetViewSize(40, 30);
    channel.core.m_picture.SetDeinterlace((data[0] & 2) != 0);
    std::span<const std::uint8_t> rest(data + 1, size - 1);
    bool bReset = false;
    for (int i = 0; i < kMaxFrames && rest.size() >= 4; ++i) {
        const std::uint32_t code = kKinds[rest[0] % std::size(kKinds)];
        const std::uint8_t flags = rest[1];
        const std::size_t told = std::size_t{rest[2]} | std::size_t{rest[3]} << 8;
        rest = rest.subspan(4);
        const std::size_t length = std::min(told, rest.size());
        if (code == wire::kFAAC) {
            channel.Hear(rest.first(length));
        } else {
            channel.Queue(code, flags, rest.first(length));
        }
        rest = rest.subspan(length);
        bReset = bReset || (flags & kReset) != 0;
        if ((flags & kDecode) != 0 || i % 12 == 11) {
            channel.Decode(bReset);
            bReset = false;
        }
    }
    channel.Decode(bReset);
    channel.Check();
    if (!shim.faults.empty()) {
        std::fputs((shim.faults.front() + "\n").c_str(), stderr);
        std::abort();
    }
    return 0;
}
