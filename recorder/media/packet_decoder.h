// Decodes the packets of a stream that is passed on. Inside the folders that are built with the library only.
#pragma once

#include <memory>
#include <optional>

#include "media/file_decoder.h"
#include "media/packet.h"

namespace kvrecorder {

// One thread at a time.
class PacketDecoder {
public:
    // Nothing if there is no decoder for it.
    static std::optional<AVCodecID> CodecIdOf(std::uint32_t fourcc);

    // For pictures of this packet's kind. Throws std::runtime_error if no decoder takes them.
    explicit PacketDecoder(const Packet& first, DecodedWidth width = {});

    // Of a stream's packets, begun with a key picture. Damaged ones give nothing.
    template <typename TakePicture>
    void Decode(const Packet& packet, TakePicture take) {
        if (Fill(packet)) {
            m_decoder->Decode(m_packet.get(), take);
            av_packet_unref(m_packet.get());
        }
    }
    // What the decoder still holds; the next packet is a key picture.
    template <typename TakePicture>
    void Finish(TakePicture take) {
        m_decoder->Decode(nullptr, take);
    }
    bool Takes(const Packet& packet) const { return packet.fourcc == m_fourcc; }

private:
    bool Fill(const Packet& packet);

    const std::uint32_t m_fourcc;
    const AvPtr<AVPacket> m_packet;
    std::unique_ptr<FileDecoder> m_decoder;
};

}  // namespace kvrecorder
