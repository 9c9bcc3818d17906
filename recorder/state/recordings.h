// Channels on their way to files.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "media/matroska_writer.h"
#include "media/media_hub.h"
#include "state/record_queue.h"
#include "state/recorder_config.h"
#include "state/recording_folder.h"

namespace kvrecorder {

// Writes the first stream of each channel that is told to; one thread does it for all. A file that is full
// is followed by another, and the oldest files make room when all together are more than may be. Any
// thread.
class Recordings {
public:
    struct Notice {
        int channel = 0;
        std::string problem;  // empty: the recording was stopped on request
        std::string file;
        std::int64_t milliseconds = 0;
    };
    // The listener is told, on the writing thread, of the end of each recording. One that throws is told
    // again.
    Recordings(MediaHub& hub, RecordingConfig config, std::function<void(const Notice&)> listener);
    // Ends all files in order.
    ~Recordings();
    Recordings(const Recordings&) = delete;
    Recordings& operator=(const Recordings&) = delete;

    // "" or words for the user; a channel that is recorded goes on.
    std::string Start(int channel);
    // Nothing happens to one that is not recorded.
    void Stop(int channel);
    bool Runs(int channel) const;
    void PretendFull(bool full) { m_folder.PretendFull(full); }
    // Goes on with the channel's new source.
    void Follow(int channel);

private:
    struct Signal {
        std::mutex mutex;
        std::condition_variable wake;
        bool set = false;

        void Set();
        void Wait(std::chrono::milliseconds most);
    };
    struct Track {
        explicit Track(int number) : channel(number) {}
        const int channel;
        const std::shared_ptr<RecordQueue> queue = std::make_shared<RecordQueue>(kMaxLagMs);
        std::unique_ptr<Subscription> subscription;
        // Used by the writing thread alone.
        std::unique_ptr<MatroskaWriter> writer;
        std::string file;
        std::int64_t recordedMs = 0;  // in the files before
        int sinceCheck = 0;
        // What is told in the end: it must be told where there is no memory left, too.
        std::list<Notice> notice = std::list<Notice>(1);
    };
    // A disk that is slower than this loses pictures.
    static constexpr std::int64_t kMaxLagMs = 10'000;

    std::unique_ptr<Subscription> Subscribe(const Track& track);
    void Run();
    void Drain(Track& track);
    void Put(Track& track, const PacketPtr& packet);
    void OpenFile(Track& track, const PacketPtr& key);
    void CloseFile(Track& track);
    void Finish(std::unique_ptr<Track> track, std::string problem);
    Track* NextRunning(int channel) const;
    std::unique_ptr<Track> TakeEnded();
    void TellEnds();

    MediaHub& m_hub;
    RecordingFolder m_folder;
    const std::function<void(const Notice&)> m_listener;
    const std::shared_ptr<Signal> m_signal = std::make_shared<Signal>();
    mutable std::mutex m_mutex;
    std::map<int, std::unique_ptr<Track>> m_tracks;
    std::multimap<int, std::unique_ptr<Track>> m_ended;
    std::list<Notice> m_untold;  // writing thread
    bool m_stop = false;
    std::thread m_thread;  // last
};

}  // namespace kvrecorder
