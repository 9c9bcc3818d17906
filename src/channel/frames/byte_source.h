// Where the bytes of a stream come from.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "server/http/http_tran.h"

namespace kvmon {

// The reads of CHttpTran, with its budgets and its results.
class ByteSource {
public:
    virtual ~ByteSource() = default;
    virtual bool ReadLine(char* pBuffer, std::size_t* pnLength, std::uint32_t* dwTimeout) = 0;
    virtual std::size_t Receive(void* pBuffer, std::size_t nLength, std::uint32_t* dwTimeout) = 0;
    virtual std::size_t ReadBlock(void* pBuffer, std::size_t nLength, std::uint32_t* dwTimeout) = 0;
    virtual bool ReadJpeg(char* pBuffer, std::size_t* pnLength, std::uint32_t* dwTimeout) = 0;
};

class HttpByteSource final : public ByteSource {
public:
    explicit HttpByteSource(CHttpTran& tran) : m_tran(tran) {}

    bool ReadLine(char* pBuffer, std::size_t* pnLength, std::uint32_t* dwTimeout) override {
        return m_tran.ReadLine(pBuffer, pnLength, dwTimeout);
    }
    std::size_t Receive(void* pBuffer, std::size_t nLength, std::uint32_t* dwTimeout) override {
        return m_tran.Receive(pBuffer, nLength, dwTimeout);
    }
    std::size_t ReadBlock(void* pBuffer, std::size_t nLength, std::uint32_t* dwTimeout) override {
        return m_tran.ReadBlock(pBuffer, nLength, dwTimeout);
    }
    bool ReadJpeg(char* pBuffer, std::size_t* pnLength, std::uint32_t* dwTimeout) override {
        return m_tran.ReadJpeg(pBuffer, pnLength, dwTimeout);
    }

private:
    CHttpTran& m_tran;
};

// For records that follow lines: a short read takes what is there behind it along, so that a small record
// costs one read of the socket and not two. Lines, and pictures up to their end mark, are not read behind
// one.
class ReadAheadSource final : public ByteSource {
public:
    explicit ReadAheadSource(CHttpTran& tran) : m_tran(tran), m_ahead(kAhead) {}

    bool ReadLine(char* pBuffer, std::size_t* pnLength, std::uint32_t* dwTimeout) override {
        return m_tran.ReadLine(pBuffer, pnLength, dwTimeout);
    }
    std::size_t Receive(void* pBuffer, std::size_t nLength, std::uint32_t* dwTimeout) override {
        if (m_left.empty()) {
            if (nLength >= m_ahead.size()) {
                return m_tran.Receive(pBuffer, nLength, dwTimeout);
            }
            const std::size_t got = m_tran.Receive(m_ahead.data(), m_ahead.size(), dwTimeout);
            m_left = std::span(m_ahead).first(got);
        }
        return TakeLeft(pBuffer, nLength);
    }
    std::size_t ReadBlock(void* pBuffer, std::size_t nLength, std::uint32_t* dwTimeout) override {
        const std::size_t taken = TakeLeft(pBuffer, nLength);
        if (taken == nLength) {
            return taken;
        }
        const std::size_t got =
            m_tran.ReadBlock(static_cast<std::uint8_t*>(pBuffer) + taken, nLength - taken, dwTimeout);
        return got == 0 ? 0 : taken + got;
    }
    bool ReadJpeg(char* pBuffer, std::size_t* pnLength, std::uint32_t* dwTimeout) override {
        return m_tran.ReadJpeg(pBuffer, pnLength, dwTimeout);
    }

private:
    static constexpr std::size_t kAhead = 8192;

    std::size_t TakeLeft(void* pBuffer, std::size_t nLength) {
        const std::size_t count = std::min(nLength, m_left.size());
        std::copy_n(m_left.begin(), count, static_cast<std::uint8_t*>(pBuffer));
        m_left = m_left.subspan(count);
        return count;
    }

    CHttpTran& m_tran;
    std::vector<std::uint8_t> m_ahead;
    std::span<const std::uint8_t> m_left;  // of m_ahead, not given out yet
};

}  // namespace kvmon
