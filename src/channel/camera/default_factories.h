// The parts that channels take unless they are given others.
#pragma once

#include "channel/base/channel_factories.h"

namespace kvmon {

// Those that a channel made from now on takes: sound goes to the system's sound card. Set by the program's
// start, on the thread that makes the channels.
ChannelFactories& Factories();

}  // namespace kvmon
