#include "cameras/picture_headers.h"

#include <algorithm>
#include <stdexcept>

namespace kvrecorder {
namespace {

constexpr std::size_t kMostHeaderBytes = 64 << 10;
constexpr int kMaxSide = 16384;

using Bytes = std::span<const std::uint8_t>;

// Calls `take(begin, code)` with the place of each start code and the byte behind it, until that says false.
template <typename Take>
void ForEachStart(Bytes data, Take take) {
    for (std::size_t i = 0; i + 3 < data.size(); ++i) {
        if (data[i + 2] > 1) {
            i += 2;
        } else if (data[i] == 0 && data[i + 1] == 0 && data[i + 2] == 1) {
            if (!take(i, data[i + 3])) {
                return;
            }
            i += 3;
        }
    }
}

int NalType(AVCodecID codec, std::uint8_t byte) {
    return codec == AV_CODEC_ID_HEVC ? byte >> 1 & 63 : byte & 31;
}
bool IsSlice(AVCodecID codec, std::uint8_t byte) {
    const int type = NalType(codec, byte);
    return codec == AV_CODEC_ID_HEVC ? type < 32 : type >= 1 && type <= 5;
}
// Sets of parameters: SPS and PPS, of H.265 VPS, too; of MPEG-4 all that stands before a picture.
bool IsHeader(AVCodecID codec, std::uint8_t byte) {
    if (codec == AV_CODEC_ID_MPEG4) {
        return byte != 0xB6;
    }
    const int type = NalType(codec, byte);
    return codec == AV_CODEC_ID_HEVC ? type >= 32 && type <= 34 : type == 7 || type == 8;
}
// The one without which no decoder begins.
bool IsMainHeader(AVCodecID codec, std::uint8_t byte) {
    if (codec == AV_CODEC_ID_MPEG4) {
        return byte >= 0x20 && byte <= 0x2F;
    }
    return NalType(codec, byte) == (codec == AV_CODEC_ID_HEVC ? 33 : 7);
}
bool BeginsPicture(AVCodecID codec, std::uint8_t byte) {
    return codec == AV_CODEC_ID_MPEG4 ? byte == 0xB6 : IsSlice(codec, byte);
}
bool HasStarts(AVCodecID codec) {
    return codec == AV_CODEC_ID_H264 || codec == AV_CODEC_ID_HEVC || codec == AV_CODEC_ID_MPEG4;
}

// The size that a JPEG's frame header tells.
void ReadJpegSize(Bytes data, int& width, int& height) {
    for (std::size_t at = 2; at + 9 <= data.size() && data[at] == 0xFF && data[at + 1] != 0xDA;) {
        const std::uint8_t kind = data[at + 1];
        if (kind >= 0xC0 && kind <= 0xC3) {
            height = data[at + 5] << 8 | data[at + 6];
            width = data[at + 7] << 8 | data[at + 8];
            return;
        }
        at += 2 + (static_cast<std::size_t>(data[at + 2]) << 8 | data[at + 3]);
    }
}

}  // namespace

int CountSlices(AVCodecID codec, Bytes piece) {
    if (!HasStarts(codec)) {
        return 1;
    }
    // A piece that goes on has no start code at its beginning, and none anywhere else.
    if (piece.size() < 4 || piece[0] != 0 || piece[1] != 0) {
        return 0;
    }
    int slices = 0;
    ForEachStart(piece, [&](std::size_t, std::uint8_t byte) {
        slices += BeginsPicture(codec, byte) ? 1 : 0;
        return true;
    });
    return slices;
}

PictureHeaders::PictureHeaders(AVCodecID codec, Bytes extradata)
    : m_codec(codec), m_context(avcodec_alloc_context3(nullptr)), m_parser(av_parser_init(codec)) {
    if (!m_context) {
        throw std::runtime_error("no memory for a camera's pictures");
    }
    m_context->codec_id = codec;
    m_context->codec_type = AVMEDIA_TYPE_VIDEO;
    if (m_parser) {
        m_parser->flags |= PARSER_FLAG_COMPLETE_FRAMES;
    }
    if (HasStarts(codec)) {
        KeepHeaders(extradata);
        Parse(m_headers);
    }
}

// Remembers the headers that stand in the data, as they may not be repeated.
void PictureHeaders::KeepHeaders(Bytes data) {
    std::size_t begin = data.size();
    std::size_t end = data.size();
    bool main = false;
    ForEachStart(data, [&](std::size_t at, std::uint8_t byte) {
        if (BeginsPicture(m_codec, byte)) {
            end = at;
            return false;
        }
        main = main || IsMainHeader(m_codec, byte);
        if (IsHeader(m_codec, byte) && begin == data.size()) {
            begin = at;
        }
        return true;
    });
    if (!main || end < begin || end - begin > kMostHeaderBytes) {
        return;
    }
    m_headers.clear();
    // One byte more makes each start code a long one.
    m_headers.push_back(0);
    m_headers.insert(m_headers.end(), data.begin() + static_cast<std::ptrdiff_t>(begin),
                     data.begin() + static_cast<std::ptrdiff_t>(end));
    while (!m_headers.empty() && m_headers.back() == 0) {
        m_headers.pop_back();  // of the start code that follows
    }
}

bool PictureHeaders::HasHeaders(Bytes picture) const {
    bool found = false;
    ForEachStart(picture, [&](std::size_t, std::uint8_t byte) {
        found = IsMainHeader(m_codec, byte);
        return !found && !BeginsPicture(m_codec, byte);
    });
    return found;
}

bool PictureHeaders::IsKey(Bytes picture) const {
    if (!HasStarts(m_codec)) {
        return true;  // each JPEG picture is one
    }
    bool key = false;
    ForEachStart(picture, [&](std::size_t at, std::uint8_t byte) {
        if (!BeginsPicture(m_codec, byte)) {
            return true;
        }
        const int type = NalType(m_codec, byte);
        if (m_codec == AV_CODEC_ID_MPEG4) {
            key = at + 4 < picture.size() && picture[at + 4] >> 6 == 0;
        } else {
            key = m_codec == AV_CODEC_ID_HEVC ? type >= 16 && type <= 21 : type == 5;
        }
        return false;
    });
    return key;
}

// The size, and whether a picture can be begun with that does not look so at first sight.
void PictureHeaders::Parse(Bytes picture) {
    if (!m_parser || picture.empty()) {
        return;
    }
    // The library reads a little beyond the end.
    std::vector<std::uint8_t> padded(picture.begin(), picture.end());
    padded.resize(padded.size() + AV_INPUT_BUFFER_PADDING_SIZE);
    std::uint8_t* out = nullptr;
    int size = 0;
    av_parser_parse2(m_parser.get(), m_context.get(), &out, &size, padded.data(),
                     static_cast<int>(picture.size()), AV_NOPTS_VALUE, AV_NOPTS_VALUE, 0);
    const int width = m_parser->width > 0 ? m_parser->width : m_context->width;
    const int height = m_parser->height > 0 ? m_parser->height : m_context->height;
    if (width > 0 && height > 0 && width <= kMaxSide && height <= kMaxSide) {
        m_seen.width = width;
        m_seen.height = height;
    }
}

PictureHeaders::Seen PictureHeaders::Look(std::vector<std::uint8_t>& picture) {
    m_seen.key = IsKey(picture);
    if (!HasStarts(m_codec)) {
        ReadJpegSize(picture, m_seen.width, m_seen.height);
        return m_seen;
    }
    const bool own = HasHeaders(picture);
    if (own) {
        KeepHeaders(picture);
    }
    if (!m_seen.key && own) {
        // A camera that refreshes its pictures bit by bit has no others to begin with.
        m_seen.key = m_codec == AV_CODEC_ID_H264;
    }
    if (m_seen.key) {
        if (!own && !m_headers.empty()) {
            picture.insert(picture.begin(), m_headers.begin(), m_headers.end());
        }
        Parse(std::span(picture).first(std::min(picture.size(), kMostHeaderBytes)));
    }
    return m_seen;
}

}  // namespace kvrecorder
