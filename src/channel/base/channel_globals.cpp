#include "channel/base/channel_globals.h"

#include <algorithm>

namespace kvmon {

ChannelGlobals& Globals() {
    static ChannelGlobals globals;
    return globals;
}

int GetDecoderThreads() {
    return std::max(Globals().decoderThreads.load(), 1);
}

}  // namespace kvmon
