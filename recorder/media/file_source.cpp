// A looped file as a channel's source.
#include <algorithm>
#include <optional>
#include <stdexcept>

#include "media/file_decoder.h"
#include "media/file_reader.h"
#include "media/picture_encoder.h"
#include "media/picture_source.h"

namespace kvrecorder {
namespace {

// Packets in one go after a delay; more would keep a thread from the other channels.
constexpr int kMostAtOnce = 16;
// A file that is later than this goes on from now.
constexpr MediaTime kLongestDelay{1'000'000};
// Of a group that is kept for late comers.
constexpr std::size_t kMostKeptPackets = 600;
constexpr std::size_t kMostKeptBytes = 16 << 20;

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
    explicit FileSource(const SourceConfig& config) : path_(config.file) {
        // Opened to see what it holds; read again when somebody watches.
        format_ = FileReader(path_).Format();
        streams_.resize(std::max<std::size_t>(1, config.streams.size()));
        streams_[0].config = WholePicture(format_);
        if (config.streams.empty()) {
            streams_.push_back({{Codec::H264, 352, 240, std::min(15, format_.fps), 30}, nullptr});
        }
        for (std::size_t i = 1; i < config.streams.size(); ++i) {
            CheckStream(config.streams[i]);
            streams_[i].config = config.streams[i];
        }
    }

    std::vector<StreamDescription> Streams() const override {
        std::vector<StreamDescription> out;
        for (const Stream& stream : streams_) {
            out.push_back(
                {stream.config.codec, stream.config.width, stream.config.height, stream.config.fps});
        }
        if (format_.passOn) {
            out[0] = {format_.codec, format_.width, format_.height, format_.fps};
        }
        return out;
    }

    MediaTime Run(const SourceRound& round, SourceOutput& output) override {
        if (!reader_) {
            Open(round.now);
        }
        Prepare(round, output);
        for (int i = 0; i < kMostAtOnce && due_ <= round.now; ++i) {
            Pass(round, output);
            next_ = reader_->Read();
            due_ += next_->after;
        }
        if (round.now - due_ > kLongestDelay) {
            due_ = round.now;
        }
        return due_;
    }

    void Sleep() override {
        next_.reset();
        decoder_.reset();
        reader_.reset();
        group_.clear();
        passing_ = false;
        for (Stream& stream : streams_) {
            stream.transcoder.reset();
        }
    }

private:
    struct Stream {
        StreamConfig config;
        std::unique_ptr<FileTranscoder> transcoder;  // while wanted
    };

    bool Transcodes(std::size_t stream) const { return stream > 0 || !format_.passOn; }

    void Open(MediaTime now) {
        auto reader = std::make_unique<FileReader>(path_);
        if (reader->Format().passOn != format_.passOn || reader->Format().codec != format_.codec) {
            throw std::runtime_error("cannot go on with " + path_ + ": it has become another file");
        }
        reader_ = std::move(reader);
        next_ = reader_->Read();
        due_ = now;
    }

    // Starts and ends what the watchers of this round ask for.
    void Prepare(const SourceRound& round, SourceOutput& output) {
        bool decode = false;
        for (std::size_t i = 0; i < streams_.size(); ++i) {
            Stream& stream = streams_[i];
            const bool transcode = round.wanted[i] && Transcodes(i);
            decode = decode || transcode;
            if (!transcode) {
                stream.transcoder.reset();
            } else if (!stream.transcoder) {
                stream.transcoder = std::make_unique<FileTranscoder>(stream.config);
            }
        }
        if (!decode) {
            decoder_.reset();
        } else if (!decoder_) {
            StartDecoder();
        }
        const bool pass = round.wanted[0] && format_.passOn;
        if (pass && !passing_) {
            for (const PacketPtr& packet : group_) {
                output.Give(0, packet, false);
            }
        }
        passing_ = pass;
    }

    // In the middle of a group the decoder takes what went before, so that its pictures are whole.
    void StartDecoder() {
        decoder_ = std::make_unique<FileDecoder>(reader_->Parameters());
        AvPtr<AVPacket> packet(av_packet_alloc());
        for (const PacketPtr& kept : group_) {
            const auto size = static_cast<int>(kept->data.size());
            if (packet && av_new_packet(packet.get(), size) >= 0) {
                std::copy(kept->data.begin(), kept->data.end(), packet->data);
                decoder_->Decode(packet.get(), [](const AVFrame&) {});
                av_packet_unref(packet.get());
            }
        }
    }

    // Passes one packet of the file on, and what is made of it.
    void Pass(const SourceRound& round, SourceOutput& output) {
        if (format_.passOn) {
            PacketPtr packet = Keep();
            if (round.wanted[0]) {
                output.Give(0, std::move(packet), false);
            }
        }
        if (!decoder_) {
            return;
        }
        const auto take = [&](const AVFrame& picture) { Transcode(picture, output); };
        if (next_->begun) {
            decoder_->Decode(nullptr, take);
        }
        decoder_->Decode(next_->packet, take);
    }

    void Transcode(const AVFrame& picture, SourceOutput& output) {
        for (std::size_t i = 0; i < streams_.size(); ++i) {
            if (!streams_[i].transcoder) {
                continue;
            }
            if (PacketPtr packet = streams_[i].transcoder->Encode(picture, due_)) {
                output.Give(static_cast<int>(i), std::move(packet), true);
            }
        }
    }

    // Adds the packet to the group for late comers; a group beyond the bounds is given up.
    PacketPtr Keep() {
        const AVPacket& from = *next_->packet;
        auto packet = std::make_shared<Packet>();
        packet->fourcc = FourccOf(format_.codec);
        packet->key = (from.flags & AV_PKT_FLAG_KEY) != 0;
        packet->width = format_.width;
        packet->height = format_.height;
        packet->timeMs = due_.count() / 1000;
        packet->delayMs = (due_ + next_->delay).count() / 1000 - packet->timeMs;
        packet->data.assign(from.data, from.data + from.size);
        if (packet->key) {
            group_.clear();
            groupBytes_ = 0;
        }
        if (packet->key || !group_.empty()) {
            groupBytes_ += packet->data.size();
            group_.push_back(packet);
        }
        if (group_.size() > kMostKeptPackets || groupBytes_ > kMostKeptBytes) {
            group_.clear();
        }
        return packet;
    }

    const std::string path_;
    FileFormat format_;
    std::vector<Stream> streams_;
    std::unique_ptr<FileReader> reader_;
    std::unique_ptr<FileDecoder> decoder_;
    std::optional<FileReader::Next> next_;
    MediaTime due_{};
    bool passing_ = false;
    std::vector<PacketPtr> group_;  // since the last key picture
    std::size_t groupBytes_ = 0;
};

}  // namespace

std::unique_ptr<PictureSource> CreateFileSource(const SourceConfig& config) {
    return std::make_unique<FileSource>(config);
}

}  // namespace kvrecorder
