#include "codec/vivotek_adapter.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>
#include <vector>

#include "codec/vivotek_broker.h"
#include "wire/frame_header.h"

namespace kvmon {

namespace {

// What goes before the payload of the 7000 series, which arrives bare.
constexpr std::size_t kHeadSize = 24;
constexpr std::size_t kHeadUncounted = 4;  // the length does not count itself
constexpr std::size_t kHeadSearched = 9;
constexpr int kSearchedValues = 255;
constexpr std::size_t kHeadFlag = 19;
constexpr std::uint32_t kMpeg4Media = 4;
constexpr std::uint32_t kMpeg4Codec = 180374534;

constexpr std::uint32_t kOutputOf32Bits = 7;
constexpr std::uint32_t kOutputOf24Bits = 6;

constexpr std::size_t kOutputMargin = 1000;
constexpr std::size_t kOutputOfUnknownSize = 1623016;
constexpr int kMaxStatedSide = 16384;
constexpr std::size_t kMaxOutput = 64u << 20;

constexpr std::uint32_t kAudioWithExtraBytes = 1024;
constexpr std::size_t kExtraBytes = 4;

// How often a wait for the library asks whether to give up.
constexpr Milliseconds kWaitRound{20};

class VivotekAdapter final : public VivotekDecoder {
public:
    VivotekAdapter(const VivotekLibrary& library, const GiveUp& giveUp)
        : m_library(library), m_giveUp(giveUp) {}
    ~VivotekAdapter() override { Close(); }

    bool Supports(std::uint32_t fourcc) const override {
        switch (fourcc) {
            case wire::kZV3K:
                return m_library.HasSynchronizer() && m_library.HasBroker();
            case wire::kZV7K:
                return m_library.HasSynchronizer();
            case wire::kZV6K:
            case wire::kFAAC:
            case wire::kF729:
                return m_library.HasSynchronizer() && m_library.HasParser();
            default:
                return false;
        }
    }

    bool VideoInit(std::uint32_t fourcc, int width, int height, int bits, bool bLineDouble) override {
        Close();
        if (!Supports(fourcc) || width < 0 || height < 0 || width > kMaxStatedSide ||
            height > kMaxStatedSide || (bits != 24 && bits != 32)) {
            return false;
        }
        m_fourcc = fourcc;
        m_width = width;
        m_height = height;
        m_bits = bits;
        m_bLineDouble = bLineDouble;
        if (GetOutputSize() > kMaxOutput) {
            return false;
        }
        VivotekDecoderOptions options{};
        options.outputFormat = bits == 32 ? kOutputOf32Bits : kOutputOf24Bits;
        if (!OpenChannel(options) || (fourcc == wire::kZV3K && !OpenBroker())) {
            return false;
        }
        const std::lock_guard lock(m_channel->cs);
        m_channel->work.assign(GetOutputSize() + kHeadSize, 0);
        return true;
    }

    std::size_t GetOutputSize() const override {
        return m_width == 0 || m_height == 0
                   ? kOutputOfUnknownSize
                   : static_cast<std::size_t>(m_width) * static_cast<std::size_t>(m_height) * 4 +
                         kOutputMargin;
    }

    std::optional<std::size_t> VideoDecode(std::span<const std::uint8_t> source,
                                           std::span<std::uint8_t> destination) override {
        if (!m_channel || m_channel->work.empty() || source.empty() || source.size() > INT32_MAX) {
            return std::nullopt;
        }
        const std::size_t capacity = std::min(destination.size(), GetOutputSize());
        if (m_fourcc == wire::kZV3K && !FeedBroker(source, capacity)) {
            return std::nullopt;
        }
        const std::lock_guard lock(m_channel->cs);
        std::int32_t length = 0;
        switch (m_fourcc) {
            case wire::kZV3K:
                length = m_channel->outputLength;
                break;
            case wire::kZV6K:
                length = DecodeParsed(source, capacity);
                break;
            default:
                length = DecodeBare(source, capacity);
                break;
        }
        return length > 0 ? Finish(static_cast<std::size_t>(length), destination) : std::nullopt;
    }

    bool AudioInit() override {
        Close();
        return Supports(wire::kFAAC) && OpenChannel({});
    }

    std::optional<VivotekSound> AudioDecode(std::span<const std::uint8_t> source,
                                            std::span<std::uint8_t> destination) override {
        Roomy<VivotekPacket> packet;
        if (!m_channel || !m_library.HasParser() || !Parse(source, packet.told)) {
            return std::nullopt;
        }
        std::vector<std::uint8_t> joined;
        if (packet.told.mediaType == kAudioWithExtraBytes) {
            joined = WithoutExtraBytes(source, packet.told);
            packet.told.data = joined.data();
        }
        Roomy<VivotekAudioOutput> output;
        output.told.capacity = static_cast<std::uint32_t>(destination.size());
        output.told.buffer = destination.data();
        auto length = static_cast<std::int32_t>(destination.size());
        if (m_library.AvSynchronizer_DecodeAudio(m_channel->hChannel, &packet.told, &output.told, &length) <
                0 ||
            length < 0 || static_cast<std::size_t>(length) > destination.size()) {
            return std::nullopt;
        }
        return VivotekSound{static_cast<std::size_t>(length), packet.told.channels,
                            packet.told.samplesPerSecond};
    }

    void Close() override {
        void* hChannel = nullptr;
        if (m_channel) {
            RemoveVivotekContext(m_context);
            // A callback under way is waited for, and one that comes later finds nothing.
            const std::lock_guard lock(m_channel->cs);
            hChannel = std::exchange(m_channel->hChannel, nullptr);
        }
        if (hChannel != nullptr) {
            m_library.AvSynchronizer_DeleteDecoderChannel(m_hSynchronizer, &hChannel);
        }
        if (m_hSynchronizer != nullptr) {
            m_library.AvSynchronizer_Release(&m_hSynchronizer);
        }
        if (m_hInput != nullptr) {
            m_library.DataBroker_DeleteInputEx(m_hBroker, &m_hInput);
        }
        if (m_hBroker != nullptr) {
            m_library.DataBroker_Release(&m_hBroker);
        }
        m_hSynchronizer = m_hInput = m_hBroker = m_context = nullptr;
        m_channel.reset();
    }

private:
    bool OpenChannel(const VivotekDecoderOptions& options) {
        m_channel = std::make_shared<VivotekChannel>(m_library);
        return m_library.AvSynchronizer_InitialEx(&m_hSynchronizer, 0, 0, 0, 1, 0, 0xF000404, 1, 0) >= 0 &&
               m_library.AvSynchronizer_CreateDecoderChannel(m_hSynchronizer, &m_channel->hChannel,
                                                             &options) >= 0;
    }

    bool OpenBroker() {
        if (m_library.DataBroker_Initial(&m_hBroker, 7, 0, 0, 3847, 0, 0x1A000104) < 0 ||
            m_library.DataBroker_CreateInputEx(m_hBroker, &m_hInput) < 0) {
            return false;
        }
        m_context = AddVivotekContext(m_channel);
        VivotekInputOptions options{};
        options.statusCallback = std::bit_cast<const void*>(&OnBrokerStatus);
        options.packetCallback = std::bit_cast<const void*>(&OnBrokerPacket);
        options.statusContext = options.packetContext = m_context;
        options.modelName = "TR3300";
        options.count = 2;
        options.furtherName = "0";
        return m_library.DataBroker_SetInputOptions(m_hInput, &options) >= 0;
    }

    // The 3000 series: the library's thread decodes and calls back. False if nothing came of it.
    bool FeedBroker(std::span<const std::uint8_t> source, std::size_t capacity) {
        {
            const std::lock_guard lock(m_channel->cs);
            m_channel->capacity = capacity;
            m_channel->outputLength = static_cast<std::int32_t>(capacity);
        }
        // The library may call back within this call.
        if (m_library.DataBroker_InputPacketEx(m_hInput, 2, source.data(), source.size()) < 0) {
            return false;
        }
        while (!m_channel->answered.Wait(kWaitRound)) {
            if (m_giveUp && m_giveUp()) {
                return false;
            }
        }
        m_channel->answered.Reset();
        return true;
    }

    // The packet's head, if what it tells of is there.
    bool Parse(std::span<const std::uint8_t> source, VivotekPacket& packet) const {
        packet.data = source.data();
        return !source.empty() && m_library.DataPacket_Parse(&packet) >= 0 &&
               std::uint64_t{packet.headerLength} + packet.payloadLength <= source.size();
    }

    // The 6000 series.
    std::int32_t DecodeParsed(std::span<const std::uint8_t> source, std::size_t capacity) {
        Roomy<VivotekPacket> packet;
        if (!Parse(source, packet.told) || !IsVivotekVideo(packet.told.mediaType)) {
            return 0;
        }
        return m_channel->Decode(packet.told, std::span(m_channel->work).first(capacity));
    }

    // The 7000 series: bare MPEG-4, for which the library expects a head with a byte that nobody tells.
    std::int32_t DecodeBare(std::span<const std::uint8_t> source, std::size_t capacity) {
        std::vector<std::uint8_t>& work = m_channel->work;
        if (source.size() > work.size() - kHeadSize) {
            return 0;
        }
        std::fill_n(work.begin(), kHeadSize, std::uint8_t{0});
        const auto counted = static_cast<std::uint32_t>(source.size() + kHeadSize - kHeadUncounted);
        for (std::size_t i = 0; i < sizeof counted; ++i) {
            work[i] = static_cast<std::uint8_t>(counted >> (8 * i));
        }
        std::memcpy(work.data() + sizeof counted, "MP4U", 4);
        work[kHeadFlag] = 1;
        std::copy(source.begin(), source.end(), work.begin() + kHeadSize);
        Roomy<VivotekPacket> packet;
        packet.told.data = work.data();
        packet.told.headerLength = kHeadSize;
        packet.told.payloadLength = static_cast<std::uint32_t>(source.size());
        packet.told.mediaType = kMpeg4Media;
        packet.told.keyFlag = 1;
        packet.told.codec = kMpeg4Codec;
        packet.told.furtherFlag = 1;
        std::int32_t length = -1;
        for (int value = 0; value < kSearchedValues && length < 0; ++value) {
            work[kHeadSearched] = static_cast<std::uint8_t>(value);
            // The picture lands on top of the packet.
            length = m_channel->Decode(packet.told, std::span(work).first(capacity));
        }
        return length;
    }

    // From the work buffer to the caller's: as it is with 32 bits, else with its rows turned.
    std::optional<std::size_t> Finish(std::size_t length, std::span<std::uint8_t> destination) const {
        const std::uint8_t* const source = m_channel->work.data();
        if (m_bits == 32) {
            std::memcpy(destination.data(), source, length);
            return length;
        }
        const std::size_t row = static_cast<std::size_t>(m_width) * static_cast<std::size_t>(m_bits) >> 3;
        const auto height = static_cast<std::size_t>(m_height);
        const std::size_t size = row * height * (m_bLineDouble ? 2 : 1);
        if (size == 0 || length < row * height || destination.size() < size) {
            return std::nullopt;
        }
        std::uint8_t* to = destination.data();
        for (std::size_t y = height; y-- > 0; to += row) {
            const std::uint8_t* const from = source + y * row;
            std::memcpy(to, from, row);
            if (m_bLineDouble) {
                to += row;
                // Behind the last row there is no neighbour.
                const std::uint8_t* const next = y > 0 ? from - row : from;
                std::transform(from, from + row, next, to,
                               [](int a, int b) { return static_cast<std::uint8_t>((a + b) / 2); });
            }
        }
        return size;
    }

    // Header and payload side by side, without the bytes between them.
    static std::vector<std::uint8_t> WithoutExtraBytes(std::span<const std::uint8_t> source,
                                                       const VivotekPacket& packet) {
        std::vector<std::uint8_t> joined(std::size_t{packet.headerLength} + packet.payloadLength);
        const auto header = source.first(packet.headerLength);
        const auto rest = source.subspan(packet.headerLength);
        const auto payload = rest.subspan(std::min(kExtraBytes, rest.size()));
        const auto to = std::copy(header.begin(), header.end(), joined.begin());
        std::copy_n(payload.begin(), std::min<std::size_t>(payload.size(), packet.payloadLength), to);
        return joined;
    }

    const VivotekLibrary& m_library;
    const GiveUp m_giveUp;
    void* m_hSynchronizer = nullptr;
    void* m_hBroker = nullptr;
    void* m_hInput = nullptr;
    void* m_context = nullptr;
    std::uint32_t m_fourcc = 0;
    int m_width = 0;
    int m_height = 0;
    int m_bits = 32;
    bool m_bLineDouble = false;
    std::shared_ptr<VivotekChannel> m_channel;
};

}  // namespace

std::unique_ptr<VivotekDecoder> CreateVivotekDecoder(const VivotekLibrary& library, const GiveUp& giveUp) {
    return std::make_unique<VivotekAdapter>(library, giveUp);
}

}  // namespace kvmon
