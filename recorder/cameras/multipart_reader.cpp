#include "cameras/multipart_reader.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstring>

#include "cameras/camera_error.h"

namespace kvrecorder {
namespace {

constexpr std::size_t kMostHead = 16 << 10;
constexpr std::size_t kMostBoundary = 200;
// A shorter boundary without dashes could stand in a picture by chance.
constexpr std::size_t kPlainBoundary = 6;
constexpr std::string_view kBlanks = " \t\r\n";

std::string_view Trim(std::string_view text) {
    const std::size_t begin = text.find_first_not_of(kBlanks);
    return begin == std::string_view::npos ? std::string_view()
                                           : text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

std::string Lower(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); });
    return lower;
}

std::string_view WithoutDashes(std::string_view text) {
    return text.substr(std::min(text.find_first_not_of('-'), text.size()));
}

}  // namespace

std::string BoundaryOf(std::string_view contentType) {
    const std::size_t at = Lower(contentType).find("boundary=");
    if (at == std::string::npos) {
        return {};
    }
    std::string_view text = Trim(contentType.substr(at + 9));
    if (text.starts_with('"')) {
        return std::string(text.substr(1, text.find('"', 1) - 1));
    }
    return std::string(Trim(text.substr(0, text.find(';'))));
}

std::string MediaTypeOf(std::string_view contentType) {
    return Lower(Trim(contentType.substr(0, contentType.find(';'))));
}

MultipartReader::MultipartReader(std::string_view boundary)
    : m_boundary(WithoutDashes(boundary).substr(0, kMostBoundary)) {}

void MultipartReader::Add(std::span<const std::uint8_t> bytes) {
    Drop();
    m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end());
}

// What is done with goes when it is worth the move.
void MultipartReader::Drop() {
    if (m_at == m_bytes.size() || m_at > (64 << 10)) {
        m_bytes.erase(m_bytes.begin(), m_bytes.begin() + static_cast<std::ptrdiff_t>(m_at));
        m_at = 0;
    }
}

std::optional<MultipartReader::Part> MultipartReader::Next() {
    while (true) {
        if (m_state == State::Boundary && !SkipToBoundary()) {
            return std::nullopt;
        }
        if (m_state == State::Head && !ReadHead()) {
            return std::nullopt;
        }
        if (m_state == State::Body) {
            auto part = ReadBody();
            if (!part || !part->body.empty()) {
                return part;
            }
        }
    }
}

// A line without its end; nothing until all of it has come.
std::optional<std::string_view> MultipartReader::Line(std::size_t most) {
    const auto rest = Rest();
    const auto end = std::find(rest.begin(), rest.end(), std::uint8_t{'\n'});
    if (end == rest.end() && rest.size() <= most) {
        return std::nullopt;
    }
    const auto length = static_cast<std::size_t>(end - rest.begin());
    if (length > most) {
        throw CameraError(FaultCode::NotUnderstood);
    }
    m_at += length + 1;
    return std::string_view(reinterpret_cast<const char*>(rest.data()), length);
}

std::size_t MultipartReader::FindBoundary(std::size_t from) const {
    const auto rest = Rest();
    while (from < rest.size()) {
        const void* const found =
            ::memmem(rest.data() + from, rest.size() - from, m_boundary.data(), m_boundary.size());
        if (!found) {
            break;
        }
        const auto at = static_cast<std::size_t>(static_cast<const std::uint8_t*>(found) - rest.data());
        std::size_t begin = at;
        while (begin > 0 && rest[begin - 1] == '-') {
            --begin;
        }
        const bool dashes = at - begin >= 2;
        const bool ownLine = begin == 0 || rest[begin - 1] == '\n';
        if (dashes || (ownLine && m_boundary.size() >= kPlainBoundary)) {
            return begin;
        }
        from = at + 1;
    }
    return std::string_view::npos;
}

bool MultipartReader::SkipToBoundary() {
    if (m_boundary.empty()) {
        // The first line with something in it is the boundary.
        const auto line = Line(kMostHead);
        if (!line) {
            return false;
        }
        const std::string_view text = Trim(*line);
        if (text.empty()) {
            return true;
        }
        m_boundary = WithoutDashes(text).substr(0, kMostBoundary);
        if (m_boundary.empty() || !text.starts_with("--")) {
            throw CameraError(FaultCode::NotUnderstood);
        }
    } else {
        const std::size_t at = FindBoundary(0);
        const auto rest = Rest();
        if (at == std::string_view::npos) {
            // Its beginning may have come.
            const std::size_t keep = m_boundary.size() + 16;
            m_at += rest.size() > keep ? rest.size() - keep : 0;
            return false;
        }
        m_at += at;
        if (!Line(kMostHead)) {
            return false;
        }
    }
    m_state = State::Head;
    m_headBytes = 0;
    m_part = {};
    m_length.reset();
    return true;
}

bool MultipartReader::ReadHead() {
    while (const auto line = Line(kMostHead)) {
        m_headBytes += line->size() + 1;
        if (m_headBytes > kMostHead) {
            throw CameraError(FaultCode::NotUnderstood);
        }
        const std::string_view text = Trim(*line);
        if (text.empty()) {
            m_state = State::Body;
            m_searched = 0;
            m_walk = {};
            return true;
        }
        ReadField(text);
    }
    return false;
}

void MultipartReader::ReadField(std::string_view line) {
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos) {
        return;
    }
    const std::string name = Lower(Trim(line.substr(0, colon)));
    const std::string_view value = Trim(line.substr(colon + 1));
    if (name == "content-type") {
        m_part.type = MediaTypeOf(value);
    } else if (name == "content-length") {
        std::size_t length = 0;
        const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), length);
        if (error == std::errc() && end == value.data() + value.size()) {
            m_length = length;
        }
    }
}

MultipartReader::Part MultipartReader::TakeBody(std::size_t length, std::size_t upTo) {
    const auto body = Rest().first(length);
    m_part.body.assign(body.begin(), body.end());
    m_at += upTo;
    m_state = State::Boundary;
    return std::move(m_part);
}

std::optional<MultipartReader::Part> MultipartReader::ReadBody() {
    // Some cameras send one blank line too many.
    while (m_at < m_bytes.size() && (m_bytes[m_at] == '\r' || m_bytes[m_at] == '\n')) {
        ++m_at;
    }
    const auto rest = Rest();
    const std::size_t boundary = m_boundary.empty() ? std::string_view::npos : FindBoundary(m_searched);
    const bool ends = boundary != std::string_view::npos;
    const auto come = rest.first(ends ? boundary : rest.size());
    const bool jpeg = IsJpeg(rest);
    if (jpeg) {
        if (const auto end = m_walk.Find(come)) {
            return TakeBody(*end, *end);
        }
    } else if (m_length && *m_length <= kMostPart && rest.size() >= std::max<std::size_t>(*m_length, 3)) {
        return TakeBody(*m_length, *m_length);
    }
    if (ends) {
        // A picture that was cut short is one if there is something to see.
        std::size_t length = come.size();
        while (length > 0 && (come[length - 1] == '\n' || come[length - 1] == '\r')) {
            --length;
        }
        return TakeBody(jpeg && !m_walk.HasPixels() ? 0 : length, boundary);
    }
    if (rest.size() > kMostPart) {
        throw CameraError(FaultCode::NotUnderstood);
    }
    const std::size_t keep = m_boundary.size() + 16;
    m_searched = rest.size() > keep ? rest.size() - keep : 0;
    return std::nullopt;
}

}  // namespace kvrecorder
