#include "cameras/rtsp_head.h"

#include <algorithm>
#include <charconv>

#include "cameras/camera_error.h"
#include "cameras/rtsp_words.h"

namespace kvrecorder {
namespace {

constexpr std::size_t kMostFields = 100;
constexpr std::size_t kInterleavedHead = 4;  // '$', the channel, two bytes of the length

// Without what would break a line of ours that repeats it.
std::string Plain(std::string_view text) {
    std::string plain(text);
    std::erase_if(plain, [](char c) { return static_cast<unsigned char>(c) < ' ' || c == 127; });
    return plain;
}

// Behind the empty line; npos if it has not come.
std::size_t EndOfHead(std::string_view text) {
    const std::size_t plain = text.find("\n\n");
    const std::size_t usual = text.find("\n\r\n");
    const std::size_t end = std::min(plain, usual);
    return end == std::string_view::npos ? end : end + (end == plain ? 2 : 3);
}

// A packet of a channel that may have been asked for, or a word.
bool BeginsItem(const std::uint8_t* bytes, int channels) {
    return (bytes[0] == '$' && bytes[1] < channels) ||
           std::all_of(bytes, bytes + kInterleavedHead,
                       [](std::uint8_t byte) { return (byte >= 'A' && byte <= 'Z') || byte == '_'; });
}

}  // namespace

std::string_view RtspHead::Field(std::string_view name) const {
    const auto found = std::find_if(fields.begin(), fields.end(),
                                    [&](const auto& field) { return rtsp::IsName(field.first, name); });
    return found != fields.end() ? std::string_view(found->second) : std::string_view();
}

int RtspHead::Sequence() const {
    return std::max(rtsp::ReadNumber(Field("CSeq")), -1);
}

std::optional<std::size_t> RtspHead::BodySize() const {
    const std::string_view told = Field("Content-Length");
    const int size = told.empty() ? 0 : rtsp::ReadNumber(told);
    return size >= 0 ? std::optional(static_cast<std::size_t>(size)) : std::nullopt;
}

std::optional<RtspHead> ReadRtspHead(std::string_view text) {
    std::string_view first = rtsp::Cut(text, '\n');
    RtspHead head;
    if (first.starts_with("RTSP/")) {
        rtsp::Cut(first, ' ');
        head.status = rtsp::ReadNumber(rtsp::Trim(first));
        if (head.status < 100 || head.status > 999) {
            return std::nullopt;
        }
    } else if (first.find(" RTSP/") == std::string_view::npos) {
        return std::nullopt;
    }
    while (!text.empty() && head.fields.size() < kMostFields) {
        std::string_view line = rtsp::Cut(text, '\n');
        const std::string_view name = rtsp::Trim(rtsp::Cut(line, ':'));
        if (!name.empty()) {
            head.fields.emplace_back(Plain(name), Plain(rtsp::Trim(line)));
        }
    }
    return head;
}

std::string FirstPart(std::string_view field) {
    return std::string(rtsp::Trim(rtsp::Cut(field, ';')));
}

std::optional<int> NumberOfPart(std::string_view field, std::string_view name) {
    while (!field.empty()) {
        std::string_view value = rtsp::Cut(field, ';');
        if (rtsp::IsName(rtsp::Trim(rtsp::Cut(value, '=')), name)) {
            const int number = rtsp::ReadNumber(rtsp::Trim(value));
            return number >= 0 ? std::optional(number) : std::nullopt;
        }
    }
    return std::nullopt;
}

std::size_t SkipToRtspItem(std::span<const std::uint8_t> bytes, int channels) {
    std::size_t skipped = 0;
    while (bytes.size() - skipped >= kInterleavedHead && !BeginsItem(bytes.data() + skipped, channels)) {
        ++skipped;
    }
    return skipped;
}

std::optional<RtspItem> ReadRtspItem(std::span<const std::uint8_t> bytes) {
    if (bytes.size() < kInterleavedHead) {
        return std::nullopt;
    }
    RtspItem item;
    if (bytes[0] == '$') {
        const std::size_t size = static_cast<std::size_t>(bytes[2]) << 8 | bytes[3];
        if (bytes.size() < kInterleavedHead + size) {
            return std::nullopt;
        }
        item.isPacket = true;
        item.channel = bytes[1];
        item.bytes = bytes.subspan(kInterleavedHead, size);
        item.size = kInterleavedHead + size;
        return item;
    }
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()),
                                std::min(bytes.size(), kMostRtspHead));
    const std::size_t end = EndOfHead(text);
    if (end == std::string_view::npos) {
        if (bytes.size() >= kMostRtspHead) {
            throw CameraError(FaultCode::NotUnderstood);
        }
        return std::nullopt;
    }
    auto head = ReadRtspHead(text.substr(0, end));
    const auto size = head ? head->BodySize() : std::nullopt;
    if (!size || *size > kMostRtspBody) {
        throw CameraError(FaultCode::NotUnderstood);
    }
    if (bytes.size() < end + *size) {
        return std::nullopt;
    }
    item.head = std::move(*head);
    item.bytes = bytes.subspan(end, *size);
    item.size = end + *size;
    return item;
}

}  // namespace kvrecorder
