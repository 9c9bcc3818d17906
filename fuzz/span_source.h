// A stream's bytes from a fuzzer.
#pragma once

#include <algorithm>
#include <cstring>
#include <iterator>
#include <span>

#include "channel/frames/byte_source.h"

namespace kvfuzz {

class SpanSource final : public kvmon::ByteSource {
public:
    explicit SpanSource(std::span<const std::uint8_t> bytes) : m_bytes(bytes) {}

    bool ReadLine(char* pBuffer, std::size_t* pnLength, std::uint32_t* /*dwTimeout*/) override {
        const auto end = std::find(m_bytes.begin(), m_bytes.end(), '\n');
        const auto line = static_cast<std::size_t>(end - m_bytes.begin()) + (end != m_bytes.end() ? 1 : 0);
        *pnLength = Take(pBuffer, std::min(line, *pnLength));
        return *pnLength != 0;
    }
    std::size_t Receive(void* pBuffer, std::size_t nLength, std::uint32_t* /*dwTimeout*/) override {
        return Take(pBuffer, nLength);
    }
    std::size_t ReadBlock(void* pBuffer, std::size_t nLength, std::uint32_t* /*dwTimeout*/) override {
        return Take(pBuffer, nLength);
    }
    bool ReadJpeg(char* pBuffer, std::size_t* pnLength, std::uint32_t* /*dwTimeout*/) override {
        constexpr std::uint8_t kEnd[] = {0xFF, 0xD9};
        const auto end = std::search(m_bytes.begin(), m_bytes.end(), std::begin(kEnd), std::end(kEnd));
        const auto length = static_cast<std::size_t>(end - m_bytes.begin()) + (end != m_bytes.end() ? 2 : 0);
        *pnLength = Take(pBuffer, std::min(length, *pnLength));
        return *pnLength != 0;
    }

private:
    std::size_t Take(void* to, std::size_t length) {
        length = std::min(length, m_bytes.size());
        if (length > 0) {
            std::memcpy(to, m_bytes.data(), length);
        }
        m_bytes = m_bytes.subspan(length);
        return length;
    }

    std::span<const std::uint8_t> m_bytes;
};

}  // namespace kvfuzz
