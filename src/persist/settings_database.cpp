#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

#include <cstdio>
#include <mutex>

#include "persist/log_file.h"
#include "persist/settings_backend.h"
#include "persist/utilities.h"

namespace kvmon {

namespace {

constexpr int kBusyMs = 2000;

struct StatementEnd {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, StatementEnd>;

struct DatabaseEnd {
    void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
};
using Database = std::unique_ptr<sqlite3, DatabaseEnd>;

bool IsDamage(int code) {
    return (code & 0xFF) == SQLITE_CORRUPT || (code & 0xFF) == SQLITE_NOTADB;
}

bool Run(sqlite3* database, const char* sql) {
    return sqlite3_exec(database, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

// Told once, in the trace and to whoever started the program.
void Announce(const std::string& line) {
    Trace("COrvoRegistry: %s\n", line.c_str());
    std::fprintf(stderr, "kvmon: %s\n", line.c_str());
}

void Bind(sqlite3_stmt* statement, int place, std::string_view text) {
    // No text at all would be bound as NULL, which the table refuses.
    const char* const data = text.data() != nullptr ? text.data() : "";
    sqlite3_bind_text(statement, place, data, static_cast<int>(text.size()), SQLITE_TRANSIENT);
}

// Values in one table; a key exists for as long as it or a key below it has values.
class SettingsDatabase final : public SettingsBackend {
public:
    explicit SettingsDatabase(std::string path) : path_(std::move(path)) { OpenAny(); }

    std::optional<SettingsValue> Read(const std::string& path, std::string_view entry) override {
        const std::lock_guard lock(mutex_);
        const Statement statement = Prepare("SELECT value FROM settings WHERE path = ? AND name = ?");
        if (!statement) {
            return std::nullopt;
        }
        Bind(statement.get(), 1, path);
        Bind(statement.get(), 2, entry);
        const int code = sqlite3_step(statement.get());
        if (code != SQLITE_ROW) {
            NoteDamage(code);
            return std::nullopt;
        }
        switch (sqlite3_column_type(statement.get(), 0)) {
            case SQLITE_INTEGER:
                return SettingsValue(static_cast<std::uint32_t>(sqlite3_column_int64(statement.get(), 0)));
            case SQLITE_TEXT: {
                const void* const text = sqlite3_column_blob(statement.get(), 0);
                const int length = sqlite3_column_bytes(statement.get(), 0);
                return SettingsValue(text == nullptr ? std::string()
                                                     : std::string(static_cast<const char*>(text),
                                                                   static_cast<std::size_t>(length)));
            }
            default:
                return std::nullopt;
        }
    }

    bool Write(const std::string& path, std::string_view entry, const SettingsValue& value) override {
        const std::lock_guard lock(mutex_);
        const Statement statement = Prepare(
            "INSERT INTO settings (path, name, value) VALUES (?, ?, ?) "
            "ON CONFLICT (path, name) DO UPDATE SET value = excluded.value");
        if (!statement) {
            return false;
        }
        Bind(statement.get(), 1, path);
        Bind(statement.get(), 2, entry);
        if (const auto* number = std::get_if<std::uint32_t>(&value)) {
            sqlite3_bind_int64(statement.get(), 3, *number);
        } else {
            Bind(statement.get(), 3, std::get<std::string>(value));
        }
        return Finish(statement.get());
    }

    bool Delete(const std::string& path, std::string_view subSection) override {
        std::string key = path;
        if (!subSection.empty()) {
            key.append("\\").append(subSection);
        }
        const std::lock_guard lock(mutex_);
        const Statement statement = Prepare(
            "DELETE FROM settings WHERE path = ?1 OR substr(path, 1, length(?1) + 1) = ?1 || '\\' "
            "COLLATE NOCASE");
        if (!statement) {
            return false;
        }
        Bind(statement.get(), 1, key);
        return Finish(statement.get());
    }

    void BeginBatch() override {
        const std::lock_guard lock(mutex_);
        if (batchDepth_++ == 0 && database_) {
            Run(database_.get(), "BEGIN IMMEDIATE");
        }
    }

    void EndBatch() override {
        const std::lock_guard lock(mutex_);
        if (--batchDepth_ == 0 && database_ && sqlite3_get_autocommit(database_.get()) == 0 &&
            !Run(database_.get(), "COMMIT")) {
            Run(database_.get(), "ROLLBACK");
        }
    }

    void Close() override {
        const std::lock_guard lock(mutex_);
        database_.reset();
    }

private:
    // The file as it is; without its damage; or memory, so that the client runs in any case.
    void OpenAny() {
        int code = Open(path_);
        if (IsDamage(code)) {
            SetAside();
            code = Open(path_);
        }
        if (code != SQLITE_OK) {
            Announce("settings cannot be kept in " + path_ + ": " + sqlite3_errstr(code));
            OpenDatabase(":memory:");
        }
    }

    int Open(const std::string& path) {
        // It holds passwords: the file and its companions, which copy its rights, are the user's alone.
        // Only a new file is touched: closing one that is in use would drop its locks.
        if (const int fd = ::open(path.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0600); fd >= 0) {
            ::close(fd);
        }
        return OpenDatabase(path);
    }

    int OpenDatabase(const std::string& path) {
        sqlite3* raw = nullptr;
        int code = sqlite3_open_v2(
            path.c_str(), &raw, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_FULLMUTEX, nullptr);
        database_.reset(raw);
        if (code != SQLITE_OK) {
            return code;
        }
        sqlite3_busy_timeout(raw, kBusyMs);
        // With the write-ahead log a value is old or new after a power cut, and a write needs no sync
        // that the user interface would feel.
        Run(raw, "PRAGMA journal_mode = WAL");
        Run(raw, "PRAGMA synchronous = NORMAL");
        code = Check(raw);
        if (code == SQLITE_OK && !Run(raw,
                                      "CREATE TABLE IF NOT EXISTS settings ("
                                      "path TEXT NOT NULL COLLATE NOCASE, name TEXT NOT NULL COLLATE NOCASE, "
                                      "value, PRIMARY KEY (path, name)) WITHOUT ROWID")) {
            code = sqlite3_errcode(raw);
        }
        // A file of another make may have a table of this name with other columns.
        if (code == SQLITE_OK && !Prepare("SELECT path, name, value FROM settings")) {
            code = SQLITE_CORRUPT;
        }
        return code;
    }

    static int Check(sqlite3* database) {
        sqlite3_stmt* raw = nullptr;
        int code = sqlite3_prepare_v2(database, "PRAGMA quick_check(1)", -1, &raw, nullptr);
        const Statement statement(raw);
        if (code != SQLITE_OK) {
            return code;
        }
        code = sqlite3_step(raw);
        if (code != SQLITE_ROW) {
            return code == SQLITE_DONE ? SQLITE_OK : code;
        }
        const void* const text = sqlite3_column_blob(raw, 0);
        const bool sound =
            text != nullptr && sqlite3_column_bytes(raw, 0) == 2 && std::memcmp(text, "ok", 2) == 0;
        return sound ? SQLITE_OK : SQLITE_CORRUPT;
    }

    void SetAside() {
        database_.reset();
        const std::time_t now = std::time(nullptr);
        std::tm local{};
        localtime_r(&now, &local);
        const std::string base = path_ + ".damaged-" + FormatTimeStamp(local);
        std::string aside = base;
        for (int i = 2; FileExists(aside); ++i) {
            aside = base + "-" + std::to_string(i);
        }
        if (std::rename(path_.c_str(), aside.c_str()) == 0) {
            Announce("the settings file was damaged; it was kept as " + aside + " and defaults are used");
        }
        // The log of the damaged file must not be taken for that of the new one.
        std::rename((path_ + "-wal").c_str(), (aside + "-wal").c_str());
        ::unlink((path_ + "-shm").c_str());
    }

    Statement Prepare(const char* sql) {
        if (!database_) {
            return nullptr;
        }
        sqlite3_stmt* raw = nullptr;
        NoteDamage(sqlite3_prepare_v2(database_.get(), sql, -1, &raw, nullptr));
        return Statement(raw);
    }

    bool Finish(sqlite3_stmt* statement) {
        const int code = sqlite3_step(statement);
        NoteDamage(code);
        return code == SQLITE_DONE;
    }

    void NoteDamage(int code) {
        if (IsDamage(code) && !damageTold_) {
            damageTold_ = true;
            Announce("the settings file " + path_ + " is damaged; it will be set aside at the next start");
        }
    }

    const std::string path_;
    std::mutex mutex_;
    Database database_;
    int batchDepth_ = 0;
    bool damageTold_ = false;
};

}  // namespace

std::unique_ptr<SettingsBackend> OpenSettingsDatabase(const std::string& path) {
    return std::make_unique<SettingsDatabase>(path);
}

}  // namespace kvmon
