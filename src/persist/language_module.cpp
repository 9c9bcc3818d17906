#include "persist/language_module.h"

#include <dirent.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <memory>
#include <system_error>

#include "persist/utilities.h"
#include "platform/outside_text.h"
#include "platform/text.h"

namespace kvmon {

namespace {

struct FolderEnd {
    void operator()(DIR* folder) const { ::closedir(folder); }
};

constexpr std::string_view kFirstLine = "kvmon language module 1";
constexpr std::string_view kLangidKey = "langid ";
constexpr std::uint16_t kEnglishUs = 0x0409;
constexpr std::uint16_t kPrimaryMask = 0x3FF;
constexpr std::size_t kMaxFiles = 256;

char LowerAscii(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// KVMON???.DLL
bool IsModuleName(std::string name) {
    std::transform(name.begin(), name.end(), name.begin(), LowerAscii);
    return name.size() == 12 && name.starts_with("kvmon") && name.ends_with(".dll");
}

std::string_view TakeLine(std::string_view& text) {
    const std::size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    if (line.ends_with('\r')) {
        line.remove_suffix(1);
    }
    return line;
}

// 0 for a text that is no language.
std::uint16_t ReadLangid(std::string_view& text) {
    if (TakeLine(text) != kFirstLine) {
        return 0;
    }
    std::string_view line = TakeLine(text);
    if (!line.starts_with(kLangidKey)) {
        return 0;
    }
    line.remove_prefix(kLangidKey.size());
    if (!line.starts_with("0x")) {
        return 0;
    }
    line.remove_prefix(2);
    std::uint16_t langid = 0;
    const auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), langid, 16);
    return error == std::errc() && end == line.data() + line.size() ? langid : std::uint16_t{0};
}

std::string ReadFile(const std::string& path, std::size_t nMax) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error)) {
        return {};
    }
    std::ifstream file(path, std::ios::binary);
    std::string text(nMax + 1, '\0');
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(file.gcount()));
    return text;
}

std::string Unescape(std::string_view text) {
    std::string plain;
    plain.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\' || i + 1 == text.size()) {
            plain += text[i];
            continue;
        }
        ++i;
        plain += text[i] == 'n' ? '\n' : text[i];
    }
    return plain;
}

void AddText(LanguageModule& module, std::string_view line) {
    std::uint32_t id = 0;
    const auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), id);
    if (error != std::errc() || end == line.data() + line.size() || *end != ' ') {
        return;
    }
    const std::string_view text = line.substr(static_cast<std::size_t>(end - line.data()) + 1);
    if (!text.empty() && IsValidUtf8(text)) {
        module.texts[id] = OutsideText(Unescape(text));
    }
}

}  // namespace

std::vector<std::string> LanguageModuleFolders() {
    return {GetDataFolder(), GetModuleFileFolder(), GetSharedFolder()};
}

std::vector<LanguageModuleFile> ListLanguageModules(const std::vector<std::string>& folders) {
    constexpr std::size_t kHeadBytes = 64;
    std::vector<LanguageModuleFile> files;
    for (const std::string& folder : folders) {
        std::vector<std::string> paths;
        // The standard library's way through a folder ends the program where memory is short.
        const std::unique_ptr<DIR, FolderEnd> open(::opendir(folder.c_str()));
        while (const dirent* const entry = open ? ::readdir(open.get()) : nullptr) {
            if (IsModuleName(entry->d_name) && paths.size() < kMaxFiles) {
                paths.push_back(folder + "/" + entry->d_name);
            }
        }
        std::sort(paths.begin(), paths.end());
        for (const std::string& path : paths) {
            const std::string head = ReadFile(path, kHeadBytes);
            std::string_view text = head;
            files.push_back({path, ReadLangid(text)});
        }
    }
    return files;
}

std::optional<std::size_t> ChooseLanguageModule(const std::vector<LanguageModuleFile>& files,
                                                std::uint16_t wanted, std::uint16_t user) {
    std::optional<std::size_t> first;
    std::optional<std::size_t> sameUser;
    std::optional<std::size_t> samePrimary;
    std::optional<std::size_t> english;
    const int userPrimary = user & kPrimaryMask;
    for (std::size_t i = 0; i < files.size(); ++i) {
        const std::uint16_t langid = files[i].langid;
        if (langid == 0) {
            continue;
        }
        if (langid == wanted) {
            return i;
        }
        first = first.value_or(i);
        if ((langid & kPrimaryMask) == userPrimary) {
            samePrimary = i;
        }
        if (langid == user) {
            sameUser = i;
        }
        if (langid == kEnglishUs) {
            english = i;
        }
    }
    for (const auto& choice : {sameUser, samePrimary, english}) {
        if (choice) {
            return choice;
        }
    }
    return first;
}

std::optional<LanguageModule> ParseLanguageModule(std::string_view text) {
    if (text.size() > kMaxLanguageModuleBytes) {
        return std::nullopt;
    }
    LanguageModule module;
    module.langid = ReadLangid(text);
    if (module.langid == 0) {
        return std::nullopt;
    }
    while (!text.empty()) {
        const std::string_view line = TakeLine(text);
        if (!line.empty() && line.front() != '#') {
            AddText(module, line);
        }
    }
    return module;
}

std::optional<LanguageModule> LoadLanguageModule(const std::string& path) {
    return ParseLanguageModule(ReadFile(path, kMaxLanguageModuleBytes));
}

}  // namespace kvmon
