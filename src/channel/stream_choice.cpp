#include "channel/stream_choice.h"

#include <iterator>

namespace kvmon {

namespace {

// The largest picture of each size class, in pixels.
constexpr std::uint64_t kClassLimits[] = {
    25344,    // QCIF
    101376,   // CIF
    307200,   // VGA
    1228800,  // 2VGA
    1228801,  // Large
};

}  // namespace

std::int32_t SelectStreamId(std::span<const StreamProfile> profiles, bool bDigitalZoom,
                            std::uint64_t nPixels) {
    if (profiles.size() < 2) {
        return 0;
    }
    if (!bDigitalZoom) {
        for (const StreamProfile& profile : profiles) {
            const auto sizeClass = static_cast<std::size_t>(profile.sizeClass);
            if (sizeClass < std::size(kClassLimits) && kClassLimits[sizeClass] >= nPixels) {
                return profile.streamId;
            }
        }
    }
    return profiles.back().streamId;
}

}  // namespace kvmon
