#include "server/http/http_chunk_tran.h"

#include "server/documents/wire_number.h"

namespace kvmon {

namespace {

constexpr std::size_t kSizeLine = 16;
constexpr std::size_t kEmptyLine = 2;  // CR LF

}  // namespace

bool CHttpChunkTran::ReadChunkSize(std::uint32_t* dwTimeout) {
    char line[kSizeLine];
    std::size_t length = kEmptyLine;
    while (length == kEmptyLine) {
        length = sizeof line;
        if (!CHttpTran::ReadToCRLF(line, &length, dwTimeout)) {
            return false;
        }
    }
    m_nChunkLeft = WireHex(std::string_view(line, length));
    return true;
}

// Stands at a chunk's bytes if it succeeds.
bool CHttpChunkTran::BeginRead(std::uint32_t* dwTimeout) {
    if (!m_bFirstChunkSeen) {
        // These recorders put an empty line behind the first size, and behind no other.
        char line[kSizeLine];
        std::size_t length = sizeof line;
        if (!CHttpTran::ReadToCRLF(line, &length, dwTimeout)) {
            return false;
        }
        m_nChunkLeft = WireHex(std::string_view(line, length));
        length = sizeof line;
        if (!CHttpTran::ReadToCRLF(line, &length, dwTimeout) || length != kEmptyLine) {
            return false;
        }
        m_bFirstChunkSeen = true;
    }
    return m_nChunkLeft != 0 || ReadChunkSize(dwTimeout);
}

std::size_t CHttpChunkTran::ReadBlock(void* pBuffer, std::size_t nLength, std::uint32_t* dwTimeout) {
    if (!m_bChunked) {
        return CHttpTran::ReadBlock(pBuffer, nLength, dwTimeout);
    }
    auto* const bytes = static_cast<char*>(pBuffer);
    std::size_t count = 0;
    while (count < nLength && BeginRead(dwTimeout)) {
        const std::size_t wanted = nLength - count;
        const bool fits = wanted <= m_nChunkLeft;
        const std::size_t part = fits ? wanted : m_nChunkLeft;
        if (part == 0) {
            break;  // the chunk that ends the body
        }
        const std::size_t got = CHttpTran::ReadBlock(bytes + count, part, dwTimeout);
        m_nChunkLeft -= static_cast<std::uint32_t>(got);
        count += got;
        if (got < part) {
            break;
        }
        if (m_nChunkLeft == 0 && !ReadChunkSize(dwTimeout)) {
            break;
        }
        if (!fits && got >= kEmptyLine && bytes[count - 2] == '\r' && bytes[count - 1] == '\n') {
            count -= kEmptyLine;
        }
    }
    return count;
}

bool CHttpChunkTran::ReadToCRLF(char* pBuffer, std::size_t* pnLength, std::uint32_t* dwTimeout) {
    if (!m_bChunked) {
        return CHttpTran::ReadToCRLF(pBuffer, pnLength, dwTimeout);
    }
    const std::size_t capacity = *pnLength;
    std::size_t count = 0;
    *pnLength = 0;
    while (count < capacity) {
        std::size_t length = capacity - count;
        if (!BeginRead(dwTimeout) || !CHttpTran::ReadToCRLF(pBuffer + count, &length, dwTimeout)) {
            return false;
        }
        count += length;
        if (length < m_nChunkLeft) {
            m_nChunkLeft -= static_cast<std::uint32_t>(length);
            break;
        }
        // The CR LF read last is the chunk's own end: the line goes on in the next chunk, over it.
        m_nChunkLeft = 0;
        if (length < kEmptyLine || !ReadChunkSize(dwTimeout)) {
            break;
        }
        count -= kEmptyLine;
        if (m_nChunkLeft == 0) {
            break;
        }
    }
    *pnLength = count;
    return count != 0;
}

}  // namespace kvmon
