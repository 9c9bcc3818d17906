#include "channel/multipart_reader.h"

#include <algorithm>

#include "channel/stream_reader.h"
#include "persist/log_file.h"
#include "server/wire_number.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kLineTimeout = 3000;
constexpr std::uint32_t kPictureTimeout = 30000;
constexpr std::string_view kBoundaryKey = "boundary=";
constexpr std::string_view kLengthKey = "content-length:";
constexpr std::size_t kBoundaryLimit = 32;

char Lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
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
        m_core.ReportStreamError(nCode);
    }
    Trace("CBaseCamera::ParseImage: m_uCHInMainDlg=%u, %s...\n", m_core.m_uCHInMainDlg.load(), lpszText);
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

bool MultipartReader::ReadEmptyLine() {
    return ReadLine() && m_line.starts_with('\r');
}

bool MultipartReader::ReadBoundary() {
    for (int i = 0; i < StreamReader::kMaxHeaderLines && ReadLine() && !m_line.starts_with('\r'); ++i) {
        const std::size_t key = m_line.find(kBoundaryKey);
        if (key == std::string_view::npos) {
            continue;
        }
        const std::string_view boundary = m_line.substr(key + kBoundaryKey.size());
        if (boundary.size() < kBoundaryLimit) {
            m_strBoundary = boundary;
        }
    }
    return !m_strBoundary.empty();
}

std::uint32_t MultipartReader::ReadContentLength() {
    std::uint32_t dwLength = 0;
    for (int i = 0; i < StreamReader::kMaxHeaderLines && ReadLine() && !m_line.starts_with('\r'); ++i) {
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
    if (!ReadLine() || !EqualNoCase(m_line, m_strBoundary)) {
        return false;
    }
    const std::uint32_t dwLength = ReadContentLength();
    if (dwLength == 0) {
        return Fail(kStreamNoLength, "fail to get content length");
    }
    auto frame = m_core.m_frames.NewDecodeFrame(m_dwCount, dwLength);
    if (!frame) {
        return Fail(kStreamNoBuffer, "NewDecodeFrame failed");
    }
    if (!ReadPicture(*frame, dwLength)) {
        return Fail(kStreamBodyCut, "ReadJpeg failed");
    }
    frame->SetLength(dwLength);
    m_core.m_frames.AddDecodeFrameToQueue(FrameType::Jpeg, std::move(frame), &m_decode.run);
    ++m_dwCount;
    ++m_core.m_nReceived;
    m_core.m_nBytes += dwLength;
    return ReadEmptyLine() && ReadEmptyLine();
}

// The end mark decides where the picture ends, and has to agree with the length told.
bool MultipartReader::ReadPicture(CBuffer& frame, std::uint32_t dwLength) {
    std::size_t length = frame.GetFreeSize();
    std::uint32_t dwTimeout = kPictureTimeout;
    return m_source.ReadJpeg(reinterpret_cast<char*>(frame.Begin()), &length, &dwTimeout) &&
           length == dwLength;
}

}  // namespace kvmon
