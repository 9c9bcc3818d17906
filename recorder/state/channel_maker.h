// Channels and their sources, made of what a configuration says.
#pragma once

#include "media/media_hub.h"
#include "state/recorder_config.h"
#include "state/snapshot.h"

namespace kvrecorder {

bool SameSource(const ChannelConfig& a, const ChannelConfig& b);

// One thread at a time.
class ChannelMaker {
public:
    explicit ChannelMaker(MediaHub& hub) : m_hub(hub) {}

    // Adds a channel to the hub. Throws std::exception for a source that cannot be.
    Channel Make(const ServerConfig& server, int number, const ChannelConfig& config);
    // Gives a channel that exists another source. Throws as above; the channel is then as before.
    void ChangeSource(const ServerConfig& server, int number, Channel& channel, const ChannelConfig& wanted);

private:
    MediaHub& m_hub;
};

}  // namespace kvrecorder
