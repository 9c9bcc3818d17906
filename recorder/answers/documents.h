// The texts that clients read. Bodies only; lines end with a bare line feed, since clients keep a carriage
// return as part of a name.
#pragma once

#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>

#include "state/recorder_model.h"

namespace kvrecorder {

// Eight hexadecimal digits for a key of its own, then eight for each character.
std::string ScrambleLine(std::string_view text);

// Camera passwords go only to users who may watch the channel.
std::string MakeInitInfo(const Snapshot& state, const User& user);
std::string MakeExtInfo(const Snapshot& state, const User& user);
std::string MakeStatus(const Snapshot& state, const User& user, const DiskFigures& disk);
// The streams of every channel that the user may watch. For all 128 that is more than the 8192 bytes that
// some clients read; such a client takes the first stream of the channels behind.
std::string MakeStreamInfo(const Snapshot& state, const User& user);
std::string MakeCapabilities(const Snapshot& state, const User& user);
// The page of the site map; clients take the title from it.
std::string MakeMapPage(const ServerConfig& server);
std::string MakeSystemGroup(std::time_t now);
std::string MakeMediaProperty(const Channel& channel, bool sound);
std::string MakePresetTable(const Channel& channel);
// What a camera knows and can do: a count and the names, a decimal word, and the form of the names.
std::string MakePtzCapabilities(const Channel& channel);
std::string MakePresetFormat(const Channel& channel);

}  // namespace kvrecorder
