// JPEG pictures of all kinds.
#include <gmock/gmock.h>

#include <cstdio>
#include <cstdlib>

#include <jpeglib.h>

#include "codec/jpeg_codec.h"
#include "decode_bench.h"

namespace kvmon {
namespace {

using kvtest::kHeight;
using kvtest::kWidth;
using kvtest::StreamMaker;

using DecodeJpeg = kvtest::DecodeBench;

TEST_F(DecodeJpeg, JpegsOfAllKindsAreShown) {
    // Colour, as cameras send it.
    StreamMaker maker("mjpeg", kWidth, kHeight);
    Queue(FrameType::Jpeg, maker.Next().bytes);
    EXPECT_EQ(Run(), 1u);
    EXPECT_EQ(sink.Info(), MakeBitmapInfo(kWidth, kHeight));
    EXPECT_NEAR(sink.PixelAt(20, 4), StreamMaker::Luma(0, 20, 4, kWidth, kHeight), 4);

    // Grey.
    const BITMAPINFOHEADER info = MakeBitmapInfo(40, 30);
    const std::vector<std::uint8_t> bits(info.biSizeImage, 0x50);
    std::vector<std::uint8_t> grey;
    ASSERT_EQ(SaveJpegMemory(grey, info, bits, 100, false), nullptr);
    Queue(FrameType::Jpeg, {reinterpret_cast<const char*>(grey.data()), grey.size()});
    EXPECT_EQ(Run(), 1u);
    EXPECT_EQ(sink.Info(), info);
    EXPECT_NEAR(sink.PixelAt(10, 10), 0x50, 2);
}

// Four components: three colours and an alpha, which have no planes to scale from.
TEST_F(DecodeJpeg, AJpegOfFourComponentsIsA32BitBitmap) {
    jpeg_compress_struct codec{};
    jpeg_error_mgr errors{};
    codec.err = jpeg_std_error(&errors);
    jpeg_create_compress(&codec);
    unsigned char* bytes = nullptr;
    unsigned long length = 0;
    jpeg_mem_dest(&codec, &bytes, &length);
    codec.image_width = kWidth;
    codec.image_height = kHeight;
    codec.input_components = 4;
    codec.in_color_space = JCS_CMYK;
    jpeg_set_defaults(&codec);
    jpeg_start_compress(&codec, TRUE);
    std::vector<std::uint8_t> row(kWidth * 4, 128);
    while (codec.next_scanline < codec.image_height) {
        JSAMPROW rows = row.data();
        jpeg_write_scanlines(&codec, &rows, 1);
    }
    jpeg_finish_compress(&codec);
    Queue(FrameType::Jpeg, {reinterpret_cast<const char*>(bytes), length});
    jpeg_destroy_compress(&codec);
    std::free(bytes);  // NOLINT: the library's own allocation
    EXPECT_EQ(Run(), 1u);
    EXPECT_EQ(sink.Info(), MakeBitmapInfo(kWidth, kHeight, 32));
}

TEST_F(DecodeJpeg, BadJpegsAreDropped) {
    StreamMaker maker("mjpeg", kWidth, kHeight);
    const std::string good = maker.Next().bytes;
    Queue(FrameType::Jpeg, "");
    Queue(FrameType::Jpeg, "not a picture");
    Queue(FrameType::Jpeg, good.substr(0, 20));
    Queue(FrameType::Jpeg, good);
    EXPECT_EQ(RunAll(), 1u);
    EXPECT_EQ(counters.m_nFailed, 3u);
}

}  // namespace
}  // namespace kvmon
