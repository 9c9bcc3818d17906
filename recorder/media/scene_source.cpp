// A generated scene as a channel's source.
#include <algorithm>
#include <stdexcept>

#include <libyuv.h>

#include "media/picture_encoder.h"
#include "media/picture_source.h"
#include "media/ptz_camera.h"
#include "media/scene_renderer.h"

namespace kvrecorder {
namespace {

// Neighbouring channels do not fall due together.
constexpr MediaTime kChannelShift{7'700};

bool FillPicture(AVFrame* frame, const PixelView& view) {
    if (!frame || !view.pixels) {
        return false;
    }
    const auto convert = frame->format == AV_PIX_FMT_YUVJ420P ? libyuv::ARGBToJ420 : libyuv::ARGBToI420;
    return convert(view.pixels, view.stride, frame->data[0], frame->linesize[0], frame->data[1],
                   frame->linesize[1], frame->data[2], frame->linesize[2], view.width, view.height) == 0;
}

class SceneSource final : public PictureSource {
public:
    SceneSource(int channel, const Scene& scene, const std::vector<StreamConfig>& streams,
                std::shared_ptr<PtzCamera> camera)
        : m_shift(kChannelShift * (channel % 16)), m_camera(std::move(camera)), m_renderer(scene, channel) {
        for (const StreamConfig& stream : streams) {
            CheckStream(stream);
            m_streams.push_back({stream, nullptr, -1});
        }
    }

    std::vector<StreamDescription> Streams() const override {
        std::vector<StreamDescription> out;
        for (const Stream& stream : m_streams) {
            out.push_back(
                {stream.config.codec, stream.config.width, stream.config.height, stream.config.fps});
        }
        return out;
    }

    MediaTime Run(const SourceRound& round, SourceOutput& output) override {
        const MediaTime now = round.now + m_shift;
        MediaTime next = MediaTime::max();
        for (std::size_t i = 0; i < m_streams.size(); ++i) {
            Stream& stream = m_streams[i];
            if (!round.wanted[i]) {
                stream.encoder.reset();
                continue;
            }
            const std::int64_t index = now.count() * stream.config.fps / 1'000'000;
            if (!stream.encoder) {
                stream.encoder = std::make_unique<PictureEncoder>(stream.config);
                stream.last = index - 1;
            }
            if (index > stream.last) {
                // A late machine leaves pictures out; they do not pile up.
                output.Skipped(static_cast<int>(i), index - stream.last - 1);
                stream.last = index;
                Picture(static_cast<int>(i), stream, round, now, output);
            }
            next = std::min(next, TimeOf(index + 1, stream.config.fps));
        }
        return next - m_shift;
    }

    void Sleep() override {
        for (Stream& stream : m_streams) {
            stream.encoder.reset();
        }
        m_renderer.Clear();
    }

private:
    struct Stream {
        StreamConfig config;
        std::unique_ptr<PictureEncoder> encoder;
        std::int64_t last;
    };

    // The first microsecond at which the picture `index` is due.
    static MediaTime TimeOf(std::int64_t index, int fps) {
        return MediaTime((index * 1'000'000 + fps - 1) / fps);
    }

    void Picture(int number, Stream& stream, const SourceRound& round, MediaTime now, SourceOutput& output) {
        const MediaTime time = TimeOf(stream.last, stream.config.fps);
        // The picture shows the moment at which it was due, so that streams of one rate share it.
        SceneMoment moment;
        moment.seconds = static_cast<double>(time.count()) / 1e6;
        moment.wall = round.wall - (now - time);
        moment.name = round.name;
        if (m_camera) {
            const CameraPose pose = m_camera->Pose(time);
            moment.view = pose.view;
            moment.blur = pose.blur;
        }
        const PixelView view = m_renderer.Draw(stream.config.width, stream.config.height, moment);
        if (!FillPicture(stream.encoder->Picture(), view)) {
            throw std::runtime_error("no memory for a picture");
        }
        if (PacketPtr packet = stream.encoder->Encode(stream.last, time.count() / 1000)) {
            output.Give(number, std::move(packet), PacketOrigin::Encoded);
        }
    }

    const MediaTime m_shift;
    const std::shared_ptr<PtzCamera> m_camera;
    SceneRenderer m_renderer;
    std::vector<Stream> m_streams;
};

}  // namespace

std::unique_ptr<PictureSource> CreateSceneSource(int channel, const SourceConfig& config) {
    return std::make_unique<SceneSource>(channel, SceneOf(channel, config.scene),
                                         config.streams.empty() ? DefaultStreams(channel) : config.streams,
                                         config.camera);
}

}  // namespace kvrecorder
