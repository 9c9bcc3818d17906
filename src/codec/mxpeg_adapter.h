// An MxPEG decoder over a library of three calls that does not defend itself: what is wrong with a frame is
// seen before the library gets it.
#pragma once

#include "codec/mxpeg_decoder.h"
#include "codec/mxpeg_library.h"

namespace kvmon {

// Gets a frame at which the library failed outright, with a number from 0 to 9999. Decode thread.
using MxpegDump = void (*)(int number, std::span<const std::uint8_t> frame);

std::unique_ptr<CTRMxPEGDecoder> CreateMxpegDecoder(const MxpegLibrary& library, MxpegDump dump = nullptr);

}  // namespace kvmon
