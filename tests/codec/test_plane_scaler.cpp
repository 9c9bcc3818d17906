#include "codec/plane_scaler.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "codec/column_mixer.h"

using namespace kvmon;

namespace {

std::uint8_t Sample(int x, int y) {
    return static_cast<std::uint8_t>((x * 37 + y * 59 + x * y % 7 * 11) % 256);
}

// What the scaler should give, in plain arithmetic.
double Interpolated(int width, int height, double x, double y) {
    x = std::clamp(x, 0.0, width - 1.0);
    y = std::clamp(y, 0.0, height - 1.0);
    const int left = static_cast<int>(x);
    const int top = static_cast<int>(y);
    const auto at = [&](int dx, int dy) {
        return double{1} * Sample(std::min(left + dx, width - 1), std::min(top + dy, height - 1));
    };
    const double right = x - left;
    const double low = y - top;
    return (at(0, 0) * (1 - right) + at(1, 0) * right) * (1 - low) +
           (at(0, 1) * (1 - right) + at(1, 1) * right) * low;
}

// By its 24 bits of fixed point, so that no way of adding differs from another.
int Mean(int left, int top, int right, int bottom) {
    std::uint32_t sum = 0;
    for (int y = top; y < bottom; ++y) {
        for (int x = left; x < right; ++x) {
            sum += Sample(x, y);
        }
    }
    const std::uint32_t part = (1u << 24) / static_cast<std::uint32_t>((right - left) * (bottom - top));
    return static_cast<int>((sum * part + (1u << 23)) >> 24);
}

void Check(int fromWidth, int fromHeight, int toWidth, int toHeight) {
    SCOPED_TRACE(testing::Message() << fromWidth << "x" << fromHeight << " to " << toWidth << "x"
                                    << toHeight);
    // Rows that go up in memory, and nothing behind the last sample: a read beyond is a fault.
    std::vector<std::uint8_t> source(static_cast<std::size_t>(fromWidth * fromHeight));
    for (int y = 0; y < fromHeight; ++y) {
        for (int x = 0; x < fromWidth; ++x) {
            source[static_cast<std::size_t>((fromHeight - 1 - y) * fromWidth + x)] = Sample(x, y);
        }
    }
    const int stride = toWidth + 3;
    std::vector<std::uint8_t> target(static_cast<std::size_t>(stride * toHeight), 0xA5);
    std::vector<std::uint8_t> work(ScaleWorkBytes(fromWidth, toWidth));
    ColumnSteps across;
    ScalePlane({source.data() + (fromHeight - 1) * fromWidth, -fromWidth, fromWidth, fromHeight},
               {target.data(), stride, toWidth, toHeight}, work, across);

    const bool average = fromWidth >= 2 * toWidth && fromHeight >= 2 * toHeight;
    const auto edge = [](int from, int to, int i) {
        return static_cast<int>((std::int64_t{from} << 16) / to * i >> 16);
    };
    for (int y = 0; y < toHeight; ++y) {
        for (int x = 0; x < stride; ++x) {
            const int got = target[static_cast<std::size_t>(y * stride + x)];
            if (x >= toWidth) {
                ASSERT_EQ(got, 0xA5) << x << " " << y;
                continue;
            }
            const double want =
                average ? Mean(edge(fromWidth, toWidth, x), edge(fromHeight, toHeight, y),
                               edge(fromWidth, toWidth, x + 1), edge(fromHeight, toHeight, y + 1))
                        : Interpolated(fromWidth, fromHeight, (x + 0.5) * fromWidth / toWidth - 0.5,
                                       (y + 0.5) * fromHeight / toHeight - 0.5);
            ASSERT_NEAR(got, want, average ? 0 : 4) << x << " " << y;
        }
    }
}

TEST(PlaneScalerTest, AveragesWhereMuchFallsTogether) {
    for (int narrow = 2; narrow <= 12; ++narrow) {
        Check(narrow * 10, 40, 10, 20);
        Check(narrow * 10 + 7, 41, 10, 13);
    }
    Check(300, 200, 1, 1);
    Check(64, 500, 2, 2);
}

TEST(PlaneScalerTest, InterpolatesElsewhere) {
    constexpr int kSizes[][2] = {{1, 1}, {2, 1}, {1, 3}, {7, 5}, {16, 16}, {33, 20}, {50, 21}};
    for (const auto& from : kSizes) {
        for (const auto& to : kSizes) {
            if (from[0] < 2 * to[0] || from[1] < 2 * to[1]) {
                Check(from[0], from[1], to[0], to[1]);
            }
        }
    }
    Check(1000, 2, 3, 2);
    Check(3, 300, 3, 10);
}

// The processor's vector instructions give what plain arithmetic gives, to the bit.
TEST(ColumnMixerTest, EveryWayGivesTheSameSamples) {
    ColumnMixer plainly(ColumnMixer::Way::Plain);
    ColumnMixer best;
    for (int from = 1; from <= 700; from = from * 5 / 4 + 1) {
        std::vector<std::uint8_t> row(static_cast<std::size_t>(from) + 1 + ColumnMixer::kReadBeyond);
        for (std::size_t i = 0; i < row.size(); ++i) {
            row[i] = static_cast<std::uint8_t>(i * 89 ^ i / 3 * 151);
        }
        row[static_cast<std::size_t>(from)] = row[static_cast<std::size_t>(from) - 1];
        for (int to = 1; to <= 2 * from + 9; to = to * 7 / 6 + 1) {
            std::vector<std::uint8_t> plain(static_cast<std::size_t>(to) + 8, 0xA5);
            std::vector<std::uint8_t> mixed = plain;
            plainly.SetWidths(from, to);
            plainly.Mix(row.data(), plain.data());
            best.SetWidths(from, to);
            best.Mix(row.data(), mixed.data());
            ASSERT_EQ(plain, mixed) << from << " to " << to;
        }
    }
}

TEST(ColumnAverageTest, EveryWayGivesTheSameSamples) {
    ColumnAverage plainly(ColumnAverage::Way::Plain);
    ColumnAverage best;
    for (int from = 2; from <= 700; from = from * 5 / 4 + 1) {
        for (const int rows : {1, 3, 128, 257}) {
            std::vector<std::uint16_t> sums(static_cast<std::size_t>(from + ColumnAverage::kReadBeyond),
                                            0xA5A5);
            for (std::size_t i = 0; i < static_cast<std::size_t>(from); ++i) {
                sums[i] = static_cast<std::uint16_t>((i * 8923 ^ i / 3 * 151) %
                                                     (255u * static_cast<unsigned>(rows) + 1));
            }
            for (int to = 1; to <= from / 2; to = to * 7 / 6 + 1) {
                std::vector<std::uint8_t> plain(static_cast<std::size_t>(to) + 8, 0xA5);
                std::vector<std::uint8_t> averaged = plain;
                plainly.SetWidths(from, to);
                plainly.Average(sums.data(), rows, plain.data());
                best.SetWidths(from, to);
                best.Average(sums.data(), rows, averaged.data());
                ASSERT_EQ(plain, averaged) << from << " to " << to << " of " << rows;
            }
        }
    }
}

}  // namespace
