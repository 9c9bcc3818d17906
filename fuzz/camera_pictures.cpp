// The pieces of a camera's pictures: joined, looked at, completed.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <span>

#include "cameras/jpeg_tables.h"
#include "cameras/picture_headers.h"
#include "cameras/picture_joiner.h"

using namespace kvrecorder;

// The first byte chooses the codec; each piece begins with its length and a step of its time stamp.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static constexpr AVCodecID kCodecs[] = {AV_CODEC_ID_H264, AV_CODEC_ID_HEVC, AV_CODEC_ID_MPEG4,
                                            AV_CODEC_ID_MJPEG};
    av_log_set_level(AV_LOG_QUIET);
    std::span<const std::uint8_t> rest(data, size);
    if (rest.size() < 3) {
        return 0;
    }
    const AVCodecID codec = kCodecs[rest[0] % 4];
    const std::size_t told = std::min<std::size_t>(rest[1], rest.size() - 2);
    PictureHeaders headers(codec, rest.subspan(2, told));
    rest = rest.subspan(2 + told);
    PictureJoiner joiner;
    std::vector<PictureJoiner::Picture> whole;
    std::int64_t stamp = 0;
    std::size_t came = 0;
    PictureJoiner::Time now{};
    while (rest.size() > 2) {
        const std::size_t length = std::min<std::size_t>(rest[0] * 8, rest.size() - 2);
        stamp += static_cast<std::int8_t>(rest[1]) * 10'000;
        const auto piece = rest.subspan(2, length);
        rest = rest.subspan(2 + length);
        came += piece.size();
        now += PictureJoiner::Time(5'000);
        joiner.Add({stamp, piece, CountSlices(codec, piece)}, now, whole);
        joiner.Flush(now, whole);
    }
    joiner.Flush(now + PictureJoiner::Time(10'000'000), whole);
    std::size_t given = 0;
    for (PictureJoiner::Picture& picture : whole) {
        given += picture.bytes.size();
        AddHuffmanTables(picture.bytes);
        const PictureHeaders::Seen seen = headers.Look(picture.bytes);
        if (seen.width < 0 || seen.height < 0 || picture.bytes.empty()) {
            std::abort();
        }
    }
    if (given > came) {
        std::abort();
    }
    return 0;
}
