// A looped file as a channel's source.
#include <algorithm>
#include <optional>
#include <stdexcept>

#include "media/file_decoder.h"
#include "media/file_reader.h"
#include "media/packet_group.h"
#include "media/picture_encoder.h"
#include "media/picture_source.h"

namespace kvrecorder {
namespace {

// Packets in one go after a delay; more would keep a thread from the other channels.
constexpr int kMostAtOnce = 16;
// A file that is later than this goes on from now.
constexpr MediaTime kLongestDelay{1'000'000};

// The nearest size that an encoder here takes, in about the same shape.
StreamConfig WholePicture(const FileFormat& format) {
    StreamConfig stream;
    stream.codec = Codec::H264;
    stream.width = format.width;
    stream.height = format.height;
    while (stream.width > 4096 || stream.height > 4096) {
        stream.width /= 2;
        stream.height /= 2;
    }
    stream.width = std::max(16, stream.width & ~1);
    stream.height = std::max(16, stream.height & ~1);
    stream.fps = format.fps;
    stream.gop = std::min(600, 2 * format.fps);
    return stream;
}

class FileSource final : public PictureSource {
public:
    explicit FileSource(const SourceConfig& config) : m_path(config.file) {
        // Opened to see what it holds; read again when somebody watches.
        m_format = FileReader(m_path).Format();
        m_streams.resize(std::max<std::size_t>(1, config.streams.size()));
        m_streams[0].config = WholePicture(m_format);
        if (config.streams.empty()) {
            m_streams.push_back({{Codec::H264, 352, 240, std::min(15, m_format.fps), 30}, nullptr});
        }
        for (std::size_t i = 1; i < config.streams.size(); ++i) {
            CheckStream(config.streams[i]);
            m_streams[i].config = config.streams[i];
        }
    }

    std::vector<StreamDescription> Streams() const override {
        std::vector<StreamDescription> out;
        for (const Stream& stream : m_streams) {
            out.push_back(
                {stream.config.codec, stream.config.width, stream.config.height, stream.config.fps});
        }
        if (m_format.passOn) {
            out[0] = {m_format.codec, m_format.width, m_format.height, m_format.fps};
        }
        return out;
    }

    MediaTime Run(const SourceRound& round, SourceOutput& output) override {
        if (!m_reader) {
            Open(round.now);
        }
        Prepare(round, output);
        for (int i = 0; i < kMostAtOnce && m_due <= round.now; ++i) {
            Pass(round, output);
            m_next = m_reader->Read();
            m_due += m_next->after;
        }
        if (round.now - m_due > kLongestDelay) {
            m_due = round.now;
        }
        return m_due;
    }

    int MotionStream() const override { return m_format.passOn || m_streams.size() < 2 ? 0 : 1; }

    void Sleep() override {
        m_next.reset();
        m_decoder.reset();
        m_reader.reset();
        m_group.Clear();
        m_passing = false;
        for (Stream& stream : m_streams) {
            stream.transcoder.reset();
        }
    }

private:
    struct Stream {
        StreamConfig config;
        std::unique_ptr<FileTranscoder> transcoder;  // while wanted
    };

    bool Transcodes(std::size_t stream) const { return stream > 0 || !m_format.passOn; }

    void Open(MediaTime now) {
        auto reader = std::make_unique<FileReader>(m_path);
        if (reader->Format().passOn != m_format.passOn || reader->Format().codec != m_format.codec) {
            throw std::runtime_error("cannot go on with " + m_path + ": it has become another file");
        }
        m_reader = std::move(reader);
        m_next = m_reader->Read();
        m_due = now;
    }

    // Starts and ends what the watchers of this round ask for.
    void Prepare(const SourceRound& round, SourceOutput& output) {
        bool decode = false;
        for (std::size_t i = 0; i < m_streams.size(); ++i) {
            Stream& stream = m_streams[i];
            const bool transcode = round.wanted[i] && Transcodes(i);
            decode = decode || transcode;
            if (!transcode) {
                stream.transcoder.reset();
            } else if (!stream.transcoder) {
                stream.transcoder = std::make_unique<FileTranscoder>(stream.config);
            }
        }
        if (!decode) {
            m_decoder.reset();
        } else if (!m_decoder) {
            StartDecoder();
        }
        const bool pass = round.wanted[0] && m_format.passOn;
        if (pass && !m_passing) {
            for (const PacketPtr& packet : m_group.Packets()) {
                output.Give(0, packet, PacketOrigin::PassedOn);
            }
        }
        m_passing = pass;
    }

    // In the middle of a group the decoder takes what went before, so that its pictures are whole.
    void StartDecoder() {
        m_decoder = std::make_unique<FileDecoder>(m_reader->Parameters());
        AvPtr<AVPacket> packet(av_packet_alloc());
        for (const PacketPtr& kept : m_group.Packets()) {
            const auto size = static_cast<int>(kept->data.size());
            if (packet && av_new_packet(packet.get(), size) >= 0) {
                std::copy(kept->data.begin(), kept->data.end(), packet->data);
                m_decoder->Decode(packet.get(), [](const AVFrame&) {});
                av_packet_unref(packet.get());
            }
        }
    }

    // Passes one packet of the file on, and what is made of it.
    void Pass(const SourceRound& round, SourceOutput& output) {
        if (m_format.passOn) {
            PacketPtr packet = Keep();
            if (round.wanted[0]) {
                output.Give(0, std::move(packet), PacketOrigin::PassedOn);
            }
        }
        if (!m_decoder) {
            return;
        }
        const auto take = [&](const AVFrame& picture) { Transcode(picture, output); };
        if (m_next->begun) {
            m_decoder->Decode(nullptr, take);
        }
        m_decoder->Decode(m_next->packet, take);
    }

    void Transcode(const AVFrame& picture, SourceOutput& output) {
        for (std::size_t i = 0; i < m_streams.size(); ++i) {
            if (!m_streams[i].transcoder) {
                continue;
            }
            if (PacketPtr packet = m_streams[i].transcoder->Encode(picture, m_due)) {
                output.Give(static_cast<int>(i), std::move(packet), PacketOrigin::Encoded);
            }
        }
    }

    // Adds the packet to the group for late comers.
    PacketPtr Keep() {
        const AVPacket& from = *m_next->packet;
        auto packet = std::make_shared<Packet>();
        packet->fourcc = FourccOf(m_format.codec);
        packet->key = (from.flags & AV_PKT_FLAG_KEY) != 0;
        packet->width = m_format.width;
        packet->height = m_format.height;
        packet->timeMs = m_due.count() / 1000;
        packet->delayMs = (m_due + m_next->delay).count() / 1000 - packet->timeMs;
        packet->data.assign(from.data, from.data + from.size);
        m_group.Add(packet);
        m_group.DropIfTooLarge();
        return packet;
    }

    const std::string m_path;
    FileFormat m_format;
    std::vector<Stream> m_streams;
    std::unique_ptr<FileReader> m_reader;
    std::unique_ptr<FileDecoder> m_decoder;
    std::optional<FileReader::Next> m_next;
    MediaTime m_due{};
    bool m_passing = false;
    PacketGroup m_group;
};

}  // namespace

std::unique_ptr<PictureSource> CreateFileSource(const SourceConfig& config) {
    return std::make_unique<FileSource>(config);
}

}  // namespace kvrecorder
