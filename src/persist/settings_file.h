// The database file of the settings tree.
#pragma once

#include <string>

#include "persist/settings_connection.h"
#include "persist/settings_tree.h"
#include "platform/clock.h"

namespace kvmon {

// Values in one table; a key exists for as long as it or a key below it has values. The file is open only
// within a call, and in each under the shared lock of a file beside it: whoever has the exclusive one is
// alone with the database, and can give it another name. One thread at a time.
class SettingsFile {
public:
    // No call waits longer than about this for another process.
    SettingsFile(std::string path, Milliseconds wait) : m_path(std::move(path)), m_wait(wait) {}

    const std::string& Path() const { return m_path; }
    // All values, after a check of the whole file, which is made when there is none.
    FileResult Load(SettingsRows& rows);
    // All changes or none.
    FileResult Apply(const SettingsChanges& changes);
    // Gives the damaged file another name, once: what another process has put in its place is found sound and
    // stays. Done if there is a sound file or none, and `aside` is the name if this call gave it.
    FileResult SetAside(std::string& aside);
    // The cause of the last failure.
    const std::string& Error() const { return m_error; }

private:
    const std::string m_path;
    const Milliseconds m_wait;
    std::string m_error;
};

}  // namespace kvmon
