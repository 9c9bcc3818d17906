// Which of a channel's streams to ask for.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace kvmon {

// One stream of the channel, as the recorder offers it.
struct StreamProfile {
    std::string name;
    int sizeClass = 0;  // 0 QCIF to 4 Large
    std::int32_t streamId = 0;

    friend bool operator==(const StreamProfile&, const StreamProfile&) = default;
};

// The stream for a view of nPixels. Digital zoom takes the last one, which is the largest; 0 when there
// is no choice.
std::int32_t SelectStreamId(std::span<const StreamProfile> profiles, bool bDigitalZoom,
                            std::uint64_t nPixels);

}  // namespace kvmon
