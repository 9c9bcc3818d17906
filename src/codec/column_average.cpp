#include "codec/column_average.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

#include <algorithm>
#include <cstring>
#include <iterator>

namespace kvmon {

namespace {

// Sums of more rows do not fit 15 bits.
constexpr int kMostBlockRows = 128;

// Parts of 2^24, so that the largest sum times its part fits 32 bits.
std::uint32_t PartOf(int samples) {
    return (1u << 24) / static_cast<std::uint32_t>(samples);
}

constexpr std::uint32_t kHalfPart = 1u << 23;

// Each target sample is the mean of `narrow` columns or of one more. A known number lets the compiler lay
// the sum out straight; 0 stands for any. One sum more than columns is read.
template <int kNarrow>
void AverageColumns(const std::uint16_t* sums, std::int64_t step, int rows, std::uint8_t* to, int width) {
    const int narrow = kNarrow != 0 ? kNarrow : static_cast<int>(step >> 16);
    const std::uint32_t parts[2] = {PartOf(narrow * rows), PartOf((narrow + 1) * rows)};
    std::int64_t place = 0;
    for (int x = 0; x < width; ++x) {
        const std::uint16_t* const column = sums + (place >> 16);
        const std::int64_t begin = place >> 16;
        place += step;
        const auto wide = static_cast<std::uint32_t>((place >> 16) - begin - narrow);
        std::uint32_t sum = column[narrow] & (0u - wide);
        for (int i = 0; i < narrow; ++i) {
            sum += column[i];
        }
        to[x] = static_cast<std::uint8_t>((sum * parts[wide] + kHalfPart) >> 24);
    }
}

using ColumnsWay = void (*)(const std::uint16_t*, std::int64_t, int, std::uint8_t*, int);

ColumnsWay ColumnsWayFor(std::int64_t step) {
    constexpr ColumnsWay kKnown[] = {AverageColumns<0>, AverageColumns<1>, AverageColumns<2>,
                                     AverageColumns<3>, AverageColumns<4>, AverageColumns<5>,
                                     AverageColumns<6>, AverageColumns<7>, AverageColumns<8>,
                                     AverageColumns<9>, AverageColumns<10>};
    const auto narrow = static_cast<std::size_t>(step >> 16);
    return narrow < std::size(kKnown) ? kKnown[narrow] : AverageColumns<0>;
}

}  // namespace

void ColumnAverage::SetWidths(int from, int to) {
    if (from == m_from && to == m_width) {
        return;
    }
    m_from = from;
    m_width = to;
    m_step = (std::int64_t{from} << 16) / to;
    m_blocks.clear();
#if defined(__x86_64__)
    if (m_way == Way::Best && to >= kBlock && (m_step >> 16) < kReadBeyond &&
        __builtin_cpu_supports("sse4.1") != 0) {
        MakeTable();
    }
#endif
}

void ColumnAverage::MakeTable() {
    const std::int64_t narrow = m_step >> 16;
    m_blocks.resize(static_cast<std::size_t>((m_width + kBlock - 1) / kBlock));
    for (std::size_t n = 0; n < m_blocks.size(); ++n) {
        Block& block = m_blocks[n];
        // The last one begins early enough to be whole.
        block.at = std::min(static_cast<int>(n) * kBlock, m_width - kBlock);
        for (int i = 0; i < kBlock; ++i) {
            const std::int64_t first = (block.at + i) * m_step >> 16;
            const std::int64_t columns = ((block.at + i + 1) * m_step >> 16) - first;
            const auto slot = static_cast<std::size_t>(i);
            block.first[slot] = static_cast<std::int32_t>(first);
            block.wide[slot] = columns > narrow ? ~0u : 0u;
            block.counts[slot].fill(0);
            std::fill_n(block.counts[slot].begin(), columns, std::int16_t{1});
        }
    }
}

void ColumnAverage::Average(const std::uint16_t* sums, int rows, std::uint8_t* to) const {
#if defined(__x86_64__)
    if (!m_blocks.empty() && rows <= kMostBlockRows) {
        AverageBlocks(sums, rows, to);
        return;
    }
#endif
    ColumnsWayFor(m_step)(sums, m_step, rows, to, m_width);
}

#if defined(__x86_64__)
__attribute__((target("sse4.1"))) void ColumnAverage::AverageBlocks(const std::uint16_t* sums, int rows,
                                                                    std::uint8_t* to) const {
    const int narrow = static_cast<int>(m_step >> 16);
    const std::uint32_t part = PartOf(narrow * rows);
    const __m128i narrowPart = _mm_set1_epi32(static_cast<int>(part));
    const __m128i less = _mm_set1_epi32(static_cast<int>(part - PartOf((narrow + 1) * rows)));
    const __m128i half = _mm_set1_epi32(static_cast<int>(kHalfPart));
    for (const Block& block : m_blocks) {
        const auto columns = [&](std::size_t slot) __attribute__((target("sse4.1"), always_inline)) {
            const auto* const eight =
                static_cast<const __m128i*>(static_cast<const void*>(sums + block.first[slot]));
            const auto* const counts =
                static_cast<const __m128i*>(static_cast<const void*>(block.counts[slot].data()));
            return _mm_madd_epi16(_mm_loadu_si128(eight), _mm_load_si128(counts));
        };
        const __m128i sum =
            _mm_hadd_epi32(_mm_hadd_epi32(columns(0), columns(1)), _mm_hadd_epi32(columns(2), columns(3)));
        const __m128i wide =
            _mm_load_si128(static_cast<const __m128i*>(static_cast<const void*>(block.wide.data())));
        const __m128i parts = _mm_sub_epi32(narrowPart, _mm_and_si128(wide, less));
        const __m128i mean = _mm_srli_epi32(_mm_add_epi32(_mm_mullo_epi32(sum, parts), half), 24);
        const __m128i words = _mm_packus_epi32(mean, mean);
        const int bytes = _mm_cvtsi128_si32(_mm_packus_epi16(words, words));
        std::memcpy(to + block.at, &bytes, sizeof bytes);
    }
}
#endif

}  // namespace kvmon
