// Decoders of makers' formats as far as open means go.
#pragma once

#include <memory>

#include "codec/mxpeg_decoder.h"
#include "codec/vivotek_decoder.h"

namespace kvmon {

// MxPEG on libavcodec. A frame at which the decoder fails outright is kept in the data folder's DebugInfo,
// when that exists.
std::unique_ptr<CTRMxPEGDecoder> MakeOpenMxpegDecoder();
// "ZV7K" carries bare MPEG-4. The other formats need their maker's library: VideoInit and AudioInit refuse
// them.
std::unique_ptr<VivotekDecoder> MakeOpenVivotekDecoder();

}  // namespace kvmon
