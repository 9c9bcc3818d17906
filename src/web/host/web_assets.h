// The files that the web host serves.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kvmon {

struct WebAsset {
    const char* path;
    const char* type;
    std::vector<const char*> files;  // one behind the other
    bool holdsToken;
};

// Null for a path that is not served.
const WebAsset* FindWebAsset(std::string_view path);
std::string ReadWebAsset(const WebAsset& asset);
struct HelpFile {
    const char* type;
    std::string bytes;
};
// Nothing for a file of another kind than pages are made of, or that is longer than they are.
std::optional<HelpFile> ReadHelpFile(const std::string& path);
// The text with the session token in its place.
std::string WithToken(std::string text, const std::string& token);

}  // namespace kvmon
