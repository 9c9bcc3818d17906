#include "channel/source/stream_choice.h"

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

constexpr struct {
    const char* name;
    ClassSize size;
} kClasses[] = {
    {"QCIF", {160, 120}},  {"CIF", {320, 240}},    {"VGA", {640, 480}},
    {"2VGA", {1280, 960}}, {"Large", {1281, 960}},
};

bool HasClass(const StreamProfile& profile) {
    return profile.sizeClass >= 0 && profile.sizeClass < static_cast<int>(std::size(kClasses));
}

}  // namespace

std::string StreamSizeText(const StreamProfile& profile) {
    return HasClass(profile) ? std::string(kClasses[profile.sizeClass].name) + "[" + profile.name + "]"
                             : std::string();
}

std::optional<ClassSize> StreamClassSize(const StreamProfile& profile) {
    return HasClass(profile) ? std::optional(kClasses[profile.sizeClass].size) : std::nullopt;
}

int PreselectStream(std::span<const StreamProfile> profiles, std::uint64_t nPixels) {
    for (std::size_t i = 0; i < profiles.size(); ++i) {
        const auto size = StreamClassSize(profiles[i]);
        if (size && nPixels * 100 <= std::uint64_t{140} * static_cast<unsigned>(size->cx * size->cy)) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

std::int32_t SelectStreamId(std::span<const StreamProfile> profiles, StreamUse use, std::uint64_t nPixels) {
    if (profiles.size() < 2) {
        return 0;
    }
    if (use == StreamUse::WholePicture) {
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
