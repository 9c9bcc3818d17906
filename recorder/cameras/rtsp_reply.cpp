#include "cameras/rtsp_reply.h"

#include <algorithm>
#include <cctype>
#include <charconv>

#include "cameras/camera_words.h"

namespace kvrecorder {
namespace {

constexpr std::size_t kMostHeaders = 100;
constexpr std::size_t kPieceHead = 4;  // '$', the channel, two bytes of the length

std::string_view Trim(std::string_view text) {
    const auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\r'; };
    while (!text.empty() && blank(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && blank(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

std::string Lower(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return lower;
}

// Without what would break a line of ours that repeats it.
std::string Plain(std::string text) {
    std::erase_if(text, [](char c) { return static_cast<unsigned char>(c) < ' ' || c == 127; });
    return text;
}

// A number at the text's begin; -1 if there is none.
long NumberOf(std::string_view text) {
    long number = -1;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number < 0 ? -1 : number;
}

std::string_view TakeLine(std::string_view& rest) {
    const std::size_t end = std::min(rest.find('\n'), rest.size());
    const std::string_view line = rest.substr(0, end);
    rest.remove_prefix(std::min(end + 1, rest.size()));
    return Trim(line);
}

// Behind the empty line; npos if it has not come.
std::size_t EndOfHead(std::string_view bytes) {
    const std::size_t plain = bytes.find("\n\n");
    const std::size_t usual = bytes.find("\n\r\n");
    const std::size_t end = std::min(plain, usual);
    return end == std::string_view::npos ? end : end + (end == plain ? 2 : 3);
}

}  // namespace

std::string RtspReply::Header(std::string_view name) const {
    const auto found = std::find_if(headers.begin(), headers.end(),
                                    [&](const auto& header) { return header.first == name; });
    return found == headers.end() ? "" : found->second;
}

// A piece of a stream, or the blank lines that some send; false if a head stands there, or nothing whole.
bool RtspReplies::PassOver() {
    if (m_bytes.empty()) {
        return false;
    }
    if (m_bytes[0] == '\r' || m_bytes[0] == '\n') {
        m_bytes.erase(0, 1);
        return true;
    }
    if (m_bytes[0] != '$' || m_bytes.size() < kPieceHead) {
        return false;
    }
    const std::size_t length = static_cast<std::size_t>(static_cast<unsigned char>(m_bytes[2])) << 8 |
                               static_cast<unsigned char>(m_bytes[3]);
    if (m_bytes.size() < kPieceHead + length) {
        return false;
    }
    m_bytes.erase(0, kPieceHead + length);
    return true;
}

std::optional<RtspReply> RtspReplies::Next() {
    while (true) {
        while (PassOver()) {
        }
        if (m_bytes.empty() || m_bytes[0] == '$') {
            return std::nullopt;
        }
        const std::size_t end = EndOfHead(m_bytes);
        if (end == std::string::npos ? m_bytes.size() > kMostHead : end > kMostHead) {
            throw CameraError(words::kNotUnderstood);
        }
        if (end == std::string::npos) {
            return std::nullopt;
        }
        std::string_view head = std::string_view(m_bytes).substr(0, end);
        const std::string_view first = TakeLine(head);
        RtspReply reply;
        while (!head.empty() && reply.headers.size() < kMostHeaders) {
            const std::string_view line = TakeLine(head);
            if (const std::size_t colon = line.find(':'); colon != std::string_view::npos) {
                reply.headers.emplace_back(Plain(Lower(Trim(line.substr(0, colon)))),
                                           Plain(std::string(Trim(line.substr(colon + 1)))));
            }
        }
        const std::string told = reply.Header("content-length");
        const long length = told.empty() ? 0 : NumberOf(told);
        if (length < 0 || static_cast<std::size_t>(length) > kMostBody) {
            throw CameraError(words::kNotUnderstood);
        }
        if (m_bytes.size() < end + static_cast<std::size_t>(length)) {
            return std::nullopt;
        }
        constexpr std::string_view kVersion = "RTSP/1.0 ";
        const bool answers = first.starts_with(kVersion);
        if (answers) {
            reply.status = static_cast<int>(std::clamp(NumberOf(first.substr(kVersion.size())), -1L, 999L));
            reply.sequence = static_cast<int>(std::clamp(NumberOf(reply.Header("cseq")), -1L, 1'000'000L));
            reply.body = m_bytes.substr(end, static_cast<std::size_t>(length));
        } else if (!first.ends_with("RTSP/1.0")) {
            throw CameraError(words::kNotUnderstood);
        }
        m_bytes.erase(0, end + static_cast<std::size_t>(length));
        if (answers) {
            return reply;
        }
    }
}

std::string FirstPart(std::string_view value) {
    return std::string(Trim(value.substr(0, value.find(';'))));
}

}  // namespace kvrecorder
