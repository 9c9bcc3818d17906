// Decoders of makers' formats: open ones, or the maker's own.
#pragma once

#include <memory>

#include "codec/mxpeg_decoder.h"
#include "codec/vivotek_decoder.h"
#include "codec/vivotek_library.h"

namespace kvmon {

// MxPEG on libavcodec. A frame at which the decoder fails outright is kept in the data folder's DebugInfo,
// when that exists.
std::unique_ptr<CTRMxPEGDecoder> MakeOpenMxpegDecoder();
// The maker's libraries where this computer has them: in the data folder's "libraries", beside the program,
// or where the system looks; looked for once, when a channel first needs them. Without them "ZV7K" is decoded
// all the same, since it carries bare MPEG-4; the other formats are not supported.
std::unique_ptr<VivotekDecoder> MakeSiteVivotekDecoder(const GiveUp& giveUp);
// The same over a library that stays for the life of the process.
std::unique_ptr<VivotekDecoder> MakeVivotekDecoder(const VivotekLibrary& library, const GiveUp& giveUp);

}  // namespace kvmon
