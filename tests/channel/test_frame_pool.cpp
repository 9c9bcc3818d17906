#include <gmock/gmock.h>

#include <numeric>

#include "channel/frames/frame_pool.h"
#include "channel/frames/frame_queue.h"
#include "support/temp_folder.h"

namespace kvmon {
namespace {

TEST(CBuffer, KeepsWhatIsLargeEnoughAndRoundsWhatIsNew) {
    CBuffer buffer;
    ASSERT_TRUE(buffer.Reserve(0));
    EXPECT_EQ(buffer.GetCapacity(), 2048u);
    ASSERT_TRUE(buffer.Reserve(2049));
    EXPECT_EQ(buffer.GetCapacity(), 4096u);
    const std::uint8_t* const storage = buffer.Begin();
    buffer.SetLength(100);
    ASSERT_TRUE(buffer.Reserve(4096));
    ASSERT_TRUE(buffer.Reserve(0));
    EXPECT_EQ(buffer.Begin(), storage);
    EXPECT_EQ(buffer.GetFreeSize(), 3996u);
    buffer.SetLength(0);
    EXPECT_EQ(buffer.GetFreeSize(), 4096u);
    EXPECT_FALSE(buffer.Reserve(kMaxFrameSize + 1));
    EXPECT_EQ(buffer.GetCapacity(), 4096u) << "a refused request keeps the buffer";
}

TEST(CBuffer, HasZeroesBehindItsLengthEvenWhenFull) {
    CBuffer buffer(10);
    std::fill_n(buffer.Begin(), buffer.GetCapacity(), std::uint8_t{0xFF});
    for (const std::uint32_t length : {0u, 7u, buffer.GetCapacity()}) {
        buffer.SetLength(length);
        EXPECT_EQ(std::accumulate(buffer.Begin() + length, buffer.Begin() + length + 64, 0), 0);
    }
}

TEST(CBuffer, KnowsAWholeJpeg) {
    CBuffer buffer(16);
    const auto is = [&](std::initializer_list<std::uint8_t> bytes) {
        std::copy(bytes.begin(), bytes.end(), buffer.Begin());
        buffer.SetLength(static_cast<std::uint32_t>(bytes.size()));
        return buffer.IsJpeg();
    };
    EXPECT_TRUE(is({0xFF, 0xD8, 0, 0xFF, 0xD9}));
    EXPECT_FALSE(is({0xFF, 0xD8, 0xFF, 0xD9}));
    EXPECT_FALSE(is({0xFF, 0xD8, 0, 0xFF, 0xD8}));
    EXPECT_FALSE(is({0xFF, 0xD9, 0, 0xFF, 0xD9}));
    EXPECT_FALSE(is({}));
}

TEST(CBuffer, GoesToAFileAndBack) {
    const kvtest::TempFolder folder;
    CBuffer buffer(5000);
    std::iota(buffer.Begin(), buffer.Begin() + 5000, std::uint8_t{0});
    buffer.SetLength(5000);
    ASSERT_TRUE(buffer.SaveToFile(folder.File("frame"), 3));
    CBuffer read;
    ASSERT_TRUE(read.LoadFromFile(folder.File("frame")));
    ASSERT_EQ(read.GetLength(), 4997u);
    EXPECT_TRUE(std::equal(read.Begin(), read.Begin() + 4997, buffer.Begin() + 3));
    EXPECT_FALSE(buffer.SaveToFile(folder.File("frame"), 5001));
    EXPECT_FALSE(read.LoadFromFile(folder.File("none")));
    EXPECT_EQ(read.GetLength(), 4997u);
}

TEST(CFrameList, KeepsOrderWhileItsRingGrowsAcrossItsEnd) {
    CFrameList<CBuffer> list;
    std::uint32_t in = 0;
    std::uint32_t out = 0;
    for (int round = 0; round < 50; ++round) {
        for (int i = 0; i < 5; ++i) {
            auto frame = std::make_unique<CBuffer>();
            frame->dwIdx = in++;
            list.AddTail(std::move(frame));
        }
        for (int i = 0; i < 4; ++i) {
            ASSERT_EQ(list.RemoveHead()->dwIdx, out++);
        }
    }
    EXPECT_EQ(list.GetCount(), 50u);
    list.AddHead(list.RemoveHead());
    while (auto frame = list.RemoveHead()) {
        ASSERT_EQ(frame->dwIdx, out++);
    }
    EXPECT_EQ(out, in);
}

// A grey picture whose luma in row y is 16 + y.
struct GreyRows {
    GreyRows(int width, int height)
        : luma(static_cast<std::size_t>(width * height)),
          chroma(static_cast<std::size_t>((width + 1) / 2 * ((height + 1) / 2)), 128) {
        for (int y = 0; y < height; ++y) {
            std::fill_n(luma.begin() + y * width, width, static_cast<std::uint8_t>(16 + y));
        }
        view.layout = PixelLayout::I420;
        view.fullRange = true;
        view.width = width;
        view.height = height;
        view.data[0] = luma.data();
        view.data[1] = view.data[2] = chroma.data();
        view.stride[0] = width;
        view.stride[1] = view.stride[2] = (width + 1) / 2;
    }
    std::vector<std::uint8_t> luma;
    std::vector<std::uint8_t> chroma;
    PictureView view;
};

// The first byte of each row of a bitmap, in the order of the memory, less 16.
std::vector<int> RowNumbers(CVideoBmpFrame& frame) {
    std::vector<int> rows;
    const auto bits = frame.Bitmap();
    const std::size_t stride = BitmapStride(frame.Info().biWidth);
    for (std::size_t at = 0; at < bits.size(); at += stride) {
        rows.push_back(bits[at] - 16);
    }
    return rows;
}

TEST(CVideoBmpFrame, IsABottomUpBitmapWithCleanRowEnds) {
    const GreyRows grey(5, 4);
    CVideoBmpFrame frame;
    ASSERT_TRUE(frame.Reserve(64));
    std::fill_n(frame.Begin(), frame.GetCapacity(), std::uint8_t{0xEE});
    frame.SetPlanes(MakeBitmapInfo(5, 4), grey.view);
    EXPECT_EQ(frame.View().layout, PixelLayout::I420);
    EXPECT_THAT(RowNumbers(frame), testing::ElementsAre(3, 2, 1, 0));
    EXPECT_EQ(frame.Bitmap()[15], 0) << "the row's end must not show old memory";
    EXPECT_EQ(frame.View().layout, PixelLayout::I420) << "the planes stay the source of the cell";
    frame.Clear();
    EXPECT_TRUE(frame.Bitmap().empty());
    EXPECT_TRUE(frame.View().IsEmpty());
}

TEST(CVideoBmpFrame, MakesNoBitmapThatTheHeaderDoesNotFit) {
    const GreyRows grey(6, 4);
    CVideoBmpFrame frame;
    frame.SetPlanes(MakeBitmapInfo(6, 8), grey.view);
    EXPECT_TRUE(frame.Bitmap().empty());
    frame.SetPlanes(MakeBitmapInfo(6, 4, 32), grey.view);
    EXPECT_TRUE(frame.Bitmap().empty());
}

// The rows as they are told: row 2k of the bitmap is row height-1-k of the decoder's picture, row 2k+1
// is row height/2-1-k.
TEST(CVideoBmpFrame, WeavesStackedFieldsRowByRow) {
    for (const int height : {2, 6, 8, 10, 11, 14, 16}) {
        const GreyRows grey(8, height);
        CVideoBmpFrame frame;
        ASSERT_TRUE(frame.SetWoven(MakeBitmapInfo(8, height), grey.view)) << height;
        const std::vector<int> rows = RowNumbers(frame);
        ASSERT_EQ(rows.size(), static_cast<std::size_t>(height));
        const int half = height / 2;
        for (int k = 0; k < half; ++k) {
            EXPECT_EQ(rows[static_cast<std::size_t>(2 * k)], height - 1 - k) << height;
            EXPECT_EQ(rows[static_cast<std::size_t>(2 * k + 1)], half - 1 - k) << height;
        }
        if (height % 2 != 0) {
            EXPECT_EQ(rows.back(), rows[rows.size() - 2]);
        }
    }
}

// With half of the rows an odd number, a field begins in the middle of a pair of rows that share colour.
TEST(CVideoBmpFrame, WeavesColoursWithTheirRows) {
    GreyRows grey(4, 6);
    // One colour row for each pair of rows.
    for (std::size_t i = 0; i < grey.chroma.size(); ++i) {
        grey.chroma[i] = static_cast<std::uint8_t>(100 + 20 * (i / 2));
    }
    std::fill(grey.luma.begin(), grey.luma.end(), std::uint8_t{128});
    CVideoBmpFrame plain;
    plain.SetPlanes(MakeBitmapInfo(4, 6), grey.view);
    CVideoBmpFrame woven;
    ASSERT_TRUE(woven.SetWoven(MakeBitmapInfo(4, 6), grey.view));
    const auto rowOf = [](CVideoBmpFrame& frame, int y) {
        return frame.Bitmap()[static_cast<std::size_t>(y) * 12];
    };
    for (int k = 0; k < 3; ++k) {
        // Decoder row r stands at row 5 - r of the plain bitmap.
        EXPECT_EQ(rowOf(woven, 2 * k), rowOf(plain, 5 - (5 - k)));
        EXPECT_EQ(rowOf(woven, 2 * k + 1), rowOf(plain, 5 - (2 - k)));
    }
}

TEST(CVideoBmpFrame, TurnsTopDownRows) {
    std::vector<std::uint8_t> rows(6 * 3);
    for (std::size_t i = 0; i < rows.size(); ++i) {
        rows[i] = static_cast<std::uint8_t>(16 + i / 6);
    }
    CVideoBmpFrame frame;
    ASSERT_TRUE(frame.SetFlipped(MakeBitmapInfo(2, 3), rows, 6));
    EXPECT_THAT(RowNumbers(frame), testing::ElementsAre(2, 1, 0));
    EXPECT_FALSE(frame.SetFlipped(MakeBitmapInfo(2, 4), rows, 6)) << "too few rows";
    EXPECT_FALSE(frame.SetFlipped(MakeBitmapInfo(3, 3), rows, 6)) << "rows too short";
}

class Queue : public testing::Test {
protected:
    std::unique_ptr<CBuffer> Frame(std::uint32_t length) {
        auto frame = queue.NewDecodeFrame(next++, length);
        frame->SetLength(length);
        return frame;
    }
    bool Add(FrameType type, std::uint32_t length = 100) {
        return queue.AddDecodeFrameToQueue(type, Frame(length), &event);
    }

    std::atomic<std::uint32_t> channel{0};
    FrameQueue queue{channel};
    Event event;
    std::uint32_t next = 0;
};

TEST_F(Queue, NewFramesAreAsLargeAsTheLargestSoFar) {
    EXPECT_EQ(queue.NewDecodeFrame(1, 10'000)->GetCapacity(), CBuffer::RoundedCapacity(10'000));
    EXPECT_EQ(queue.NewDecodeFrame(2, 10)->GetCapacity(), CBuffer::RoundedCapacity(10'000));
}

TEST_F(Queue, ARequestAboveAllSpentFramesDropsThem) {
    for (int i = 0; i < 3; ++i) {
        queue.AddRecycleDecodeFrame(std::make_unique<CBuffer>(1000));
    }
    EXPECT_EQ(queue.NewDecodeFrame(7, 50'000)->GetCapacity(), CBuffer::RoundedCapacity(50'000));
    // Had a small one been left, it would be taken here.
    EXPECT_EQ(queue.NewDecodeFrame(8, 10)->GetCapacity(), CBuffer::RoundedCapacity(50'000));
}

TEST_F(Queue, ASpentFrameIsTakenAgainEmpty) {
    auto frame = Frame(500);
    const CBuffer* const address = frame.get();
    ASSERT_TRUE(queue.AddRecycleDecodeFrame(std::move(frame)));
    const auto again = queue.NewDecodeFrame(99, 400);
    EXPECT_EQ(again.get(), address);
    EXPECT_EQ(again->GetLength(), 0u);
    EXPECT_EQ(again->dwIdx, 99u);
}

TEST_F(Queue, AnAbsurdSizeGetsNoFrameAndCostsNothing) {
    queue.AddRecycleDecodeFrame(std::make_unique<CBuffer>(1000));
    EXPECT_EQ(queue.NewDecodeFrame(1, 0xFFFFFFFFull + 56), nullptr);
    EXPECT_EQ(queue.NewBmpFrame(1, std::uint64_t{kMaxBitmapSize} + 1), nullptr);
    EXPECT_EQ(queue.NewDecodeFrame(2, 10)->GetCapacity(), CBuffer::RoundedCapacity(1000));
}

TEST_F(Queue, TheSeventeenthJpegEmptiesItAndTheNextIsTaken) {
    for (int i = 0; i < 16; ++i) {
        ASSERT_TRUE(Add(FrameType::Jpeg));
    }
    EXPECT_EQ(queue.GetCount(), 16u);
    EXPECT_TRUE(Add(FrameType::Jpeg));
    EXPECT_EQ(queue.GetCount(), 0u);
    EXPECT_TRUE(Add(FrameType::Jpeg));
    EXPECT_EQ(queue.GetCount(), 1u);
    EXPECT_EQ(queue.GetRefused(), 17u);
}

TEST_F(Queue, TheSeventeenthCodedFrameShutsItUntilAKeyFrame) {
    for (int i = 0; i < 18; ++i) {
        ASSERT_TRUE(Add(FrameType::Wrapped));
    }
    EXPECT_EQ(queue.GetCount(), 0u) << "after the seventeenth nothing enters";
    queue.FlushDecodeFrames(FrameQueue::Next::Any);  // what a key frame does
    EXPECT_TRUE(Add(FrameType::Wrapped));
    EXPECT_EQ(queue.GetCount(), 1u);
}

TEST_F(Queue, HugeFramesDoNotPileUp) {
    ASSERT_TRUE(Add(FrameType::Jpeg, kMaxFrameSize / 2 + 1));
    ASSERT_TRUE(Add(FrameType::Jpeg, kMaxFrameSize / 2 + 1));
    EXPECT_EQ(queue.GetCount(), 0u);
    ASSERT_TRUE(Add(FrameType::Jpeg, kMaxFrameSize));
    EXPECT_EQ(queue.GetCount(), 1u) << "the bytes of what was thrown away no longer count";

    FrameQueue spent{channel};
    EXPECT_TRUE(spent.AddRecycleDecodeFrame(Frame(FrameQueue::kMostKept + 1)));
    spent.AddRecycleDecodeFrame(std::make_unique<CBuffer>(1000));
    EXPECT_EQ(spent.NewDecodeFrame(1, 10)->GetCapacity(), CBuffer::RoundedCapacity(1000))
        << "nor their memory";
}

TEST_F(Queue, OneHugeFrameDoesNotMakeTheOthersHuge) {
    queue.AddRecycleDecodeFrame(queue.NewDecodeFrame(1, kMaxFrameSize));
    EXPECT_EQ(queue.Share()->Held(), 0u);
    EXPECT_EQ(queue.NewDecodeFrame(2, 10)->GetCapacity(), CBuffer::RoundedCapacity(10));
    // Nor do pictures of another size keep theirs.
    auto large = queue.NewBmpFrame(3, 8u << 20);
    ASSERT_TRUE(large->Reserve(8u << 20));
    queue.AddRecycleFrame(std::move(large));
    EXPECT_EQ(queue.NewBmpFrame(4, 1u << 20)->HeldSize(), 0u);
    EXPECT_EQ(queue.Share()->Held(), 0u);
}

TEST_F(Queue, APauseGivesSpentFramesBack) {
    queue.SetPlaying(true);
    auto late = Frame(1000);
    auto picture = queue.NewBmpFrame(1, 1u << 20);
    ASSERT_TRUE(picture->Reserve(1u << 20));
    queue.AddRecycleFrame(std::move(picture));
    queue.AddRecycleDecodeFrame(Frame(1000));
    EXPECT_GT(queue.Share()->Held(), 1u << 20);
    queue.SetPlaying(false);
    queue.AddRecycleDecodeFrame(std::move(late));
    EXPECT_EQ(queue.Share()->Held(), 0u);
}

TEST(FrameBudget, LeavesEachChannelItsPartHoweverMuchOneTakes) {
    constexpr std::uint64_t kMiB = 1u << 20;
    const std::atomic<std::uint32_t> channel{0};
    const auto budget = std::make_shared<FrameBudget>(64 * kMiB);
    std::vector<std::unique_ptr<FrameQueue>> queues;
    for (int i = 0; i < 4; ++i) {
        queues.push_back(std::make_unique<FrameQueue>(channel, budget));
    }
    std::vector<std::unique_ptr<CBuffer>> taken;
    while (auto frame = queues[0]->NewDecodeFrame(0, 3 * kMiB)) {
        taken.push_back(std::move(frame));
    }
    EXPECT_GT(budget->Held(), 44 * kMiB);
    EXPECT_LE(budget->Held(), 48 * kMiB);
    std::vector<std::unique_ptr<CBuffer>> others;
    for (std::size_t i = 1; i < queues.size(); ++i) {
        others.push_back(queues[i]->NewDecodeFrame(0, 3 * kMiB));
        EXPECT_TRUE(others.back()) << i;
        EXPECT_FALSE(queues[i]->NewDecodeFrame(1, 3 * kMiB)) << i;
    }
    // A channel of larger frames before is not shut out by their size.
    EXPECT_TRUE(queues[1]->NewDecodeFrame(2, kMiB / 2));
    taken.clear();
    EXPECT_TRUE(queues[1]->NewDecodeFrame(3, 3 * kMiB));
}

TEST_F(Queue, WakesTheDecoderAndForgetsNoFrame) {
    EXPECT_FALSE(queue.AddDecodeFrameToQueue(FrameType::Jpeg, nullptr, &event));
    EXPECT_FALSE(queue.AddDecodeFrameToQueue(FrameType::Jpeg, Frame(1), nullptr));
    EXPECT_FALSE(event.IsSet());
    Add(FrameType::Jpeg);
    EXPECT_TRUE(event.IsSet());
    queue.ResetWhenEmpty(event);
    EXPECT_TRUE(event.IsSet());
    EXPECT_EQ(queue.TakeDecodeFrame()->m_nType, FrameType::Jpeg);
    queue.ResetWhenEmpty(event);
    EXPECT_FALSE(event.IsSet());
}

}  // namespace
}  // namespace kvmon
