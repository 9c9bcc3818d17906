#include <gtest/gtest.h>
#include <jpeglib.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <fstream>

#include "codec/jpeg_codec.h"
#include "support/fork_alone.h"
#include "support/temp_folder.h"

using namespace kvmon;

namespace {

using Bytes = std::vector<std::uint8_t>;

struct Shape {
    int width = 33;
    int height = 17;
    int components = 3;
    int hFactor = 2;
    int vFactor = 2;
    bool progressive = false;
};

// Soft waves: what differs between two ways of decoding is then rounding alone.
void FillRow(const Shape& shape, int y, std::uint8_t* row) {
    for (int x = 0; x < shape.width; ++x) {
        for (int c = 0; c < shape.components; ++c) {
            *row++ = static_cast<std::uint8_t>(80 + x * (c + 1) + y * (3 - c));
        }
    }
}

Bytes MakeJpeg(const Shape& shape) {
    jpeg_compress_struct codec;
    jpeg_error_mgr errors;
    codec.err = jpeg_std_error(&errors);
    jpeg_create_compress(&codec);
    unsigned char* memory = nullptr;
    unsigned long length = 0;
    jpeg_mem_dest(&codec, &memory, &length);
    codec.image_width = static_cast<JDIMENSION>(shape.width);
    codec.image_height = static_cast<JDIMENSION>(shape.height);
    codec.input_components = shape.components;
    codec.in_color_space = shape.components == 1 ? JCS_GRAYSCALE : shape.components == 4 ? JCS_CMYK : JCS_RGB;
    jpeg_set_defaults(&codec);
    if (shape.components == 4) {
        jpeg_set_colorspace(&codec, JCS_YCCK);
    }
    jpeg_set_quality(&codec, 95, TRUE);
    codec.comp_info[0].h_samp_factor = shape.hFactor;
    codec.comp_info[0].v_samp_factor = shape.vFactor;
    if (shape.progressive) {
        jpeg_simple_progression(&codec);
    }
    jpeg_start_compress(&codec, TRUE);
    Bytes row(static_cast<std::size_t>(shape.width * shape.components));
    for (int y = 0; y < shape.height; ++y) {
        if (shape.components == 4) {
            for (int x = 0; x < shape.width; ++x) {
                const std::uint8_t pixel[] = {255 - 200, 255 - 100, 255 - 50, 128};
                std::copy_n(pixel, 4, row.data() + x * 4);
            }
        } else {
            FillRow(shape, y, row.data());
        }
        JSAMPROW rows[] = {row.data()};
        jpeg_write_scanlines(&codec, rows, 1);
    }
    jpeg_finish_compress(&codec);
    jpeg_destroy_compress(&codec);
    Bytes made(memory, memory + length);
    std::free(memory);
    return made;
}

// The place of the frame head's height; the width stands two bytes behind it.
std::size_t HeightPlace(const Bytes& jpeg) {
    for (std::size_t i = 2; i + 9 < jpeg.size(); i += 2u + (jpeg[i + 2] * 256u + jpeg[i + 3])) {
        if (jpeg[i + 1] == 0xC0 || jpeg[i + 1] == 0xC2) {
            return i + 5;
        }
    }
    ADD_FAILURE() << "no frame head";
    return 0;
}

// Decodes and checks that nothing is written behind the destination.
JpegError DecodeToBits(std::span<const std::uint8_t> jpeg, Bytes& bits, BITMAPINFOHEADER& info) {
    int width = 0;
    int height = 0;
    std::uint32_t size = 0;
    if (!GetJpegInfo(jpeg, &width, &height, &size)) {
        size = 4096;
    }
    bits.assign(size + 16, 0xA5);
    const JpegError error = DecodeJpeg(jpeg, std::span(bits).first(size), &info);
    for (std::size_t i = size; i < bits.size(); ++i) {
        EXPECT_EQ(bits[i], 0xA5);
    }
    bits.resize(size);
    return error;
}

// Largest distance of the planes' colours from those of the bitmap.
int PlanesAgainstBitmap(const Bytes& jpeg) {
    Bytes bits;
    BITMAPINFOHEADER info;
    EXPECT_EQ(DecodeToBits(jpeg, bits, info), nullptr);
    Bytes storage;
    const PictureView view = DecodeJpegPlanes(jpeg, storage);
    EXPECT_EQ(view.width, info.biWidth);
    EXPECT_EQ(view.height, info.biHeight);
    Bytes converted(info.biSizeImage);
    const auto stride = static_cast<std::ptrdiff_t>(BitmapStride(info.biWidth));
    if (!ConvertToBgr(view, converted.data() + stride * (info.biHeight - 1), -stride)) {
        return 256;
    }
    int most = 0;
    for (int y = 0; y < info.biHeight; ++y) {
        for (int i = 0; i < info.biWidth * 3; ++i) {
            const auto place = static_cast<std::size_t>(y * stride + i);
            most = std::max(most, std::abs(converted[place] - bits[place]));
        }
    }
    return most;
}

TEST(JpegDecodeTest, ColourComesBottomUpWithBlueFirst) {
    const Shape shape{40, 24, 3, 1, 1};
    const Bytes jpeg = MakeJpeg(shape);
    EXPECT_TRUE(IsJpeg(jpeg));
    EXPECT_FALSE(IsJpeg(std::span(jpeg).first(1)));
    Bytes bits;
    BITMAPINFOHEADER info;
    ASSERT_EQ(DecodeToBits(jpeg, bits, info), nullptr);
    EXPECT_EQ(info, MakeBitmapInfo(40, 24));
    Bytes row(40 * 3);
    for (const int y : {0, 23}) {
        FillRow(shape, y, row.data());
        const std::uint8_t* const pixel = bits.data() + (23 - y) * 120 + 39 * 3;
        EXPECT_NEAR(pixel[0], row[39 * 3 + 2], 8);
        EXPECT_NEAR(pixel[1], row[39 * 3 + 1], 8);
        EXPECT_NEAR(pixel[2], row[39 * 3], 8);
    }
}

TEST(JpegDecodeTest, GreyGivesThreeEqualChannelsWhateverItsFactors) {
    for (const int factor : {1, 2, 4}) {
        const Bytes jpeg = MakeJpeg({37, 45, 1, factor, factor});
        Bytes bits;
        BITMAPINFOHEADER info;
        ASSERT_EQ(DecodeToBits(jpeg, bits, info), nullptr);
        EXPECT_EQ(info.biBitCount, 24);
        EXPECT_EQ(bits[0], bits[1]);
        EXPECT_EQ(bits[1], bits[2]);
        EXPECT_NEAR(bits[0], 80 + 44 * 3, 8);  // the last row, at the left
        EXPECT_LE(PlanesAgainstBitmap(jpeg), 1) << factor;
    }
}

TEST(JpegDecodeTest, FourComponentsGive32BitsScaledByTheAlpha) {
    const Bytes jpeg = MakeJpeg({16, 8, 4, 1, 1});
    Bytes bits;
    BITMAPINFOHEADER info;
    ASSERT_EQ(DecodeToBits(jpeg, bits, info), nullptr);
    EXPECT_EQ(info, MakeBitmapInfo(16, 8, 32));
    for (std::size_t i = 0; i < bits.size(); i += 4) {
        EXPECT_NEAR(bits[i], (50 * 128 + 1) >> 8, 2);
        EXPECT_NEAR(bits[i + 1], (100 * 128 + 1) >> 8, 2);
        EXPECT_NEAR(bits[i + 2], (200 * 128 + 1) >> 8, 2);
        EXPECT_NEAR(bits[i + 3], 128, 2);
    }
    Bytes storage;
    EXPECT_TRUE(DecodeJpegPlanes(jpeg, storage).IsEmpty());
}

TEST(JpegDecodeTest, PlanesAreTheSamePicture) {
    for (const auto& [h, v] : {std::pair(1, 1), std::pair(2, 1), std::pair(2, 2)}) {
        for (const bool progressive : {false, true}) {
            for (const auto& [width, height] : {std::pair(33, 17), std::pair(16, 16), std::pair(1, 1)}) {
                EXPECT_LE(PlanesAgainstBitmap(MakeJpeg({width, height, 3, h, v, progressive})), 6)
                    << h << v << progressive << width;
            }
        }
    }
    Bytes storage;  // a subsampling without a layout here goes the other way
    EXPECT_TRUE(DecodeJpegPlanes(MakeJpeg({32, 32, 3, 4, 1}), storage).IsEmpty());
    EXPECT_TRUE(DecodeJpegPlanes(MakeJpeg({32, 32, 3, 1, 2}), storage).IsEmpty());
}

// The coded blocks go on below the picture, with content of their own.
TEST(JpegDecodeTest, RowsBelowTheEndDoNotSpoilTheLastRow) {
    for (const int factor : {1, 2}) {
        Bytes jpeg = MakeJpeg({32, 32, 3, factor, factor});
        jpeg[HeightPlace(jpeg) + 1] = 19;
        EXPECT_LE(PlanesAgainstBitmap(jpeg), 6) << factor;
    }
}

TEST(JpegDecodeTest, DestinationTooSmallByOneByte) {
    const Bytes jpeg = MakeJpeg({});
    int width = 0;
    int height = 0;
    std::uint32_t size = 0;
    ASSERT_TRUE(GetJpegInfo(jpeg, &width, &height, &size));
    EXPECT_EQ(size, 100u * 17);
    Bytes bits(size - 1);
    BITMAPINFOHEADER info;
    EXPECT_STREQ(DecodeJpeg(jpeg, bits, &info), "The destination buffer is too small\n");
    bits.resize(size);
    EXPECT_EQ(DecodeJpeg(jpeg, bits, &info), nullptr);
}

TEST(JpegDecodeTest, CutAndSpoiltFilesNeverWriteOutside) {
    for (const Shape& shape :
         {Shape{}, Shape{33, 17, 3, 2, 2, true}, Shape{20, 20, 4, 1, 1}, Shape{9, 40, 1, 4, 4}}) {
        const Bytes jpeg = MakeJpeg(shape);
        Bytes bits;
        Bytes storage;
        BITMAPINFOHEADER info;
        for (std::size_t length = 0; length < jpeg.size(); ++length) {
            DecodeToBits(std::span(jpeg).first(length), bits, info);
            DecodeJpegPlanes(std::span(jpeg).first(length), storage);
        }
        EXPECT_STREQ(DecodeToBits({}, bits, info), "Cannot read JPEG file header from memory: %X\n");
        for (std::size_t i = 2; i < jpeg.size(); ++i) {
            Bytes spoilt = jpeg;
            spoilt[i] ^= static_cast<std::uint8_t>(1 + i * 37 % 255);
            int width = 0;
            int height = 0;
            std::uint32_t size = 0;
            if (GetJpegInfo(spoilt, &width, &height, &size) && size < (4u << 20)) {
                DecodeToBits(spoilt, bits, info);
                DecodeJpegPlanes(spoilt, storage);
            }
        }
    }
}

TEST(JpegDecodeTest, SizesAndPassesBeyondReasonAreRefused) {
    Bytes huge = MakeJpeg({});
    const std::size_t place = HeightPlace(huge);
    for (std::size_t i = 0; i < 4; ++i) {
        huge[place + i] = 0xF0;
    }
    int width = 0;
    int height = 0;
    std::uint32_t size = 0;
    EXPECT_FALSE(GetJpegInfo(huge, &width, &height, &size));
    Bytes storage;
    EXPECT_TRUE(DecodeJpegPlanes(huge, storage).IsEmpty());
    EXPECT_TRUE(storage.empty());

    Bytes passes = MakeJpeg({64, 64, 3, 1, 1, true});
    const std::uint8_t scan[] = {0xFF, 0xDA};
    const auto last = std::find_end(passes.begin(), passes.end(), scan, scan + 2);
    const Bytes tail(last, passes.end() - 2);
    passes.resize(passes.size() - 2);
    for (int i = 0; i < 200; ++i) {
        passes.insert(passes.end(), tail.begin(), tail.end());
    }
    Bytes bits;
    BITMAPINFOHEADER info;
    EXPECT_STREQ(DecodeToBits(passes, bits, info), "Cannot read image data from memory %X\n");
    EXPECT_TRUE(DecodeJpegPlanes(passes, storage).IsEmpty());
}

struct Saved {
    int bitCount;
    bool colour;
};

// A bitmap with a red top and a blue bottom, its padding full of rubbish.
Bytes TwoColours(const BITMAPINFOHEADER& info) {
    Bytes bits(info.biSizeImage, 0xEE);
    const std::size_t stride = BitmapStride(info.biWidth, info.biBitCount);
    for (int y = 0; y < info.biHeight; ++y) {
        const bool top = y >= info.biHeight / 2;
        for (int x = 0; x < info.biWidth; ++x) {
            std::uint8_t* const pixel =
                bits.data() + static_cast<std::size_t>(y) * stride + x * info.biBitCount / 8;
            if (info.biBitCount == 16) {
                pixel[0] = top ? 0 : 31;
                pixel[1] = top ? 31 << 2 : 0;
            } else {
                pixel[0] = top ? 0 : 248;
                pixel[1] = 0;
                pixel[2] = top ? 248 : 0;
            }
        }
    }
    return bits;
}

TEST(JpegEncodeTest, EveryDepthComesBackUpright) {
    for (const auto& [bitCount, colour] :
         {Saved{24, true}, Saved{32, true}, Saved{16, true}, Saved{24, false}}) {
        const BITMAPINFOHEADER info = MakeBitmapInfo(35, 32, bitCount);
        const Bytes bits = TwoColours(info);
        Bytes jpeg;
        ASSERT_EQ(SaveJpegMemory(jpeg, info, bits, 100, colour), nullptr);
        Bytes back;
        BITMAPINFOHEADER backInfo;
        ASSERT_EQ(DecodeToBits(jpeg, back, backInfo), nullptr);
        const std::uint8_t* const bottom = back.data();
        const std::uint8_t* const top = back.data() + 108 * 31 + 34 * 3;
        EXPECT_NEAR(top[2], colour ? 248 : 74, 6) << bitCount;
        EXPECT_NEAR(top[0], colour ? 0 : 74, 6) << bitCount;
        EXPECT_NEAR(bottom[0], colour ? 248 : 28, 6) << bitCount;
        EXPECT_NEAR(bottom[2], colour ? 0 : 28, 6) << bitCount;
    }
    Bytes jpeg;
    const BITMAPINFOHEADER info = MakeBitmapInfo(8, 8);
    EXPECT_NE(SaveJpegMemory(jpeg, info, Bytes(info.biSizeImage - 1), 100, true), nullptr);
    EXPECT_NE(SaveJpegMemory(jpeg, MakeBitmapInfo(8, 8, 8), Bytes(1000), 100, true), nullptr);
    EXPECT_NE(SaveJpegMemory(jpeg, MakeBitmapInfo(0, 8), Bytes(1000), 100, true), nullptr);
}

int FileCount(const std::string& folder) {
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        count += entry.exists();
    }
    return count;
}

TEST(JpegFileTest, FileIsWholeOrNotThere) {
    const kvtest::TempFolder folder;
    const BITMAPINFOHEADER info = MakeBitmapInfo(64, 64);
    const Bytes bits = TwoColours(info);
    const std::string longName = folder.File(std::string(251, 'n') + ".jpg");
    EXPECT_EQ(SaveJpegFile(longName, info, bits, 100, true), nullptr);
    EXPECT_EQ(FileCount(folder.Path()), 1);
    Bytes expected;
    SaveJpegMemory(expected, info, bits, 100, true);
    std::ifstream file(longName, std::ios::binary);
    EXPECT_EQ(Bytes(std::istreambuf_iterator<char>(file), {}), expected);

    const char* const cannotOpen = "JpegFile :\nCan't open %s\n";
    EXPECT_STREQ(SaveJpegFile(folder.File("none/x.jpg"), info, bits, 100, true), cannotOpen);
    std::filesystem::create_directory(folder.File("taken"));
    std::ofstream(folder.File("taken/in it")).flush();
    EXPECT_STREQ(SaveJpegFile(folder.File("taken"), info, bits, 100, true), cannotOpen);
    EXPECT_EQ(FileCount(folder.Path()), 2);
}

TEST(JpegFileTest, FullDiskLeavesTheOldFile) {
    const kvtest::TempFolder folder;
    const std::string path = folder.File("x.jpg");
    std::ofstream(path) << "old";
    const pid_t child = kvtest::ForkAlone();
    ASSERT_GE(child, 0);
    if (child == 0) {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{100, 100};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        const BITMAPINFOHEADER info = MakeBitmapInfo(64, 64);
        ::_exit(SaveJpegFile(path, info, TwoColours(info), 100, true) != nullptr ? 0 : 1);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(FileCount(folder.Path()), 1);
    std::ifstream file(path);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), "old");
}

}  // namespace
