// What the channel needs of a decoder of the Vivotek formats.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
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
    // False if the means for this code, of video or of sound, are not on this computer.
    virtual bool Supports(std::uint32_t fourcc) const = 0;
    // Opens for video. A size of 0 x 0 is one that the camera's head does not tell. With 32 bits the output
    // is the image of a bitmap file, with 24 bare rows; bLineDouble makes twice as many rows of those.
    virtual bool VideoInit(std::uint32_t fourcc, int width, int height, int bits, bool bLineDouble) = 0;
    // The room that VideoDecode wants for the present stream, in bytes.
    virtual std::size_t GetOutputSize() const = 0;
    // The length written; nothing on failure. `source` must be followed by kInputPadding readable bytes.
    virtual std::optional<std::size_t> VideoDecode(std::span<const std::uint8_t> source,
                                                   std::span<std::uint8_t> destination) = 0;
    virtual bool AudioInit() = 0;
    virtual std::optional<VivotekSound> AudioDecode(std::span<const std::uint8_t> source,
                                                    std::span<std::uint8_t> destination) = 0;
    virtual void Close() = 0;
};

// Asked again and again during a wait for a library that may never answer; true ends the wait.
using GiveUp = std::function<bool()>;

using VivotekDecoderFactory = std::unique_ptr<VivotekDecoder> (*)(const GiveUp& giveUp);

}  // namespace kvmon
