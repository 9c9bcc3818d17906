// The table of a channel in the configuration file. Inside this folder only.
#pragma once

#include "state/recorder_config.h"
#include "state/table_reader.h"

namespace kvrecorder {

ChannelConfig ReadChannel(TableReader& reader, std::vector<std::string>& secretFiles);

}  // namespace kvrecorder
