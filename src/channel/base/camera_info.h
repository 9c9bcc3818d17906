// What a camera can do, as its recorder tells.
#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace kvmon {

inline constexpr std::size_t kPresetCount = 10;
// The texts for presets without a name of their own begin here.
inline constexpr std::uint32_t kTextFirstPreset = 3544;

// How a recorder takes presets.
struct PresetFormat {
    std::int32_t nPresetCount = 0;
    std::int32_t bNamesSupported = 0;
    std::int32_t nPresetMode = 2;
    friend bool operator==(const PresetFormat&, const PresetFormat&) = default;
};

struct CameraInfo {
    bool bPan = false;
    bool bTilt = false;
    bool bZoomable = false;
    bool bFocusable = false;
    bool bHome = false;
    bool bClickToCentre = false;
    bool bFurther = false;  // bit 128 of the capability word
    bool bAudio = false;
    std::uint32_t dwPresetMask = 0;  // bit i: preset i exists
    // As a menu takes them: "&" stands twice. Empty: the preset has no name of its own.
    std::array<std::string, kPresetCount> presetNames;
    bool IsPanAndTiltable() const { return bPan || bTilt; }
    bool HasPresets() const { return dwPresetMask != 0; }
    friend bool operator==(const CameraInfo&, const CameraInfo&) = default;
};

}  // namespace kvmon
