// The requests of a channel's command thread, byte for byte, and what can be read without a connection.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "channel/base/camera_info.h"

namespace kvmon {

struct TargetSettings;

// All requests are shorter than this, the NUL included.
inline constexpr std::size_t kCommandRequestSize = 640;

// The request of a move, a preset or a click. Nothing for a command that has no wire form or does not fit.
std::optional<std::string> BuildPtzRequest(std::uint32_t dwCmd, std::uint32_t dwArg,
                                           const TargetSettings& settings);
// The request of a bare ptz.cgi command number: 15 preset table, 16 capabilities, 20 preset format.
std::optional<std::string> BuildPtzQuery(int nWireCommand, const TargetSettings& settings);
std::optional<std::string> BuildAudioQuery(const TargetSettings& settings);
std::optional<std::string> BuildManualRecording(bool bOn, const TargetSettings& settings);
// ptz.cgi command 21 or 22 with its argument text.
std::optional<std::string> BuildPresetCommand(int nWireCommand, std::string_view argument,
                                              const TargetSettings& settings);
// The argument of commands 21 and 22. Nothing for a name that cannot be sent.
std::optional<std::string> FormatPresetArgument(std::uint32_t nIndex, std::string_view name,
                                                bool bNamesSupported);

// The capability word of command 16. False for a body that is an error.
bool ParseCapabilities(std::string_view body, CameraInfo& info, bool& bHasPresets);
// The preset table of command 15.
bool ParsePresetTable(std::string_view body, CameraInfo& info);
// The preset format of command 20.
bool ParsePresetFormat(std::string_view body, PresetFormat& format);

}  // namespace kvmon
