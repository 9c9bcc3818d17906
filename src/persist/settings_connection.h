// A connection to the database of the settings. Inside this folder only.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "persist/settings_tree.h"
#include "platform/clock.h"

struct sqlite3;
struct sqlite3_stmt;

namespace kvmon {

enum class FileResult {
    Done,
    Busy,     // another process holds it; later it may go
    Damaged,  // not a database, not whole, or with a table of another make
    Failed,
};

// One thread; gone at the end of each operation on the file, with a transaction that was not committed.
class SettingsConnection {
public:
    // Makes the file where there is none. No call waits longer than `wait` for another process.
    SettingsConnection(const std::string& path, Milliseconds wait);
    ~SettingsConnection();
    SettingsConnection(const SettingsConnection&) = delete;
    SettingsConnection& operator=(const SettingsConnection&) = delete;

    // That the file is whole and has the table as it is made here. Done with a code that tells more.
    FileResult CheckAll();
    FileResult ReadAll(SettingsRows& rows);
    // All changes or none.
    FileResult Apply(const SettingsChanges& changes);
    // The words for what the last step met.
    const char* ErrorText() const;

private:
    struct StatementEnd {
        void operator()(sqlite3_stmt* statement) const;
    };
    using Statement = std::unique_ptr<sqlite3_stmt, StatementEnd>;

    bool Run(const char* sql);
    Statement Prepare(const char* sql);
    bool Step(const Statement& statement);
    std::optional<int> Number(const char* sql);
    FileResult Check();
    FileResult HaveTable();
    bool DeletePaths(const SettingsChanges& changes);
    bool InsertValues(const SettingsChanges& changes);

    sqlite3* m_database = nullptr;
    bool m_bOpen = false;
    int m_code = 0;
};

}  // namespace kvmon
