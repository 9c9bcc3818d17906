#include "media/hub_channel.h"

#include <utility>

#include "media/scene.h"

namespace kvrecorder {
namespace {

// After a source failed.
constexpr MediaTime kSourceRetry{1'000'000};
// Between two looks for motion.
constexpr MediaTime kMotionPause{500'000};

std::unique_ptr<MotionWatch> MakeMotionWatch(int channel, const SourceConfig& source) {
    if (!source.watchMotion || !source.file.empty() || !source.network.url.empty()) {
        return nullptr;
    }
    return std::make_unique<MotionWatch>(SceneOf(channel, source.scene), channel, source.camera,
                                         source.motion);
}

std::unique_ptr<StreamMotion> MakeStreamMotion(const SourceConfig& source) {
    const bool passed = !source.file.empty() || !source.network.url.empty();
    return source.watchMotion && passed ? std::make_unique<StreamMotion>(source.motion) : nullptr;
}

std::string TellAge(MediaTime age) {
    const auto seconds = age.count() / 1'000'000;
    return seconds < 120 ? std::to_string(seconds) + " s" : std::to_string(seconds / 60) + " min";
}

}  // namespace

void MediaReporter::Set(MediaListener listener) {
    const std::unique_lock lock(m_mutex);
    m_listener = std::move(listener);
}

void MediaReporter::Report(int channel, MediaEvent event, bool on) {
    const std::shared_lock lock(m_mutex);
    if (m_listener) {
        m_listener(channel, event, on);
    }
}

HubChannel::HubChannel(std::shared_ptr<MediaClock> clock, std::shared_ptr<MediaReporter> reporter, int number,
                       std::string name, const SourceConfig& source, std::unique_ptr<PictureSource> pictures)
    : m_clock(std::move(clock)),
      m_reporter(std::move(reporter)),
      m_number(number),
      m_source(std::move(pictures)),
      m_sceneMotion(MakeMotionWatch(number, source)),
      m_streamMotion(MakeStreamMotion(source)),
      m_feeds(m_source->Streams().size()),
      m_streams(m_source->Streams()),
      m_name(std::move(name)) {
    if (m_streamMotion) {
        // It wants the stream as who watches it does.
        Feed(m_source->MotionStream()).Watch([this](const PacketPtr& packet) {
            m_streamMotion->Offer(packet);
        });
    }
}

std::vector<StreamDescription> HubChannel::Streams() const {
    const std::lock_guard lock(m_tellMutex);
    return m_streams;
}

std::string HubChannel::Words() const {
    const std::lock_guard lock(m_tellMutex);
    return m_words;
}

Fault HubChannel::Trouble() const {
    const std::lock_guard lock(m_tellMutex);
    return m_told;
}

void HubChannel::Rename(const std::string& name) {
    const std::lock_guard lock(m_tellMutex);
    m_name = name;
}

std::optional<double> HubChannel::MotionShare() const {
    return m_streamMotion ? m_streamMotion->Share() : std::nullopt;
}

// False if nobody does.
bool HubChannel::SeeWhoWatches() {
    bool any = false;
    m_round.wanted.assign(m_feeds.size(), false);
    for (std::size_t i = 0; i < m_feeds.size(); ++i) {
        m_round.wanted[i] = m_feeds[i].Watched();
        any = any || m_round.wanted[i];
        if (!m_round.wanted[i]) {
            m_feeds[i].Forget();
        }
        m_feeds[i].Begin();
    }
    m_round.soundWanted = m_sound.Watched();
    if (!m_round.soundWanted) {
        m_sound.Forget();
    }
    return any || m_round.soundWanted;
}

std::optional<MediaTime> HubChannel::Work() {
    if (!SeeWhoWatches()) {
        m_source->Sleep();
        return std::nullopt;
    }
    {
        const std::lock_guard lock(m_tellMutex);
        m_round.name = m_name;
    }
    m_round.now = m_clock->Now();
    m_round.wall = m_clock->WallTime();
    try {
        const MediaTime next = m_source->Run(m_round, *this);
        const Fault trouble = m_source->Trouble();
        SetLost(!trouble.Empty(), trouble);
        if (std::string word = m_streamMotion ? m_streamMotion->Word() : std::string(); !word.empty()) {
            Tell(std::move(word));
        }
        return next;
    } catch (const std::exception&) {
        // What it says holds paths that are nobody's business.
        m_source->Sleep();
        SetLost(true, {});
        return m_round.now + kSourceRetry;
    }
}

std::optional<MediaTime> HubChannel::WatchMotion() {
    const MediaTime now = m_clock->Now();
    std::optional<bool> turn = m_sceneMotion    ? m_sceneMotion->Look(now)
                               : m_streamMotion ? m_streamMotion->Look(now)
                                                : std::nullopt;
    if (m_motionLeft.exchange(false) && !turn) {
        turn = false;
    }
    if (turn) {
        m_moves = *turn;
        m_reporter->Report(m_number, MediaEvent::Motion, *turn);
    }
    return m_sceneMotion || m_streamMotion ? std::optional(now + kMotionPause) : std::nullopt;
}

void HubChannel::Give(int stream, PacketPtr packet, PacketOrigin origin) {
    m_lastPicture = m_round.now;
    Feed(stream).Publish(std::move(packet), origin);
}

void HubChannel::GiveSound(PacketPtr packet) {
    m_sound.Publish(std::move(packet), PacketOrigin::PassedOn);
}

void HubChannel::StreamsChanged() {
    {
        const std::lock_guard lock(m_tellMutex);
        m_streams = m_source->Streams();
    }
    Report(MediaEvent::Streams, true, {});
}

void HubChannel::Tell(std::string words) {
    Report(MediaEvent::Word, true, std::move(words));
}

void HubChannel::Skipped(int stream, std::int64_t pictures) {
    Feed(stream).CountSkipped(pictures);
}

// Also tells when the trouble has become another one.
void HubChannel::SetLost(bool lost, const Fault& trouble) {
    if (lost == m_lost && trouble == m_trouble) {
        return;
    }
    m_lost = lost;
    m_trouble = trouble;
    Fault told = trouble;
    if (!trouble.Empty() && m_lastPicture) {
        told.words += "; the last picture is " + TellAge(m_round.now - *m_lastPicture) + " old";
    }
    std::string words = told.words;
    {
        const std::lock_guard lock(m_tellMutex);
        m_told = std::move(told);
    }
    Report(MediaEvent::Lost, lost, std::move(words));
}

void HubChannel::Report(MediaEvent event, bool on, std::string words) {
    {
        const std::lock_guard lock(m_tellMutex);
        m_words = std::move(words);
    }
    m_reporter->Report(m_number, event, on);
}

}  // namespace kvrecorder
