// Who a peer is where peers are counted.
#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <string>
#include <string_view>

namespace kvrecorder {

// An IPv4 address, or the 64 bits of an IPv6 address that its owner cannot change at will.
class SourceAddress {
public:
    // An address as text. What is none counts as one and the same source.
    explicit SourceAddress(std::string_view peer);

    bool IsLoopback() const;
    // "192.0.2.7", "2001:db8:0:1::/64".
    std::string Text() const;

    friend auto operator<=>(const SourceAddress&,
                            const SourceAddress&) = default;  // NOLINT(modernize-use-nullptr)

private:
    std::array<std::uint8_t, 16> m_bytes{};  // as of IPv6, the second half zero unless it is IPv4 in it
};

}  // namespace kvrecorder
