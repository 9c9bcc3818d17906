// What the channel needs of a decoder of the Vivotek formats.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

namespace kvmon {

struct VivotekSound {
    std::size_t length = 0;
    std::uint16_t channels = 1;
    std::uint32_t samplesPerSecond = 8000;
};

class VivotekDecoder {
public:
    virtual ~VivotekDecoder() = default;
    virtual bool VideoInit(std::uint32_t fourcc, int width, int height) = 0;
    // Bytes of the bitmap file image that VideoDecode writes for the present stream.
    virtual std::size_t OutputSize() const = 0;
    // The length written; nothing on failure.
    virtual std::optional<std::size_t> VideoDecode(std::span<const std::uint8_t> source,
                                                   std::span<std::uint8_t> destination) = 0;
    virtual bool AudioInit() = 0;
    virtual std::optional<VivotekSound> AudioDecode(std::span<const std::uint8_t> source,
                                                    std::span<std::uint8_t> destination) = 0;
    virtual void Close() = 0;
};

using VivotekDecoderFactory = std::unique_ptr<VivotekDecoder> (*)();

}  // namespace kvmon
