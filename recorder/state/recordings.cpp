#include "state/recordings.h"

#include <sys/statvfs.h>

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <iostream>

namespace kvrecorder {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kMegabyte = 1024 * 1024;
// A file that has grown so far is ended at the next key picture.
constexpr std::uint64_t kMaxFileBytes = 512 * kMegabyte;
constexpr std::int64_t kMaxFileMs = 30 * 60 * 1000;
// Pictures between two looks at the disk.
constexpr int kCheckEvery = 30;
constexpr const char* kFull = "the disk is full";
constexpr const char* kPrefix = "camera-";
constexpr const char* kSuffix = ".mkv";

std::string FileName(int channel) {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    ::localtime_r(&now, &local);
    char text[32];
    std::strftime(text, sizeof text, "-%Y%m%d-%H%M%S", &local);
    const std::string number = std::to_string(channel + 1);
    return kPrefix + std::string(number.size() < 3 ? 3 - number.size() : 0, '0') + number + text;
}

bool Ours(const fs::path& path) {
    const std::string name = path.filename().string();
    return name.starts_with(kPrefix) && name.ends_with(kSuffix);
}

std::uint64_t FreeMegabytes(const std::string& folder) {
    struct statvfs figures {};
    return ::statvfs(folder.c_str(), &figures) == 0
               ? static_cast<std::uint64_t>(figures.f_bavail) * figures.f_frsize / kMegabyte
               : 0;
}

}  // namespace

void Recordings::Signal::Set() {
    {
        const std::lock_guard lock(mutex);
        set = true;
    }
    wake.notify_one();
}

void Recordings::Signal::Wait() {
    std::unique_lock lock(mutex);
    wake.wait(lock, [&] { return set; });
    set = false;
}

Recordings::Recordings(MediaHub& hub, RecordingConfig config, std::function<void(const Notice&)> listener)
    : m_hub(hub), m_config(std::move(config)), m_listener(std::move(listener)), m_thread([this] { Run(); }) {}

Recordings::~Recordings() {
    std::vector<int> channels;
    {
        const std::lock_guard lock(m_mutex);
        for (const auto& [channel, track] : m_tracks) {
            channels.push_back(channel);
        }
    }
    for (const int channel : channels) {
        Stop(channel);
    }
    {
        const std::lock_guard lock(m_mutex);
        m_stop = true;
    }
    m_signal->Set();
    m_thread.join();
}

std::string Recordings::CheckFolder() {
    std::error_code error;
    if (m_config.folder.empty()) {
        std::string pattern = (fs::temp_directory_path(error) / "kvrecorder-XXXXXX").string();
        if (error || !::mkdtemp(pattern.data())) {
            return "there is no folder for recordings";
        }
        m_config.folder = pattern;
        std::cerr << "kvrecorder: recordings are kept in " << pattern << std::endl;
    }
    fs::create_directories(m_config.folder, error);
    if (!fs::is_directory(m_config.folder, error)) {
        return "cannot make the folder " + m_config.folder;
    }
    return Full() ? kFull : "";
}

bool Recordings::Full() const {
    return m_pretendFull || FreeMegabytes(m_config.folder) < m_config.minFreeMb;
}

std::unique_ptr<Subscription> Recordings::Subscribe(const Track& track) {
    return m_hub.Subscribe(track.channel, 0,
                           [queue = track.queue, signal = m_signal](const PacketPtr& packet) {
                               if (queue->Push(packet)) {
                                   signal->Set();
                               }
                           });
}

std::string Recordings::Start(int channel) {
    auto track = std::make_unique<Track>(channel);
    {
        const std::lock_guard lock(m_mutex);
        if (m_tracks.contains(channel)) {
            return "";
        }
        if (std::string problem = CheckFolder(); !problem.empty()) {
            return problem;
        }
    }
    track->subscription = Subscribe(*track);
    if (!track->subscription) {
        return "there is no such channel";
    }
    const std::lock_guard lock(m_mutex);
    // Of two that start it at once the second one's is dropped.
    m_tracks.try_emplace(channel, std::move(track));
    return "";
}

void Recordings::Stop(int channel) {
    std::unique_ptr<Subscription> subscription;
    {
        const std::lock_guard lock(m_mutex);
        const auto found = m_tracks.find(channel);
        if (found == m_tracks.end()) {
            return;
        }
        subscription = std::move(found->second->subscription);
        m_ended.push_back(std::move(found->second));
        m_tracks.erase(found);
    }
    // Waits for a picture that is on its way to the queue, so not under the lock.
    subscription.reset();
    m_signal->Set();
}

bool Recordings::Runs(int channel) const {
    const std::lock_guard lock(m_mutex);
    return m_tracks.contains(channel);
}

void Recordings::Follow(int channel) {
    std::unique_ptr<Subscription> old;
    const std::lock_guard lock(m_mutex);
    const auto found = m_tracks.find(channel);
    if (found == m_tracks.end()) {
        return;
    }
    // The old one ends when the lock is gone.
    old = std::exchange(found->second->subscription, Subscribe(*found->second));
}

void Recordings::Run() {
    while (true) {
        m_signal->Wait();
        std::vector<Track*> running;
        std::vector<std::unique_ptr<Track>> ended;
        bool stop = false;
        {
            const std::lock_guard lock(m_mutex);
            ended.swap(m_ended);
            // Only this thread destroys a track, so that these stay.
            for (const auto& [channel, track] : m_tracks) {
                running.push_back(track.get());
            }
            stop = m_stop;
        }
        for (Track* track : running) {
            Drain(*track);
        }
        for (auto& track : ended) {
            std::string problem;
            try {
                while (const PacketPtr packet = track->queue->Pop()) {
                    Put(*track, packet);
                }
            } catch (const std::exception& failure) {
                problem = failure.what();
            }
            Finish(std::move(track), problem);
        }
        if (stop) {
            return;
        }
    }
}

void Recordings::Drain(Track& track) {
    try {
        while (const PacketPtr packet = track.queue->Pop()) {
            Put(track, packet);
        }
    } catch (const std::exception& failure) {
        std::unique_ptr<Subscription> subscription;
        std::unique_ptr<Track> taken;
        {
            const std::lock_guard lock(m_mutex);
            const auto found = m_tracks.find(track.channel);
            if (found == m_tracks.end() || found->second.get() != &track) {
                return;  // stopped meanwhile; it ends in the next round
            }
            taken = std::move(found->second);
            subscription = std::move(taken->subscription);
            m_tracks.erase(found);
        }
        subscription.reset();
        Finish(std::move(taken), failure.what());
    }
}

void Recordings::Put(Track& track, const PacketPtr& packet) {
    if (!MatroskaWriter::Takes(*packet)) {
        return;  // sound
    }
    const bool full =
        track.writer && (track.writer->Bytes() > kMaxFileBytes || track.writer->Milliseconds() > kMaxFileMs);
    if (track.writer && (track.writer->Ends(*packet) || (full && packet->key))) {
        CloseFile(track);
    }
    if (++track.sinceCheck >= kCheckEvery) {
        track.sinceCheck = 0;
        MakeRoom();
        if (Full()) {
            throw std::runtime_error(kFull);
        }
    }
    if (track.writer) {
        track.writer->Write(packet);
    } else if (packet->key) {
        OpenFile(track, packet);
    }
}

void Recordings::OpenFile(Track& track, const PacketPtr& key) {
    MakeRoom();
    const std::string base = Folder() + "/" + FileName(track.channel);
    std::string path = base + kSuffix;
    std::error_code error;
    for (int again = 2; fs::exists(path, error); ++again) {
        path = base + "-" + std::to_string(again) + kSuffix;
    }
    track.file = path;
    track.writer = std::make_unique<MatroskaWriter>(path, key);
}

void Recordings::CloseFile(Track& track) {
    if (track.writer) {
        const MatroskaWriter& writer = *track.writer;
        track.recordedMs += writer.Milliseconds();
        track.writer.reset();
    }
}

void Recordings::Finish(std::unique_ptr<Track> track, const std::string& problem) {
    CloseFile(*track);
    m_listener({track->channel, problem, track->file, track->recordedMs});
}

// Deletes the oldest of our files, but none that was written to just now.
void Recordings::MakeRoom() {
    struct Old {
        fs::file_time_type time;
        std::uint64_t bytes;
        fs::path path;
    };
    std::vector<Old> files;
    std::uint64_t bytes = 0;
    std::error_code error;
    for (fs::directory_iterator entry(Folder(), error), end; !error && entry != end; entry.increment(error)) {
        std::error_code gone;
        if (!Ours(entry->path()) || !entry->is_regular_file(gone)) {
            continue;
        }
        const std::uint64_t size = entry->file_size(gone);
        const auto time = entry->last_write_time(gone);
        if (!gone) {
            files.push_back({time, size, entry->path()});
            bytes += size;
        }
    }
    std::sort(files.begin(), files.end(), [](const Old& a, const Old& b) { return a.time < b.time; });
    const auto recent = fs::file_time_type::clock::now() - std::chrono::seconds(10);
    for (const Old& file : files) {
        const bool tooMuch = bytes > m_config.limitMb * kMegabyte;
        if (!tooMuch || file.time > recent) {
            return;
        }
        fs::remove(file.path, error);
        bytes -= file.bytes;
    }
}

}  // namespace kvrecorder
