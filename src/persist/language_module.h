// Language modules: files of display texts, one language each, named KVMON???.DLL.
//
// A module is UTF-8 text. The first line is "kvmon language module 1", the second "langid 0x040C"; each
// further line is a number, a blank and the text, in which \n stands for a line break and \\ for a backslash.
// Empty lines and lines that begin with # are skipped. A module comes from a site's own hands, so nothing in
// it is trusted.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace kvmon {

inline constexpr std::size_t kMaxLanguageModuleBytes = 1024 * 1024;

struct LanguageModuleFile {
    std::string path;
    std::uint16_t langid = 0;  // 0: the file is no module
};

struct LanguageModule {
    std::uint16_t langid = 0;
    std::unordered_map<std::uint32_t, std::string> texts;
};

// The modules' files in the folders, folder by folder and by name within one; names match without regard to
// case.
std::vector<LanguageModuleFile> ListLanguageModules(const std::vector<std::string>& folders);
// Where modules are looked for: the data folder, then the program's own.
std::vector<std::string> LanguageModuleFolders();

// Index of the module to load for the wanted language, with the user's own language (0 if unknown): the
// wanted one, else the user's, else one of the user's primary language, else US English, else the first;
// nothing if no file has a language.
std::optional<std::size_t> ChooseLanguageModule(const std::vector<LanguageModuleFile>& files,
                                                std::uint16_t wanted, std::uint16_t user);

// Nothing if the text is too long or no module. A line that is wrong is left out.
std::optional<LanguageModule> ParseLanguageModule(std::string_view text);
// Nothing if the file cannot be read, too.
std::optional<LanguageModule> LoadLanguageModule(const std::string& path);

}  // namespace kvmon
