#include "service_fixture.h"
#include "state/record_queue.h"

namespace kvtest {
namespace {

class Streams : public ServiceTest {
protected:
    static std::string Target(int channel, int stream) {
        return "/cgi-bin/getstream.cgi?ch=" + std::to_string(channel) +
               "&stream_id=" + std::to_string(stream) + " ";
    }
    bool Watched(std::size_t count) {
        return WaitUntil([&] { return hub->Watchers() == count; });
    }
};

std::uint32_t Word(const std::string& head, std::size_t offset) {
    std::uint32_t value = 0;
    for (std::size_t i = 4; i-- > 0;) {
        value = value << 8 | static_cast<unsigned char>(head[offset + i]);
    }
    return value;
}

struct Record {
    std::string head;
    std::string data;
    bool Key() const { return Word(head, 4) == 1; }
    std::uint32_t TimeMs() const { return Word(head, 16); }
};

Record ReadRecord(RecorderClient& client) {
    Record record;
    record.head = client.Read(56);
    if (record.head.size() == 56) {
        record.data = client.Read(Word(record.head, 52));
    }
    return record;
}

TEST(RecordQueueTest, OverflowWaitsForAKeyAndStaysWithinBounds) {
    RecordQueue queue;
    queue.Push(KeyPacket(1000, 0));
    for (int i = 1; i < 200; ++i) {
        queue.Push(DeltaPacket(100'000, i));
        EXPECT_LE(queue.Bytes(), RecordQueue::kMaxBytes);
    }
    EXPECT_EQ(queue.Pop(), nullptr) << "the rest of a group whose beginning is lost is of no use";
    queue.Push(KeyPacket(RecordQueue::kMaxBytes + 1, 300));
    EXPECT_EQ(queue.Pop(), nullptr);
    queue.Push(DeltaPacket(10, 301));
    EXPECT_EQ(queue.Pop(), nullptr);
    queue.Push(KeyPacket(10, 302));
    EXPECT_EQ(queue.Pop()->timeMs, 302);
}

TEST_F(Streams, RecordsCarryHeadAndPicture) {
    Start();
    RecorderClient large = Open(Target(1, 0), 0, "guard:night");
    RecorderClient small = Open(Target(1, 1));
    RecorderClient lost = Open(Target(1, 77));
    ASSERT_TRUE(Watched(3));
    hub->Push(1, 0, KeyPacket(5000, (1LL << 32) + 7, 'L'));
    hub->Push(1, 0, DeltaPacket(3, 41, 'M'));
    hub->Push(1, 1, KeyPacket(700, 8, 'S'));
    const Record record = ReadRecord(large);
    EXPECT_EQ(record.head.substr(0, 4), "Z264");
    EXPECT_TRUE(record.Key());
    EXPECT_EQ(Word(record.head, 8), 640u);
    EXPECT_EQ(Word(record.head, 12), 480u);
    EXPECT_EQ(record.TimeMs(), 7u);
    EXPECT_EQ(Word(record.head, 20), 1u);
    EXPECT_EQ(Word(record.head, 48), 0u);
    EXPECT_EQ(record.data, std::string(5000, 'L'));
    const Record next = ReadRecord(large);
    EXPECT_EQ(Word(next.head, 4), 0u);
    EXPECT_EQ(Word(next.head, 24), 1u);
    EXPECT_EQ(next.data, "MMM");
    EXPECT_EQ(ReadRecord(small).data, std::string(700, 'S'));
    EXPECT_EQ(ReadRecord(lost).data, std::string(5000, 'L')) << "an unknown stream is the first";
}

TEST_F(Streams, RefusalsAndRights) {
    config.channels[2].configured = false;
    Start();
    EXPECT_EQ(Ask(Target(0, 0), "guard:night").status, 403);
    EXPECT_EQ(Ask(Target(2, 0)).status, 404);
    EXPECT_EQ(Ask(Target(3, 0)).status, 404);
    EXPECT_EQ(Ask("/cgi-bin/getstream.cgi?ch=-1").status, 400);
    EXPECT_EQ(Ask("/cgi-bin/getstream.cgi?ch=4294967296").status, 400);
    EXPECT_EQ(Ask(Target(1, 0), "x:y").status, 401);

    // Who loses the right, or whose channel goes away, loses the stream; others keep theirs.
    RecorderClient guard = Open(Target(1, 0), 0, "guard:night");
    RecorderClient admin = Open(Target(1, 0));
    EXPECT_EQ(model->SetRight("guard", 1, Right::Monitor, false), "");
    EXPECT_TRUE(guard.WaitClosed());
    ASSERT_TRUE(Watched(1));
    hub->Push(1, 0, KeyPacket(100, 0));
    EXPECT_EQ(ReadRecord(admin).data.size(), 100u);
    EXPECT_EQ(model->Remove(1), "");
    EXPECT_TRUE(admin.WaitClosed());
    EXPECT_TRUE(Watched(0)) << "nothing is left behind in the source";
}

TEST_F(Streams, SlowReaderIsBoundedAndGoesOnAtAKey) {
    Start();
    RecorderClient slow = Open(Target(0, 0), 16 * 1024);
    RecorderClient quick = Open(Target(0, 0));
    ASSERT_TRUE(Watched(2));
    const std::size_t size = 50'000;
    constexpr int kCount = 600;  // thirty megabytes, thirty pictures a group
    std::atomic<int> got{0};
    std::jthread reader([&] {
        while (got < kCount && ReadRecord(quick).TimeMs() == static_cast<std::uint32_t>(got) * 66) {
            ++got;
        }
    });
    std::size_t most = 0;
    for (int i = 0; i < kCount; ++i) {
        hub->Push(0, 0, MakePacket(i % 30 == 0, size, i * 66, static_cast<char>('a' + i % 30)));
        most = std::max(most, service->Counters().queuedBytes);
        ASSERT_TRUE(WaitUntil([&] { return got > i - 5; })) << "a reader that keeps up misses nothing";
    }
    reader.join();
    EXPECT_LE(most, 2 * RecordQueue::kMaxBytes);
    EXPECT_GT(service->Counters().droppedRecords, 100u);
    // What the slow one gets is whole groups of pictures from their beginning, in order.
    std::int64_t last = -1;
    bool jumped = false;
    hub->Push(0, 0, KeyPacket(10, kCount * 66));
    for (;;) {
        const Record record = ReadRecord(slow);
        ASSERT_EQ(record.head.size(), 56u);
        const std::int64_t number = record.TimeMs() / 66;
        ASSERT_GT(number, last);
        if (number != last + 1) {
            jumped = true;
            ASSERT_TRUE(record.Key()) << "went on in the middle of a group at " << number;
        }
        last = number;
        if (number == kCount) {
            break;
        }
        ASSERT_EQ(record.data, std::string(size, static_cast<char>('a' + number % 30)));
    }
    EXPECT_TRUE(jumped);
}

TEST_F(Streams, StalledReaderIsClosed) {
    options.stallTime = std::chrono::milliseconds(200);
    Start();
    RecorderClient stalled = Open(Target(0, 0), 16 * 1024);
    RecorderClient idle = Open(Target(1, 0));
    ASSERT_TRUE(Watched(2));
    for (int i = 0; i < 40; ++i) {
        hub->Push(0, 0, KeyPacket(100'000, i));
    }
    EXPECT_TRUE(WaitUntil([&] { return hub->Watchers() == 1; }));
    // A stream on which nothing is to be sent is no stalled one.
    hub->Push(1, 0, KeyPacket(100, 0));
    EXPECT_EQ(ReadRecord(idle).data.size(), 100u);
}

TEST_F(Streams, TwoHundredStreamsBesideTwoHundredHalfRequests) {
    Start();
    std::vector<RecorderClient> streams;
    std::vector<RecorderClient> half;
    for (int i = 0; i < 200; ++i) {
        half.emplace_back(port);
        half.back().Send("GET /cgi-bin/getstream.cgi?ch=0");
        streams.push_back(Open(Target(i % 3, 0)));
    }
    ASSERT_TRUE(Watched(200));
    for (int i = 0; i < 3; ++i) {
        hub->Push(i, 0, KeyPacket(2000, 0, static_cast<char>('0' + i)));
    }
    for (std::size_t i = 0; i < streams.size(); ++i) {
        EXPECT_EQ(ReadRecord(streams[i]).data, std::string(2000, static_cast<char>('0' + i % 3)));
    }
    EXPECT_EQ(Ask("/get_init_info.cgi").status, 200);
    const ServiceCounters counters = service->Counters();
    EXPECT_EQ(counters.streams, 200u);
    const auto before = std::chrono::steady_clock::now();
    service->Stop();
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(5));
    EXPECT_EQ(hub->Watchers(), 0u);
}

TEST_F(Streams, ClientsThatComeAndGoLeaveNothing) {
    Start();
    std::atomic<bool> done{false};
    std::thread source([&] {
        for (int i = 0; !done; ++i) {
            hub->Push(0, 0, MakePacket(i % 10 == 0, 3000, i));
            std::this_thread::yield();
        }
    });
    for (int i = 0; i < 100; ++i) {
        RecorderClient client = Open(Target(0, 0));
        if (i % 2 == 0) {
            EXPECT_TRUE(ReadRecord(client).Key());
        }
    }
    EXPECT_TRUE(Watched(0));
    RecorderClient last = Open(Target(0, 0));
    service->Stop();  // while the source runs
    done = true;
    source.join();
    EXPECT_EQ(hub->Watchers(), 0u);
}

}  // namespace
}  // namespace kvtest
