#include "codec/plane_scaler.h"

#include <libyuv.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>

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

// The first rows together, so that the sums are written once for most pictures.
template <int kRows>
void SumFirst(const PlaneIn& from, int row, std::uint16_t* sums) {
    std::array<const std::uint8_t*, kRows> rows;
    for (int i = 0; i < kRows; ++i) {
        rows[static_cast<std::size_t>(i)] = RowOf(from, row + i);
    }
    for (int x = 0; x < from.width; ++x) {
        int sum = 0;
        for (const std::uint8_t* const each : rows) {
            sum += each[x];
        }
        sums[x] = static_cast<std::uint16_t>(sum);
    }
}

void SumRows(const PlaneIn& from, int begin, int end, std::uint16_t* sums) {
    constexpr void (*kFirst[])(const PlaneIn&, int, std::uint16_t*) = {SumFirst<1>, SumFirst<2>, SumFirst<3>,
                                                                       SumFirst<4>, SumFirst<5>, SumFirst<6>};
    const int first = std::min(end - begin, static_cast<int>(std::size(kFirst)));
    kFirst[first - 1](from, begin, sums);
    for (int row = begin + first; row < end; ++row) {
        const std::uint8_t* const next = RowOf(from, row);
        for (int x = 0; x < from.width; ++x) {
            sums[x] = static_cast<std::uint16_t>(sums[x] + next[x]);
        }
    }
}

// A picture was written by the decoder some time ago, and its rows are too short for the processor to guess
// the next.
void FetchRows(const PlaneIn& from, int begin, int end) {
    constexpr int kLine = 64;
    for (int row = begin; row < end; ++row) {
        const std::uint8_t* const samples = RowOf(from, row);
        for (int x = 0; x < from.width; x += kLine) {
            __builtin_prefetch(samples + x);
        }
    }
}

void Average(const PlaneIn& from, const PlaneOut& to, std::uint16_t* sums, const ColumnAverage& across) {
    const std::int64_t down = (std::int64_t{from.height} << 16) / to.height;
    std::fill_n(sums + from.width, ColumnAverage::kReadBeyond, std::uint16_t{0});
    std::int64_t place = 0;
    for (int y = 0; y < to.height; ++y) {
        const auto begin = static_cast<int>(place >> 16);
        place += down;
        const int end = std::min(static_cast<int>(place >> 16), begin + kMostRows);
        FetchRows(from, static_cast<int>(place >> 16), static_cast<int>((place + down) >> 16));
        SumRows(from, begin, end, sums);
        across.Average(sums, end - begin, to.data + std::ptrdiff_t{y} * to.stride);
    }
}

}  // namespace

std::size_t ScaleWorkBytes(int fromWidth, int toWidth) {
    return 2 * static_cast<std::size_t>(fromWidth) + 2 * static_cast<std::size_t>(toWidth) + 2 +
           ColumnMixer::kReadBeyond;
}

void ScalePlane(const PlaneIn& from, const PlaneOut& to, std::span<std::uint8_t> work, ColumnSteps& across) {
    if (from.width >= 2 * to.width && from.height >= 2 * to.height) {
        across.average.SetWidths(from.width, to.width);
        Average(from, to, static_cast<std::uint16_t*>(static_cast<void*>(work.data())), across.average);
        return;
    }
    across.mixer.SetWidths(from.width, to.width);
    if (from.width > to.width) {
        InterpolateDown(from, to, work, across.mixer);
    } else {
        InterpolateUp(from, to, work, across.mixer);
    }
}

}  // namespace kvmon
