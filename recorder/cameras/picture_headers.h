// What a coded picture says of itself, and the headers that a decoder needs before it.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "media/av_ptr.h"

namespace kvrecorder {

// The slices that begin in a piece as libavformat gives it, of MPEG-4 the pictures.
int CountSlices(AVCodecID codec, std::span<const std::uint8_t> piece);

// One stream's pictures, one after the other. One thread at a time.
class PictureHeaders {
public:
    // `extradata` are the headers that the camera told beforehand. Throws std::runtime_error when memory is
    // short.
    PictureHeaders(AVCodecID codec, std::span<const std::uint8_t> extradata);

    struct Seen {
        bool key = false;  // a decoder can begin here
        int width = 0;     // 0: not known yet
        int height = 0;
    };
    // Looks at a whole picture. A key picture without the headers of its stream gets the last ones that came.
    Seen Look(std::vector<std::uint8_t>& picture);

private:
    struct FreeParser {
        void operator()(AVCodecParserContext* parser) const { av_parser_close(parser); }
    };

    void KeepHeaders(std::span<const std::uint8_t> data);
    bool IsKey(std::span<const std::uint8_t> picture) const;
    bool HasHeaders(std::span<const std::uint8_t> picture) const;
    void Parse(std::span<const std::uint8_t> picture);

    const AVCodecID m_codec;
    AvPtr<AVCodecContext> m_context;
    std::unique_ptr<AVCodecParserContext, FreeParser> m_parser;
    std::vector<std::uint8_t> m_headers;
    Seen m_seen;
};

}  // namespace kvrecorder
