#include "persist/settings_connection.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

#include <utility>

namespace kvmon {

namespace {

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

void SettingsConnection::StatementEnd::operator()(sqlite3_stmt* statement) const {
    sqlite3_finalize(statement);
}

SettingsConnection::SettingsConnection(const std::string& path, Milliseconds wait) {
    // It holds passwords: the file and its companions, which copy its rights, are the user's alone.
    // Only a new file is touched: closing one that is in use would drop its locks.
    if (const int fd = ::open(path.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0600); fd >= 0) {
        ::close(fd);
    }
    m_code = sqlite3_open_v2(path.c_str(), &m_database, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
    m_bOpen = m_code == SQLITE_OK;
    if (!m_bOpen) {
        return;
    }
    sqlite3_busy_timeout(m_database, static_cast<int>(wait.count()));
    // With the write-ahead log others can read whatever a third one locks.
    Run("PRAGMA journal_mode = WAL");
    Run("PRAGMA synchronous = NORMAL");
}

SettingsConnection::~SettingsConnection() {
    sqlite3_close(m_database);
}

const char* SettingsConnection::ErrorText() const {
    return sqlite3_errstr(m_code);
}

bool SettingsConnection::Run(const char* sql) {
    m_code = sqlite3_exec(m_database, sql, nullptr, nullptr, nullptr);
    return m_code == SQLITE_OK;
}

SettingsConnection::Statement SettingsConnection::Prepare(const char* sql) {
    sqlite3_stmt* raw = nullptr;
    m_code = sqlite3_prepare_v2(m_database, sql, -1, &raw, nullptr);
    return Statement(raw);
}

bool SettingsConnection::Step(const Statement& statement) {
    m_code = sqlite3_step(statement.get());
    return m_code == SQLITE_DONE || m_code == SQLITE_ROW;
}

// Of a statement with one number as its result.
std::optional<int> SettingsConnection::Number(const char* sql) {
    const Statement statement = Prepare(sql);
    if (!statement || !Step(statement)) {
        return std::nullopt;
    }
    return m_code == SQLITE_ROW ? sqlite3_column_int(statement.get(), 0) : 0;
}

FileResult SettingsConnection::HaveTable() {
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

FileResult SettingsConnection::Check() {
    const Statement statement = Prepare("PRAGMA quick_check(1)");
    if (!statement || !Step(statement)) {
        return ResultOf(m_code);
    }
    return m_code == SQLITE_ROW && TextOf(statement.get(), 0) != "ok" ? FileResult::Damaged
                                                                      : FileResult::Done;
}

FileResult SettingsConnection::CheckAll() {
    if (!m_bOpen) {
        return ResultOf(m_code);
    }
    const FileResult result = Check();
    return result == FileResult::Done ? HaveTable() : result;
}

FileResult SettingsConnection::ReadAll(SettingsRows& rows) {
    const Statement statement = Prepare(kSelect);
    sqlite3_stmt* const row = statement.get();
    std::size_t loaded = 0;
    while (statement && Step(statement) && m_code == SQLITE_ROW && loaded < kMaxLoaded) {
        SettingsKey key{TextOf(row, 0), TextOf(row, 1)};
        loaded += key.path.size() + key.name.size();
        switch (sqlite3_column_type(row, 2)) {
            case SQLITE_INTEGER:
                rows[std::move(key)] = static_cast<std::uint32_t>(sqlite3_column_int64(row, 2));
                break;
            case SQLITE_TEXT: {
                std::string text = TextOf(row, 2);
                loaded += text.size();
                rows[std::move(key)] = std::move(text);
                break;
            }
            default:
                break;
        }
    }
    return ResultOf(m_code);
}

FileResult SettingsConnection::Apply(const SettingsChanges& changes) {
    if (!m_bOpen) {
        return ResultOf(m_code);
    }
    if (const FileResult result = HaveTable(); result != FileResult::Done) {
        return result;
    }
    const bool bDone =
        Run("BEGIN IMMEDIATE") && DeletePaths(changes) && InsertValues(changes) && Run("COMMIT");
    return bDone ? FileResult::Done : ResultOf(m_code);
}

bool SettingsConnection::DeletePaths(const SettingsChanges& changes) {
    const Statement remove = Prepare(kDelete);
    for (const std::string& path : changes.deleted) {
        Bind(remove.get(), 1, path);
        if (!Step(remove)) {
            return false;
        }
        sqlite3_reset(remove.get());
    }
    return true;
}

bool SettingsConnection::InsertValues(const SettingsChanges& changes) {
    const Statement insert = Prepare(kInsert);
    for (const auto& [key, value] : changes.values) {
        Bind(insert.get(), 1, key.path);
        Bind(insert.get(), 2, key.name);
        if (const auto* const number = std::get_if<std::uint32_t>(&value)) {
            sqlite3_bind_int64(insert.get(), 3, *number);
        } else {
            Bind(insert.get(), 3, std::get<std::string>(value));
        }
        if (!Step(insert)) {
            return false;
        }
        sqlite3_reset(insert.get());
    }
    return true;
}

}  // namespace kvmon
