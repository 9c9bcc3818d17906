#include "persist/settings_file.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <thread>

#include "persist/log_file.h"
#include "persist/utilities.h"

namespace kvmon {

namespace {

constexpr Milliseconds kStep{10};
constexpr std::size_t kMaxLoaded = 64u << 20;  // a file of more is somebody else's

constexpr char kMakeTable[] =
    "CREATE TABLE IF NOT EXISTS settings (path TEXT NOT NULL COLLATE NOCASE, name TEXT NOT NULL COLLATE "
    "NOCASE, "
    "value, PRIMARY KEY (path, name)) WITHOUT ROWID";
constexpr char kFindTable[] = "SELECT 1 FROM sqlite_master WHERE name = 'settings' COLLATE NOCASE";
constexpr char kCountColumns[] = "SELECT count(*) FROM pragma_table_info('settings')";
constexpr int kColumns = 3;
constexpr char kSelect[] = "SELECT path, name, value FROM settings";
constexpr char kInsert[] =
    "INSERT INTO settings (path, name, value) VALUES (?, ?, ?) "
    "ON CONFLICT (path, name) DO UPDATE SET value = excluded.value";
constexpr char kDelete[] =
    "DELETE FROM settings WHERE path = ?1 OR substr(path, 1, length(?1) + 1) = ?1 || '\\' COLLATE NOCASE";

struct StatementEnd {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, StatementEnd>;

FileResult ResultOf(int code) {
    switch (code & 0xFF) {
        case SQLITE_OK:
        case SQLITE_ROW:
        case SQLITE_DONE:
            return FileResult::Done;
        case SQLITE_BUSY:
        case SQLITE_LOCKED:
        case SQLITE_PROTOCOL:
            return FileResult::Busy;
        case SQLITE_CORRUPT:
        case SQLITE_NOTADB:
            return FileResult::Damaged;
        default:
            return FileResult::Failed;
    }
}

void Bind(sqlite3_stmt* statement, int place, std::string_view text) {
    // No text at all would be bound as NULL, which the table refuses.
    const char* const data = text.data() != nullptr ? text.data() : "";
    sqlite3_bind_text(statement, place, data, static_cast<int>(text.size()), SQLITE_TRANSIENT);
}

std::string TextOf(sqlite3_stmt* statement, int column) {
    const void* const text = sqlite3_column_blob(statement, column);
    const int length = sqlite3_column_bytes(statement, column);
    return text == nullptr ? std::string()
                           : std::string(static_cast<const char*>(text), static_cast<std::size_t>(length));
}

}  // namespace

// The lock beside the file. Who holds it may have been stopped, so that the wait has an end.
class SettingsFile::Guard {
public:
    Guard(const std::string& path, int kind, Milliseconds wait)
        : m_fd(::open((path + ".lock").c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0600)) {
        const auto end = std::chrono::steady_clock::now() + wait;
        while (m_fd >= 0 && !(m_bHeld = ::flock(m_fd, kind | LOCK_NB) == 0) && errno == EWOULDBLOCK &&
               std::chrono::steady_clock::now() < end) {
            std::this_thread::sleep_for(kStep);
        }
    }
    ~Guard() {
        if (m_fd >= 0) {
            ::close(m_fd);
        }
    }
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;

    // Where no file can be made, nobody sets one aside either.
    bool MayRead() const { return m_fd < 0 || m_bHeld; }
    bool IsHeld() const { return m_bHeld; }

private:
    const int m_fd;
    bool m_bHeld = false;
};

class SettingsFile::Connection {
public:
    Connection(const std::string& path, Milliseconds wait) {
        // It holds passwords: the file and its companions, which copy its rights, are the user's alone.
        // Only a new file is touched: closing one that is in use would drop its locks.
        if (const int fd = ::open(path.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0600); fd >= 0) {
            ::close(fd);
        }
        m_code =
            sqlite3_open_v2(path.c_str(), &m_database, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
        m_bOpen = m_code == SQLITE_OK;
        if (!m_bOpen) {
            return;
        }
        sqlite3_busy_timeout(m_database, static_cast<int>(wait.count()));
        // With the write-ahead log others can read whatever a third one locks.
        Run("PRAGMA journal_mode = WAL");
        Run("PRAGMA synchronous = NORMAL");
    }
    ~Connection() { sqlite3_close(m_database); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    bool IsOpen() const { return m_bOpen; }
    int Code() const { return m_code; }
    bool Run(const char* sql) {
        const int code = sqlite3_exec(m_database, sql, nullptr, nullptr, nullptr);
        m_code = code;
        return code == SQLITE_OK;
    }
    Statement Prepare(const char* sql) {
        sqlite3_stmt* raw = nullptr;
        m_code = sqlite3_prepare_v2(m_database, sql, -1, &raw, nullptr);
        return Statement(raw);
    }
    bool Step(const Statement& statement) {
        m_code = sqlite3_step(statement.get());
        return m_code == SQLITE_DONE || m_code == SQLITE_ROW;
    }
    // Of a statement with one number as its result.
    std::optional<int> Number(const char* sql) {
        const Statement statement = Prepare(sql);
        if (!statement || !Step(statement)) {
            return std::nullopt;
        }
        return m_code == SQLITE_ROW ? sqlite3_column_int(statement.get(), 0) : 0;
    }

    // That the file has the table as it is made here. Done with a code that tells more.
    FileResult HaveTable() {
        auto found = Number(kFindTable);
        if (found == 0 && Run(kMakeTable)) {
            found = 1;
        }
        const auto columns = found == 1 ? Number(kCountColumns) : std::nullopt;
        if (!columns) {
            return ResultOf(m_code);
        }
        // A file of another make may have a table of this name with other columns, or without the key.
        if (columns != kColumns || !Prepare(kSelect) || !Prepare(kInsert)) {
            const FileResult result = ResultOf(m_code);
            const bool bOther = result == FileResult::Done || (m_code & 0xFF) == SQLITE_ERROR;
            return bOther ? FileResult::Damaged : result;
        }
        return FileResult::Done;
    }
    FileResult Check() {
        const Statement statement = Prepare("PRAGMA quick_check(1)");
        if (!statement || !Step(statement)) {
            return ResultOf(m_code);
        }
        return m_code == SQLITE_ROW && TextOf(statement.get(), 0) != "ok" ? FileResult::Damaged
                                                                          : FileResult::Done;
    }
    FileResult CheckAll() {
        if (!m_bOpen) {
            return ResultOf(m_code);
        }
        const FileResult result = Check();
        return result == FileResult::Done ? HaveTable() : result;
    }

private:
    sqlite3* m_database = nullptr;
    bool m_bOpen = false;
    int m_code = SQLITE_OK;
};

FileResult SettingsFile::Load(SettingsRows& rows) {
    const Guard guard(m_path, LOCK_SH, m_wait);
    if (!guard.MayRead()) {
        m_error = "another process sets it aside";
        return FileResult::Busy;
    }
    Connection connection(m_path, m_wait);
    FileResult result = connection.CheckAll();
    if (result == FileResult::Done) {
        const Statement statement = connection.Prepare(kSelect);
        std::size_t loaded = 0;
        while (statement && connection.Step(statement) && connection.Code() == SQLITE_ROW &&
               loaded < kMaxLoaded) {
            SettingsKey key{TextOf(statement.get(), 0), TextOf(statement.get(), 1)};
            loaded += key.path.size() + key.name.size();
            switch (sqlite3_column_type(statement.get(), 2)) {
                case SQLITE_INTEGER:
                    rows[std::move(key)] =
                        static_cast<std::uint32_t>(sqlite3_column_int64(statement.get(), 2));
                    break;
                case SQLITE_TEXT: {
                    std::string text = TextOf(statement.get(), 2);
                    loaded += text.size();
                    rows[std::move(key)] = std::move(text);
                    break;
                }
                default:
                    break;
            }
        }
        result = ResultOf(connection.Code());
    }
    if (result != FileResult::Done) {
        rows.clear();
        m_error = sqlite3_errstr(connection.Code());
    }
    return result;
}

FileResult SettingsFile::Apply(const SettingsChanges& changes) {
    const Guard guard(m_path, LOCK_SH, m_wait);
    if (!guard.MayRead()) {
        m_error = "another process sets it aside";
        return FileResult::Busy;
    }
    Connection connection(m_path, m_wait);
    const auto failed = [&] {
        m_error = sqlite3_errstr(connection.Code());
        return ResultOf(connection.Code());
    };
    if (!connection.IsOpen()) {
        return failed();
    }
    if (const FileResult result = connection.HaveTable(); result != FileResult::Done) {
        m_error = sqlite3_errstr(connection.Code());
        return result;
    }
    if (!connection.Run("BEGIN IMMEDIATE")) {
        return failed();
    }
    // A transaction that is not committed ends with the connection.
    const Statement remove = connection.Prepare(kDelete);
    for (const std::string& path : changes.deleted) {
        Bind(remove.get(), 1, path);
        if (!connection.Step(remove)) {
            return failed();
        }
        sqlite3_reset(remove.get());
    }
    const Statement insert = connection.Prepare(kInsert);
    for (const auto& [key, value] : changes.values) {
        Bind(insert.get(), 1, key.path);
        Bind(insert.get(), 2, key.name);
        if (const auto* const number = std::get_if<std::uint32_t>(&value)) {
            sqlite3_bind_int64(insert.get(), 3, *number);
        } else {
            Bind(insert.get(), 3, std::get<std::string>(value));
        }
        if (!connection.Step(insert)) {
            return failed();
        }
        sqlite3_reset(insert.get());
    }
    return connection.Run("COMMIT") ? FileResult::Done : failed();
}

FileResult SettingsFile::SetAside(std::string& aside) {
    const Guard guard(m_path, LOCK_EX, m_wait);
    if (!guard.IsHeld()) {
        m_error = "other processes use it";
        return FileResult::Busy;
    }
    {
        Connection connection(m_path, m_wait);
        const FileResult now = connection.CheckAll();
        if (now != FileResult::Damaged) {
            m_error = sqlite3_errstr(connection.Code());
            return now;
        }
    }
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    const std::string base = m_path + ".damaged-" + FormatTimeStamp(local);
    std::string name = base;
    for (int i = 2; FileExists(name); ++i) {
        name = base + "-" + std::to_string(i);
    }
    if (std::rename(m_path.c_str(), name.c_str()) != 0) {
        m_error = std::strerror(errno);
        return FileResult::Failed;
    }
    // The log of the damaged file must not be taken for that of the new one.
    std::rename((m_path + "-wal").c_str(), (name + "-wal").c_str());
    std::rename((m_path + "-journal").c_str(), (name + "-journal").c_str());
    ::unlink((m_path + "-shm").c_str());
    aside = name;
    return FileResult::Done;
}

}  // namespace kvmon
