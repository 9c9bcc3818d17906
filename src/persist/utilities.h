// Small shared functions: Base64, URL text, time text, folders.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kvmon {

// Base64 with the standard alphabet and "=" padding, NUL-terminated. Gives the length, 0 if nOutSize
// is too small. With bLineBreaks an LF stands behind every 76 characters of whole groups, also at
// the end, and a buffer below 76 gives 0 with nothing written.
std::size_t Base64Encode(const void* pData, std::size_t nLength, char* pOut, std::size_t nOutSize,
                         bool bLineBreaks);
// The decoded bytes. Blanks, tabs, CR and LF are skipped; other foreign characters count as 0.
std::string Base64Decode(std::string_view text);

// Base64 of "user:password" with line breaks; empty if one of them has 64 bytes or more.
std::string MakeBasicAuth(std::string_view user, std::string_view password);
// Base64 of a text with line breaks.
std::string EncodeBasicAuth(std::string_view text);
// User and password of a Base64 text, each cut to its size less one; nothing without a colon.
std::optional<std::pair<std::string, std::string>> SplitBasicAuth(std::string_view base64,
                                                                  std::size_t nUserSize,
                                                                  std::size_t nPasswordSize);

// Kept: these three are part of the helpers' interface.
// Every UTF-16 unit but digits and ASCII letters as "%" and at least two hexadecimal digits.
std::string EscapeURL(std::string_view text);
bool IsValidFileName(std::string_view name);
std::string FormatThousands(std::uint64_t nValue);

const char* BoolText(bool bValue);
// "YYYYMMDDhhmmss".
std::string FormatTimeStamp(const std::tm& time);
// Latin-1 text as UTF-8.
std::string FromLatin1(std::string_view text);
// Position of the first occurrence without regard to ASCII case, or npos.
std::size_t stristr(std::string_view text, std::string_view find);
// Kept: part of the helpers' interface, as are the digests of a text and a file below.
bool StringArraysEqual(const std::vector<std::string>& a, const std::vector<std::string>& b);

std::string GetModuleFilePath();
std::string GetModuleFileFolder();
// What belongs to the program of an installed tree, and is not the user's.
std::string GetSharedFolder();
// A program that only this one starts: beside it as it was built, or where an installed tree has it.
std::string GetHelperPath(std::string_view name);
// The folder the client may write: $KVMON_DATA_DIR, else $XDG_DATA_HOME/kvmon, else
// ~/.local/share/kvmon; of low integrity kvmon-low in place of kvmon. Made when missing. A call of
// SetDataFolder goes before all of these.
std::string GetDataFolder();
// The process may write to places of low trust only, as in a browser's sandbox: its folder for temporary
// files is named "low". Found once.
bool IsLowIntegrity();
// The same for a folder's name.
bool IsLowIntegrityFolder(std::string_view tempFolder);
void SetDataFolder(const std::string& path);
bool FileExists(const std::string& path);
bool IsFolder(const std::string& path);
// Makes the folder and those above it, for the user alone.
bool CreateFolder(const std::string& path);

// 16 bytes as 32 lower-case digits.
std::string HexDigest(std::span<const std::uint8_t, 16> hash);
std::string MD5String(std::string_view text);
// Empty if the file cannot be read.
std::string MD5File(const std::string& path);

}  // namespace kvmon
