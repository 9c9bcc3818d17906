// Which of a channel's streams to ask for.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace kvmon {

// Where a channel takes its pictures from, as the user wants it.
inline constexpr std::uint32_t kStreamFromOption = 0;
inline constexpr std::uint32_t kStreamFromRecorder = 1;
inline constexpr std::uint32_t kStreamFromCamera = 2;

// One stream of the channel, as the recorder offers it.
struct StreamProfile {
    std::string name;
    int sizeClass = 0;  // 0 QCIF to 4 Large
    std::int32_t streamId = 0;

    friend bool operator==(const StreamProfile&, const StreamProfile&) = default;
};

enum class StreamUse { WholePicture, DigitalZoom };
// The stream for a view of nPixels. Digital zoom takes the last one, which is the largest; 0 when there
// is no choice.
std::int32_t SelectStreamId(std::span<const StreamProfile> profiles, StreamUse use, std::uint64_t nPixels);

// The picture that a size class stands for in the choice of a size.
struct ClassSize {
    int cx = 0;
    int cy = 0;
};

// As the list of sizes shows a stream: "VGA[name]", and its picture. Nothing for a class out of range.
std::string StreamSizeText(const StreamProfile& profile);
std::optional<ClassSize> StreamClassSize(const StreamProfile& profile);
// The entry that the list begins at: the first that a wanted size exceeds by no more than two fifths; -1 for
// none.
int PreselectStream(std::span<const StreamProfile> profiles, std::uint64_t nPixels);

}  // namespace kvmon
