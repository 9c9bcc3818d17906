#include "answers/map_picture.h"

#include <filesystem>
#include <fstream>

#include "media/site_map.h"

namespace kvrecorder {
namespace {

constexpr std::uintmax_t kMaxBytes = 8 * 1024 * 1024;

std::string ReadSmallFile(const std::string& path) {
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(path, error);
    std::ifstream file(path, std::ios::binary);
    if (error || size > kMaxBytes || !file) {
        return "";
    }
    std::string bytes(static_cast<std::size_t>(size), '\0');
    file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    bytes.resize(static_cast<std::size_t>(file.gcount()));
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
