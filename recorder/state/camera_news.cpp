// What a channel's pictures and its camera tell.
#include "cameras/camera_url.h"
#include "cameras/certificate_word.h"
#include "state/recorder_model.h"

namespace kvrecorder {

void RecorderModel::OnMedia(int channel, MediaEvent event, bool on) {
    const SnapshotPtr state = Current();
    const Channel* found = state->Configured(channel);
    if (!found) {
        return;
    }
    const bool motion = event == MediaEvent::Motion;
    const std::string name = state->NameOf(channel);
    if (found->talk && (event == MediaEvent::Streams || (event == MediaEvent::Lost && !on))) {
        found->talk->AskAgain();  // it may be another one, or set up in another way
    }
    if (event == MediaEvent::Streams) {
        PublishChannel(Change::Configuration, channel, [&](Snapshot&, Channel& known) -> std::string {
            known.streams = m_hub->Streams(channel);
            return "";
        });
        return;
    }
    const std::string words = m_hub->Words(channel);
    if (event == MediaEvent::Word) {
        m_events.Add(EventLevel::Information, name + ": " + words);
        return;
    }
    if (motion && on) {
        m_events.Add(EventLevel::Information, name + ": motion", {}, {"motion", channel, "", ""});
    } else if (!motion) {
        m_events.Add(on ? EventLevel::Warning : EventLevel::Information,
                     name + (on ? ": the stream is lost" : ": the stream is back") +
                         (words.empty() ? "" : ", " + words),
                     {}, {on ? "stream-lost" : "stream-back", channel, "", ""});
    }
    if (!motion) {
        PublishChannel(Change::None, channel, [&](Snapshot&, Channel& known) -> std::string {
            known.trouble = on ? m_hub->Trouble(channel) : Fault();
            return "";
        });
    }
    SetCause(channel, motion ? Cause::PicturesMove : Cause::StreamLost, on);
}

void RecorderModel::SetCause(int channel, Cause cause, bool on) {
    PublishChannel(Change::Status, channel, [&](Snapshot&, Channel& found) -> std::string {
        m_causes.Set(channel, cause, on, found.config.status);
        return "";
    });
}

void RecorderModel::OnNews(int channel, int source, const CameraNews& news) {
    const SnapshotPtr state = Current();
    const Channel* found = state->Configured(channel);
    // A camera that was taken away says no more.
    if (!found || found->sourceNumber != source) {
        return;
    }
    const auto tell = [&](EventLevel level, const std::string& words) {
        m_events.Add(level, state->NameOf(channel) + ": " + words, {}, {"camera", channel, "", ""});
    };
    switch (news.kind) {
        case CameraNews::Kind::Motion:
            if (news.on) {
                tell(EventLevel::Information, "motion");
            }
            SetCause(channel, Cause::CameraMoves, news.on);
            break;
        case CameraNews::Kind::Input:
            tell(EventLevel::Information, news.on ? "an input is active" : "no input is active any more");
            SetCause(channel, Cause::Input, news.on);
            break;
        case CameraNews::Kind::SignalLost:
            tell(news.on ? EventLevel::Warning : EventLevel::Information,
                 news.on ? "the camera has lost its picture" : "the camera has its picture again");
            SetCause(channel, Cause::SignalLost, news.on);
            break;
        case CameraNews::Kind::Tampering:
            tell(news.on ? EventLevel::Warning : EventLevel::Information,
                 news.on ? "somebody tampers with the camera" : "nobody tampers with the camera any more");
            SetCause(channel, Cause::Tampering, news.on);
            break;
        case CameraNews::Kind::Trouble:
            tell(news.on ? EventLevel::Warning : EventLevel::Information, news.words);
            break;
        case CameraNews::Kind::Offer:
            TakeOffer(channel, source, news.offer);
            break;
        case CameraNews::Kind::Word:
            tell(EventLevel::Information, news.words);
            break;
    }
}

void RecorderModel::WarnOfCertificate(const Snapshot& state, int channel) {
    const NetworkCamera& camera = state.channels[static_cast<std::size_t>(channel)].config.source.network;
    if (camera.certificate == kAnyCertificate &&
        (IsEncryptedUrl(camera.url) || IsEncryptedUrl(camera.subUrl))) {
        m_events.Add(EventLevel::Warning,
                     state.NameOf(channel) +
                         ": any certificate is taken for the camera's, so that somebody who stands "
                         "between is not noticed");
    }
}

// Not before they are known: their cameras answer to channels that there are.
void RecorderModel::StartTalks() {
    const SnapshotPtr state = Current();
    for (const Channel& channel : state->channels) {
        if (channel.talk) {
            channel.talk->Start();
        }
    }
}

void RecorderModel::TakeOffer(int channel, int source, const CameraOffer& offer) {
    const SnapshotPtr state = Current();
    if (const Channel* const before = state->Configured(channel); before && before->offer == offer) {
        return;
    }
    PublishChannel(Change::Configuration, channel, [&](Snapshot&, Channel& found) -> std::string {
        if (found.sourceNumber == source) {
            found.offer = offer;
        }
        return "";
    });
}

}  // namespace kvrecorder
