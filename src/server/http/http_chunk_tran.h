// A transaction whose reply comes in chunks.
#pragma once

#include "server/http/http_tran.h"

namespace kvmon {

// With SetChunked the two block reads see the body without its chunk heads; the other reads do not.
// Takes no abort flag.
class CHttpChunkTran : public CHttpTran {
public:
    explicit CHttpChunkTran(Clock& clock = SystemClock(),
                            std::unique_ptr<Socket> socket = SystemSocket::Make())
        : CHttpTran(nullptr, clock, std::move(socket)) {}

    void SetChunked(bool bChunked) { m_bChunked = bChunked; }
    bool ReadToCRLF(char* pBuffer, std::size_t* pnLength, std::uint32_t* dwTimeout) override;
    std::size_t ReadBlock(void* pBuffer, std::size_t nLength, std::uint32_t* dwTimeout) override;

private:
    bool BeginRead(std::uint32_t* dwTimeout);
    bool ReadChunkSize(std::uint32_t* dwTimeout);

    bool m_bChunked = false;
    bool m_bFirstChunkSeen = false;
    std::uint32_t m_nChunkLeft = 0;
};

}  // namespace kvmon
