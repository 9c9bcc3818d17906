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
        : bytes_(std::move(bytes)), step_(step) {}

    bool ReadLine(char* pBuffer, std::size_t* pnLength, std::uint32_t* /*dwTimeout*/) override {
        const std::size_t end = bytes_.find('\n', at_);
        const std::size_t rest = (end == std::string::npos ? bytes_.size() : end + 1) - at_;
        const std::size_t length = std::min(rest, *pnLength);
        *pnLength = end == std::string::npos && length == rest ? 0 : Take(pBuffer, length);
        return *pnLength != 0;
    }
    std::size_t Receive(void* pBuffer, std::size_t nLength, std::uint32_t* /*dwTimeout*/) override {
        return Take(pBuffer, std::min(nLength, step_));
    }
    std::size_t ReadBlock(void* pBuffer, std::size_t nLength, std::uint32_t* /*dwTimeout*/) override {
        return Take(pBuffer, nLength);
    }

    bool ReadJpeg(char* pBuffer, std::size_t* pnLength, std::uint32_t* /*dwTimeout*/) override {
        const std::size_t end = bytes_.find("\xFF\xD9", at_);
        const std::size_t length = end == std::string::npos ? Left() : end + 2 - at_;
        *pnLength = Take(pBuffer, std::min(length, *pnLength));
        return *pnLength != 0;
    }

    std::size_t Left() const { return bytes_.size() - at_; }

private:
    std::size_t Take(void* to, std::size_t length) {
        length = std::min(length, Left());
        std::memcpy(to, bytes_.data() + at_, length);
        at_ += length;
        return length;
    }

    const std::string bytes_;
    const std::size_t step_;
    std::size_t at_ = 0;
};

}  // namespace kvtest
