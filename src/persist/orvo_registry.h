// The settings: one tree of typed values, in a database file or in an ini file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "persist/settings_tree.h"
#include "persist/site_settings.h"
#include "platform/clock.h"

namespace kvmon {

class SettingsBackend;

// What names the tree of this installation.
struct RegistryApp {
    std::string company = "Orvo";
    std::string product = "kvmon";
    std::string databasePath;  // registry form; empty: settings.db in the data folder
    std::string iniPath;       // ini form
    std::string sitePath;      // registry form; empty: SiteSettingsPath()
};

// All settings of the client, of each channel and each server. A section is a path with "\\" between its
// keys, relative to the root; an empty section is the root itself. Names are compared without regard to
// ASCII case.
//
// In the database form the tree lives in memory, read once, and a thread of its own brings changes to the
// file at once, together what comes together: no call waits for the disk or for another program's lock. What
// cannot be written is tried again, and told in one line of the trace and of standard error. In the ini form
// each call reads and writes the file.
//
// In the database form a value that the user has not set is the site's, if the site's file has it.
//
// A change is on the disk whole or not at all, whatever happens meanwhile. Each program writes only what it
// changed, so that two on one file do not lose each other's values; what another changed shows at the next
// start. A read that fails gives its default, a write to a closed tree false. Any thread.
class COrvoRegistry {
public:
    COrvoRegistry();
    ~COrvoRegistry();
    COrvoRegistry(const COrvoRegistry&) = delete;
    COrvoRegistry& operator=(const COrvoRegistry&) = delete;

    // Opens the tree. A damaged database file is set aside under another name, with one line in the trace
    // and on standard error, and a new one begun; where no file can be had the tree lives in memory alone.
    void InitRegistry(bool bUseIni, const RegistryApp& app);
    const std::string& GetRoot() const { return m_strRegRoot; }
    // Writes what still waits, for this long at most, and brings the file into its resting form. False, with
    // one line that tells it, if something could not be written. Reads give their defaults afterwards, writes
    // false.
    bool Close(Milliseconds limit = Milliseconds(4000));

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
    // The names of the sections right below this one that hold something.
    std::vector<std::string> GetSections(std::string_view section) const;
    // Deletes the key and all below it; ini form: the entry of that name, or the section.
    bool DeleteSection(std::string_view section, std::string_view subSection = {});

    // The changes made during its life reach the disk together, or none of them does. A section that is
    // deleted and written again as it was is no change.
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
    std::optional<SettingsValue> Read(std::string_view section, std::string_view entry) const;
    std::string ReadBinaryText(std::string_view section, std::string_view entry) const;

    std::string m_strRegRoot;
    bool m_bUseIni = false;
    std::unique_ptr<SettingsBackend> m_backend;
    SiteSettings m_site;
};

// The program's one tree.
COrvoRegistry& Registry();

}  // namespace kvmon
