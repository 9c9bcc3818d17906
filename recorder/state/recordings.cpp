#include "state/recordings.h"

#include <stdexcept>
#include <utility>

namespace kvrecorder {
namespace {

constexpr std::uint64_t kMegabyte = 1024 * 1024;
// A file that has grown so far is ended at the next key picture.
constexpr std::uint64_t kMaxFilmBytes = 512 * kMegabyte;
constexpr std::int64_t kMaxFileMs = 30 * 60 * 1000;
// Pictures between two looks at the disk.
constexpr int kCheckEvery = 30;
constexpr const char* kFull = "the disk is full";
// Until an end that could not be told is told again.
constexpr std::chrono::seconds kTellAgain{1};
constexpr std::chrono::seconds kNothingToDo = std::chrono::hours(1);

std::string TextOf(const std::exception& failure) noexcept {
    try {
        return failure.what();
    } catch (const std::exception&) {
        return "no memory";  // so short that it needs none
    }
}

}  // namespace

void Recordings::Signal::Set() {
    {
        const std::lock_guard lock(mutex);
        set = true;
    }
    wake.notify_one();
}

void Recordings::Signal::Wait(std::chrono::milliseconds most) {
    std::unique_lock lock(mutex);
    wake.wait_for(lock, most, [&] { return set; });
    set = false;
}

Recordings::Recordings(MediaHub& hub, RecordingConfig config, std::function<void(const Notice&)> listener)
    : m_hub(hub), m_folder(std::move(config)), m_listener(std::move(listener)), m_thread([this] { Run(); }) {}

Recordings::~Recordings() {
    const auto first = [this] {
        const std::lock_guard lock(m_mutex);
        return m_tracks.empty() ? -1 : m_tracks.begin()->first;
    };
    for (int channel = first(); channel >= 0; channel = first()) {
        Stop(channel);
    }
    {
        const std::lock_guard lock(m_mutex);
        m_stop = true;
    }
    m_signal->Set();
    m_thread.join();
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
        if (std::string problem = m_folder.Prepare(); !problem.empty()) {
            return problem;
        }
        if (m_folder.IsFull()) {
            return kFull;
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
        m_ended.insert(m_tracks.extract(found));
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
    // The old one ends after the lock is released, since its end waits for a callback.
    old = std::exchange(found->second->subscription, Subscribe(*found->second));
}

// The first one from the channel on; null for none. The writing thread alone destroys tracks.
Recordings::Track* Recordings::NextRunning(int channel) const {
    const std::lock_guard lock(m_mutex);
    const auto found = m_tracks.lower_bound(channel);
    return found != m_tracks.end() ? found->second.get() : nullptr;
}

std::unique_ptr<Recordings::Track> Recordings::TakeEnded() {
    const std::lock_guard lock(m_mutex);
    return m_ended.empty() ? nullptr : std::move(m_ended.extract(m_ended.begin()).mapped());
}

void Recordings::Run() {
    bool stop = false;
    while (!stop) {
        m_signal->Wait(m_untold.empty() ? kNothingToDo : kTellAgain);
        {
            const std::lock_guard lock(m_mutex);
            stop = m_stop;
        }
        for (Track* track = NextRunning(0); track != nullptr;) {
            const int channel = track->channel;
            Drain(*track);
            track = NextRunning(channel + 1);
        }
        while (auto track = TakeEnded()) {
            std::string problem;
            try {
                while (const PacketPtr packet = track->queue->Pop()) {
                    Put(*track, packet);
                }
            } catch (const std::exception& failure) {
                problem = TextOf(failure);
            }
            Finish(std::move(track), std::move(problem));
        }
        TellEnds();
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
        Finish(std::move(taken), TextOf(failure));
    }
}

void Recordings::Put(Track& track, const PacketPtr& packet) {
    if (!MatroskaWriter::Takes(*packet)) {
        return;  // sound
    }
    const bool full =
        track.writer && (track.writer->Bytes() > kMaxFilmBytes || track.writer->Milliseconds() > kMaxFileMs);
    if (track.writer && (track.writer->Ends(*packet) || (full && packet->key))) {
        CloseFile(track);
    }
    if (++track.sinceCheck >= kCheckEvery) {
        track.sinceCheck = 0;
        m_folder.MakeRoom();
        if (m_folder.IsFull()) {
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
    m_folder.MakeRoom();
    track.file = m_folder.NewFile(track.channel);
    track.writer = std::make_unique<MatroskaWriter>(track.file, key, m_folder.Group());
}

void Recordings::CloseFile(Track& track) {
    if (track.writer) {
        const MatroskaWriter& writer = *track.writer;
        track.recordedMs += writer.Milliseconds();
        track.writer.reset();
    }
}

void Recordings::Finish(std::unique_ptr<Track> track, std::string problem) {
    CloseFile(*track);
    Notice& notice = track->notice.front();
    notice.channel = track->channel;
    notice.problem = std::move(problem);
    notice.file = std::move(track->file);
    notice.milliseconds = track->recordedMs;
    m_untold.splice(m_untold.end(), track->notice);
}

void Recordings::TellEnds() {
    try {
        while (!m_untold.empty()) {
            m_listener(m_untold.front());
            m_untold.pop_front();
        }
    } catch (const std::exception&) {
        // Memory is short: again in a while.
    }
}

}  // namespace kvrecorder
