// Pictures of a camera's multipart reply, off the wire and into the decode queue.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "channel/frames/byte_source.h"
#include "channel/stream/stream_pass.h"

namespace kvmon {

// One pass over one connection, from behind the status line. Reception thread.
class MultipartReader {
public:
    MultipartReader(const StreamSinks& sinks, const ThreadControl& control, ByteSource& source)
        : m_sinks(sinks), m_control(control), m_source(source) {}

    // Reads until the connection ends, a part is not as it has to be or the abort flag is set. Gives the
    // number of pictures. The next connection starts clean.
    std::uint32_t ParseImage();

private:
    bool IsAborted() const { return m_control.abort != 0; }
    // Always false, so that callers can return it.
    bool Fail(int nCode, const char* lpszText);
    bool ReadLine();
    // The end of a header, or a line between two parts.
    bool IsEmptyLine() const { return m_line.starts_with('\r') || m_line.starts_with('\n'); }
    bool ReadBoundary();
    // The line before a part, behind empty ones.
    bool ReadBoundaryLine();
    // 0 if none is told.
    std::uint32_t ReadContentLength();
    // False ends the pass.
    bool ReadPart();
    bool ReadPicture(CBuffer& frame, std::uint32_t dwLength);

    const StreamSinks m_sinks;
    const ThreadControl& m_control;
    ByteSource& m_source;
    std::array<char, 2048> m_buffer{};
    std::string_view m_line;    // of m_buffer
    std::string m_strBoundary;  // as the header tells it, without quotes
    std::uint32_t m_dwCount = 0;
};

}  // namespace kvmon
