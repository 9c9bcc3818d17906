// The floor under every wall: decoding as it happens in life, and nothing else.
#pragma once

#include <functional>
#include <vector>

#include "content/coded_pictures.h"

namespace kvbench {

// While `during` runs, `streams` threads each decode the film with libavcodec alone, a picture every 40 ms,
// the threads apart from each other. Between two pictures of a stream the caches go cold, as they do on a
// wall. `during` can ask how many pictures have been decoded so far.
void DecodePaced(kvtest::Coding coding, const std::vector<kvtest::CodedUnit>& film, int streams,
                 const std::function<void(const std::function<long()>&)>& during);

}  // namespace kvbench
