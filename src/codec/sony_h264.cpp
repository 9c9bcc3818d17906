#include "codec/sony_h264.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "platform/diagnostics.h"

namespace kvmon {

namespace {

constexpr std::size_t kStartCode = 4;
constexpr int kMaxUnitType = 10;
constexpr int kSlice = 1;
constexpr int kKeySlice = 5;
constexpr int kInformation = 6;
constexpr int kSequence = 7;
constexpr int kMaxSide = 16384;
// Such cameras do it all the time.
constexpr bool kTraceFaults = false;

bool Fault(const char* lpszName) {
    if constexpr (kTraceFaults) {
        Diagnose("TSonyH264VideoSource::parse_header: %s...\n", lpszName);
    }
    return false;
}

// The offset of the next start code from `from` on; the block's size if there is none.
std::size_t FindStartCode(std::span<const std::uint8_t> block, std::size_t from) {
    for (std::size_t i = from; i + kStartCode <= block.size(); ++i) {
        if ((block[i] == 0 || block[i] == 0x80) && block[i + 1] == 0 && block[i + 2] == 0 &&
            block[i + 3] == 1) {
            return i;
        }
    }
    return block.size();
}

// Reads bits of a unit; behind its end all are 0 and IsGood is false.
class BitReader {
public:
    // The bytes behind the unit's first, without those that keep start codes out of it.
    explicit BitReader(std::span<const std::uint8_t> payload) {
        int zeros = 0;
        for (const std::uint8_t byte : payload) {
            if (zeros >= 2 && byte == 3) {
                zeros = 0;
                continue;
            }
            zeros = byte == 0 ? zeros + 1 : 0;
            m_bytes.push_back(byte);
        }
    }

    bool IsGood() const { return m_bGood; }
    std::uint32_t Bits(int count) {
        std::uint32_t value = 0;
        for (; count > 0; --count, ++m_nAt) {
            const std::size_t at = m_nAt / 8;
            m_bGood = m_bGood && at < m_bytes.size();
            value = value << 1 | (m_bGood ? m_bytes[at] >> (7 - m_nAt % 8) & 1u : 0u);
        }
        return value;
    }
    bool Flag() { return Bits(1) != 0; }
    // Exp-Golomb codes, unsigned and signed.
    std::uint32_t Unsigned() {
        int zeros = 0;
        while (m_bGood && zeros < 32 && !Flag()) {
            ++zeros;
        }
        m_bGood = m_bGood && zeros < 32;
        return m_bGood ? (1u << zeros) - 1 + Bits(zeros) : 0;
    }
    std::int32_t Signed() {
        const std::uint32_t value = Unsigned();
        const auto half = static_cast<std::int32_t>(value / 2);
        return value % 2 == 1 ? half + 1 : -half;
    }

private:
    std::vector<std::uint8_t> m_bytes;
    std::size_t m_nAt = 0;
    bool m_bGood = true;
};

void SkipScalingList(BitReader& bits, int size) {
    std::uint32_t last = 8;
    for (int i = 0; i < size && bits.IsGood(); ++i) {
        last = (last + static_cast<std::uint32_t>(bits.Signed())) & 0xFF;
        if (last == 0) {
            return;
        }
    }
}

// The chroma format, with what stands between it and the frame numbers.
std::uint32_t ReadChroma(BitReader& bits) {
    const std::uint32_t chroma = bits.Unsigned();
    if (chroma == 3) {
        bits.Flag();
    }
    bits.Unsigned();  // depths
    bits.Unsigned();
    bits.Flag();
    if (bits.Flag()) {
        for (int i = 0; i < (chroma == 3 ? 12 : 8); ++i) {
            if (bits.Flag()) {
                SkipScalingList(bits, i < 6 ? 16 : 64);
            }
        }
    }
    return chroma;
}

void SkipPictureOrder(BitReader& bits) {
    const std::uint32_t type = bits.Unsigned();
    if (type == 0) {
        bits.Unsigned();
    } else if (type == 1) {
        bits.Flag();
        bits.Signed();
        bits.Signed();
        const std::uint32_t count = bits.Unsigned();
        for (std::uint32_t i = 0; i < count && bits.IsGood(); ++i) {
            bits.Signed();
        }
    }
}

// The size that a sequence parameter set tells, from behind the unit's first byte.
std::optional<std::pair<int, int>> ReadSize(std::span<const std::uint8_t> payload) {
    BitReader bits(payload);
    const std::uint32_t profile = bits.Bits(8);
    bits.Bits(16);
    bits.Unsigned();
    constexpr std::uint32_t kHighProfiles[] = {100, 110, 122, 244, 44, 83, 86, 118, 128, 138, 139, 134, 135};
    const bool bHigh =
        std::find(std::begin(kHighProfiles), std::end(kHighProfiles), profile) != std::end(kHighProfiles);
    const std::uint32_t chroma = bHigh ? ReadChroma(bits) : 1;
    bits.Unsigned();
    SkipPictureOrder(bits);
    bits.Unsigned();
    bits.Flag();
    const std::uint64_t columns = std::uint64_t{bits.Unsigned()} + 1;
    const std::uint64_t rows = std::uint64_t{bits.Unsigned()} + 1;
    const bool bFrames = bits.Flag();
    if (!bFrames) {
        bits.Flag();
    }
    bits.Flag();
    std::uint64_t cutX = 0;
    std::uint64_t cutY = 0;
    if (bits.Flag()) {
        cutX = std::uint64_t{bits.Unsigned()} + bits.Unsigned();
        cutY = std::uint64_t{bits.Unsigned()} + bits.Unsigned();
    }
    cutX *= chroma == 1 || chroma == 2 ? 2 : 1;
    cutY *= (chroma == 1 ? 2 : 1) * (bFrames ? 1 : 2);
    const std::uint64_t width = columns * 16;
    const std::uint64_t height = rows * 16 * (bFrames ? 1 : 2);
    if (!bits.IsGood() || width > kMaxSide || height > kMaxSide || cutX >= width || cutY >= height) {
        return std::nullopt;
    }
    return std::pair(static_cast<int>(width - cutX), static_cast<int>(height - cutY));
}

// The type of a slice as it is coded, from behind the unit's first byte; nothing for one that is cut short.
std::optional<std::uint32_t> ReadSliceType(std::span<const std::uint8_t> payload) {
    BitReader bits(payload.first(std::min<std::size_t>(payload.size(), 16)));
    bits.Unsigned();  // its first macroblock
    const std::uint32_t type = bits.Unsigned();
    return bits.IsGood() ? std::optional(type) : std::nullopt;
}

}  // namespace

bool TSonyH264VideoSource::parse_header(std::span<const std::uint8_t> block) {
    m_bKeyFrame = false;
    m_information.reset();
    for (std::size_t at = FindStartCode(block, 0); at + kStartCode < block.size();) {
        const std::size_t next = FindStartCode(block, at + kStartCode);
        const int type = block[at + kStartCode] & 0x1F;
        const auto payload = block.subspan(at + kStartCode + 1, next - at - kStartCode - 1);
        if (type > kMaxUnitType) {
            return Fault("sony_h264_bug_1");
        }
        if (type == kKeySlice) {
            m_bKeyFrame = true;
            return true;
        }
        if (type == kSlice) {
            m_bKeyFrame = ReadSliceType(payload) == 0u;
            return true;
        }
        if (type == kInformation) {
            m_information = at;
        } else if (type == kSequence) {
            if (const auto size = ReadSize(payload)) {
                m_width = size->first;
                // These cameras count whole macroblocks here.
                m_height = size->first == 160 && size->second == 128 ? 120 : size->second;
            }
        }
        at = next;
    }
    return Fault("sony_h264_bug_2");
}

}  // namespace kvmon
