// One channel of a hub: its source, and who watches it.
#pragma once

#include <atomic>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <shared_mutex>
#include <string>
#include <vector>

#include "media/fault.h"
#include "media/media_clock.h"
#include "media/media_event.h"
#include "media/motion_watch.h"
#include "media/picture_source.h"
#include "media/stream_feed.h"
#include "media/stream_motion.h"

namespace kvrecorder {

// Hands on what channels tell. Any thread.
class MediaReporter {
public:
    // Returns when no call to the one before is under way.
    void Set(MediaListener listener);
    void Report(int channel, MediaEvent event, bool on);

private:
    std::shared_mutex m_mutex;
    MediaListener m_listener;
};

// Work and WatchMotion are the scheduler's, each one call at a time; the rest is for any thread.
class HubChannel final : public SourceOutput {
public:
    HubChannel(std::shared_ptr<MediaClock> clock, std::shared_ptr<MediaReporter> reporter, int number,
               std::string name, const SourceConfig& source, std::unique_ptr<PictureSource> pictures);

    std::vector<StreamDescription> Streams() const;
    int StreamCount() const { return static_cast<int>(m_feeds.size()); }
    std::string Words() const;
    Fault Trouble() const;
    void Rename(const std::string& name);
    // In percent of a processor; nothing where it is not measured.
    std::optional<double> MotionShare() const;
    StreamFeed& Feed(int stream) { return m_feeds[static_cast<std::size_t>(stream)]; }
    StreamFeed& Sound() { return m_sound; }
    // The source is to tell nothing more.
    void End() { m_source->End(); }
    // It comes in the other's place: what that told of motion ends.
    void Follow(const HubChannel& before) { m_motionLeft = before.m_moves || before.m_motionLeft; }

    // Each gives the time at which it is to be called again; nothing: when it is woken.
    std::optional<MediaTime> Work();
    // Beside the pictures' work, and maybe at the same time.
    std::optional<MediaTime> WatchMotion();

    // Of the source, in its turn.
    void Give(int stream, PacketPtr packet, PacketOrigin origin) override;
    void GiveSound(PacketPtr packet) override;
    void StreamsChanged() override;
    void Tell(std::string words) override;
    void Skipped(int stream, std::int64_t pictures) override;

private:
    bool SeeWhoWatches();
    void SetLost(bool lost, const Fault& trouble);
    void Report(MediaEvent event, bool on, std::string words);

    const std::shared_ptr<MediaClock> m_clock;
    const std::shared_ptr<MediaReporter> m_reporter;
    const int m_number;
    const std::unique_ptr<PictureSource> m_source;
    const std::unique_ptr<MotionWatch> m_sceneMotion;
    const std::unique_ptr<StreamMotion> m_streamMotion;
    std::atomic<bool> m_moves = false;       // as was told
    std::atomic<bool> m_motionLeft = false;  // told by the channel that was here before
    std::deque<StreamFeed> m_feeds;
    StreamFeed m_sound;
    SourceRound m_round;
    bool m_lost = false;
    Fault m_trouble;
    std::optional<MediaTime> m_lastPicture;
    mutable std::mutex m_tellMutex;
    std::vector<StreamDescription> m_streams;
    std::string m_words;
    Fault m_told;  // the trouble, with the last picture's age in its words
    std::string m_name;
};

}  // namespace kvrecorder
