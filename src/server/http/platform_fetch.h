// The transport over the platform's HTTP client.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/worker.h"

namespace kvmon {

bool FetchByPlatform(std::vector<std::uint8_t>& data, const std::string& url, const std::string& contentType,
                     const std::string& user, const std::string& password, const FlagWord* abortFlag);

}  // namespace kvmon
