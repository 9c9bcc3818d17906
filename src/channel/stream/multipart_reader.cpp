#include "channel/stream/multipart_reader.h"

#include <algorithm>

#include "persist/log_file.h"
#include "server/documents/wire_number.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kLineTimeout = 3000;
constexpr std::uint32_t kPictureTimeout = 30000;
constexpr std::string_view kBoundaryKey = "boundary=";
constexpr std::string_view kLengthKey = "content-length:";
constexpr std::string_view kDashes = "--";
constexpr std::size_t kBoundaryLimit = 70;
constexpr int kMostEmptyLines = 8;

char Lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

std::string_view WithoutBlanks(std::string_view text) {
    const std::size_t begin = text.find_first_not_of(" \t\r\n");
    return begin == std::string_view::npos ? std::string_view()
                                           : text.substr(begin, text.find_last_not_of(" \t\r\n") - begin + 1);
}

bool EqualNoCase(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return Lower(x) == Lower(y); });
}

}  // namespace

std::uint32_t MultipartReader::ParseImage() {
    if (!ReadBoundary()) {
        Fail(kStreamNoBoundary, "fail to get boundary string");
        return 0;
    }
    while (!IsAborted() && ReadPart()) {
    }
    return m_dwCount;
}

// A stream that the user left is no failed stream.
bool MultipartReader::Fail(int nCode, const char* lpszText) {
    if (!IsAborted()) {
        m_sinks.reports.ReportStreamError(nCode);
    }
    Trace("CBaseCamera::ParseImage: m_uCHInMainDlg=%u, %s...\n", m_sinks.frames.GetCHInMainDlg(), lpszText);
    return false;
}

bool MultipartReader::ReadLine() {
    std::size_t length = m_buffer.size();
    std::uint32_t dwTimeout = kLineTimeout;
    if (!m_source.ReadLine(m_buffer.data(), &length, &dwTimeout)) {
        m_line = {};
        return false;
    }
    m_line = {m_buffer.data(), length};
    m_line = m_line.substr(0, m_line.find('\0'));
    return true;
}

// A header's value as told in one of its parameters: quoted, or up to the next parameter.
bool MultipartReader::ReadBoundary() {
    for (int i = 0; i < kMaxHeaderLines && ReadLine() && !IsEmptyLine(); ++i) {
        const auto key = std::search(m_line.begin(), m_line.end(), kBoundaryKey.begin(), kBoundaryKey.end(),
                                     [](char x, char y) { return Lower(x) == Lower(y); });
        if (key == m_line.end()) {
            continue;
        }
        std::string_view boundary =
            m_line.substr(static_cast<std::size_t>(key - m_line.begin()) + kBoundaryKey.size());
        if (boundary.starts_with('"')) {
            boundary.remove_prefix(1);
            boundary = boundary.substr(0, boundary.find('"'));
        } else {
            boundary = boundary.substr(0, boundary.find(';'));
        }
        boundary = WithoutBlanks(boundary);
        if (boundary.size() <= kBoundaryLimit + kDashes.size()) {
            m_strBoundary = boundary;
        }
    }
    return !m_strBoundary.empty();
}

// Cameras count the dashes before a boundary to it or leave them to the reader, and put any number of empty
// lines before it.
bool MultipartReader::ReadBoundaryLine() {
    for (int i = 0; i <= kMostEmptyLines; ++i) {
        if (!ReadLine()) {
            return false;
        }
        if (!IsEmptyLine()) {
            const std::string_view line = WithoutBlanks(m_line);
            return EqualNoCase(line, m_strBoundary) ||
                   (line.starts_with(kDashes) && EqualNoCase(line.substr(kDashes.size()), m_strBoundary));
        }
    }
    return false;
}

std::uint32_t MultipartReader::ReadContentLength() {
    std::uint32_t dwLength = 0;
    for (int i = 0; i < kMaxHeaderLines && ReadLine() && !IsEmptyLine(); ++i) {
        std::transform(m_buffer.begin(), m_buffer.begin() + static_cast<std::ptrdiff_t>(m_line.size()),
                       m_buffer.begin(), Lower);
        const std::size_t key = m_line.find(kLengthKey);
        if (key != std::string_view::npos) {
            dwLength = static_cast<std::uint32_t>(WireInt(m_line.substr(key + kLengthKey.size())));
        }
    }
    return dwLength;
}

bool MultipartReader::ReadPart() {
    if (!ReadBoundaryLine()) {
        return false;
    }
    const std::uint32_t dwLength = ReadContentLength();
    if (dwLength == 0) {
        return Fail(kStreamNoLength, "fail to get content length");
    }
    auto frame = dwLength <= MostBytesOfPicture(0, 0) ? m_sinks.frames.NewDecodeFrame(m_dwCount, dwLength)
                                                      : std::unique_ptr<CBuffer>();
    if (!frame) {
        return Fail(kStreamNoBuffer, "NewDecodeFrame failed");
    }
    if (!ReadPicture(*frame, dwLength)) {
        return Fail(kStreamBodyCut, "ReadJpeg failed");
    }
    frame->SetLength(dwLength);
    ++m_dwCount;
    ++m_sinks.counters.m_nReceived;
    m_sinks.counters.m_nBytes += dwLength;
    m_sinks.reports.NoteReceived();
    m_sinks.frames.AddDecodeFrameToQueue(FrameType::Jpeg, std::move(frame), &m_sinks.decode.run);
    // At least the end of the picture's own line stands behind it.
    return ReadLine() && IsEmptyLine();
}

// The end mark decides where the picture ends, and has to agree with the length told.
bool MultipartReader::ReadPicture(CBuffer& frame, std::uint32_t dwLength) {
    std::size_t length = frame.GetFreeSize();
    std::uint32_t dwTimeout = kPictureTimeout;
    return m_source.ReadJpeg(reinterpret_cast<char*>(frame.Begin()), &length, &dwTimeout) &&
           length == dwLength;
}

}  // namespace kvmon
