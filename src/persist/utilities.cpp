#include "persist/utilities.h"

#include <nettle/md5.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <mutex>

#include "persist/log_file.h"
#include "platform/text.h"

namespace kvmon {

namespace {

char LowerLetter(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
}

// What a system calls the folder for temporary files of a process of low trust.
constexpr std::string_view kLowName = "low";

std::mutex dataFolderMutex;
std::string chosenDataFolder;

std::string EnvironmentText(const char* name) {
    const char* const value = std::getenv(name);
    return value != nullptr ? value : "";
}

std::string Digest(md5_ctx& md5) {
    std::array<std::uint8_t, MD5_DIGEST_SIZE> hash{};
    md5_digest(&md5, hash.size(), hash.data());
    return HexDigest(hash);
}

const std::uint8_t* BytesOf(const char* text) {
    return static_cast<const std::uint8_t*>(static_cast<const void*>(text));
}

}  // namespace

std::string EscapeURL(std::string_view text) {
    std::string out;
    for (const char16_t unit : ToUtf16(text)) {
        const bool plain =
            (unit >= '0' && unit <= '9') || (unit >= 'A' && unit <= 'Z') || (unit >= 'a' && unit <= 'z');
        out += plain ? std::string(1, static_cast<char>(unit)) : FormatText("%%%02X", unsigned{unit});
    }
    return out;
}

bool IsValidFileName(std::string_view name) {
    return name.find_first_of("<>:\"/\\|") == std::string_view::npos;
}

std::string FormatThousands(std::uint64_t nValue) {
    std::string text = std::to_string(nValue);
    for (std::size_t place = text.size(); place > 3;) {
        text.insert(place -= 3, ",");
    }
    return text;
}

const char* BoolText(bool bValue) {
    return bValue ? "TRUE" : "FALSE";
}

std::string FormatTimeStamp(const std::tm& time) {
    return FormatText("%04d%02d%02d%02d%02d%02d", time.tm_year + 1900, time.tm_mon + 1, time.tm_mday,
                      time.tm_hour, time.tm_min, time.tm_sec);
}

std::string FromLatin1(std::string_view text) {
    std::u16string wide;
    for (const char c : text) {
        wide += static_cast<char16_t>(static_cast<unsigned char>(c));
    }
    return FromUtf16(wide);
}

std::size_t stristr(std::string_view text, std::string_view find) {
    const auto found = std::search(text.begin(), text.end(), find.begin(), find.end(),
                                   [](char a, char b) { return LowerLetter(a) == LowerLetter(b); });
    return found == text.end() && !find.empty() ? std::string_view::npos
                                                : static_cast<std::size_t>(found - text.begin());
}

bool StringArraysEqual(const std::vector<std::string>& a, const std::vector<std::string>& b) {
    return a == b;
}

std::string GetModuleFilePath() {
    static const std::string path = [] {
        std::error_code error;
        return std::filesystem::read_symlink("/proc/self/exe", error).string();
    }();
    return path;
}

std::string GetModuleFileFolder() {
    static const std::string folder = [] {
        std::string made = std::filesystem::path(GetModuleFilePath()).parent_path().string();
        Trace("GetModuleFileFolder: strModuleFolder = %s\n", made.c_str());
        return made;
    }();
    return folder;
}

std::string GetSharedFolder() {
    // A helper asks from another folder than the program.
    const std::string fromProgram = GetModuleFileFolder() + "/" KV_DATA_FROM_PROGRAM;
    std::error_code error;
    return std::filesystem::exists(fromProgram, error) ? fromProgram
                                                       : GetModuleFileFolder() + "/" KV_DATA_FROM_HELPERS;
}

std::string GetHelperPath(std::string_view name) {
    const std::string beside = GetModuleFileFolder() + "/" + std::string(name);
    std::error_code error;
    return std::filesystem::exists(beside, error)
               ? beside
               : GetModuleFileFolder() + "/" KV_HELPERS_FROM_PROGRAM "/" + std::string(name);
}

void SetDataFolder(const std::string& path) {
    const std::lock_guard lock(dataFolderMutex);
    chosenDataFolder = path;
}

std::string GetDataFolder() {
    const std::lock_guard lock(dataFolderMutex);
    if (chosenDataFolder.empty()) {
        chosenDataFolder = EnvironmentText("KVMON_DATA_DIR");
    }
    if (chosenDataFolder.empty()) {
        std::string base = EnvironmentText("XDG_DATA_HOME");
        if (base.empty()) {
            base = EnvironmentText("HOME") + "/.local/share";
        }
        // Of low trust: apart from what other sessions of the user rely on.
        chosenDataFolder = base + (IsLowIntegrity() ? "/kvmon-low" : "/kvmon");
    }
    CreateFolder(chosenDataFolder);
    return chosenDataFolder;
}

bool IsLowIntegrityFolder(std::string_view tempFolder) {
    if (tempFolder.ends_with('/') || tempFolder.ends_with('\\')) {
        tempFolder.remove_suffix(1);
    }
    const std::size_t before = tempFolder.find_last_of("/\\");
    const std::string_view name = tempFolder.substr(before == std::string_view::npos ? 0 : before + 1);
    return name.size() == kLowName.size() && stristr(name, kLowName) == 0;
}

bool IsLowIntegrity() {
    static const bool bLow = IsLowIntegrityFolder(EnvironmentText("TMPDIR"));
    return bLow;
}

bool FileExists(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 || (errno != ENOENT && errno != ENOTDIR);
}

bool IsFolder(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool CreateFolder(const std::string& path) {
    for (std::size_t end = path.find('/', 1); end != std::string::npos; end = path.find('/', end + 1)) {
        ::mkdir(path.substr(0, end).c_str(), 0700);
    }
    return ::mkdir(path.c_str(), 0700) == 0 || IsFolder(path);
}

std::string HexDigest(std::span<const std::uint8_t, 16> hash) {
    std::string text;
    for (const std::uint8_t byte : hash) {
        text += FormatText("%02x", unsigned{byte});
    }
    return text;
}

std::string MD5String(std::string_view text) {
    md5_ctx md5;
    md5_init(&md5);
    md5_update(&md5, text.size(), BytesOf(text.data()));
    return Digest(md5);
}

std::string MD5File(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        return {};
    }
    md5_ctx md5;
    md5_init(&md5);
    char block[4096];
    while (file.read(block, sizeof block), file.gcount() > 0) {
        md5_update(&md5, static_cast<std::size_t>(file.gcount()), BytesOf(block));
    }
    return Digest(md5);
}

}  // namespace kvmon
