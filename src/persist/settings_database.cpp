#include <algorithm>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <thread>

#include "persist/log_file.h"
#include "persist/settings_backend.h"
#include "persist/settings_file.h"
#include "platform/caught.h"
#include "platform/secret_file.h"
#include "platform/worker.h"

namespace kvmon {

namespace {

constexpr Milliseconds kLoadWait{1000};  // of the start, for other processes
constexpr int kLoadTries = 3;            // at the start, of what fails by no lock
constexpr Milliseconds kLoadPause{20};
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

    explicit Keeper(const std::string& path) : m_file(path, kWriteWait) {}

    void Run();
    // The caller's thread, before there is another.
    void LoadFirst();

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::condition_variable m_ended;
    SettingsTree m_tree;
    bool m_bClosed = false;
    Time m_closeLimit{};
    bool m_bEnded = false;
    std::string m_trouble;  // of the last try; empty after a good one

    SettingsFile m_file;  // the writer's

private:
    FileResult Try(std::unique_lock<std::mutex>& lock);
    FileResult Recover(std::unique_lock<std::mutex>& lock);
    void Tell(FileResult result, std::unique_lock<std::mutex>& lock);
    bool HasWork() const {
        return m_tree.HasChanges() || (m_bNewFile && !m_tree.IsInBatch()) ||
               (m_bLoadLater && !m_bLoaded && !m_bClosed);
    }

    bool m_bLoaded = false;
    bool m_bLoadLater = false;  // the file was locked at the start
    bool m_bNewFile = false;    // all values are to be written
    bool m_bTold = false;
    int m_nStrange = 0;  // tries that found damage where the check finds none
    Time m_troubleSince{};
};

void Keeper::LoadFirst() {
    SettingsFile first(m_file.Path(), kLoadWait);
    SettingsRows rows;
    FileResult result = first.Load(rows);
    // What fails only once must not cost the user the settings of this run.
    for (int i = 1; i < kLoadTries && result == FileResult::Failed; ++i) {
        std::this_thread::sleep_for(kLoadPause);
        result = first.Load(rows);
    }
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
    if (OthersCanRead(m_file.Path())) {
        Announce("others can read the settings file, which may hold passwords: chmod 600 " + m_file.Path());
    }
    m_bLoaded = result == FileResult::Done;
    m_bLoadLater = result == FileResult::Busy;
    if (m_bLoaded) {
        m_tree.Load(std::move(rows));
    } else if (result != FileResult::Busy) {
        m_bTold = true;
        m_trouble = first.Error();
        Announce("settings cannot be kept in " + m_file.Path() + ": " + m_trouble);
    }
}

void Keeper::Run() {
    std::unique_lock lock(m_mutex);
    Milliseconds pause = kFirstPause;
    int nLastTries = 0;
    while (true) {
        m_changed.wait(lock, [this] { return m_bClosed || HasWork(); });
        if (!HasWork()) {
            break;
        }
        const FileResult result = Try(lock);
        if (result == FileResult::Done) {
            if (m_bTold) {
                Trace("COrvoRegistry: settings are kept in %s again\n", m_file.Path().c_str());
            }
            m_bTold = false;
            m_nStrange = 0;
            m_trouble.clear();
            pause = kFirstPause;
            continue;
        }
        Tell(result, lock);
        // At the end a lock is waited for as long as there is time; a full disk gets no better.
        if (m_bClosed && (std::chrono::steady_clock::now() >= m_closeLimit ||
                          (result != FileResult::Busy && ++nLastTries >= kLastTries))) {
            break;
        }
        const Milliseconds now = result == FileResult::Busy || m_bClosed ? kBusyPause : pause;
        const bool bWasClosed = m_bClosed;
        m_changed.wait_for(lock, now, [&] { return m_bClosed != bWasClosed; });
        pause = result == FileResult::Busy ? kFirstPause : std::min(2 * pause, kLongestPause);
    }
    m_bEnded = true;
    m_ended.notify_all();
}

FileResult Keeper::Try(std::unique_lock<std::mutex>& lock) {
    if (!m_bLoaded) {
        SettingsRows rows;
        FileResult result = FileResult::Failed;
        lock.unlock();
        TryStep("COrvoRegistry::Load", [&] { result = m_file.Load(rows); });
        lock.lock();
        if (result != FileResult::Done) {
            return result == FileResult::Damaged ? Recover(lock) : result;
        }
        m_tree.Load(std::move(rows));
        m_bLoaded = true;
    }
    if (m_bNewFile && !m_tree.IsInBatch()) {
        m_tree.ChangeAll();
        m_bNewFile = false;
    }
    SettingsChanges changes = m_tree.Take();
    if (changes.IsEmpty()) {
        return FileResult::Done;
    }
    FileResult result = FileResult::Failed;
    lock.unlock();
    TryStep("COrvoRegistry::Apply", [&] { result = m_file.Apply(changes); });
    lock.lock();
    if (result == FileResult::Done) {
        return result;
    }
    m_tree.PutBack(std::move(changes));
    return result == FileResult::Damaged ? Recover(lock) : result;
}

// Damaged while the program runs: the tree in memory is whole.
FileResult Keeper::Recover(std::unique_lock<std::mutex>& lock) {
    std::string aside;
    lock.unlock();
    const FileResult result = m_file.SetAside(aside);
    if (!aside.empty()) {
        Announce("the settings file was damaged; it was kept as " + aside + " and written anew");
    }
    lock.lock();
    if (!aside.empty()) {
        m_bNewFile = true;
        m_bLoaded = true;
    }
    if (result != FileResult::Done) {
        return result;
    }
    // Nothing is written yet. A file that is called sound and still cannot be written is no better.
    return aside.empty() && ++m_nStrange > kMostStrange ? FileResult::Failed : FileResult::Busy;
}

// Not under the lock: standard error may be a pipe that nobody reads.
void Keeper::Tell(FileResult result, std::unique_lock<std::mutex>& lock) {
    const Time now = std::chrono::steady_clock::now();
    if (m_trouble.empty()) {
        m_troubleSince = now;
    }
    m_trouble = m_file.Error().empty() ? "no cause is known" : m_file.Error();
    if (m_bTold || (result == FileResult::Busy && now - m_troubleSince < kQuietBusy)) {
        return;
    }
    m_bTold = true;
    const std::string line =
        "settings cannot be written to " + m_file.Path() + " now: " + m_trouble + "; this is tried again";
    lock.unlock();
    Announce(line);
    lock.lock();
}

class SettingsDatabase final : public SettingsBackend {
public:
    explicit SettingsDatabase(const std::string& path) : m_keeper(std::make_shared<Keeper>(path)) {
        m_keeper->LoadFirst();
        KeepWriter();
    }
    ~SettingsDatabase() override { SettingsDatabase::Close(kCloseLimit); }

    std::optional<SettingsValue> Read(const std::string& path, std::string_view entry) override {
        const std::lock_guard lock(m_keeper->m_mutex);
        return m_keeper->m_bClosed ? std::nullopt : m_keeper->m_tree.Read(path, entry);
    }

    std::vector<std::string> Sections(const std::string& path) override {
        const std::lock_guard lock(m_keeper->m_mutex);
        return m_keeper->m_bClosed ? std::vector<std::string>() : m_keeper->m_tree.Sections(path);
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
        const std::lock_guard lock(m_keeper->m_mutex);
        if (m_keeper->m_tree.IsInBatch()) {  // it may have begun when the tree was closed
            m_keeper->m_tree.EndBatch();
            m_keeper->m_changed.notify_all();
        }
    }

    bool Close(Milliseconds limit) override {
        std::unique_lock lock(m_keeper->m_mutex);
        if (!m_keeper->m_bClosed) {
            m_keeper->m_bClosed = true;
            m_keeper->m_closeLimit = std::chrono::steady_clock::now() + limit;
            m_keeper->m_changed.notify_all();
            if (KeepWriter()) {
                m_keeper->m_ended.wait_until(lock, m_keeper->m_closeLimit,
                                             [this] { return m_keeper->m_bEnded; });
            } else {
                lock.unlock();
                m_keeper->Run();  // better late on this thread than never
                lock.lock();
            }
            const std::size_t left = m_keeper->m_bEnded ? m_keeper->m_tree.CountChanges() : 1;
            m_bStored = left == 0;
            if (!m_bStored) {
                Announce("changed settings could not be written to " + m_keeper->m_file.Path() +
                         " and are lost: " +
                         (m_keeper->m_trouble.empty() ? "the file does not answer" : m_keeper->m_trouble));
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
        const std::lock_guard lock(m_keeper->m_mutex);
        if (m_keeper->m_bClosed) {
            return false;
        }
        edit(m_keeper->m_tree);
        KeepWriter();
        m_keeper->m_changed.notify_all();
        return true;
    }

    // The system may have had no place for the thread, or no memory. Under the lock once there are others.
    // False without a thread.
    bool KeepWriter() {
        return m_writer.IsRunning() || (m_writer.Wait(Milliseconds(0)) &&
                                        m_writer.Start(kThreadName, [keeper = m_keeper] { keeper->Run(); }));
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
