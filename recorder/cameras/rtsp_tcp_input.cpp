#include "cameras/rtsp_tcp_input.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

#include "cameras/camera_url.h"
#include "cameras/rtsp_description.h"
#include "media/base64.h"
#include "media/utf8.h"

namespace kvrecorder {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kPictureClock = 90'000;  // where none is told
constexpr int kMostClock = 1'000'000'000;
constexpr int kG726Rate = 8'000;
constexpr std::size_t kLargestPicture = 16 << 20;
constexpr std::size_t kLongestCodec = 32;
constexpr int kShortestSession = 4;
constexpr int kLongestSession = 3600;

AVCodecID CodecOf(const std::string& coding) {
    return coding == "H264"      ? AV_CODEC_ID_H264
           : coding == "H265"    ? AV_CODEC_ID_HEVC
           : coding == "MP4V-ES" ? AV_CODEC_ID_MPEG4
           : coding == "JPEG"    ? AV_CODEC_ID_MJPEG
                                 : AV_CODEC_ID_NONE;
}

// The first that is read here. Another one may be read by others, or by nobody.
const RtspMedia& FindPictures(const RtspDescription& description) {
    std::string other;
    for (const RtspMedia& media : description.media) {
        if (!media.isVideo) {
            continue;
        }
        const std::string& coding = media.Format().coding;
        if (CodecOf(coding) != AV_CODEC_ID_NONE) {
            return media;
        }
        other = coding.empty() ? "unknown" : coding;
    }
    if (other.empty()) {
        throw CameraError(FaultCode::NoPictures);
    }
    std::transform(other.begin(), other.end(), other.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    throw CameraError({FaultCode::CodecUnknown, {{"codec", PrintableUtf8(other, kLongestCodec)}}});
}

const RtspMedia* FindSound(const RtspDescription& description) {
    const auto found =
        std::find_if(description.media.begin(), description.media.end(),
                     [](const RtspMedia& media) { return media.isSound && media.IsFromCamera(); });
    return found != description.media.end() ? &*found : nullptr;
}

// Sets of parameters in base 64, separated by commas.
void AppendSets(std::string_view sets, std::vector<std::uint8_t>& to) {
    while (!sets.empty()) {
        const std::size_t end = std::min(sets.find(','), sets.size());
        const auto unit = Base64Decode(sets.substr(0, end));
        sets.remove_prefix(std::min(end + 1, sets.size()));
        if (unit && !unit->empty()) {
            constexpr std::array<std::uint8_t, 4> kStart = {0, 0, 0, 1};
            to.insert(to.end(), kStart.begin(), kStart.end());
            to.insert(to.end(), unit->begin(), unit->end());
        }
    }
}

// Of a sample of G.726; 0: it is none.
int BitsOf(const std::string& coding) {
    constexpr std::string_view kKinds[] = {"G726-16", "G726-24", "G726-32", "G726-40"};
    for (std::size_t i = 0; i < std::size(kKinds); ++i) {
        if (coding == kKinds[i] || coding == "AAL2-" + std::string(kKinds[i])) {
            return static_cast<int>(i) + 2;
        }
    }
    return 0;
}

AVCodecID SoundCodec(const RtspFormat& format) {
    if (BitsOf(format.coding) > 0 && format.clock == kG726Rate && format.channels == 1) {
        return format.coding.starts_with("AAL2-") ? AV_CODEC_ID_ADPCM_G726 : AV_CODEC_ID_ADPCM_G726LE;
    }
    if (format.coding == "L16") {
        return AV_CODEC_ID_PCM_S16BE;
    }
    if (format.coding == "PCMU" || format.coding == "PCMA") {
        return format.coding == "PCMU" ? AV_CODEC_ID_PCM_MULAW : AV_CODEC_ID_PCM_ALAW;
    }
    const bool usual = format.Parameter("sizelength") == "13" && format.Parameter("indexlength") == "3" &&
                       format.Parameter("indexdeltalength") == "3" && !format.Parameter("config").empty();
    return format.coding == "MPEG4-GENERIC" && usual ? AV_CODEC_ID_AAC : AV_CODEC_ID_NONE;
}

}  // namespace

RtspTcpInput::RtspTcpInput(const NetworkCamera& camera, const std::string& url, bool withSound,
                           InputLimit& limit)
    : m_connection(camera, url, limit), m_base(url) {
    const auto options = m_connection.Ask("OPTIONS", url);
    if (options.head.Field("Public").find("GET_PARAMETER") != std::string_view::npos) {
        m_aliveMethod = "GET_PARAMETER";
    }
    const auto reply = m_connection.Ask("DESCRIBE", url, "Accept: application/sdp\r\n");
    m_base = BaseOfControls(reply.head, url);
    const RtspDescription description = ReadRtspDescription(reply.body);
    const RtspMedia& pictures = FindPictures(description);
    const RtspMedia* sound = withSound ? FindSound(description) : nullptr;
    if (sound && IsEncryptedUrl(url) && SoundCodec(sound->Format()) == AV_CODEC_ID_NONE) {
        // Nobody else reads this session.
        m_word = "its sound (" + PrintableUtf8(sound->Format().coding, kLongestCodec) +
                 ") is not taken from an encrypted connection";
        sound = nullptr;
    }
    TakePictures(pictures);
    if (sound) {
        TakeSound(sound->Format());
    }
    m_picturesChannel = SetUp(pictures, 0);
    if (sound) {
        m_soundChannel = SetUp(*sound, 2);
    }
    m_sessionUrl = JoinRtspUrl(m_base, description.control);
    m_aliveAt = Clock::now() + m_alivePause;
    // Some send pictures before they answer.
    m_connection.Tell("PLAY", m_sessionUrl, "Range: npt=0.000-\r\n" + m_session);
    m_connection.Opened();
}

RtspTcpInput::~RtspTcpInput() {
    try {
        m_connection.Tell("TEARDOWN", m_sessionUrl, m_session);
    } catch (const std::exception&) {
        // It is gone already.
    }
}

void RtspTcpInput::TakePictures(const RtspMedia& media) {
    const RtspFormat& format = media.Format();
    m_codec = CodecOf(format.coding);
    m_pictureClock = format.clock > 0 && format.clock <= kMostClock ? format.clock : kPictureClock;
    if (m_codec == AV_CODEC_ID_MPEG4) {
        const std::string told = HexDecode(format.Parameter("config")).value_or("");
        m_headers.assign(told.begin(), told.end());
        return;
    }
    if (m_codec == AV_CODEC_ID_MJPEG) {
        m_jpeg.emplace(media.width, media.height);
        return;
    }
    const std::string_view order = format.Parameter("sprop-max-don-diff");
    if ((!order.empty() && order != "0") || format.Parameter("packetization-mode") == "2") {
        throw StrangeRtsp();
    }
    m_units.emplace(m_codec == AV_CODEC_ID_HEVC);
    if (m_codec == AV_CODEC_ID_HEVC) {
        AppendSets(format.Parameter("sprop-vps"), m_headers);
        AppendSets(format.Parameter("sprop-sps"), m_headers);
        AppendSets(format.Parameter("sprop-pps"), m_headers);
    } else {
        AppendSets(format.Parameter("sprop-parameter-sets"), m_headers);
    }
}

void RtspTcpInput::TakeSound(const RtspFormat& format) {
    const AVCodecID codec = SoundCodec(format);
    if (codec == AV_CODEC_ID_NONE || format.clock <= 0 || format.channels < 1 || format.channels > 8) {
        throw StrangeRtsp();
    }
    m_isAac = codec == AV_CODEC_ID_AAC;
    m_soundPacket.reset(av_packet_alloc());
    m_soundParameters.reset(avcodec_parameters_alloc());
    const std::string told = HexDecode(format.Parameter("config")).value_or("");
    auto* const extra = static_cast<std::uint8_t*>(av_mallocz(told.size() + AV_INPUT_BUFFER_PADDING_SIZE));
    if (!m_soundPacket || !m_soundParameters || !extra) {
        av_free(extra);
        throw CameraError(FaultCode::OutOfMemory);
    }
    std::copy(told.begin(), told.end(), extra);
    m_soundParameters->extradata = extra;
    m_soundParameters->extradata_size = static_cast<int>(told.size());
    m_soundParameters->codec_type = AVMEDIA_TYPE_AUDIO;
    m_soundParameters->codec_id = codec;
    m_soundParameters->sample_rate = format.clock;
    m_soundParameters->bits_per_coded_sample = BitsOf(format.coding);
    av_channel_layout_default(&m_soundParameters->ch_layout, format.channels);
}

// Gives the channel that its packets come by.
int RtspTcpInput::SetUp(const RtspMedia& media, int wanted) {
    const auto reply =
        m_connection.Ask("SETUP", JoinRtspUrl(m_base, media.control),
                         "Transport: RTP/AVP/TCP;unicast;interleaved=" + std::to_string(wanted) + "-" +
                             std::to_string(wanted + 1) + "\r\n" + m_session);
    const std::string_view transport = reply.head.Field("Transport");
    if (transport.find("TCP") == std::string_view::npos) {
        throw StrangeRtsp();
    }
    if (const std::string_view session = reply.head.Field("Session"); !session.empty()) {
        m_session = "Session: " + FirstPart(session) + "\r\n";
        if (const auto told = NumberOfPart(session, "timeout")) {
            m_alivePause = std::chrono::seconds(std::clamp(*told, kShortestSession, kLongestSession) / 2);
        }
    }
    return NumberOfPart(transport, "interleaved").value_or(wanted);
}

void RtspTcpInput::KeepAlive() {
    if (const auto now = Clock::now(); now >= m_aliveAt) {
        m_aliveAt = now + m_alivePause;
        m_connection.Tell(m_aliveMethod, m_sessionUrl, m_session);
    }
}

// To PLAY, or to what keeps the session.
void RtspTcpInput::OnReply(const RtspHead& head) {
    if (head.status == 0) {
        return;
    }
    try {
        if (m_connection.Judge(head)) {
            m_connection.Tell(m_anyPicture ? m_aliveMethod : "PLAY", m_sessionUrl, m_session);
        }
    } catch (const StrangeRtsp&) {
        // A camera that sends pictures need not like to be asked for more.
        if (!m_anyPicture) {
            throw CameraError(FaultCode::PicturesRefused);
        }
    }
}

std::optional<CameraInput::Piece> RtspTcpInput::Read() {
    if (m_isGiven) {
        m_isGiven = false;
        m_bytes.clear();
    }
    KeepAlive();
    bool isWaitedFor = false;
    while (true) {
        if (auto sound = GiveSound()) {
            return sound;
        }
        const RtspItem* const item = m_connection.NextItem();
        if (!item) {
            m_connection.Receive(!m_bytes.empty() && !std::exchange(isWaitedFor, true));
            continue;
        }
        if (!item->isPacket) {
            OnReply(item->head);
            m_connection.DropItem();
            continue;
        }
        const auto packet = ReadRtpPacket(item->bytes);
        const bool isPicture = packet && item->channel == m_picturesChannel;
        if (isPicture && !m_bytes.empty() && BeginsAnother(*packet)) {
            return GivePicture(false);
        }
        if (isPicture) {
            AddPicture(*packet);
        } else if (packet && item->channel == m_soundChannel) {
            AddSound(*packet);
        }
        m_connection.DropItem();
        if (isPicture && !m_bytes.empty()) {
            m_marks = m_marks || packet->isLast;
            // From a camera that tells no ends each packet is a piece, of whose size something can be learnt.
            if (packet->isLast || (!m_marks && !m_jpeg)) {
                return GivePicture(packet->isLast);
            }
        }
    }
}

// Than the one that has come so far.
bool RtspTcpInput::BeginsAnother(const RtpPacket& packet) const {
    return packet.stamp != *m_pictureTimes.last || (m_jpeg && RtpJpeg::Begins(packet));
}

void RtspTcpInput::AddPicture(const RtpPacket& packet) {
    m_anyPicture = true;
    m_stampUs = m_pictureTimes.Next(packet.stamp) * 1'000'000 / m_pictureClock;
    if (m_units) {
        m_units->Add(packet.payload, m_bytes);
    } else if (m_jpeg) {
        m_jpeg->Add(packet, m_bytes);
    } else {
        m_bytes.insert(m_bytes.end(), packet.payload.begin(), packet.payload.end());
    }
    if (m_bytes.size() > kLargestPicture) {
        m_bytes.clear();
    }
}

void RtspTcpInput::AddSound(const RtpPacket& packet) {
    if (m_isAac) {
        m_aac.Add(packet.payload, m_blocks);
    } else if (!packet.payload.empty()) {
        m_blocks.emplace_back(packet.payload.begin(), packet.payload.end());
    }
}

std::optional<CameraInput::Piece> RtspTcpInput::GivePicture(bool isLast) {
    m_isGiven = true;
    if (m_jpeg && !RtpJpeg::Finish(isLast, m_bytes)) {
        return std::nullopt;
    }
    Piece piece;
    piece.bytes = m_bytes;
    piece.stampUs = m_stampUs;
    piece.isLast = isLast;
    return piece;
}

std::optional<CameraInput::Piece> RtspTcpInput::GiveSound() {
    if (m_blocks.empty()) {
        return std::nullopt;
    }
    const std::vector<std::uint8_t> block = std::move(m_blocks.front());
    m_blocks.pop_front();
    av_packet_unref(m_soundPacket.get());
    if (av_new_packet(m_soundPacket.get(), static_cast<int>(block.size())) < 0) {
        throw CameraError(FaultCode::OutOfMemory);
    }
    std::copy(block.begin(), block.end(), m_soundPacket->data);
    Piece piece;
    piece.isSound = true;
    piece.packet = m_soundPacket.get();
    piece.bytes = {m_soundPacket->data, block.size()};
    return piece;
}

std::int64_t RtspTcpInput::Times::Next(std::uint32_t stamp) {
    ticks += last ? static_cast<std::int32_t>(stamp - *last) : 0;
    last = stamp;
    return ticks;
}

std::unique_ptr<CameraInput> OpenRtspTcp(const NetworkCamera& camera, const std::string& url, bool withSound,
                                         InputLimit& limit) {
    try {
        return std::make_unique<RtspTcpInput>(camera, url, withSound, limit);
    } catch (const StrangeRtsp&) {
        return nullptr;
    }
}

}  // namespace kvrecorder
