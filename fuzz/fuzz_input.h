// What targets read out of a fuzzer's bytes, and what they demand.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>
#include <string_view>

namespace kvfuzz {

inline void Check(bool holds) {
    if (!holds) {
        std::abort();
    }
}

inline std::string_view AsText(std::span<const std::uint8_t> bytes) {
    return {static_cast<const char*>(static_cast<const void*>(bytes.data())), bytes.size()};
}

// Numbers are 0 and texts empty behind the end.
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size) : m_rest(data, size) {}
    explicit Input(std::span<const std::uint8_t> bytes) : m_rest(bytes) {}

    bool IsAtEnd() const { return m_rest.empty(); }
    std::uint8_t Byte() {
        const auto taken = Take(1);
        return taken.empty() ? std::uint8_t{0} : taken.front();
    }
    std::uint32_t Number(int bytes = 4) {
        std::uint32_t value = 0;
        for (int i = 0; i < bytes; ++i) {
            value = value << 8 | Byte();
        }
        return value;
    }
    std::span<const std::uint8_t> Take(std::size_t count) {
        const auto taken = m_rest.first(std::min(count, m_rest.size()));
        m_rest = m_rest.subspan(taken.size());
        return taken;
    }
    std::span<const std::uint8_t> Rest() { return Take(m_rest.size()); }
    std::string Text(std::size_t count) { return std::string(AsText(Take(count))); }
    std::string RestText() { return std::string(AsText(Rest())); }

private:
    std::span<const std::uint8_t> m_rest;
};

}  // namespace kvfuzz
