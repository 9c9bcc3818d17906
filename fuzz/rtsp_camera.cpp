// What a camera sends in a session by RTSP: replies with the logins that they ask for, descriptions, packets.
#include <algorithm>
#include <deque>

#include "cameras/camera_error.h"
#include "cameras/jpeg_walk.h"
#include "cameras/picture_headers.h"
#include "cameras/rtp_jpeg.h"
#include "cameras/rtp_packets.h"
#include "cameras/rtsp_description.h"
#include "cameras/rtsp_login.h"
#include "fuzz_input.h"
#include "media/base64.h"

using namespace kvrecorder;
using kvfuzz::Check;

namespace {

// What was made of packets is a picture of a size, and little more than what came.
void TakeJpeg(std::vector<std::uint8_t>& picture, std::size_t came) {
    RtpJpeg::Finish(true, picture);
    JpegWalk walk;
    Check(IsJpeg(picture) && picture.size() <= came + 2048);
    Check(walk.Find(picture) || walk.HasPixels());
    const PictureHeaders::Seen seen = PictureHeaders(AV_CODEC_ID_MJPEG, {}).Look(picture);
    Check(seen.width > 0 && seen.height > 0);
    picture.clear();
}

// The first byte tells whether the camera told a size before.
void Jpegs(std::span<const std::uint8_t> rest) {
    RtpJpeg pictures(rest[0] % 4 < 2 ? 0 : 2560, 1440);
    std::vector<std::uint8_t> picture;
    std::size_t came = 0;
    try {
        for (rest = rest.subspan(1); rest.size() > 1;) {
            const std::size_t size = std::min<std::size_t>(rest[0], rest.size() - 1);
            const auto packet = ReadRtpPacket(rest.subspan(1, size));
            came += size;
            if (packet && RtpJpeg::Begins(*packet) && !picture.empty()) {
                TakeJpeg(picture, came);
            }
            if (packet) {
                pictures.Add(*packet, picture);
            }
            if (packet && packet->isLast && !picture.empty()) {
                TakeJpeg(picture, came);
            }
            rest = rest.subspan(1 + size);
        }
    } catch (const CameraError&) {
        // Of a kind that has no head.
    }
}

void Packets(std::span<const std::uint8_t> rest) {
    RtpUnits units(rest[0] % 2 == 1);
    RtpAac sound;
    std::vector<std::uint8_t> pictures;
    std::deque<std::vector<std::uint8_t>> blocks;
    std::size_t came = 0;
    std::size_t packets = 0;
    for (rest = rest.subspan(1); rest.size() > 1; ++packets) {
        const std::size_t size = std::min<std::size_t>(rest[0], rest.size() - 1);
        if (const auto packet = ReadRtpPacket(rest.subspan(1, size))) {
            Check(packet->payload.size() <= size);
            units.Add(packet->payload, pictures);
            sound.Add(packet->payload, blocks);
            came += size;
        }
        rest = rest.subspan(1 + size);
    }
    // A start code and a head stand before what came, at most once for each two bytes.
    Check(pictures.size() <= 4 * came + 8 * packets);
    std::size_t heard = 0;
    for (const auto& block : blocks) {
        heard += block.size();
    }
    Check(heard <= came);
}

// All that comes is one item after another, each within what came.
void Items(std::span<const std::uint8_t> rest) {
    try {
        while (true) {
            rest = rest.subspan(SkipToRtspItem(rest, 8));
            const auto item = ReadRtspItem(rest);
            if (!item) {
                return;
            }
            Check(item->size > 0 && item->bytes.size() < item->size && item->size <= rest.size());
            Check(!item->isPacket || item->channel < 8);
            rest = rest.subspan(item->size);
        }
    } catch (const CameraError&) {
        // No camera speaks so.
    }
}

// What is answered is one line, and tells no password.
void Login(RtspHead head) {
    // No head has such a word in it.
    const std::string password = "sesame\t";
    RtspLogin login("guard", password);
    head.status = 401;
    if (login.Judge(head) == RtspLogin::Verdict::Again) {
        const Secret line = login.Line("SETUP", "rtsp://camera/a");
        Check(line.View().ends_with("\r\n"));
        Check(line.View().find_first_of("\r\n") == line.View().size() - 2);
        Check(line.View().find(password) == std::string_view::npos);
    }
}

}  // namespace

// The first byte says what the rest is.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) {
        return 0;
    }
    const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
    switch (data[0] % 3) {
        case 0:
            if (const auto head = ReadRtspHead(text)) {
                Login(*head);
            }
            Items({data + 1, size - 1});
            break;
        case 1:
            for (const RtspMedia& media : ReadRtspDescription(text).media) {
                Check(media.width >= 0 && media.width < 1 << 16 && media.height >= 0 &&
                      media.height < 1 << 16);
                const RtspFormat& format = media.Format();
                Base64Decode(format.Parameter("sprop-parameter-sets"));
                Check(2 * HexDecode(format.Parameter("config")).value_or("").size() <= text.size());
            }
            break;
        default:
            Packets({data + 1, size - 1});
            Jpegs({data + 1, size - 1});
    }
    return 0;
}
