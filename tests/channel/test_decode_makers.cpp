// Makers' formats, by decoders that the test plays.
#include <gmock/gmock.h>

#include <cstring>

#include "decode_bench.h"
#include "support/wait_until.h"

namespace kvmon {
namespace {

using kvtest::kHeight;
using kvtest::kWidth;
using kvtest::StreamMaker;

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

class DecodeMxpeg : public kvtest::DecodeBench {
protected:
    DecodeMxpeg()
        : DecodeBench({.mxpegDecoder = []() -> std::unique_ptr<CTRMxPEGDecoder> {
              return std::make_unique<HalfGreen>();
          }}) {}
};

TEST_F(DecodeMxpeg, ShowsItsFirstPictureAtTheTwentyFirst) {
    control.exit.Reset();
    // The loop stays with its decoder, so all pictures count together.
    QueueRecord(wire::kZXPG, true, kWidth, kHeight, "P");
    Worker worker;
    worker.Start("decode", [&] { Run(); });
    for (int i = 1; i < 22; ++i) {
        ASSERT_TRUE(kvtest::WaitUntil([&] { return frames.GetCount() < FrameQueue::kMaxQueued; }));
        QueueRecord(wire::kZXPG, false, kWidth, kHeight, i == 5 ? "" : "P");
    }
    EXPECT_TRUE(kvtest::WaitUntil([&] { return counters.m_nDecoded + counters.m_nFailed == 22; }));
    control.exit.Set();
    ASSERT_TRUE(worker.Wait(Milliseconds(5000)));
    EXPECT_EQ(counters.m_nFailed, 1u) << "a failed one does not count among the twenty";
    EXPECT_EQ(sink.Shown(), 1u);
    EXPECT_EQ(sink.PixelAt(0, 0), 10);
    EXPECT_EQ(sink.PixelAt(kWidth - 1, kHeight - 1), 'P');
}

// The decoder opens for 64 x 48 alone.
TEST_F(DecodeMxpeg, ThePicturesOwnSizeCounts) {
    QueueRecord(wire::kZXPG, true, 80, 64, StreamMaker("mjpeg", kWidth, kHeight).Next().bytes);
    Run();
    EXPECT_EQ(counters.m_nDecoded, 1u);
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

class DecodeVivotek : public kvtest::DecodeBench {
protected:
    DecodeVivotek()
        : DecodeBench({.vivotekDecoder = [](const GiveUp&) -> std::unique_ptr<VivotekDecoder> {
              return std::make_unique<TinyFile>();
          }}) {}
    std::uint32_t Show(const std::string& payload) {
        QueueRecord(wire::kZV7K, true, 640, 480, payload);
        return Run();
    }
};

TEST_F(DecodeVivotek, TakesThePictureFromTheBitmapFileAndChecksIt) {
    EXPECT_EQ(Show({2, 0, 24, 54 + 16}), 1u);
    EXPECT_EQ(sink.Info(), MakeBitmapInfo(2, 2)) << "the file's size, not the head's";
    EXPECT_EQ(sink.PixelAt(1, 1), 0x33);
    EXPECT_EQ(Show({2, 0, 24, 54 + 15}), 0u) << "fewer bytes than the header tells";
    EXPECT_EQ(Show({3, 0, 24, 54 + 16}), 0u);
    EXPECT_EQ(Show({2, 1, 24, 54 + 16}), 0u) << "a width of 16 millions";
    EXPECT_EQ(Show({2, 0, 16, 54 + 16}), 0u);
    EXPECT_EQ(Show({2, 0, 24, 10}), 0u);
    EXPECT_EQ(Show({}), 0u);
}

}  // namespace
}  // namespace kvmon
