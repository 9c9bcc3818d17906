#include "state/channel_maker.h"

#include <algorithm>
#include <utility>

#include "cameras/camera_url.h"

namespace kvrecorder {
namespace {

bool SameSource(const SourceConfig& a, const SourceConfig& b) {
    const auto same = [](const StreamConfig& x, const StreamConfig& y) {
        return x.codec == y.codec && x.width == y.width && x.height == y.height && x.fps == y.fps &&
               x.gop == y.gop;
    };
    return a.file == b.file && a.network == b.network && a.scene == b.scene &&
           a.watchMotion == b.watchMotion && a.motion == b.motion &&
           std::equal(a.streams.begin(), a.streams.end(), b.streams.begin(), b.streams.end(), same);
}

std::string PresetFile(const ServerConfig& server, int channel) {
    return server.stateFolder.empty() ? "" : server.stateFolder + "/presets-" + std::to_string(channel);
}

// The unit that a steerable channel's source is to look through; null for others.
std::shared_ptr<PtzUnit> MakeUnit(const ServerConfig& server, int number, const ChannelConfig& config) {
    if (!config.ptz.steerable) {
        return nullptr;
    }
    const std::vector<StreamConfig> streams =
        config.source.streams.empty() ? DefaultStreams(number) : config.source.streams;
    const bool wide = streams[0].width * 10 > streams[0].height * 16;
    return std::make_shared<PtzUnit>(wide ? PictureShape::Wide : PictureShape::Normal,
                                     PresetFile(server, number), config.presets);
}

SourceConfig WithCamera(SourceConfig source, const std::shared_ptr<PtzUnit>& unit) {
    source.camera = unit ? unit->camera : nullptr;
    return source;
}

}  // namespace

bool SameSource(const ChannelConfig& a, const ChannelConfig& b) {
    return SameSource(a.source, b.source) && a.ptz.steerable == b.ptz.steerable;
}

std::shared_ptr<CameraControl> ChannelMaker::MakeControl(int number, int source,
                                                         const ChannelConfig& config) const {
    if (!m_controls || !IsDeviceUrl(config.source.network.url)) {
        return nullptr;
    }
    return m_controls(config.source.network, [news = m_news, number, source](const CameraNews& told) {
        news(number, source, told);
    });
}

void ChannelMaker::MakeTalk(int number, Channel& channel, const ChannelConfig& config) const {
    channel.talk.reset();
    channel.offer.reset();
    if (!m_talks || config.source.network.url.empty()) {
        return;
    }
    const auto tell = [news = m_news, number, source = channel.sourceNumber](const CameraNews& told) {
        news(number, source, told);
    };
    channel.talk =
        m_talks(config.source.network,
                {[tell](const CameraOffer& offer) {
                     tell({CameraNews::Kind::Offer, false, {}, offer});
                 },
                 [tell](const std::string& words) {
                     tell({CameraNews::Kind::Trouble, true, "nobody can talk to the camera, " + words});
                 }});
    if (!channel.talk) {
        channel.offer.emplace();  // it has pictures alone
    }
}

Channel ChannelMaker::Make(const ServerConfig& server, int number, const ChannelConfig& config) {
    Channel channel;
    channel.config = config;
    channel.ptz = MakeUnit(server, number, config);
    m_hub.AddChannel(config.name, WithCamera(config.source, channel.ptz));
    channel.streams = m_hub.Streams(number);
    channel.control = MakeControl(number, channel.sourceNumber, config);
    MakeTalk(number, channel, config);
    return channel;
}

void ChannelMaker::ChangeSource(const ServerConfig& server, int number, Channel& channel,
                                const ChannelConfig& wanted) {
    std::shared_ptr<PtzUnit> unit =
        wanted.ptz.steerable && channel.ptz ? channel.ptz : MakeUnit(server, number, wanted);
    m_hub.ReplaceSource(number, wanted.name, WithCamera(wanted.source, unit));
    channel.ptz = std::move(unit);
    channel.streams = m_hub.Streams(number);
    ++channel.sourceNumber;
    channel.control = MakeControl(number, channel.sourceNumber, wanted);
    MakeTalk(number, channel, wanted);
}

}  // namespace kvrecorder
