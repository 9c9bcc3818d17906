// Options and switches that hold for all channels. Set by the console, read by all threads.
#pragma once

#include <atomic>

namespace kvmon {

struct ChannelGlobals {
    std::atomic<bool> debugLines{false};         // all information lines, whatever the mask
    std::atomic<bool> saveProcessImage{false};   // SaveProcessImage: a snapshot takes the composed picture
    std::atomic<bool> streamFromCamera{true};    // StreamFromCamera
    std::atomic<bool> multiThreadDecode{false};  // decoders may use decoderThreads threads
    std::atomic<int> decoderThreads{1};
};

ChannelGlobals& Globals();
// 1 unless the multi-thread switch is set.
int GetDecoderThreads();

}  // namespace kvmon
