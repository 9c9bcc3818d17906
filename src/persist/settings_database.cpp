#include <algorithm>
#include <condition_variable>
#include <cstdio>
#include <mutex>

#include "persist/log_file.h"
#include "persist/settings_backend.h"
#include "persist/settings_file.h"
#include "platform/worker.h"

namespace kvmon {

namespace {

constexpr Milliseconds kLoadWait{1000};  // of the start, for other processes
constexpr Milliseconds kWriteWait{250};  // of one try, on the writer's thread
constexpr Milliseconds kBusyPause{250};  // between tries
constexpr Milliseconds kFirstPause{1000};
constexpr Milliseconds kLongestPause{30000};
constexpr Milliseconds kQuietBusy{5000};  // a lock is told only when it lasts
constexpr Milliseconds kCloseLimit{4000};
constexpr int kLastTries = 2;  // at the end, of what fails by no lock
constexpr int kMostStrange = 3;
constexpr const char* kThreadName = "settings";

// To the trace and to whoever started the program.
void Announce(const std::string& line) {
    Trace("COrvoRegistry: %s\n", line.c_str());
    std::fprintf(stderr, "kvmon: %s\n", line.c_str());
}

// The tree of the program and the thread that writes it. The file may be locked, on a disk that is full or on
// one that hangs: all of that is the thread's affair, which owns what it touches.
class Keeper {
public:
    using Time = std::chrono::steady_clock::time_point;

    explicit Keeper(const std::string& path) : file(path, kWriteWait) {}

    void Run();
    // The caller's thread, before there is another.
    void LoadFirst();

    std::mutex mutex;
    std::condition_variable changed;
    std::condition_variable ended;
    SettingsTree tree;
    bool bClosed = false;
    Time closeLimit{};
    bool bEnded = false;
    std::string trouble;  // of the last try; empty after a good one

    SettingsFile file;  // the writer's

private:
    FileResult Try(std::unique_lock<std::mutex>& lock);
    FileResult Recover(std::unique_lock<std::mutex>& lock);
    void Tell(FileResult result, std::unique_lock<std::mutex>& lock);
    bool HasWork() const {
        return tree.HasChanges() || (bNewFile && !tree.IsInBatch()) || (bLoadLater && !bLoaded && !bClosed);
    }

    bool bLoaded = false;
    bool bLoadLater = false;  // the file was locked at the start
    bool bNewFile = false;    // all values are to be written
    bool bTold = false;
    int nStrange = 0;  // tries that found damage where the check finds none
    Time troubleSince{};
};

void Keeper::LoadFirst() {
    SettingsFile first(file.Path(), kLoadWait);
    SettingsRows rows;
    FileResult result = first.Load(rows);
    if (result == FileResult::Damaged) {
        std::string aside;
        result = first.SetAside(aside);
        if (!aside.empty()) {
            Announce("the settings file was damaged; it was kept as " + aside + " and defaults are used");
        }
        if (result == FileResult::Done) {
            result = first.Load(rows);
        }
    }
    bLoaded = result == FileResult::Done;
    bLoadLater = result == FileResult::Busy;
    if (bLoaded) {
        tree.Load(std::move(rows));
    } else if (result != FileResult::Busy) {
        bTold = true;
        trouble = first.Error();
        Announce("settings cannot be kept in " + file.Path() + ": " + trouble);
    }
}

void Keeper::Run() {
    std::unique_lock lock(mutex);
    Milliseconds pause = kFirstPause;
    int nLastTries = 0;
    while (true) {
        changed.wait(lock, [this] { return bClosed || HasWork(); });
        if (!HasWork()) {
            break;
        }
        const FileResult result = Try(lock);
        if (result == FileResult::Done) {
            if (bTold) {
                Trace("COrvoRegistry: settings are kept in %s again\n", file.Path().c_str());
            }
            bTold = false;
            nStrange = 0;
            trouble.clear();
            pause = kFirstPause;
            continue;
        }
        Tell(result, lock);
        // At the end a lock is waited for as long as there is time; a full disk gets no better.
        if (bClosed && (std::chrono::steady_clock::now() >= closeLimit ||
                        (result != FileResult::Busy && ++nLastTries >= kLastTries))) {
            break;
        }
        const Milliseconds now = result == FileResult::Busy || bClosed ? kBusyPause : pause;
        const bool bWasClosed = bClosed;
        changed.wait_for(lock, now, [&] { return bClosed != bWasClosed; });
        pause = result == FileResult::Busy ? kFirstPause : std::min(2 * pause, kLongestPause);
    }
    bEnded = true;
    ended.notify_all();
}

FileResult Keeper::Try(std::unique_lock<std::mutex>& lock) {
    if (!bLoaded) {
        SettingsRows rows;
        lock.unlock();
        const FileResult result = file.Load(rows);
        lock.lock();
        if (result != FileResult::Done) {
            return result == FileResult::Damaged ? Recover(lock) : result;
        }
        tree.Load(std::move(rows));
        bLoaded = true;
    }
    if (bNewFile && !tree.IsInBatch()) {
        tree.ChangeAll();
        bNewFile = false;
    }
    SettingsChanges changes = tree.Take();
    if (changes.IsEmpty()) {
        return FileResult::Done;
    }
    lock.unlock();
    const FileResult result = file.Apply(changes);
    lock.lock();
    if (result == FileResult::Done) {
        return result;
    }
    tree.PutBack(std::move(changes));
    return result == FileResult::Damaged ? Recover(lock) : result;
}

// Damaged while the program runs: the tree in memory is whole.
FileResult Keeper::Recover(std::unique_lock<std::mutex>& lock) {
    std::string aside;
    lock.unlock();
    const FileResult result = file.SetAside(aside);
    if (!aside.empty()) {
        Announce("the settings file was damaged; it was kept as " + aside + " and written anew");
    }
    lock.lock();
    if (!aside.empty()) {
        bNewFile = true;
        bLoaded = true;
    }
    if (result != FileResult::Done) {
        return result;
    }
    // Nothing is written yet. A file that is called sound and still cannot be written is no better.
    return aside.empty() && ++nStrange > kMostStrange ? FileResult::Failed : FileResult::Busy;
}

// Not under the lock: standard error may be a pipe that nobody reads.
void Keeper::Tell(FileResult result, std::unique_lock<std::mutex>& lock) {
    const Time now = std::chrono::steady_clock::now();
    if (trouble.empty()) {
        troubleSince = now;
    }
    trouble = file.Error().empty() ? "no cause is known" : file.Error();
    if (bTold || (result == FileResult::Busy && now - troubleSince < kQuietBusy)) {
        return;
    }
    bTold = true;
    const std::string line =
        "settings cannot be written to " + file.Path() + " now: " + trouble + "; this is tried again";
    lock.unlock();
    Announce(line);
    lock.lock();
}

class SettingsDatabase final : public SettingsBackend {
public:
    explicit SettingsDatabase(const std::string& path) : m_keeper(std::make_shared<Keeper>(path)) {
        m_keeper->LoadFirst();
        m_writer.Start(kThreadName, [keeper = m_keeper] { keeper->Run(); });
    }
    ~SettingsDatabase() override { SettingsDatabase::Close(kCloseLimit); }

    std::optional<SettingsValue> Read(const std::string& path, std::string_view entry) override {
        const std::lock_guard lock(m_keeper->mutex);
        return m_keeper->bClosed ? std::nullopt : m_keeper->tree.Read(path, entry);
    }

    bool Write(const std::string& path, std::string_view entry, const SettingsValue& value) override {
        return Change([&](SettingsTree& tree) { tree.Write(path, entry, value); });
    }

    bool Delete(const std::string& path, std::string_view subSection) override {
        std::string key = path;
        if (!subSection.empty()) {
            key.append("\\").append(subSection);
        }
        return Change([&](SettingsTree& tree) { tree.Delete(key); });
    }

    void BeginBatch() override {
        Change([](SettingsTree& tree) { tree.BeginBatch(); });
    }

    void EndBatch() override {
        const std::lock_guard lock(m_keeper->mutex);
        if (m_keeper->tree.IsInBatch()) {  // it may have begun when the tree was closed
            m_keeper->tree.EndBatch();
            m_keeper->changed.notify_all();
        }
    }

    bool Close(Milliseconds limit) override {
        std::unique_lock lock(m_keeper->mutex);
        if (!m_keeper->bClosed) {
            m_keeper->bClosed = true;
            m_keeper->closeLimit = std::chrono::steady_clock::now() + limit;
            m_keeper->changed.notify_all();
            if (m_writer.IsHeld()) {
                m_keeper->ended.wait_until(lock, m_keeper->closeLimit, [this] { return m_keeper->bEnded; });
            }
            const std::size_t left = m_keeper->bEnded ? m_keeper->tree.CountChanges() : 1;
            m_bStored = left == 0;
            if (!m_bStored) {
                Announce("changed settings could not be written to " + m_keeper->file.Path() +
                         " and are lost: " +
                         (m_keeper->trouble.empty() ? "the file does not answer" : m_keeper->trouble));
            }
            lock.unlock();
            if (!m_writer.Wait(kWriteWait)) {
                m_writer.Abandon();
            }
        }
        return m_bStored;
    }

private:
    template <typename Edit>
    bool Change(Edit edit) {
        const std::lock_guard lock(m_keeper->mutex);
        if (m_keeper->bClosed) {
            return false;
        }
        edit(m_keeper->tree);
        m_keeper->changed.notify_all();
        return true;
    }

    const std::shared_ptr<Keeper> m_keeper;
    Worker m_writer;
    bool m_bStored = true;
};

}  // namespace

std::unique_ptr<SettingsBackend> OpenSettingsDatabase(const std::string& path) {
    return std::make_unique<SettingsDatabase>(path);
}

}  // namespace kvmon
