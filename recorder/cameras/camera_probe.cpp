#include "cameras/camera_probe.h"

#include <algorithm>

#include "cameras/camera_input.h"
#include "cameras/camera_sound.h"
#include "cameras/open_camera.h"
#include "cameras/picture_headers.h"
#include "cameras/picture_joiner.h"
#include "media/packet_decoder.h"
#include "media/picture_encoder.h"

namespace kvrecorder {
namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr int kPictureWidth = 640;
// Rate and key interval are known after this at the earliest.
constexpr microseconds kMeasured{2'000'000};
constexpr int kMostTries = 3;

// The size in which a picture is shown, in its own shape.
StreamConfig Shown(const AVFrame& frame) {
    StreamConfig stream{kvrecorder::Codec::Mjpeg, std::min(frame.width & ~1, kPictureWidth), 0, 1, 1};
    const auto height = static_cast<int>(std::int64_t{stream.width} * frame.height / frame.width);
    stream.width = std::max(stream.width, 16);
    stream.height = std::clamp(height & ~1, 16, 2 * kPictureWidth);
    return stream;
}

std::string TellSound(const AVCodecParameters& sound) {
    std::string name;
    switch (sound.codec_id) {
        case AV_CODEC_ID_PCM_MULAW:
            name = "G.711 mu-law";
            break;
        case AV_CODEC_ID_PCM_ALAW:
            name = "G.711 A-law";
            break;
        case AV_CODEC_ID_ADPCM_G726:
        case AV_CODEC_ID_ADPCM_G726LE:
            name = "G.726";
            break;
        case AV_CODEC_ID_AAC:
            name = "AAC";
            break;
        default:
            name = sound.codec_id == AV_CODEC_ID_NONE ? "unknown" : avcodec_get_name(sound.codec_id);
    }
    return sound.sample_rate > 0 ? name + ", " + std::to_string(sound.sample_rate) + " Hz" : name;
}

// The times of pictures or of key pictures, by the camera's own stamps where it has any.
class Pace {
public:
    void Add(microseconds at) {
        if (m_count == 0) {
            m_first = at;
        }
        m_last = std::max(m_last, at);
        ++m_count;
    }
    int Count() const { return m_count; }
    microseconds Span() const { return m_count > 0 ? m_last - m_first : microseconds{}; }

private:
    int m_count = 0;
    microseconds m_first{};
    microseconds m_last = microseconds::min();
};

class Probe {
public:
    Probe(const NetworkCamera& camera, milliseconds limit, const std::function<bool()>& ended,
          milliseconds rareKeys)
        : m_camera(camera), m_limit(ended), m_rareKeys(rareKeys) {
        m_limit.AllowUntil(m_begun + limit);
    }

    CameraReport Run() {
        try {
            Watch();
        } catch (const CameraError& failure) {
            // What was to be known is; or all that could be seen in the time was.
            if (!m_report.HasPictures()) {
                m_report.faults.push_back(failure.Told());
            } else if (!m_limit.IsOver()) {
                const milliseconds after = SinceBegin();
                Fault fault = failure.Told();
                fault.words.insert(0, "after " + TellSeconds(after.count()) + ": ");
                fault.values.emplace_back("after_ms", after.count());
                m_report.faults.push_back(std::move(fault));
            }
        } catch (const std::exception&) {
            m_report.faults.emplace_back(FaultCode::OutOfMemory);
        }
        Conclude();
        return std::move(m_report);
    }

private:
    void Watch() {
        ReaderChoice choice;
        const auto input = OpenCameraInput(m_camera, m_camera.url, true, m_limit, choice);
        m_report.connected = SinceBegin();
        const kvrecorder::Codec codec = *PassedCodec(input->Codec());
        m_fourcc = FourccOf(codec);
        m_report.codec = NameOf(codec);
        if (input->Sound()) {
            m_report.sound = TellSound(*input->Sound());
            if (!CameraSound::Make(*input->Sound())) {
                m_report.faults.emplace_back(FaultCode::SoundUnusable,
                                             std::vector<FaultValue>{{"sound", m_report.sound}});
            }
        }
        PictureHeaders headers(input->Codec(), input->Headers());
        PictureJoiner joiner;
        std::vector<PictureJoiner::Picture> whole;
        while (!Complete()) {
            const auto piece = input->Read();
            if (!piece || piece->isSound) {
                continue;
            }
            const microseconds now = std::chrono::duration_cast<microseconds>(Clock::now() - m_begun);
            if (input->IsWhole()) {
                whole.push_back({piece->stampUs, {piece->bytes.begin(), piece->bytes.end()}, false});
            } else {
                joiner.Add(
                    {piece->stampUs, piece->bytes, CountSlices(input->Codec(), piece->bytes), piece->isLast},
                    now, whole);
            }
            for (PictureJoiner::Picture& picture : whole) {
                Take(picture, headers, now);
            }
            whole.clear();
        }
    }

    void Take(PictureJoiner::Picture& picture, PictureHeaders& headers, microseconds now) {
        if (picture.rest) {
            return;
        }
        const PictureHeaders::Seen seen = headers.Look(picture.bytes);
        m_anyPicture = true;
        if (!m_report.HasPictures() && (!seen.key || seen.width <= 0)) {
            return;  // nothing that one can begin with yet
        }
        const microseconds at = picture.stamp > INT64_MIN / 2 ? microseconds(picture.stamp) : now;
        m_pictures.Add(at);
        if (seen.key) {
            m_keys.Add(at);
        }
        if (!m_report.HasPictures()) {
            m_report.firstPicture = SinceBegin();
            m_report.width = seen.width;
            m_report.height = seen.height;
        }
        if (seen.key && m_report.picture.empty() && m_tries < kMostTries) {
            ++m_tries;
            MakePicture(std::move(picture.bytes), seen);
        }
    }

    void MakePicture(std::vector<std::uint8_t> bytes, const PictureHeaders::Seen& seen) {
        Packet packet;
        packet.fourcc = m_fourcc;
        packet.key = true;
        packet.width = seen.width;
        packet.height = seen.height;
        packet.data = std::move(bytes);
        const auto take = [&](const AVFrame& frame) {
            if (!m_report.picture.empty()) {
                return;
            }
            FileTranscoder transcoder(Shown(frame));
            if (const PacketPtr jpeg = transcoder.Encode(frame, MediaTime{})) {
                m_report.picture = jpeg->data;
            }
        };
        PacketDecoder decoder(packet);
        decoder.Decode(packet, take);
        decoder.Finish(take);
    }

    bool Complete() const {
        return (!m_report.picture.empty() || m_tries == kMostTries) && m_pictures.Span() >= kMeasured &&
               m_keys.Count() > 1;
    }

    void Conclude() {
        if (!m_report.HasPictures()) {
            if (m_anyPicture) {
                m_report.faults.assign(1, FaultCode::NoKeyPicture);
            }
            return;
        }
        if (m_pictures.Span() > microseconds::zero()) {
            m_report.fps = (m_pictures.Count() - 1) * 1e6 / static_cast<double>(m_pictures.Span().count());
        }
        if (m_keys.Count() > 1) {
            m_report.keyInterval =
                std::chrono::duration_cast<milliseconds>(m_keys.Span() / (m_keys.Count() - 1));
        }
        const milliseconds watched = SinceBegin() - m_report.firstPicture;
        if (m_report.keyInterval.value_or(watched) > m_rareKeys) {
            m_report.faults.push_back(
                m_report.keyInterval
                    ? Fault(FaultCode::KeyPicturesRare, {{"every_ms", m_report.keyInterval->count()}})
                    : Fault(FaultCode::NoSecondKeyPicture, {{"watched_ms", watched.count()}}));
        }
        if (m_report.picture.empty()) {
            m_report.faults.emplace_back(FaultCode::NotDecoded);
        }
    }

    milliseconds SinceBegin() const {
        return std::chrono::duration_cast<milliseconds>(Clock::now() - m_begun);
    }

    const NetworkCamera& m_camera;
    const Clock::time_point m_begun = Clock::now();
    InputLimit m_limit;
    const milliseconds m_rareKeys;
    CameraReport m_report;
    std::uint32_t m_fourcc = 0;
    bool m_anyPicture = false;
    int m_tries = 0;
    Pace m_pictures;
    Pace m_keys;
};

}  // namespace

CameraReport ProbeCamera(const NetworkCamera& camera, milliseconds limit, const std::function<bool()>& ended,
                         milliseconds rareKeys) {
    // The library tells of each damaged packet on standard error.
    av_log_set_level(AV_LOG_FATAL);
    return Probe(camera, limit, ended, rareKeys).Run();
}

}  // namespace kvrecorder
