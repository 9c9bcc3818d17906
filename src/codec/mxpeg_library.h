// The calls that an MxPEG decoder has to offer, and an implementation on libavcodec.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kvmon {

struct MxpegLibrary {
    // Room for the input and for the rows of a picture, in bytes. Null on failure.
    void* (*CZXPGInit)(std::size_t inputSize, std::size_t outputSize);
    // Above 0 when the output holds a picture: top-down rows without gaps, 24 bits, blue first. The input is
    // followed by kInputPadding readable bytes.
    int (*CZXPGDecodeFrame)(void* handle, const std::uint8_t* input, std::size_t inputLength,
                            std::uint8_t* output, std::size_t outputSize);
    void (*CZXPGFree)(void* handle);
};

const MxpegLibrary& AvMxpegLibrary();

}  // namespace kvmon
