#include <gmock/gmock.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <jpeglib.h>

#include "channel/base/channel_globals.h"
#include "channel/camera/channel_core.h"
#include "channel/decode/decode_loop.h"
#include "channel/decode/open_decoders.h"
#include "codec/jpeg_codec.h"
#include "platform/text.h"
#include "stream_maker.h"
#include "support/wait_until.h"

namespace kvmon {
namespace {

using kvtest::StreamMaker;

constexpr int kWidth = 64;
constexpr int kHeight = 48;

// A channel without threads: the test queues frames and runs the decode thread's pass until they are
// used up.
class Decode : public testing::Test {
protected:
    Decode() {
        control.exit.Set();
        core.m_frames.SetPlaying(true);
        core.m_picture.SetViewSize(32, 24);
        core.m_picture.SetRepaint([this] { composed += core.m_counters.m_nShown > 0 ? 1 : 0; });
    }

    void Queue(FrameType type, std::string_view bytes) {
        auto frame = core.m_frames.NewDecodeFrame(0, bytes.size());
        std::memcpy(frame->Begin(), bytes.data(), bytes.size());
        frame->SetLength(static_cast<std::uint32_t>(bytes.size()));
        ASSERT_TRUE(core.m_frames.AddDecodeFrameToQueue(type, std::move(frame), &control.run));
    }
    void QueueCoded(std::uint32_t fourcc, StreamMaker& maker, int width = kWidth, int height = kHeight) {
        const kvtest::Unit unit = maker.Next();
        Queue(FrameType::Wrapped, kvtest::VideoRecord(fourcc, unit.key, width, height, unit.bytes));
    }
    // One call of DecodeFrame, which leaves when no frame waits.
    std::uint32_t Run() { return DecodeLoop(core.GetDecodeParts(), control).DecodeFrame(); }
    std::uint32_t RunAll() {
        std::uint32_t count = 0;
        while (core.m_frames.GetCount() > 0) {
            control.reset = control.leave = 0;
            count += Run();
        }
        return count;
    }
    // The green of a pixel of the picture on show, counted from the upper left.
    int PixelAt(int x, int y) {
        const BITMAPINFOHEADER info = core.m_picture.GetBitmapInfo();
        const std::vector<std::uint8_t> file = core.m_picture.GetBitmapFile();
        const std::size_t stride = BitmapStride(info.biWidth, info.biBitCount);
        const std::size_t at = 54 + stride * static_cast<std::size_t>(info.biHeight - 1 - y) +
                               static_cast<std::size_t>(x * info.biBitCount / 8) + 1;
        return at < file.size() ? file[at] : -1;
    }
    // What the luma of a studio-level picture becomes.
    static int Level(int luma) { return (luma - 16) * 255 / 219; }
    std::string Line(SubString line) const { return core.m_picture.GetSubString(line); }

    ChannelCore core{SystemClock()};
    ThreadControl control;
    std::uint64_t composed = 0;
};

TEST_F(Decode, EachCodeGivesThePicturesThatWereSent) {
    const struct {
        std::uint32_t fourcc;
        const char* encoder;
        const char* line;
    } cases[] = {
        {wire::kZ264, "libx264", "Frame Type: Z264"},
        {wire::kZMP4, "mpeg4", "Frame Type: ZMP4"},
    };
    for (const auto& test : cases) {
        StreamMaker maker(test.encoder, kWidth, kHeight);
        for (int i = 0; i < 5; ++i) {
            QueueCoded(test.fourcc, maker);
        }
        EXPECT_EQ(RunAll(), 5u) << test.encoder;
        EXPECT_EQ(Line(SubString::FrameType), test.line);
        EXPECT_EQ(Line(SubString::Stream), "Stream: 64 x 48");
        for (const int y : {4, 40}) {
            EXPECT_NEAR(PixelAt(20, y), Level(StreamMaker::Luma(4, 20, y, kWidth, kHeight)), 6)
                << test.encoder;
        }
    }
    EXPECT_EQ(core.m_counters.m_nShown, 10u);
    EXPECT_EQ(composed, 10u) << "each at once";
    EXPECT_EQ(core.m_counters.m_nDecoded, 10u);
    EXPECT_EQ(core.m_counters.m_nFailed, 0u);
}

TEST_F(Decode, StackedFieldsAreWoven) {
    StreamMaker maker("mpeg4", kWidth, kHeight);
    QueueCoded(wire::kAVM4, maker);
    EXPECT_EQ(Run(), 1u);
    EXPECT_EQ(Line(SubString::FrameType), "Frame Type: AVM4");
    // The upper half of what was sent stands in the even rows, the lower half in the odd ones.
    for (const int y : {8, 20, 36}) {
        EXPECT_NEAR(PixelAt(20, y), Level(StreamMaker::Luma(0, 20, y / 2, kWidth, kHeight)), 6);
        EXPECT_NEAR(PixelAt(20, y + 1), Level(StreamMaker::Luma(0, 20, kHeight / 2 + y / 2, kWidth, kHeight)),
                    6);
    }
}

TEST_F(Decode, NothingIsShownBeforeAKeyFrame) {
    StreamMaker maker("libx264", kWidth, kHeight, 4);
    maker.Next();
    for (int i = 1; i < 6; ++i) {
        QueueCoded(wire::kZ264, maker);  // pictures 1 to 5, of which 4 is a key frame
    }
    EXPECT_EQ(RunAll(), 2u);
    EXPECT_EQ(core.m_counters.m_nFailed, 0u) << "they never reach the decoder";
}

TEST_F(Decode, AChangeOfCodeCostsItsFirstFrame) {
    StreamMaker h264("libx264", kWidth, kHeight);
    StreamMaker mpeg4("mpeg4", kWidth, kHeight, 3);
    QueueCoded(wire::kZ264, h264);
    for (int i = 0; i < 5; ++i) {
        QueueCoded(wire::kZMP4, mpeg4);  // 0 and 3 are key frames
    }
    EXPECT_EQ(Run(), 1u);
    EXPECT_EQ(core.m_frames.GetCount(), 4u) << "the first of the new code is gone";
    EXPECT_EQ(RunAll(), 2u) << "pictures 3 and 4";
    EXPECT_EQ(Line(SubString::FrameType), "Frame Type: ZMP4");
}

TEST_F(Decode, BetweenJpegAndCodedFramesToo) {
    StreamMaker h264("libx264", kWidth, kHeight, 2);
    StreamMaker jpeg("mjpeg", kWidth, kHeight);
    Queue(FrameType::Jpeg, jpeg.Next().bytes);
    for (int i = 0; i < 4; ++i) {
        QueueCoded(wire::kZ264, h264);  // 0 and 2 are key frames
    }
    Queue(FrameType::Jpeg, jpeg.Next().bytes);
    Queue(FrameType::Jpeg, jpeg.Next().bytes);
    EXPECT_EQ(RunAll(), 1u + 2u + 1u);
    EXPECT_EQ(Line(SubString::FrameType), "Frame Type: MJPG");
}

TEST_F(Decode, AKeyFrameOfAnotherSizeReopensTheDecoder) {
    StreamMaker small("libx264", kWidth, kHeight);
    StreamMaker large("libx264", 128, 96);
    QueueCoded(wire::kZ264, small);
    QueueCoded(wire::kZ264, small);
    QueueCoded(wire::kZ264, large, 128, 96);
    QueueCoded(wire::kZ264, large, 128, 96);
    EXPECT_EQ(Run(), 4u);
    EXPECT_EQ(Line(SubString::Stream), "Stream: 128 x 96");
    EXPECT_NEAR(PixelAt(60, 8), Level(StreamMaker::Luma(1, 60, 8, 128, 96)), 6);
}

// Encoders code whole blocks, and their heads tell these or what was cut from them.
TEST_F(Decode, TheDecodedSizeIsShownWhateverTheHeadTells) {
    const struct {
        int toldWidth, toldHeight, width, height;
    } sizes[] = {{1920, 1088, 1920, 1080}, {640, 368, 640, 360}, {352, 288, 352, 240}, {352, 240, 352, 288},
                 {128, 96, 64, 48},        {0, 48, 64, 48},      {0, 0, 64, 48},       {1, 1, 64, 48}};
    const struct {
        std::uint32_t fourcc;
        const char* encoder;
    } codes[] = {{wire::kZ264, "libx264"}, {wire::kZMP4, "mpeg4"}, {wire::kAVM4, "mpeg4"}};
    for (const auto& [fourcc, encoder] : codes) {
        for (const auto& size : sizes) {
            StreamMaker maker(encoder, size.width, size.height);
            QueueCoded(fourcc, maker, size.toldWidth, size.toldHeight);
            QueueCoded(fourcc, maker, size.toldWidth, size.toldHeight);
            EXPECT_EQ(RunAll(), 2u) << encoder << " " << size.toldWidth << " x " << size.toldHeight;
            EXPECT_EQ(core.m_picture.GetBitmapInfo(), MakeBitmapInfo(size.width, size.height));
            EXPECT_EQ(Line(SubString::Stream), FormatText("Stream: %d x %d", size.width, size.height));
            const int y = size.height / 4;
            EXPECT_NEAR(
                PixelAt(20, y),
                Level(StreamMaker::Luma(1, 20, y / (fourcc == wire::kAVM4 ? 2 : 1), size.width, size.height)),
                6)
                << encoder;
        }
    }
}

TEST_F(Decode, AHeadBeyondAllBoundsShowsNothing) {
    StreamMaker maker("libx264", kWidth, kHeight);
    const kvtest::Unit unit = maker.Next();
    for (const auto& [width, height] : {std::pair{-1, -1}, {16385, 16}, {16384, 16384}}) {
        Queue(FrameType::Wrapped, kvtest::VideoRecord(wire::kZ264, true, width, height, unit.bytes));
        EXPECT_EQ(RunAll(), 0u) << width << " x " << height;
    }
    EXPECT_FALSE(core.m_picture.HasPicture());
    Queue(FrameType::Wrapped, kvtest::VideoRecord(wire::kZ264, true, kWidth, kHeight, unit.bytes));
    EXPECT_EQ(RunAll(), 1u);
}

// Pictures that were coded after those that they stand before are shown in the order of their display, and
// none is left out on the way.
TEST_F(Decode, ReorderedPicturesAreShownInTheirOrder) {
    constexpr int kCount = 12;
    const struct {
        std::uint32_t fourcc;
        const char* encoder;
    } codes[] = {
        {wire::kZ264, "libx264"}, {wire::kZMP4, "mpeg4"}, {wire::kAVM4, "mpeg4"}, {wire::kZV7K, "mpeg4"}};
    for (const auto& [fourcc, encoder] : codes) {
        SCOPED_TRACE(GetVideoCodeName(fourcc));
        Factories().vivotekDecoder = [](const GiveUp& giveUp) {
            static const VivotekLibrary none{};
            return MakeVivotekDecoder(none, giveUp);
        };
        ChannelCore channel(SystemClock());
        Factories().vivotekDecoder = nullptr;
        ThreadControl thread;
        Worker worker;
        worker.Start("decode", [&] {
            while (!thread.exit.IsSet()) {
                thread.run.Set();
                DecodeLoop(channel.GetDecodeParts(), thread).DecodeFrame();
            }
        });
        StreamMaker maker(encoder, kWidth, kHeight, kCount, 2);
        std::vector<int> shown;
        std::uint64_t sent = 0;
        for (const kvtest::Unit& unit : maker.All(kCount)) {
            const std::string record = kvtest::VideoRecord(fourcc, unit.key, kWidth, kHeight, unit.bytes);
            auto frame = channel.m_frames.NewDecodeFrame(0, record.size());
            std::memcpy(frame->Begin(), record.data(), record.size());
            frame->SetLength(static_cast<std::uint32_t>(record.size()));
            channel.m_frames.AddDecodeFrameToQueue(FrameType::Wrapped, std::move(frame), &thread.run);
            ++sent;
            ASSERT_TRUE(kvtest::WaitUntil(
                [&] { return channel.m_counters.m_nShown + channel.m_counters.m_nFailed == sent; }));
            if (channel.m_counters.m_nShown == shown.size() + 1) {
                const std::vector<std::uint8_t> file = channel.m_picture.GetBitmapFile();
                const std::size_t at = 54 + BitmapStride(kWidth) * (kHeight - 1 - 4) + 20 * 3 + 1;
                shown.push_back(at < file.size() ? file[at] : -1);
            }
        }
        thread.exit.Set();
        thread.leave = 1;
        ASSERT_TRUE(worker.Wait(Milliseconds(5000)));
        EXPECT_GE(shown.size(), kCount - 3u);
        for (std::size_t i = 0; i < shown.size(); ++i) {
            EXPECT_NEAR(shown[i], Level(StreamMaker::Luma(static_cast<int>(i), 20, 4, kWidth, kHeight)), 3)
                << i;
        }
    }
}

TEST_F(Decode, DamageCostsThatFrameOnly) {
    StreamMaker maker("libx264", kWidth, kHeight);
    QueueCoded(wire::kZ264, maker);
    Queue(FrameType::Wrapped, kvtest::VideoRecord(wire::kZ264, false, 0, 0, std::string(200, '\x7F')));
    Queue(FrameType::Wrapped, kvtest::VideoRecord(wire::kZ264, false, 0, 0, ""));
    QueueCoded(wire::kZ264, maker);
    EXPECT_EQ(Run(), 2u);
    EXPECT_EQ(core.m_counters.m_nFailed, 2u);
    EXPECT_EQ(core.m_counters.m_nDecoded, 2u);
}

TEST_F(Decode, UnknownAndShortFramesAreDropped) {
    Queue(FrameType::Wrapped, "short");
    Queue(FrameType::Wrapped, kvtest::VideoRecord(wire::FourCC('N', 'O', 'N', 'E'), true, 64, 48, "x"));
    EXPECT_EQ(RunAll(), 0u);
}

TEST_F(Decode, WithoutAnAdapterItsFormatsAreNotShown) {
    for (const std::uint32_t fourcc : {wire::kZXPG, wire::kZV7K, wire::kZV6K, wire::kZV3K}) {
        Queue(FrameType::Wrapped, kvtest::VideoRecord(fourcc, true, 64, 48, "x"));
        Queue(FrameType::Wrapped, kvtest::VideoRecord(fourcc, false, 64, 48, "x"));
        EXPECT_EQ(Run(), 0u);
        EXPECT_EQ(Line(SubString::FrameType), std::string("Frame Type: ") + GetVideoCodeName(fourcc));
    }
}

TEST_F(Decode, TheWordToLeaveKeepsTheFramesThatWait) {
    StreamMaker maker("libx264", kWidth, kHeight, 1);
    QueueCoded(wire::kZ264, maker);
    control.leave = 1;
    EXPECT_EQ(Run(), 0u);
    EXPECT_EQ(core.m_frames.GetCount(), 1u);
    control.leave = 0;
    QueueCoded(wire::kZ264, maker);
    core.m_picture.SetRepaint([this] { control.leave = core.m_counters.m_nShown > 0 ? 1 : 0; });
    EXPECT_EQ(Run(), 1u);
    EXPECT_EQ(core.m_frames.GetCount(), 1u) << "it may be the key frame of the next stream";
    core.m_frames.SetPlaying(false);
    EXPECT_EQ(Run(), 0u);
    EXPECT_EQ(core.m_frames.GetCount(), 0u) << "but a pause wants none";
}

TEST_F(Decode, AResetClosesTheDecoderUntilAKeyFrame) {
    StreamMaker maker("libx264", kWidth, kHeight, 3);
    for (int i = 0; i < 5; ++i) {
        QueueCoded(wire::kZ264, maker);  // 0 and 3 are key frames
    }
    control.exit.Reset();
    core.m_picture.SetRepaint([this] {
        if (core.m_counters.m_nShown == 1) {
            control.reset = 1;
        } else if (core.m_counters.m_nShown == 2) {
            control.exit.Set();
        }
    });
    EXPECT_EQ(Run(), 3u) << "1 and 2 build on what the decoder has forgotten";
    EXPECT_EQ(control.reset, 0u);
}

TEST_F(Decode, AnAbandonedThreadShowsNothing) {
    StreamMaker maker("libx264", kWidth, kHeight);
    QueueCoded(wire::kZ264, maker);
    control.abandoned = true;
    Run();
    EXPECT_FALSE(core.m_picture.HasPicture());
    EXPECT_EQ(core.m_counters.m_nShown, 0u);
}

TEST_F(Decode, JpegsOfAllKindsAreShown) {
    // Colour, as cameras send it.
    StreamMaker maker("mjpeg", kWidth, kHeight);
    Queue(FrameType::Jpeg, maker.Next().bytes);
    EXPECT_EQ(Run(), 1u);
    EXPECT_EQ(core.m_picture.GetBitmapInfo(), MakeBitmapInfo(kWidth, kHeight));
    EXPECT_NEAR(PixelAt(20, 4), StreamMaker::Luma(0, 20, 4, kWidth, kHeight), 4);

    // Grey.
    const BITMAPINFOHEADER info = MakeBitmapInfo(40, 30);
    const std::vector<std::uint8_t> bits(info.biSizeImage, 0x50);
    std::vector<std::uint8_t> grey;
    ASSERT_EQ(SaveJpegMemory(grey, info, bits, 100, false), nullptr);
    Queue(FrameType::Jpeg, {reinterpret_cast<const char*>(grey.data()), grey.size()});
    EXPECT_EQ(Run(), 1u);
    EXPECT_EQ(core.m_picture.GetBitmapInfo(), info);
    EXPECT_NEAR(PixelAt(10, 10), 0x50, 2);
}

// Four components: three colours and an alpha, which have no planes to scale from.
TEST_F(Decode, AJpegOfFourComponentsIsA32BitBitmap) {
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
    EXPECT_EQ(core.m_picture.GetBitmapInfo(), MakeBitmapInfo(kWidth, kHeight, 32));
    EXPECT_EQ(composed, 1u);
}

TEST_F(Decode, BadJpegsAreDropped) {
    StreamMaker maker("mjpeg", kWidth, kHeight);
    const std::string good = maker.Next().bytes;
    Queue(FrameType::Jpeg, "");
    Queue(FrameType::Jpeg, "not a picture");
    Queue(FrameType::Jpeg, good.substr(0, 20));
    Queue(FrameType::Jpeg, good);
    EXPECT_EQ(RunAll(), 1u);
    EXPECT_EQ(core.m_counters.m_nFailed, 3u);
}

TEST_F(Decode, InformationLinesFollowTheMask) {
    StreamMaker maker("libx264", kWidth, kHeight, 1);
    QueueCoded(wire::kZ264, maker);
    Run();
    EXPECT_EQ(Line(SubString::FrameCount), "");
    core.m_picture.SetShowSubStringMask(4);
    QueueCoded(wire::kZ264, maker);
    Run();
    EXPECT_EQ(Line(SubString::FrameCount), "Frame Count: 2");
    core.m_picture.SetShowSubStringMask(0);
    QueueCoded(wire::kZ264, maker);
    Run();
    EXPECT_EQ(Line(SubString::FrameCount), "");
}

class HalfGreen final : public CTRMxPEGDecoder {
public:
    bool Open(int width, int height) override { return width == kWidth && height == kHeight; }
    bool DecodeFrame(std::span<const std::uint8_t> source, std::span<std::uint8_t> destination,
                     std::size_t rowBytes) override {
        if (source.empty()) {
            return false;
        }
        std::memset(destination.data(), 10, rowBytes * kHeight / 2);
        std::memset(destination.data() + rowBytes * kHeight / 2, source[0], rowBytes * kHeight / 2);
        return true;
    }
    void Close() override {}
};

TEST(DecodeMxpeg, ShowsItsFirstPictureAtTheTwentyFirst) {
    Factories().mxpegDecoder = []() -> std::unique_ptr<CTRMxPEGDecoder> {
        return std::make_unique<HalfGreen>();
    };
    ChannelCore core(SystemClock());
    Factories() = {};
    ThreadControl control;
    const auto queue = [&](bool key, std::string_view payload) {
        const std::string record = kvtest::VideoRecord(wire::kZXPG, key, kWidth, kHeight, payload);
        auto frame = core.m_frames.NewDecodeFrame(0, record.size());
        std::memcpy(frame->Begin(), record.data(), record.size());
        frame->SetLength(static_cast<std::uint32_t>(record.size()));
        core.m_frames.AddDecodeFrameToQueue(FrameType::Wrapped, std::move(frame), &control.run);
    };
    // The loop stays with its decoder, so all pictures count together.
    queue(true, "P");
    Worker worker;
    worker.Start("decode", [&] { DecodeLoop(core.GetDecodeParts(), control).DecodeFrame(); });
    for (int i = 1; i < 22; ++i) {
        ASSERT_TRUE(kvtest::WaitUntil([&] { return core.m_frames.GetCount() < FrameQueue::kMaxQueued; }));
        queue(false, i == 5 ? "" : "P");
    }
    EXPECT_TRUE(
        kvtest::WaitUntil([&] { return core.m_counters.m_nDecoded + core.m_counters.m_nFailed == 22; }));
    control.exit.Set();
    ASSERT_TRUE(worker.Wait(Milliseconds(5000)));
    EXPECT_EQ(core.m_counters.m_nFailed, 1u) << "a failed one does not count among the twenty";
    EXPECT_EQ(core.m_counters.m_nShown, 1u);
    const std::vector<std::uint8_t> file = core.m_picture.GetBitmapFile();
    ASSERT_GT(file.size(), 54u);
    EXPECT_EQ(file[54], 'P') << "the lower half comes first in a bitmap";
    EXPECT_EQ(file.back(), 10);
}

TEST(DecodeMxpeg, ThePicturesOwnSizeCounts) {
    Factories().mxpegDecoder = []() -> std::unique_ptr<CTRMxPEGDecoder> {
        return std::make_unique<HalfGreen>();  // opens for 64 x 48 alone
    };
    ChannelCore core(SystemClock());
    Factories() = {};
    ThreadControl control;
    control.exit.Set();
    const std::string record =
        kvtest::VideoRecord(wire::kZXPG, true, 80, 64, StreamMaker("mjpeg", kWidth, kHeight).Next().bytes);
    auto frame = core.m_frames.NewDecodeFrame(0, record.size());
    std::memcpy(frame->Begin(), record.data(), record.size());
    frame->SetLength(static_cast<std::uint32_t>(record.size()));
    core.m_frames.AddDecodeFrameToQueue(FrameType::Wrapped, std::move(frame), &control.run);
    DecodeLoop(core.GetDecodeParts(), control).DecodeFrame();
    EXPECT_EQ(core.m_counters.m_nDecoded, 1u);
}

// A bitmap file of 2 x 2 pixels of 24 bits.
class TinyFile final : public VivotekDecoder {
public:
    bool Supports(std::uint32_t) const override { return true; }
    bool VideoInit(std::uint32_t, int, int, int, bool) override { return true; }
    std::size_t GetOutputSize() const override { return 54 + 16; }
    std::optional<std::size_t> VideoDecode(std::span<const std::uint8_t> source,
                                           std::span<std::uint8_t> destination) override {
        if (source.size() != 4) {
            return std::nullopt;
        }
        std::memset(destination.data(), 0x33, 54 + 16);
        const std::uint8_t header[] = {40, 0, 0, 0, source[0], 0, 0,         source[1],
                                       2,  0, 0, 0, 1,         0, source[2], 0};
        std::memcpy(destination.data() + 14, header, sizeof header);
        return source[3];
    }
    bool AudioInit() override { return false; }
    std::optional<VivotekSound> AudioDecode(std::span<const std::uint8_t>, std::span<std::uint8_t>) override {
        return std::nullopt;
    }
    void Close() override {}
};

TEST(DecodeVivotek, TakesThePictureFromTheBitmapFileAndChecksIt) {
    Factories().vivotekDecoder = [](const GiveUp&) -> std::unique_ptr<VivotekDecoder> {
        return std::make_unique<TinyFile>();
    };
    ChannelCore core(SystemClock());
    Factories() = {};
    ThreadControl control;
    control.exit.Set();
    const auto show = [&](std::string payload) {
        const std::string record = kvtest::VideoRecord(wire::kZV7K, true, 640, 480, payload);
        auto frame = core.m_frames.NewDecodeFrame(0, record.size());
        std::memcpy(frame->Begin(), record.data(), record.size());
        frame->SetLength(static_cast<std::uint32_t>(record.size()));
        core.m_frames.AddDecodeFrameToQueue(FrameType::Wrapped, std::move(frame), &control.run);
        return DecodeLoop(core.GetDecodeParts(), control).DecodeFrame();
    };
    EXPECT_EQ(show({2, 0, 24, 54 + 16}), 1u);
    EXPECT_EQ(core.m_picture.GetBitmapInfo(), MakeBitmapInfo(2, 2)) << "the file's size, not the head's";
    EXPECT_EQ(core.m_picture.GetBitmapFile().size(), 54u + 16u);
    EXPECT_EQ(show({2, 0, 24, 54 + 15}), 0u) << "fewer bytes than the header tells";
    EXPECT_EQ(show({3, 0, 24, 54 + 16}), 0u);
    EXPECT_EQ(show({2, 1, 24, 54 + 16}), 0u) << "a width of 16 millions";
    EXPECT_EQ(show({2, 0, 16, 54 + 16}), 0u);
    EXPECT_EQ(show({2, 0, 24, 10}), 0u);
    EXPECT_EQ(show({}), 0u);
}

}  // namespace
}  // namespace kvmon
