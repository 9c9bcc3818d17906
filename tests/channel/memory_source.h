// A stream's bytes from memory.
#pragma once

#include <algorithm>
#include <cstring>
#include <string>

#include "channel/frames/byte_source.h"

namespace kvtest {

// Gives at most `step` bytes a read, and nothing behind the end, as a connection that was closed.
class MemorySource final : public kvmon::ByteSource {
public:
    explicit MemorySource(std::string bytes, std::size_t step = 1'000'000)
        : m_bytes(std::move(bytes)), m_step(step) {}

    bool ReadLine(char* pBuffer, std::size_t* pnLength, std::uint32_t* /*dwTimeout*/) override {
        const std::size_t end = m_bytes.find('\n', m_at);
        const std::size_t rest = (end == std::string::npos ? m_bytes.size() : end + 1) - m_at;
        const std::size_t length = std::min(rest, *pnLength);
        *pnLength = end == std::string::npos && length == rest ? 0 : Take(pBuffer, length);
        return *pnLength != 0;
    }
    std::size_t Receive(void* pBuffer, std::size_t nLength, std::uint32_t* /*dwTimeout*/) override {
        return Take(pBuffer, std::min(nLength, m_step));
    }
    std::size_t ReadBlock(void* pBuffer, std::size_t nLength, std::uint32_t* /*dwTimeout*/) override {
        return Take(pBuffer, nLength);
    }

    bool ReadJpeg(char* pBuffer, std::size_t* pnLength, std::uint32_t* /*dwTimeout*/) override {
        const std::size_t end = m_bytes.find("\xFF\xD9", m_at);
        const std::size_t length = end == std::string::npos ? Left() : end + 2 - m_at;
        *pnLength = Take(pBuffer, std::min(length, *pnLength));
        return *pnLength != 0;
    }

    std::size_t Left() const { return m_bytes.size() - m_at; }

private:
    std::size_t Take(void* to, std::size_t length) {
        length = std::min(length, Left());
        std::memcpy(to, m_bytes.data() + m_at, length);
        m_at += length;
        return length;
    }

    const std::string m_bytes;
    const std::size_t m_step;
    std::size_t m_at = 0;
};

}  // namespace kvtest
