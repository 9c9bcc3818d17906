// Channels and their sources, made of what a configuration says.
#pragma once

#include <functional>

#include "cameras/camera_control.h"
#include "cameras/camera_talk.h"
#include "media/media_hub.h"
#include "state/recorder_config.h"
#include "state/snapshot.h"

namespace kvrecorder {

bool SameSource(const ChannelConfig& a, const ChannelConfig& b);

// One thread at a time.
class ChannelMaker {
public:
    // What a camera tells comes with the channel's number and the number of its source.
    using NewsTaker = std::function<void(int channel, int source, const CameraNews& news)>;

    ChannelMaker(MediaHub& hub, CameraControlMaker controls, CameraTalkMaker talks, NewsTaker news)
        : m_hub(hub), m_controls(std::move(controls)), m_talks(std::move(talks)), m_news(std::move(news)) {}

    // Adds a channel to the hub. Throws std::exception for a source that cannot be.
    Channel Make(const ServerConfig& server, int number, const ChannelConfig& config);
    // Gives a channel that exists another source. Throws as above; the channel is then as before.
    void ChangeSource(const ServerConfig& server, int number, Channel& channel, const ChannelConfig& wanted);

private:
    std::shared_ptr<CameraControl> MakeControl(int number, int source, const ChannelConfig& config) const;

    void MakeTalk(int number, Channel& channel, const ChannelConfig& config) const;

    MediaHub& m_hub;
    const CameraControlMaker m_controls;
    const CameraTalkMaker m_talks;
    const NewsTaker m_news;
};

}  // namespace kvrecorder
