// What a camera sends in a session by RTSP: replies, descriptions, packets.
#include <algorithm>
#include <deque>

#include "cameras/rtp_packets.h"
#include "cameras/rtsp_text.h"
#include "fuzz_input.h"

using namespace kvrecorder;
using kvfuzz::Check;

namespace {

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
                head->BodySize();
                if (const auto challenge = ReadRtspChallenge(*head)) {
                    const std::string answer =
                        AnswerRtspChallenge(*challenge, "guard", "sesame", "PLAY", "rtsp://cam/", 1, "abc");
                    Check(answer.find("sesame") == std::string::npos ||
                          text.find("sesame") != std::string::npos);
                    Check(answer.find('\n') == std::string::npos);
                }
            }
            break;
        case 1:
            for (const RtspMedia& media : ReadRtspDescription(text).media) {
                JoinRtspUrl("rtsp://cam/live", media.control);
                ReadBase64(media.Parameter("sprop-parameter-sets"));
                Check(2 * ReadHex(media.Parameter("config")).size() <= text.size());
            }
            break;
        default:
            Packets({data + 1, size - 1});
    }
    return 0;
}
