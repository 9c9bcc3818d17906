#include "codec/video_decoder.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "content/coded_pictures.h"

using namespace kvmon;
using kvtest::CodedUnit;
using kvtest::Coding;

namespace {

constexpr int kWidth = 176;
constexpr int kHeight = 98;  // not a whole number of blocks

struct Form {
    Coding coding;
    int streamType;
};

std::vector<std::uint8_t> Padded(const std::vector<std::uint8_t>& bytes) {
    std::vector<std::uint8_t> padded = bytes;
    padded.resize(bytes.size() + kInputPadding);
    return padded;
}

int Decode(VideoDecoder& decoder, const std::vector<std::uint8_t>& bytes, DecodedPicture& output) {
    const auto padded = Padded(bytes);
    const int status = decoder.GetFrame(std::span(padded).first(bytes.size()), output);
    EXPECT_EQ(status == kDecodeOk, !output.IsEmpty()) << status;
    return status;
}

// Mean distance of the decoded brightness from the picture that was coded.
double Distance(const PictureView& view, const kvtest::Planes& source) {
    double sum = 0;
    for (int y = 0; y < view.height; ++y) {
        for (int x = 0; x < view.width; ++x) {
            sum += std::abs(view.data[0][y * view.stride[0] + x] -
                            source.y[static_cast<std::size_t>(y * source.width + x)]);
        }
    }
    return sum / (view.width * view.height);
}

class VideoDecoderTest : public testing::TestWithParam<Form> {
protected:
    void SetUp() override {
        kvtest::CodingOptions options;
        options.frames = 6;
        options.keyInterval = 3;
        units = kvtest::EncodeMovingPictures(GetParam().coding, kWidth, kHeight, options);
        ASSERT_EQ(units.size(), 6u);
        ASSERT_TRUE(units[3].key);
    }
    VideoDecoderParams Params(int width = kWidth, int height = kHeight, int threads = 1) const {
        return {GetParam().streamType, width, height, threads};
    }

    std::vector<CodedUnit> units;
    const std::unique_ptr<VideoDecoder> decoder = CreateVideoDecoder();
    DecodedPicture picture;
};

INSTANTIATE_TEST_SUITE_P(Codes, VideoDecoderTest,
                         testing::Values(Form{Coding::H264, kStreamTypeH264},
                                         Form{Coding::Mpeg4, kStreamTypeMpeg4},
                                         Form{Coding::H265, kStreamTypeH265},
                                         Form{Coding::H265Deep, kStreamTypeH265}),
                         [](const auto& form) {
                             return form.param.coding == Coding::H264    ? "H264"
                                    : form.param.coding == Coding::Mpeg4 ? "Mpeg4"
                                    : form.param.coding == Coding::H265  ? "H265"
                                                                         : "H265OfTenBits";
                         });

// A picture on show is the decoder's memory; it must not change under later pictures, nor go with the
// decoder.
TEST_P(VideoDecoderTest, PictureThatIsKeptStaysAsItIs) {
    ASSERT_EQ(decoder->Init(Params()), kDecodeOk);
    ASSERT_EQ(Decode(*decoder, units[0].bytes, picture), kDecodeOk);
    DecodedPicture kept = std::move(picture);
    EXPECT_TRUE(picture.IsEmpty());
    for (std::size_t i = 1; i < units.size(); ++i) {
        Decode(*decoder, units[i].bytes, picture);
    }
    decoder->Close();
    EXPECT_LT(Distance(kept.View(), kvtest::MovingPicture(kWidth, kHeight, 0)), 8);
    kept.Clear();
    EXPECT_TRUE(kept.IsEmpty());
    EXPECT_TRUE(kept.View().IsEmpty());
}

// A head may tell whole blocks, or the size that another part of the camera works with.
TEST_P(VideoDecoderTest, EachUnitGivesItsPictureAtOnceWhateverSizeWasTold) {
    const VideoDecoderParams told[] = {Params(kWidth, kHeight, 1),
                                       Params(kWidth, kHeight, 3),
                                       Params(kWidth, kHeight + 14),
                                       Params(kWidth - 16, kHeight),
                                       Params(kWidth + 320, kHeight + 240),
                                       Params(16, 16),
                                       Params(0, 0)};
    for (const VideoDecoderParams& params : told) {
        ASSERT_EQ(decoder->Init(params), kDecodeOk);
        for (int i = 0; i < 6; ++i) {
            ASSERT_EQ(Decode(*decoder, units[static_cast<std::size_t>(i)].bytes, picture), kDecodeOk) << i;
            const PictureView view = picture.View();
            EXPECT_EQ(view.layout, PixelLayout::I420);
            ASSERT_EQ(view.width, kWidth);
            ASSERT_EQ(view.height, kHeight);
            EXPECT_FALSE(view.fullRange);
            EXPECT_LT(Distance(view, kvtest::MovingPicture(kWidth, kHeight, i)), 8) << i;
        }
    }
}

// Pictures that are coded after those that they stand before come out in the order of their display.
TEST_P(VideoDecoderTest, PicturesComeInTheOrderOfTheirDisplay) {
    kvtest::CodingOptions options;
    options.frames = 12;
    options.keyInterval = 12;
    options.reordered = 2;
    ASSERT_EQ(decoder->Init(Params()), kDecodeOk);
    int next = 0;
    for (const CodedUnit& unit : kvtest::EncodeMovingPictures(GetParam().coding, kWidth, kHeight, options)) {
        if (Decode(*decoder, unit.bytes, picture) == kDecodeOk) {
            EXPECT_LT(Distance(picture.View(), kvtest::MovingPicture(kWidth, kHeight, next)), 8) << next;
            ++next;
        }
    }
    EXPECT_GE(next, 9) << "no more than three wait";
}

TEST_P(VideoDecoderTest, RefusesWhatCannotBeOpened) {
    const VideoDecoderParams bad[] = {Params(0, kHeight),
                                      Params(kWidth, -1),
                                      Params(0x7FFFFFFF, 0x7FFFFFFF),
                                      Params(8192, 8192),
                                      {385, kWidth, kHeight, 1}};
    for (const VideoDecoderParams& params : bad) {
        EXPECT_NE(decoder->Init(params), kDecodeOk);
        EXPECT_EQ(Decode(*decoder, units[0].bytes, picture), kDecodeNotOpen);
    }
    ASSERT_EQ(decoder->Init(Params()), kDecodeOk);
    EXPECT_EQ(Decode(*decoder, units[0].bytes, picture), kDecodeOk);
    decoder->Close();
    decoder->Close();
    EXPECT_EQ(Decode(*decoder, units[0].bytes, picture), kDecodeNotOpen);
    ASSERT_EQ(decoder->Init(Params()), kDecodeOk);
    EXPECT_EQ(Decode(*decoder, units[3].bytes, picture), kDecodeOk);
}

TEST_P(VideoDecoderTest, BadUnitIsLostAndTheDecoderStaysOpen) {
    ASSERT_EQ(decoder->Init(Params()), kDecodeOk);
    EXPECT_NE(Decode(*decoder, {}, picture), kDecodeOk);
    std::uint32_t state = 1;
    for (int round = 0; round < 50; ++round) {
        std::vector<std::uint8_t> noise(static_cast<std::size_t>(round) * 7 + 1);
        for (std::uint8_t& byte : noise) {
            state = state * 1664525 + 1013904223;
            byte = static_cast<std::uint8_t>(state >> 24);
        }
        EXPECT_NE(Decode(*decoder, noise, picture), kDecodeOk);
    }
    // Cut units may or may not show something, but break nothing.
    for (std::size_t length = 1; length < units[0].bytes.size(); length += 13) {
        Decode(*decoder, {units[0].bytes.begin(), units[0].bytes.begin() + static_cast<long>(length)},
               picture);
    }
    EXPECT_EQ(Decode(*decoder, units[3].bytes, picture), kDecodeOk);
    EXPECT_LT(Distance(picture.View(), kvtest::MovingPicture(kWidth, kHeight, 3)), 8);
}

TEST(VideoDecoderStatusTest, UnitWithoutAPictureIsNoSuccess) {
    const auto decoder = CreateVideoDecoder();
    DecodedPicture picture;
    ASSERT_EQ(decoder->Init({kStreamTypeH264, kWidth, kHeight, 1}), kDecodeOk);
    EXPECT_NE(Decode(*decoder, {0, 0, 0, 1, 9, 0x10}, picture), kDecodeOk);  // a delimiter alone
}

}  // namespace
