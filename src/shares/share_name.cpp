#include "shares/share_name.h"

#include <algorithm>
#include <vector>

namespace kvmon {

namespace {

constexpr std::size_t kMaxHost = 253;
constexpr std::size_t kMaxShare = 80;
constexpr std::size_t kMaxPart = 255;
constexpr std::size_t kMaxText = 1024;
constexpr std::string_view kScheme = "smb:";

// By hand, since the locale must not have a say.
bool IsAlphanumeric(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

char ToLower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

std::string Lower(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(), ToLower);
    return lower;
}

bool IsHost(std::string_view text) {
    return text.size() <= kMaxHost && text.front() != '.' && text.front() != '-' &&
           std::all_of(text.begin(), text.end(),
                       [](char c) { return IsAlphanumeric(c) || c == '.' || c == '-' || c == '_'; });
}

bool IsFolder(std::string_view text, std::size_t maxLength) {
    return text.size() <= maxLength && text != "." && text != ".." &&
           std::all_of(text.begin(), text.end(), [](char c) {
               const auto byte = static_cast<unsigned char>(c);
               return byte >= 0x20 && byte != 0x7F &&
                      std::string_view("\"*:<>?|").find(c) == std::string_view::npos;
           });
}

std::vector<std::string_view> Parts(std::string_view text) {
    std::vector<std::string_view> parts;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find_first_of("\\/"), text.size());
        if (end > 0) {
            parts.push_back(text.substr(0, end));
        }
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return parts;
}

}  // namespace

void AppendEscaped(std::string& url, std::string_view text) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    for (const char c : text) {
        if (IsAlphanumeric(c) || c == '/' || c == '-' || c == '_' || c == '.') {
            url += c;
            continue;
        }
        const auto byte = static_cast<unsigned char>(c);
        url += '%';
        url += kDigits[byte >> 4];
        url += kDigits[byte & 15];
    }
}

std::optional<ShareName> ParseShareName(std::string_view text) {
    if (text.size() > kMaxText) {
        return std::nullopt;
    }
    if (Lower(text.substr(0, kScheme.size())) == kScheme) {
        text.remove_prefix(kScheme.size());
    }
    const std::vector<std::string_view> parts = Parts(text);
    if (parts.size() < 2 || !IsHost(parts[0]) || !IsFolder(parts[1], kMaxShare)) {
        return std::nullopt;
    }
    ShareName name{std::string(parts[0]), std::string(parts[1]), {}};
    for (std::size_t i = 2; i < parts.size(); ++i) {
        if (!IsFolder(parts[i], kMaxPart)) {
            return std::nullopt;
        }
        name.folder += (name.folder.empty() ? "" : "/") + std::string(parts[i]);
    }
    return name;
}

std::string ShareUrl(const ShareName& name) {
    std::string url = "smb://" + name.host + "/";
    AppendEscaped(url, name.share);
    if (!name.folder.empty()) {
        url += '/';
        AppendEscaped(url, name.folder);
    }
    return url;
}

std::string ShareKey(const ShareName& name) {
    return Lower(name.host + "/" + name.share + "/" + name.folder);
}

}  // namespace kvmon
