#include "codec/column_mixer.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

#include <algorithm>

namespace kvmon {

namespace {

constexpr int kBlock = 8;             // samples made at once
constexpr int kBlockSource = 16;      // bytes of the source that they may come from
constexpr std::uint8_t kZero = 0x80;  // a shuffle's place that is filled with nothing

}  // namespace

SampleSteps::SampleSteps(int from, int to)
    : step((std::int64_t{from} << 16) / to), first(step / 2 - 0x8000), last(std::int64_t{from - 1} << 16) {}

std::int64_t SampleSteps::At(int i) const {
    return std::clamp<std::int64_t>(first + i * step, 0, last);
}

std::size_t ColumnMixer::GetBytes() const {
    return m_blocks.capacity() * sizeof(Block);
}

void ColumnMixer::SetWidths(int from, int to) {
    if (from == m_from && to == m_width) {
        return;
    }
    m_bTable = false;
    m_steps = SampleSteps(from, to);
    m_from = from;
    m_width = to;
#if defined(__x86_64__)
    if (m_way == Way::Best && to >= kBlock && __builtin_cpu_supports("ssse3") != 0) {
        m_blocks.resize(static_cast<std::size_t>((to + kBlock - 1) / kBlock));
        m_bTable = MakeTable();
    }
#endif
}

// False when eight samples lie too far apart for one load.
bool ColumnMixer::MakeTable() {
    for (std::size_t n = 0; n < m_blocks.size(); ++n) {
        Block& block = m_blocks[n];
        // The last one begins early enough to be whole.
        block.at = std::min(static_cast<int>(n) * kBlock, m_width - kBlock);
        block.base = m_steps.SampleAt(block.at);
        for (int i = 0; i < kBlock; ++i) {
            const int place = m_steps.SampleAt(block.at + i) - block.base;
            if (place + 1 >= kBlockSource) {
                return false;
            }
            const auto slot = static_cast<std::size_t>(i);
            block.upper[2 * slot] = static_cast<std::uint8_t>(place);
            block.lower[2 * slot] = static_cast<std::uint8_t>(place + 1);
            block.upper[2 * slot + 1] = block.lower[2 * slot + 1] = kZero;
            block.part[slot] = static_cast<std::int16_t>(m_steps.At(block.at + i) >> 9 & 127);
        }
    }
    return true;
}

void ColumnMixer::MixPlain(const std::uint8_t* row, std::uint8_t* to) const {
    // Only the ends need the clamp.
    int i = 0;
    for (; i < m_width && m_steps.first + i * m_steps.step < 0; ++i) {
        to[i] = row[0];
    }
    const std::int64_t inner = (m_steps.last - m_steps.first) / m_steps.step + 1;
    const int end = static_cast<int>(std::min<std::int64_t>(m_width, inner));
    auto x = static_cast<std::uint32_t>(m_steps.first + i * m_steps.step);
    const auto step = static_cast<std::uint32_t>(m_steps.step);
    for (; i < end; ++i, x += step) {
        const std::uint8_t* const pair = row + (x >> 16);
        const int part = static_cast<int>(x >> 9 & 127);
        to[i] = static_cast<std::uint8_t>(pair[0] + (((pair[1] - pair[0]) * part + 64) >> 7));
    }
    for (; i < m_width; ++i) {
        to[i] = row[m_steps.last >> 16];
    }
}

#if defined(__x86_64__)
namespace {

__m128i Load(const void* from) {
    return _mm_load_si128(static_cast<const __m128i*>(from));
}

}  // namespace

__attribute__((target("ssse3"))) void ColumnMixer::Mix(const std::uint8_t* row, std::uint8_t* to) const {
    if (!m_bTable) {
        MixPlain(row, to);
        return;
    }
    const __m128i half = _mm_set1_epi16(64);
    for (const Block& block : m_blocks) {
        const __m128i source =
            _mm_loadu_si128(static_cast<const __m128i*>(static_cast<const void*>(row + block.base)));
        const __m128i upper = _mm_shuffle_epi8(source, Load(block.upper.data()));
        const __m128i lower = _mm_shuffle_epi8(source, Load(block.lower.data()));
        // At most 255 * 127 + 64 either way: it fits 16 bits.
        const __m128i more = _mm_mullo_epi16(_mm_sub_epi16(lower, upper), Load(block.part.data()));
        const __m128i mixed = _mm_add_epi16(upper, _mm_srai_epi16(_mm_add_epi16(more, half), 7));
        _mm_storel_epi64(static_cast<__m128i*>(static_cast<void*>(to + block.at)),
                         _mm_packus_epi16(mixed, mixed));
    }
}
#else
void ColumnMixer::Mix(const std::uint8_t* row, std::uint8_t* to) const {
    MixPlain(row, to);
}
#endif

}  // namespace kvmon
