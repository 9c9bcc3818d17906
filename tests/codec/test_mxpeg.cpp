// MxPEG: what the adapter refuses, and pictures through libavcodec.
#include <gmock/gmock.h>

#include <stdexcept>

#include "codec/jpeg_codec.h"
#include "codec/mxpeg_adapter.h"
#include "codec/picture.h"

using namespace kvmon;

namespace {

constexpr int kMxpegWidth = 64;
constexpr int kMxpegHeight = 48;
constexpr std::size_t kRowBytes = kMxpegWidth * 3;

std::vector<std::uint8_t> g_input;
std::vector<int> g_dumps;
int g_result = 1;
bool g_throws = false;
int g_open = 0;

// Notes what it is given.
const MxpegLibrary kNoting{
    [](std::size_t, std::size_t) -> void* {
        ++g_open;
        return &g_open;
    },
    [](void*, const std::uint8_t* input, std::size_t length, std::uint8_t* output, std::size_t size) {
        g_input.assign(input, input + length);
        if (g_throws) {
            throw std::runtime_error("a fault of the library");
        }
        std::fill_n(output, size, std::uint8_t{9});
        return g_result;
    },
    [](void*) { --g_open; }};

std::vector<std::uint8_t> Frame(std::size_t length, std::size_t endOfImage) {
    std::vector<std::uint8_t> frame(length, 1);
    constexpr std::uint8_t head[] = {0xFF, 0xD8, 0xFF, 0xE0};
    std::copy(std::begin(head), std::end(head), frame.begin());
    frame[endOfImage - 2] = 0xFF;
    frame[endOfImage - 1] = 0xD9;
    return frame;
}

struct MxpegAdapterTest : testing::Test {
    MxpegAdapterTest() {
        g_result = 1;
        g_throws = false;
        g_dumps.clear();
        EXPECT_TRUE(decoder->Open(kMxpegWidth, kMxpegHeight));
    }
    bool Decode(const std::vector<std::uint8_t>& frame) {
        g_input.clear();
        return decoder->DecodeFrame(frame, rows, kRowBytes);
    }
    std::unique_ptr<CTRMxPEGDecoder> decoder = CreateMxpegDecoder(
        kNoting, [](int number, std::span<const std::uint8_t>) { g_dumps.push_back(number); });
    std::vector<std::uint8_t> rows = std::vector<std::uint8_t>(kRowBytes * kMxpegHeight);
};

}  // namespace

TEST_F(MxpegAdapterTest, HandsOnAFrameUpToItsEndWithTheNextBeginning) {
    ASSERT_TRUE(Decode(Frame(400, 300)));
    ASSERT_EQ(g_input.size(), 302u);
    EXPECT_EQ(g_input[299], 0xD9);
    EXPECT_EQ(g_input[300], 0xFF);
    EXPECT_EQ(g_input[301], 0xD8);
    EXPECT_EQ(rows.back(), 9);
    EXPECT_TRUE(Decode(Frame(256, 256)));

    constexpr std::size_t kInputSize = 2100 * 1600 * 3 / 2;
    EXPECT_TRUE(Decode(Frame(kInputSize - 2, kInputSize - 2)));
    EXPECT_FALSE(Decode(Frame(kInputSize - 1, 300)));
}

TEST_F(MxpegAdapterTest, TheLibraryNeverSeesWhatIsWrong) {
    EXPECT_FALSE(Decode({}));
    EXPECT_FALSE(Decode(Frame(255, 255)));
    EXPECT_FALSE(Decode(Frame(400, 253))) << "an end before byte 254 is not seen";
    auto other = Frame(400, 300);
    other[3] = 0xDB;
    EXPECT_FALSE(Decode(other));
    rows.pop_back();
    EXPECT_FALSE(Decode(Frame(400, 300)));
    rows.push_back(0);
    EXPECT_FALSE(decoder->DecodeFrame(Frame(400, 300), rows, kRowBytes + 1));
    EXPECT_TRUE(g_input.empty());
    decoder->Close();
    EXPECT_FALSE(Decode(Frame(400, 300)));
    EXPECT_EQ(g_open, 0);
}

TEST_F(MxpegAdapterTest, AFaultOfTheLibraryCostsThatFrameAlone) {
    g_result = 0;
    EXPECT_FALSE(Decode(Frame(400, 300)));
    g_throws = true;
    EXPECT_FALSE(Decode(Frame(400, 300)));
    EXPECT_FALSE(Decode(Frame(400, 300)));
    EXPECT_THAT(g_dumps, testing::ElementsAre(0, 1));
    g_throws = false;
    g_result = 1;
    EXPECT_TRUE(Decode(Frame(400, 300)));
}

TEST(AvMxpeg, ShowsAWholePictureAndOutlivesADamagedOne) {
    const BITMAPINFOHEADER info = MakeBitmapInfo(kMxpegWidth, kMxpegHeight);
    std::vector<std::uint8_t> bitmap(info.biSizeImage);
    for (std::size_t i = 0; i < bitmap.size(); i += 3) {
        bitmap[i] = 200;  // blue
        bitmap[i + 1] = 30;
        bitmap[i + 2] = 60;
    }
    std::vector<std::uint8_t> jpeg;
    ASSERT_EQ(SaveJpegMemory(jpeg, info, bitmap, 95, true), nullptr);
    ASSERT_GE(jpeg.size(), 256u);
    const auto decoder = CreateMxpegDecoder(AvMxpegLibrary());
    ASSERT_TRUE(decoder->Open(kMxpegWidth, kMxpegHeight));
    std::vector<std::uint8_t> rows(kRowBytes * kMxpegHeight);
    ASSERT_TRUE(decoder->DecodeFrame(jpeg, rows, kRowBytes));
    EXPECT_NEAR(rows[0], 200, 6);
    EXPECT_NEAR(rows[rows.size() - 2], 30, 6);
    EXPECT_NEAR(rows[rows.size() - 1], 60, 6);

    std::vector<std::uint8_t> damaged = jpeg;
    std::fill(damaged.begin() + 20, damaged.begin() + 200, std::uint8_t{0x55});
    decoder->DecodeFrame(damaged, rows, kRowBytes);
    EXPECT_TRUE(decoder->DecodeFrame(jpeg, rows, kRowBytes));

    // A picture of another size than told is refused.
    ASSERT_TRUE(decoder->Open(kMxpegWidth, kMxpegHeight + 16));
    std::vector<std::uint8_t> more(kRowBytes * (kMxpegHeight + 16));
    EXPECT_FALSE(decoder->DecodeFrame(jpeg, more, kRowBytes));
}
