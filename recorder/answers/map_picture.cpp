#include "answers/map_picture.h"

#include <stdexcept>

#include "media/plain_file.h"
#include "media/site_map.h"

namespace kvrecorder {
namespace {

constexpr std::size_t kMaxBytes = 8 * 1024 * 1024;

std::string ReadSmallFile(const std::string& path) {
    std::string bytes = ReadPlainFile(path, kMaxBytes + 1);
    if (bytes.size() > kMaxBytes) {
        throw std::runtime_error("it is larger than 8 MB");
    }
    return bytes;
}

}  // namespace

std::string ReadMapPicture(const Snapshot& state) {
    if (!state.server.mapFile.empty()) {
        return ReadSmallFile(state.server.mapFile);
    }
    std::vector<std::string> names;
    for (const Channel& channel : state.channels) {
        const ChannelConfig& config = channel.config;
        names.push_back(config.configured ? (config.name.empty() ? " " : config.name) : "");
    }
    try {
        const auto bytes = DrawSiteMap(names);
        return std::string(bytes.begin(), bytes.end());
    } catch (const std::exception&) {
        return "";
    }
}

}  // namespace kvrecorder
