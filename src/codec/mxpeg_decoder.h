// What the channel needs of an MxPEG decoder.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace kvmon {

class CTRMxPEGDecoder {
public:
    virtual ~CTRMxPEGDecoder() = default;
    virtual bool Open(int width, int height) = 0;
    // Decodes one picture to top-down BGR rows of `rowBytes`. False leaves the decoder open.
    virtual bool DecodeFrame(std::span<const std::uint8_t> source, std::span<std::uint8_t> destination,
                             std::size_t rowBytes) = 0;
    virtual void Close() = 0;
};

using MxpegDecoderFactory = std::unique_ptr<CTRMxPEGDecoder> (*)();

}  // namespace kvmon
