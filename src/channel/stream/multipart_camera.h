// A camera of no particular make that sends JPEG pictures in one endless multipart reply. Inside this folder
// and its tests only.
#pragma once

#include "channel/stream/recorder_kind.h"

namespace kvmon {

struct CameraSettings;

class MultipartCamera final : public RecorderKind {
public:
    // A record without a maker, but with the place of the pictures.
    static bool Serves(const CameraSettings& settings);

    bool CanStreamFromCamera() const override { return true; }
    // Asks for the place that the recorder told. The place is the recorder's word: nothing in it can end the
    // request's line.
    int GetVideoCmd(const TargetSettings& settings, std::int32_t nStreamId,
                    std::span<char> request) const override;
};

}  // namespace kvmon
