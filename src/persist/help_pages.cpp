#include "persist/help_pages.h"

#include <algorithm>
#include <filesystem>

#include "persist/utilities.h"

namespace kvmon {

namespace {

constexpr std::string_view kEnglishPages = "eng/";
constexpr const char* kHelp = "/help";

bool IsWord(std::string_view text) {
    return !text.empty() && text.size() <= 32 && std::all_of(text.begin(), text.end(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-';
    });
}

bool IsFileName(std::string_view name) {
    const std::size_t dot = name.find('.');
    return dot != std::string_view::npos && IsWord(name.substr(0, dot)) && IsWord(name.substr(dot + 1));
}

}  // namespace

std::string HelpFolder() {
    for (const std::string& folder : {GetModuleFileFolder(), GetSharedFolder()}) {
        std::error_code error;
        const auto path = std::filesystem::canonical(folder + kHelp, error);
        if (!error && IsFolder(path.string())) {
            return path.string();
        }
    }
    return {};
}

std::optional<std::string> FindHelpFile(const std::string& folder, std::string_view name) {
    const std::size_t stroke = name.find('/');
    const std::string_view file = stroke == std::string_view::npos ? name : name.substr(stroke + 1);
    const bool bPlain = stroke == std::string_view::npos || IsWord(name.substr(0, stroke));
    if (folder.empty() || !bPlain || !IsFileName(file)) {
        return std::nullopt;
    }
    std::string path = folder + "/" + std::string(name);
    if (stroke != std::string_view::npos && !FileExists(path)) {
        path = folder + "/" + std::string(kEnglishPages) + std::string(file);
    }
    return FileExists(path) ? std::optional(std::move(path)) : std::nullopt;
}

}  // namespace kvmon
