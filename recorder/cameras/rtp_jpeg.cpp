#include "cameras/rtp_jpeg.h"

#include <algorithm>
#include <array>
#include <string>
#include <utility>

#include "cameras/camera_error.h"
#include "cameras/jpeg_tables.h"

namespace kvrecorder {
namespace {

using Bytes = std::span<const std::uint8_t>;
using Segment = std::vector<std::uint8_t>;

constexpr std::uint8_t kSegmentMark = 0xFF;
constexpr std::uint8_t kPictureBegin = 0xD8;
constexpr std::uint8_t kPictureEnd = 0xD9;
constexpr std::uint8_t kFrame = 0xC0;
constexpr std::uint8_t kOtherFrame = 0xC1;
constexpr std::uint8_t kHuffman = 0xC4;
constexpr std::uint8_t kQuantizerTables = 0xDB;
constexpr std::uint8_t kRestart = 0xDD;
constexpr std::uint8_t kScanSegment = 0xDA;

constexpr int kSegmentsExtension = 0xFFD8;
constexpr std::size_t kJpegHead = 8;
constexpr int kRestartKinds = 64;  // from here on
constexpr int kOwnKinds = 128;
constexpr int kToldTables = 128;  // of this quality and more
constexpr int kChangingTables = 255;
constexpr int kMostTables = 4;
constexpr std::size_t kTable = 64;  // numbers
// Two of the smallest tables in one segment; the largest alone is smaller.
constexpr std::size_t kTwoTables = 4 + 2 * (1 + kTable);

int Number16(Bytes bytes, std::size_t at) {
    return bytes[at] << 8 | bytes[at + 1];
}

void Put16(int value, Segment& to) {
    to.push_back(static_cast<std::uint8_t>(value >> 8));
    to.push_back(static_cast<std::uint8_t>(value));
}

void PutSegment(std::uint8_t code, Bytes body, Segment& to) {
    to.push_back(kSegmentMark);
    to.push_back(code);
    Put16(static_cast<int>(body.size() + 2), to);
    to.insert(to.end(), body.begin(), body.end());
}

// Of three components: the sides of a block in each, and the table that it follows.
Segment MakeFrame(int width, int height, bool isHalfHigh, bool hasColourTable) {
    Segment frame = {8};
    Put16(height, frame);
    Put16(width, frame);
    const std::uint8_t colours = hasColourTable ? 1 : 0;
    const std::array<std::uint8_t, 10> components = {
        3, 1, static_cast<std::uint8_t>(isHalfHigh ? 0x22 : 0x21), 0, 2, 0x11, colours, 3, 0x11, colours};
    frame.insert(frame.end(), components.begin(), components.end());
    return frame;
}

// It has a size, and as many components as it says, of which pictures have one or three.
bool IsFrame(Bytes body) {
    return body.size() >= 9 && Number16(body, 1) > 0 && Number16(body, 3) > 0 &&
           (body[5] == 1 || body[5] == 3) && body.size() == 6 + std::size_t{3} * body[5];
}

// Begins the pixels, which follow the usual tables.
Segment MakeScan(Bytes frame) {
    Segment scan = {frame[5]};
    for (std::size_t i = 0; i < frame[5]; ++i) {
        scan.push_back(frame[6 + 3 * i]);
        scan.push_back(i == 0 ? 0x00 : 0x11);
    }
    scan.insert(scan.end(), {0, 63, 0});
    return scan;
}

// What an extension tells in place of the rest; a damaged one holds up to there.
struct Extension {
    Segment tables;  // whole segments
    Segment huffman;
    Segment frame;  // its body
    std::optional<int> restart;
};

Extension ReadExtension(const RtpPacket& packet) {
    Extension told;
    Bytes rest = packet.extensionKind == kSegmentsExtension ? packet.extension : Bytes();
    while (rest.size() >= 4 && rest[0] == kSegmentMark) {
        if (rest[1] == kSegmentMark) {
            rest = rest.subspan(1);  // filling
            continue;
        }
        const std::uint8_t code = rest[1];
        const auto size = static_cast<std::size_t>(Number16(rest, 2));
        if (size < 2 || rest.size() < 2 + size) {
            break;
        }
        const Bytes whole = rest.first(2 + size);
        const Bytes body = whole.subspan(4);
        if (code == kQuantizerTables || code == kHuffman) {
            Segment& to = code == kQuantizerTables ? told.tables : told.huffman;
            to.insert(to.end(), whole.begin(), whole.end());
        } else if ((code == kFrame || code == kOtherFrame) && IsFrame(body)) {
            told.frame.assign(body.begin(), body.end());
        } else if (code == kRestart && body.size() >= 2) {
            told.restart = Number16(body, 0);
        }
        rest = rest.subspan(whole.size());
    }
    return told;
}

}  // namespace

std::optional<RtpJpeg::Part> RtpJpeg::ReadPart(Bytes payload) {
    if (payload.size() < kJpegHead) {
        return std::nullopt;
    }
    Part part;
    part.offset = static_cast<std::size_t>(payload[1] << 16 | payload[2] << 8 | payload[3]);
    part.kind = payload[4];
    part.quality = payload[5];
    part.width = 8 * payload[6];
    part.height = 8 * payload[7];
    Bytes rest = payload.subspan(kJpegHead);
    if (part.kind >= kRestartKinds && part.kind < kOwnKinds) {
        if (rest.size() < 4) {
            return std::nullopt;
        }
        part.kind -= kRestartKinds;
        part.restart = Number16(rest, 0);
        rest = rest.subspan(4);
    }
    if (part.offset == 0 && part.quality >= kToldTables) {
        const auto size = rest.size() >= 4 ? static_cast<std::size_t>(Number16(rest, 2)) : rest.size();
        if (rest.size() < 4 + size) {
            return std::nullopt;
        }
        part.wide = rest[1];
        part.tables = rest.subspan(4, size);
        rest = rest.subspan(4 + size);
    }
    part.pixels = rest;
    return part;
}

bool RtpJpeg::Begins(const RtpPacket& packet) {
    const auto part = ReadPart(packet.payload);
    return part && part->offset == 0;
}

// Empty where they are damaged, or none are told.
RtpJpeg::Segment RtpJpeg::TablesOf(const Part& part) {
    Segment body;
    Bytes rest = part.tables;
    for (int i = 0; i < kMostTables && !rest.empty(); ++i) {
        const bool isWide = (part.wide >> i & 1) != 0;
        const std::size_t size = isWide ? 2 * kTable : kTable;
        if (rest.size() < size) {
            return {};
        }
        body.push_back(static_cast<std::uint8_t>((isWide ? 0x10 : 0) | i));
        body.insert(body.end(), rest.begin(), rest.begin() + static_cast<std::ptrdiff_t>(size));
        rest = rest.subspan(size);
    }
    Segment tables;
    if (!body.empty()) {
        PutSegment(kQuantizerTables, body, tables);
    }
    return tables;
}

const RtpJpeg::Segment& RtpJpeg::ChooseTables(const Part& part) {
    if (part.quality < kToldTables) {
        const int quality = std::clamp(part.quality, 1, 99);
        Segment& made = m_made[quality];
        if (made.empty()) {
            made = QuantizationTables(quality);
        }
        return made;
    }
    Segment& told = m_told[part.quality];
    if (!part.tables.empty() || part.quality == kChangingTables) {
        told = TablesOf(part);
    }
    return told;
}

// False where its tables are missing.
bool RtpJpeg::Begin(const Part& part, const RtpPacket& packet, std::vector<std::uint8_t>& picture) {
    const Extension extension = ReadExtension(packet);
    const Segment& tables = extension.tables.empty() ? ChooseTables(part) : extension.tables;
    if (tables.empty()) {
        return false;
    }
    Segment frame = extension.frame;
    if (frame.empty()) {
        const bool isTold = part.width > 0 && part.height > 0;
        const int width = isTold ? part.width : m_width;
        const int height = isTold ? part.height : m_height;
        if (part.kind > 1) {
            throw CameraError(
                {FaultCode::CodecUnknown, {{"codec", "jpeg of kind " + std::to_string(part.kind)}}});
        }
        if (width <= 0 || height <= 0) {
            throw CameraError({FaultCode::CodecUnknown, {{"codec", std::string("jpeg of no size")}}});
        }
        // One table alone holds for all.
        frame = MakeFrame(width, height, part.kind == 1, tables.size() >= kTwoTables);
    }
    picture = {kSegmentMark, kPictureBegin};
    picture.insert(picture.end(), tables.begin(), tables.end());
    PutSegment(kFrame, frame, picture);
    picture.insert(picture.end(), extension.huffman.begin(), extension.huffman.end());
    if (const auto restart = extension.restart ? extension.restart : part.restart; restart.value_or(0) > 0) {
        Segment body;
        Put16(*restart, body);
        PutSegment(kRestart, body, picture);
    }
    PutSegment(kScanSegment, MakeScan(frame), picture);
    AddHuffmanTables(picture);
    return true;
}

void RtpJpeg::Add(const RtpPacket& packet, std::vector<std::uint8_t>& picture) {
    const auto part = ReadPart(packet.payload);
    if (part && part->offset == 0) {
        m_came = 0;
        picture.clear();
        if (!Begin(*part, packet, picture)) {
            return;
        }
    }
    if (!part || picture.empty() || part->offset != m_came) {
        picture.clear();
        return;
    }
    m_came += part->pixels.size();
    picture.insert(picture.end(), part->pixels.begin(), part->pixels.end());
}

bool RtpJpeg::Finish(bool isWhole, std::vector<std::uint8_t>& picture) {
    const std::size_t size = picture.size();
    const bool isEnded = size > 2 && picture[size - 2] == kSegmentMark && picture[size - 1] == kPictureEnd;
    if (!isEnded) {
        picture.insert(picture.end(), {kSegmentMark, kPictureEnd});
    }
    return isEnded || isWhole;
}

}  // namespace kvrecorder
