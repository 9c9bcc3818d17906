// The Vivotek formats over the maker's libraries.
#pragma once

#include "codec/vivotek_decoder.h"
#include "codec/vivotek_library.h"

namespace kvmon {

// The library must stay for the life of the process. `giveUp` ends the wait for an answer of the 3000 series,
// which else has no limit; without it the wait has none.
std::unique_ptr<VivotekDecoder> CreateVivotekDecoder(const VivotekLibrary& library, const GiveUp& giveUp);

}  // namespace kvmon
