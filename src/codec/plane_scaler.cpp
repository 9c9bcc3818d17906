#include "codec/plane_scaler.h"

#include <libyuv.h>

#include <algorithm>
#include <cstring>

#include "codec/column_mixer.h"

namespace kvmon {

namespace {

// A sum of this many rows of bytes fits 16 bits.
constexpr int kMostRows = 257;

void MixRows(const std::uint8_t* upper, const std::uint8_t* lower, int part, std::uint8_t* to, int width) {
    libyuv::InterpolatePlane(upper, 0, lower, 0, to, 0, width, 1, part);
}

const std::uint8_t* RowOf(const PlaneIn& from, int y) {
    return from.data + std::ptrdiff_t{std::min(y, from.height - 1)} * from.stride;
}

// Rows first: the mixed rows are as wide as the source, of which there is less left after it.
void InterpolateDown(const PlaneIn& from, const PlaneOut& to, std::span<std::uint8_t> work,
                     const ColumnMixer& across) {
    const SampleSteps down(from.height, to.height);
    std::uint8_t* const row = work.data();
    for (int y = 0; y < to.height; ++y) {
        const int upper = down.SampleAt(y);
        MixRows(RowOf(from, upper), RowOf(from, upper + 1), down.PartAt(y), row, from.width);
        row[from.width] = row[from.width - 1];
        across.Mix(row, to.data + std::ptrdiff_t{y} * to.stride);
    }
}

// Columns first: each source row is widened once and mixed several times.
void InterpolateUp(const PlaneIn& from, const PlaneOut& to, std::span<std::uint8_t> work,
                   const ColumnMixer& across) {
    const SampleSteps down(from.height, to.height);
    std::uint8_t* const source = work.data();
    std::uint8_t* const widened = source + from.width + 1 + ColumnMixer::kReadBeyond;
    std::uint8_t* rows[2] = {widened, widened + to.width};
    int held[2] = {-1, -1};
    const auto widen = [&](int slot, int y) {
        if (held[slot] == y) {
            return;
        }
        std::memcpy(source, RowOf(from, y), static_cast<std::size_t>(from.width));
        source[from.width] = source[from.width - 1];
        across.Mix(source, rows[slot]);
        held[slot] = y;
    };
    for (int y = 0; y < to.height; ++y) {
        const int upper = down.SampleAt(y);
        if (held[1] == upper) {
            std::swap(rows[0], rows[1]);
            std::swap(held[0], held[1]);
        }
        widen(0, upper);
        widen(1, std::min(upper + 1, from.height - 1));
        MixRows(rows[0], rows[1], down.PartAt(y), to.data + std::ptrdiff_t{y} * to.stride, to.width);
    }
}

// Rows in fours and the rest one by one: each pass over the sums costs as much as several rows.
void SumRows(const PlaneIn& from, int begin, int end, std::uint16_t* sums) {
    int row = begin;
    const auto* first = RowOf(from, row++);
    for (int x = 0; x < from.width; ++x) {
        sums[x] = first[x];
    }
    for (; row + 4 <= end; row += 4) {
        const std::uint8_t* const rows[] = {RowOf(from, row), RowOf(from, row + 1), RowOf(from, row + 2),
                                            RowOf(from, row + 3)};
        for (int x = 0; x < from.width; ++x) {
            sums[x] = static_cast<std::uint16_t>(sums[x] + rows[0][x] + rows[1][x] + rows[2][x] + rows[3][x]);
        }
    }
    for (; row < end; ++row) {
        const auto* next = RowOf(from, row);
        for (int x = 0; x < from.width; ++x) {
            sums[x] = static_cast<std::uint16_t>(sums[x] + next[x]);
        }
    }
}

// Parts of 2^24, so that the largest sum times its part fits 32 bits.
std::uint32_t PartOf(int samples) {
    return (1u << 24) / static_cast<std::uint32_t>(samples);
}

// Each target sample is the mean of `narrow` columns or of one more. A known number lets the compiler lay
// the sum out straight; 0 stands for any. There is one more sum than columns.
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
        to[x] = static_cast<std::uint8_t>((sum * parts[wide] + (1u << 23)) >> 24);
    }
}

using ColumnAverage = void (*)(const std::uint16_t*, std::int64_t, int, std::uint8_t*, int);

ColumnAverage ColumnAverageFor(std::int64_t step) {
    constexpr ColumnAverage kKnown[] = {AverageColumns<0>, AverageColumns<1>, AverageColumns<2>,
                                        AverageColumns<3>, AverageColumns<4>, AverageColumns<5>,
                                        AverageColumns<6>, AverageColumns<7>, AverageColumns<8>,
                                        AverageColumns<9>, AverageColumns<10>};
    const auto narrow = static_cast<std::size_t>(step >> 16);
    return narrow < std::size(kKnown) ? kKnown[narrow] : AverageColumns<0>;
}

void Average(const PlaneIn& from, const PlaneOut& to, std::uint16_t* sums) {
    const std::int64_t across = (std::int64_t{from.width} << 16) / to.width;
    const std::int64_t down = (std::int64_t{from.height} << 16) / to.height;
    const ColumnAverage average = ColumnAverageFor(across);
    sums[from.width] = 0;
    std::int64_t place = 0;
    for (int y = 0; y < to.height; ++y) {
        const auto begin = static_cast<int>(place >> 16);
        place += down;
        const int end = std::min(static_cast<int>(place >> 16), begin + kMostRows);
        SumRows(from, begin, end, sums);
        average(sums, across, end - begin, to.data + std::ptrdiff_t{y} * to.stride, to.width);
    }
}

}  // namespace

std::size_t ScaleWorkBytes(int fromWidth, int toWidth) {
    return 2 * static_cast<std::size_t>(fromWidth) + 2 * static_cast<std::size_t>(toWidth) + 2 +
           ColumnMixer::kReadBeyond;
}

void ScalePlane(const PlaneIn& from, const PlaneOut& to, std::span<std::uint8_t> work, ColumnMixer& across) {
    if (from.width >= 2 * to.width && from.height >= 2 * to.height) {
        Average(from, to, static_cast<std::uint16_t*>(static_cast<void*>(work.data())));
        return;
    }
    across.SetWidths(from.width, to.width);
    if (from.width > to.width) {
        InterpolateDown(from, to, work, across);
    } else {
        InterpolateUp(from, to, work, across);
    }
}

}  // namespace kvmon
