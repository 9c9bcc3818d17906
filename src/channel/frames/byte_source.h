// Where the bytes of a stream come from.
#pragma once

#include <cstddef>
#include <cstdint>

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

}  // namespace kvmon
