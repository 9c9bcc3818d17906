// Coded frames on their way to pictures.
#include <gmock/gmock.h>

#include "channel/decode/open_decoders.h"
#include "decode_bench.h"
#include "support/wait_until.h"

namespace kvmon {
namespace {

using kvtest::kHeight;
using kvtest::kWidth;
using kvtest::StreamMaker;

using Decode = kvtest::DecodeBench;

// With a decoder for every code that can do without a maker's library.
class Reordered : public kvtest::DecodeBench {
protected:
    Reordered()
        : DecodeBench({.vivotekDecoder = [](const GiveUp& giveUp) {
              static const VivotekLibrary none{};
              return MakeVivotekDecoder(none, giveUp);
          }}) {}
};

TEST_F(Decode, EachCodeGivesThePicturesThatWereSent) {
    const struct {
        std::uint32_t fourcc;
        const char* encoder;
        const char* line;
    } cases[] = {
        {wire::kZ264, "libx264", "Z264"},
        {wire::kZMP4, "mpeg4", "ZMP4"},
        {wire::kZ265, "libx265", "Z265"},
    };
    for (const auto& test : cases) {
        StreamMaker maker(test.encoder, kWidth, kHeight);
        for (int i = 0; i < 5; ++i) {
            QueueCoded(test.fourcc, maker);
        }
        EXPECT_EQ(RunAll(), 5u) << test.encoder;
        EXPECT_EQ(sink.FrameType(), test.line);
        EXPECT_EQ(sink.Info(), MakeBitmapInfo(64, 48));
        for (const int y : {4, 40}) {
            EXPECT_NEAR(sink.PixelAt(20, y), Level(StreamMaker::Luma(4, 20, y, kWidth, kHeight)), 6)
                << test.encoder;
        }
    }
    EXPECT_EQ(sink.Shown(), 15u);
    EXPECT_EQ(counters.m_nDecoded, 15u);
    EXPECT_EQ(counters.m_nFailed, 0u);
}

TEST_F(Decode, StackedFieldsAreWoven) {
    StreamMaker maker("mpeg4", kWidth, kHeight);
    QueueCoded(wire::kAVM4, maker);
    EXPECT_EQ(Run(), 1u);
    EXPECT_EQ(sink.FrameType(), "AVM4");
    // The upper half of what was sent stands in the even rows, the lower half in the odd ones.
    for (const int y : {8, 20, 36}) {
        EXPECT_NEAR(sink.PixelAt(20, y), Level(StreamMaker::Luma(0, 20, y / 2, kWidth, kHeight)), 6);
        EXPECT_NEAR(sink.PixelAt(20, y + 1),
                    Level(StreamMaker::Luma(0, 20, kHeight / 2 + y / 2, kWidth, kHeight)), 6);
    }
}

TEST_F(Decode, NothingIsShownBeforeAKeyFrame) {
    StreamMaker maker("libx264", kWidth, kHeight, 4);
    maker.Next();
    for (int i = 1; i < 6; ++i) {
        QueueCoded(wire::kZ264, maker);  // pictures 1 to 5, of which 4 is a key frame
    }
    EXPECT_EQ(RunAll(), 2u);
    EXPECT_EQ(counters.m_nFailed, 0u) << "they never reach the decoder";
}

TEST_F(Decode, AChangeOfCodeCostsItsFirstFrame) {
    StreamMaker h264("libx264", kWidth, kHeight);
    StreamMaker mpeg4("mpeg4", kWidth, kHeight, 3);
    QueueCoded(wire::kZ264, h264);
    for (int i = 0; i < 5; ++i) {
        QueueCoded(wire::kZMP4, mpeg4);  // 0 and 3 are key frames
    }
    EXPECT_EQ(Run(), 1u);
    EXPECT_EQ(frames.GetCount(), 4u) << "the first of the new code is gone";
    EXPECT_EQ(RunAll(), 2u) << "pictures 3 and 4";
    EXPECT_EQ(sink.FrameType(), "ZMP4");
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
    EXPECT_EQ(sink.FrameType(), "MJPG");
}

TEST_F(Decode, AKeyFrameOfAnotherSizeReopensTheDecoder) {
    StreamMaker small("libx264", kWidth, kHeight);
    StreamMaker large("libx264", 128, 96);
    QueueCoded(wire::kZ264, small);
    QueueCoded(wire::kZ264, small);
    QueueCoded(wire::kZ264, large, 128, 96);
    QueueCoded(wire::kZ264, large, 128, 96);
    EXPECT_EQ(Run(), 4u);
    EXPECT_EQ(sink.Info(), MakeBitmapInfo(128, 96));
    EXPECT_NEAR(sink.PixelAt(60, 8), Level(StreamMaker::Luma(1, 60, 8, 128, 96)), 6);
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
            EXPECT_EQ(sink.Info(), MakeBitmapInfo(size.width, size.height));
            const int y = size.height / 4;
            EXPECT_NEAR(
                sink.PixelAt(20, y),
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
        QueueRecord(wire::kZ264, true, width, height, unit.bytes);
        EXPECT_EQ(RunAll(), 0u) << width << " x " << height;
    }
    EXPECT_FALSE(sink.Shown() > 0);
    QueueRecord(wire::kZ264, true, kWidth, kHeight, unit.bytes);
    EXPECT_EQ(RunAll(), 1u);
}

// Pictures that were coded after those that they stand before are shown in the order of their display, and
// none is left out on the way.
TEST_F(Reordered, PicturesAreShownInTheirOrder) {
    constexpr int kCount = 12;
    const struct {
        std::uint32_t fourcc;
        const char* encoder;
    } codes[] = {
        {wire::kZ264, "libx264"}, {wire::kZMP4, "mpeg4"}, {wire::kAVM4, "mpeg4"}, {wire::kZV7K, "mpeg4"}};
    for (const auto& [fourcc, encoder] : codes) {
        SCOPED_TRACE(GetVideoCodeName(fourcc));
        const auto thread = std::make_shared<ThreadControl>();
        Worker worker;
        worker.Start("decode", [parts = Parts(), thread] {
            while (!thread->exit.IsSet()) {
                thread->run.Set();
                DecodeLoop(parts, *thread).DecodeFrame();
            }
        });
        StreamMaker maker(encoder, kWidth, kHeight, kCount, 2);
        std::vector<int> shown;
        const std::uint64_t before = sink.Shown();
        const std::uint64_t done = before + counters.m_nFailed;
        std::uint64_t sent = 0;
        for (const kvtest::Unit& unit : maker.All(kCount)) {
            QueueRecord(fourcc, unit.key, kWidth, kHeight, unit.bytes);
            thread->run.Set();
            ++sent;
            ASSERT_TRUE(kvtest::WaitUntil([&] { return sink.Shown() + counters.m_nFailed == done + sent; }));
            if (sink.Shown() == before + shown.size() + 1) {
                shown.push_back(sink.PixelAt(20, 4));
            }
        }
        thread->exit.Set();
        thread->leave = 1;
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
    QueueRecord(wire::kZ264, false, 0, 0, std::string(200, '\x7F'));
    QueueRecord(wire::kZ264, false, 0, 0, "");
    QueueCoded(wire::kZ264, maker);
    EXPECT_EQ(Run(), 2u);
    EXPECT_EQ(counters.m_nFailed, 2u);
    EXPECT_EQ(counters.m_nDecoded, 2u);
}

TEST_F(Decode, UnknownAndShortFramesAreDropped) {
    Queue(FrameType::Wrapped, "short");
    QueueRecord(wire::FourCC('N', 'O', 'N', 'E'), true, 64, 48, "x");
    EXPECT_EQ(RunAll(), 0u);
}

TEST_F(Decode, WithoutAnAdapterItsFormatsAreNotShown) {
    for (const std::uint32_t fourcc : {wire::kZXPG, wire::kZV7K, wire::kZV6K, wire::kZV3K}) {
        QueueRecord(fourcc, true, 64, 48, "x");
        QueueRecord(fourcc, false, 64, 48, "x");
        EXPECT_EQ(Run(), 0u);
        EXPECT_EQ(sink.FrameType(), GetVideoCodeName(fourcc));
    }
}

TEST_F(Decode, TheWordToLeaveKeepsTheFramesThatWait) {
    StreamMaker maker("libx264", kWidth, kHeight, 1);
    QueueCoded(wire::kZ264, maker);
    control.leave = 1;
    EXPECT_EQ(Run(), 0u);
    EXPECT_EQ(frames.GetCount(), 1u);
    control.leave = 0;
    QueueCoded(wire::kZ264, maker);
    sink.onPicture = [this] { control.leave = 1; };
    EXPECT_EQ(Run(), 1u);
    EXPECT_EQ(frames.GetCount(), 1u) << "it may be the key frame of the next stream";
    frames.SetPlaying(false);
    EXPECT_EQ(Run(), 0u);
    EXPECT_EQ(frames.GetCount(), 0u) << "but a pause wants none";
}

TEST_F(Decode, AResetClosesTheDecoderUntilAKeyFrame) {
    StreamMaker maker("libx264", kWidth, kHeight, 3);
    for (int i = 0; i < 5; ++i) {
        QueueCoded(wire::kZ264, maker);  // 0 and 3 are key frames
    }
    control.exit.Reset();
    sink.onPicture = [this] {
        if (sink.Shown() == 1) {
            control.reset = 1;
        } else if (sink.Shown() == 2) {
            control.exit.Set();
        }
    };
    EXPECT_EQ(Run(), 3u) << "1 and 2 build on what the decoder has forgotten";
    EXPECT_EQ(control.reset, 0u);
}

}  // namespace
}  // namespace kvmon
