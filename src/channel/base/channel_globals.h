// Options and switches that hold for all channels. Set by the console, read by all threads.
#pragma once

#include <atomic>

namespace kvmon {

struct ChannelGlobals {
    std::atomic<bool> debugLines{false};        // all information lines, whatever the mask
    std::atomic<bool> saveProcessImage{false};  // SaveProcessImage: a snapshot takes the composed picture
    std::atomic<bool> streamFromCamera{true};   // StreamFromCamera
    std::atomic<bool> keepUnseen{true};         // KeepUnseen: what nobody sees is kept undecoded
    // FewerInSmallCells: there pictures that no other needs are left out
    std::atomic<bool> fewerInSmallCells{false};
    // ScaleOnDevice: what a device decodes is made as small there as its cell
    std::atomic<bool> scalesOnDevice{true};
    std::atomic<bool> pacesPictures{true};  // PacePictures: each takes the screen at its time
    std::atomic<int> decoderThreads{1};     // of each decoder that can share its work
};

ChannelGlobals& Globals();
// 1 unless the program was started with more.
int GetDecoderThreads();

}  // namespace kvmon
