#include "media/packet_headers.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace kvrecorder {
namespace {

constexpr std::size_t kMostHeaderBytes = 64 << 10;

std::span<const std::uint8_t> Bytes(const std::uint8_t* data, int size) {
    return {data, data ? static_cast<std::size_t>(size) : 0};
}

// Some start code in the data is followed by a byte that `wanted` takes.
template <typename Wanted>
bool HasStartCode(std::span<const std::uint8_t> data, Wanted wanted) {
    for (std::size_t i = 0; i + 3 < data.size(); ++i) {
        if (data[i] == 0 && data[i + 1] == 0 && data[i + 2] == 1 && wanted(data[i + 3])) {
            return true;
        }
    }
    return false;
}

// A decoder can begin with this packet.
bool HasHeaders(AVCodecID codec, std::span<const std::uint8_t> data) {
    // The headers come first; the picture itself need not be searched.
    data = data.first(std::min(data.size(), kMostHeaderBytes));
    if (codec == AV_CODEC_ID_H264) {
        return HasStartCode(data, [](std::uint8_t byte) { return (byte & 31) == 7; });
    }
    return HasStartCode(data, [](std::uint8_t byte) { return byte >= 0x20 && byte <= 0x2F; });
}

}  // namespace

std::span<const std::uint8_t> BytesOf(const AVPacket& packet) {
    return Bytes(packet.data, packet.size);
}

bool IsBetween(const AVPacket& packet) {
    const auto data = BytesOf(packet);
    for (std::size_t i = 0; i + 4 < data.size(); ++i) {
        if (data[i] == 0 && data[i + 1] == 0 && data[i + 2] == 1 && data[i + 3] == 0xB6) {
            return data[i + 4] >> 6 == 2;
        }
    }
    return false;
}

bool HasHuffmanTables(const AVPacket& packet) {
    const auto data = BytesOf(packet);
    std::size_t at = 2;
    while (at + 4 <= data.size() && data[at] == 0xFF && data[at + 1] != 0xDA) {
        if (data[at + 1] == 0xC4) {
            return true;
        }
        at += 2 + (static_cast<std::size_t>(data[at + 2]) << 8 | data[at + 3]);
    }
    return false;
}

void InsertHeaders(const AVCodecParameters& parameters, AvPtr<AVPacket>& packet) {
    const AVCodecID codec = parameters.codec_id;
    if ((codec != AV_CODEC_ID_H264 && codec != AV_CODEC_ID_MPEG4) || (packet->flags & AV_PKT_FLAG_KEY) == 0) {
        return;
    }
    const auto headers = Bytes(parameters.extradata, parameters.extradata_size);
    if (headers.size() > kMostHeaderBytes || !HasHeaders(codec, headers) ||
        HasHeaders(codec, BytesOf(*packet))) {
        return;
    }
    AvPtr<AVPacket> joined(av_packet_alloc());
    if (!joined || av_new_packet(joined.get(), packet->size + parameters.extradata_size) < 0) {
        return;
    }
    std::memcpy(joined->data, headers.data(), headers.size());
    std::memcpy(joined->data + headers.size(), packet->data, static_cast<std::size_t>(packet->size));
    av_packet_copy_props(joined.get(), packet.get());
    std::swap(joined, packet);
}

}  // namespace kvrecorder
