// The cameras that a search found: as a list, and as a configuration that serves them.
#pragma once

#include <iosfwd>
#include <span>
#include <string>

#include "onvif/camera_search.h"
#include "service/options.h"

namespace kvrecorder {

// A line for each, in columns, below a heading; behind them what is wrong with some.
std::string ListFound(std::span<const FoundCamera> found);

// A configuration with a channel for each, and a user who may do everything. The password file goes before
// the password; both may be empty.
std::string MakeFoundConfig(std::span<const FoundCamera> found, const std::string& cameraUser,
                            const Secret& cameraPassword, const std::string& passwordFile,
                            const Secret& password);

// What --discover does; the program's exit status. Throws ConfigError.
int FindCameras(const Options& options, std::ostream& out,
                const std::function<Secret(const std::string& prompt)>& ask);

}  // namespace kvrecorder
