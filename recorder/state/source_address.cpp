#include "state/source_address.h"

#include <arpa/inet.h>

#include <algorithm>

namespace kvrecorder {
namespace {

constexpr std::array<std::uint8_t, 12> kMapped = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF};
constexpr std::ptrdiff_t kNetworkBytes = 8;

bool IsMapped(const std::array<std::uint8_t, 16>& bytes) {
    return std::equal(kMapped.begin(), kMapped.end(), bytes.begin());
}

bool IsLoopback6(const std::array<std::uint8_t, 16>& bytes) {
    return bytes.back() == 1 && std::count(bytes.begin(), bytes.end(), std::uint8_t{0}) == 15;
}

}  // namespace

SourceAddress::SourceAddress(std::string_view peer) {
    const std::string text(peer.substr(0, peer.find('%')));  // a link's address names its interface
    if (::inet_pton(AF_INET, text.c_str(), m_bytes.data() + kMapped.size()) == 1) {
        std::copy(kMapped.begin(), kMapped.end(), m_bytes.begin());
    } else if (::inet_pton(AF_INET6, text.c_str(), m_bytes.data()) == 1 && !IsMapped(m_bytes) &&
               !IsLoopback6(m_bytes)) {
        std::fill(m_bytes.begin() + kNetworkBytes, m_bytes.end(), std::uint8_t{0});
    }
}

bool SourceAddress::IsLoopback() const {
    return IsMapped(m_bytes) ? m_bytes[kMapped.size()] == 127 : IsLoopback6(m_bytes);
}

std::string SourceAddress::Text() const {
    const bool mapped = IsMapped(m_bytes);
    std::array<char, INET6_ADDRSTRLEN> text{};
    ::inet_ntop(mapped ? AF_INET : AF_INET6, m_bytes.data() + (mapped ? kMapped.size() : 0), text.data(),
                text.size());
    return std::string(text.data()) + (mapped || IsLoopback() ? "" : "/64");
}

}  // namespace kvrecorder
