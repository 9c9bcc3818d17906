// The settings: one tree of typed values, in a database file or in an ini file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kvmon {

class SettingsBackend;

// What names the tree of this installation.
struct RegistryApp {
    std::string company = "Orvo";
    std::string product = "kvmon";
    std::string databasePath;  // registry form; empty: settings.db in the data folder
    std::string iniPath;       // ini form
};

// All settings of the client, of each channel and each server. A section is a path with "\\" between its
// keys, relative to the root; an empty section is the root itself. Names are compared without regard to
// ASCII case.
//
// A write is on the disk whole or not at all, whatever happens meanwhile, and two programs on one file
// do not lose each other's values. Nothing here is ever reported to the user: a read that fails gives its
// default, a write false. Any thread.
class COrvoRegistry {
public:
    COrvoRegistry();
    ~COrvoRegistry();
    COrvoRegistry(const COrvoRegistry&) = delete;
    COrvoRegistry& operator=(const COrvoRegistry&) = delete;

    // Opens the tree. A damaged database file is set aside under another name, with one line in the trace
    // and on standard error, and a new one begun; where no file can be had the tree lives in memory.
    void InitRegistry(bool bUseIni, const RegistryApp& app);
    const std::string& GetRoot() const { return m_strRegRoot; }
    // Brings the file into its resting form. Reads give their defaults afterwards, writes false.
    void Close();

    // The default for a value that is missing or of another kind.
    std::uint32_t GetProfileInt(std::string_view section, std::string_view entry,
                                std::uint32_t nDefault) const;
    bool WriteProfileInt(std::string_view section, std::string_view entry, std::uint32_t nValue);
    // At most 2304 characters (UTF-16 units).
    std::string GetProfileString(std::string_view section, std::string_view entry,
                                 std::string_view defaultText) const;
    bool WriteProfileString(std::string_view section, std::string_view entry, std::string_view value);
    // Bytes; 0 for a missing value.
    std::size_t GetProfileBinarySize(std::string_view section, std::string_view entry) const;
    // Reads at most the buffer's size and gives the number of bytes read.
    std::size_t GetProfileBinary(std::string_view section, std::string_view entry,
                                 std::span<std::uint8_t> data) const;
    bool WriteProfileBinary(std::string_view section, std::string_view entry,
                            std::span<const std::uint8_t> data);
    // Deletes the key and all below it; ini form: the entry of that name, or the section.
    bool DeleteSection(std::string_view section, std::string_view subSection = {});

    // The writes made during its life reach the disk together, or none of them does.
    class Batch {
    public:
        explicit Batch(COrvoRegistry& registry);
        ~Batch();
        Batch(const Batch&) = delete;
        Batch& operator=(const Batch&) = delete;

    private:
        COrvoRegistry& m_registry;
    };

private:
    std::string FullPath(std::string_view section) const;
    std::string ReadBinaryText(std::string_view section, std::string_view entry) const;

    std::string m_strRegRoot;
    bool m_bUseIni = false;
    std::unique_ptr<SettingsBackend> m_backend;
};

// The program's one tree.
COrvoRegistry& Registry();

}  // namespace kvmon
