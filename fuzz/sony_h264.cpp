// Blocks of a Sony camera's stream.
#include <cstdlib>

#include "codec/sony_h264.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    kvmon::TSonyH264VideoSource source;
    for (int i = 0; i < 2; ++i) {
        source.parse_header({data, size});
    }
    if (source.width() < 0 || source.width() > 16384 || source.height() < 0 || source.height() > 16384) {
        std::abort();
    }
    return 0;
}
