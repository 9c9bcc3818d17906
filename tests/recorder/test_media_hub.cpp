#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <stdexcept>
#include <thread>

#include "media/media_hub.h"
#include "media/scene_renderer.h"
#include "media_tools.h"

using namespace kvrecorder;
using kvtest::Collector;
using kvtest::SelfMovingClock;
using std::chrono::milliseconds;

namespace {

SourceConfig SmallScene(Codec codec = Codec::H264) {
    SourceConfig source;
    source.scene = "servers";
    source.streams = {{codec, 160, 120, 10, 10}, {codec, 96, 64, 10, 10}};
    return source;
}

class MediaHubTest : public testing::Test {
protected:
    const std::shared_ptr<SelfMovingClock> m_clock = std::make_shared<SelfMovingClock>();
    const std::unique_ptr<MediaHub> m_hub = CreateMediaHub(m_clock, 1);
};

}  // namespace

TEST_F(MediaHubTest, PacesPicturesAndEncodesOnlyWhatIsWatched) {
    m_hub->AddChannel("A", SmallScene());
    m_hub->AddChannel("B", SmallScene());
    Collector collector;
    const auto subscription = m_hub->Subscribe(0, 0, collector.Sink());
    m_clock->Allow(milliseconds(2000));
    const auto packets = collector.WaitFor(21);
    ASSERT_EQ(packets.size(), 21u);
    for (std::size_t i = 0; i < packets.size(); ++i) {
        EXPECT_EQ(packets[i]->timeMs, static_cast<std::int64_t>(i) * 100);
        EXPECT_EQ(packets[i]->key, i % 10 == 0);
        EXPECT_EQ(packets[i]->width, 160);
    }
    const StreamCounters watched = m_hub->Counters(0, 0);
    EXPECT_EQ(watched.encoded, 21u);
    EXPECT_EQ(watched.skipped, 0u);
    EXPECT_EQ(watched.watchers, 1);
    EXPECT_EQ(m_hub->Counters(0, 1).encoded, 0u);
    EXPECT_EQ(m_hub->Counters(1, 0).encoded, 0u);
}

TEST_F(MediaHubTest, ANewWatcherBeginsAtTheLastKeyAndSharesThePackets) {
    m_hub->AddChannel("A", SmallScene());
    Collector early;
    const auto first = m_hub->Subscribe(0, 0, early.Sink());
    m_clock->Allow(milliseconds(1500));
    early.WaitFor(16);
    Collector late;
    const auto second = m_hub->Subscribe(0, 0, late.Sink());
    // The packets since the key at 1000 ms come without any time going by.
    ASSERT_EQ(late.WaitFor(6).size(), 6u);
    m_clock->Allow(milliseconds(700));
    const auto all = early.WaitFor(23);
    const auto since = late.WaitFor(13);
    ASSERT_EQ(all.size(), 23u);
    ASSERT_EQ(since.size(), 13u);
    EXPECT_TRUE(since[0]->key);
    EXPECT_TRUE(std::equal(since.begin(), since.end(), all.begin() + 10));
    EXPECT_EQ(kvtest::Decode(since).size(), since.size());
    EXPECT_EQ(m_hub->Counters(0, 0).encoded, 23u);
}

TEST_F(MediaHubTest, AStreamThatRestsBeginsAnewWithAKey) {
    m_hub->AddChannel("A", SmallScene());
    {
        Collector collector;
        const auto subscription = m_hub->Subscribe(0, 0, collector.Sink());
        m_clock->Allow(milliseconds(400));
        collector.WaitFor(5);
    }
    // The channel notices at its next picture that nobody is left.
    Collector other;
    const auto keepsTheChannelRunning = m_hub->Subscribe(0, 1, other.Sink());
    m_clock->Allow(milliseconds(600));
    other.WaitFor(6);
    EXPECT_EQ(m_hub->Counters(0, 0).encoded, 5u);
    Collector collector;
    const auto subscription = m_hub->Subscribe(0, 0, collector.Sink());
    m_clock->Allow(milliseconds(300));
    const auto packets = collector.WaitFor(3);
    EXPECT_TRUE(packets[0]->key);
    EXPECT_GE(packets[0]->timeMs, 900);
    EXPECT_EQ(kvtest::Decode(packets).size(), packets.size());
}

// The round would let go of a connection whose service is gone by then.
TEST_F(MediaHubTest, WhoLeavesDuringARoundIsForgottenAtOnce) {
    m_hub->AddChannel("A", SmallScene());
    std::promise<void> inRound;
    std::promise<void> goOn;
    const auto first = m_hub->Subscribe(0, 0, [&, packets = 0](const PacketPtr&) mutable {
        if (++packets == 2) {
            inRound.set_value();
            goOn.get_future().wait();
        }
    });
    auto connection = std::make_shared<int>();
    const std::weak_ptr<int> watch = connection;
    Collector collector;
    auto second = m_hub->Subscribe(
        0, 0, [connection, keep = collector.Sink()](const PacketPtr& packet) { keep(packet); });
    connection.reset();
    collector.WaitFor(1);
    m_clock->Allow(milliseconds(100));
    inRound.get_future().wait();
    second.reset();
    EXPECT_TRUE(watch.expired());
    goOn.set_value();
}

TEST_F(MediaHubTest, ALateMachineLeavesPicturesOut) {
    m_hub->AddChannel("A", SmallScene());
    std::atomic<int> calls = 0;
    Collector collector;
    const auto keep = collector.Sink();
    const auto subscription = m_hub->Subscribe(0, 0, [&](const PacketPtr& packet) {
        if (++calls == 3) {
            m_clock->Jump(milliseconds(750));
        }
        keep(packet);
    });
    m_clock->Allow(milliseconds(1200));
    const auto packets = collector.WaitFor(6);
    std::vector<std::int64_t> times;
    for (std::size_t i = 0; i < 6; ++i) {
        times.push_back(packets[i]->timeMs);
    }
    EXPECT_THAT(times, testing::ElementsAre(0, 100, 200, 900, 1000, 1100));
    EXPECT_EQ(m_hub->Counters(0, 0).skipped, 6u);
}

TEST_F(MediaHubTest, ANewNameShowsInTheCaption) {
    SourceConfig source = SmallScene(Codec::Mjpeg);
    source.streams[0] = {Codec::Mjpeg, 320, 240, 10, 1};
    m_hub->AddChannel("Gate", source);
    Collector collector;
    const auto subscription = m_hub->Subscribe(0, 0, collector.Sink());
    m_clock->Allow(milliseconds(100));
    collector.WaitFor(2);
    m_hub->RenameChannel(0, "Storehouse");
    m_clock->Allow(milliseconds(100));
    const auto pictures = kvtest::Decode(collector.WaitFor(3));
    ASSERT_EQ(pictures.size(), 3u);
    const int strip = StripHeight(240);
    EXPECT_LT(pictures[0].Differs(pictures[1], 0, strip), 1.0);
    EXPECT_GT(pictures[1].Differs(pictures[2], 0, strip), 5.0);
    m_hub->RenameChannel(7, "nobody");
}

TEST_F(MediaHubTest, NumbersOutOfRangeAndBadSourcesAreRefused) {
    m_hub->AddChannel("A", SmallScene());
    Collector collector;
    EXPECT_FALSE(m_hub->Subscribe(1, 0, collector.Sink()));
    EXPECT_FALSE(m_hub->Subscribe(-1, 0, collector.Sink()));
    EXPECT_TRUE(m_hub->Streams(1).empty());
    const auto beyond = m_hub->Subscribe(0, 9, collector.Sink());
    EXPECT_EQ(collector.WaitFor(1)[0]->width, 160);
    SourceConfig source;
    source.scene = "no such place";
    EXPECT_THROW(m_hub->AddChannel("B", source), std::runtime_error);
    source.scene = "";
    source.streams = {{Codec::H264, 99999, 2, 15, 30}};
    EXPECT_THROW(m_hub->AddChannel("B", source), std::runtime_error);
    // The number of a refused channel goes to the next.
    EXPECT_EQ(m_hub->AddChannel("C", SmallScene()), 1);
    EXPECT_TRUE(m_hub->Subscribe(1, 0, collector.Sink()));
}

TEST_F(MediaHubTest, AWatcherMayLeaveInItsCallbackAndOutliveTheHub) {
    m_hub->AddChannel("A", SmallScene());
    std::unique_ptr<Subscription> subscription;
    std::mutex made;
    std::atomic<int> calls = 0;
    {
        const std::lock_guard lock(made);
        subscription = m_hub->Subscribe(0, 0, [&](const PacketPtr&) {
            const std::lock_guard wait(made);
            ++calls;
            subscription.reset();
        });
    }
    Collector collector;
    auto other = m_hub->Subscribe(0, 0, collector.Sink());
    m_clock->Allow(milliseconds(500));
    collector.WaitFor(6);
    EXPECT_EQ(calls, 1);

    auto hub = CreateMediaHub(nullptr, 2);
    hub->AddChannel("A", SmallScene());
    Collector last;
    const auto survivor = hub->Subscribe(0, 0, last.Sink());
    last.WaitFor(1);
    hub.reset();
    const std::size_t before = last.Packets().size();
    EXPECT_EQ(last.Packets().size(), before);
}

// With the thread sanitizer this also shows that nothing is touched after the end.
TEST_F(MediaHubTest, AWatcherWithoutMemoryCostsNobodyElseAPicture) {
    m_hub->AddChannel("A", SmallScene());
    std::atomic<int> failed = 0;
    const auto poor = m_hub->Subscribe(0, 0, [&](const PacketPtr&) {
        ++failed;
        throw std::bad_alloc();
    });
    Collector other;
    const auto good = m_hub->Subscribe(0, 0, other.Sink());
    m_clock->Allow(milliseconds(2000));
    EXPECT_EQ(other.WaitFor(21).size(), 21u);
    EXPECT_EQ(failed, 21);
}

TEST(MediaHubLoad, AnEndedSubscriptionMakesNoCallback) {
    const auto hub = CreateMediaHub(nullptr, 3);
    SourceConfig source = SmallScene(Codec::Mjpeg);
    source.streams[0].fps = source.streams[1].fps = 60;
    for (int i = 0; i < 3; ++i) {
        hub->AddChannel("A", source);
    }
    std::vector<std::thread> threads;
    std::atomic<int> packets = 0;
    std::atomic<int> late = 0;
    std::atomic<int> notKey = 0;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int round = 0; round < 40; ++round) {
                auto ended = std::make_unique<std::atomic<bool>>(false);
                bool first = true;
                auto subscription = hub->Subscribe((t + round) % 3, round % 2,
                                                   [&, flag = ended.get()](const PacketPtr& packet) {
                                                       late += *flag ? 1 : 0;
                                                       notKey += first && !packet->key ? 1 : 0;
                                                       first = false;
                                                       ++packets;
                                                   });
                hub->RenameChannel(t % 3, std::to_string(round));
                if (round % 8 == 0) {
                    const int before = packets;
                    while (packets == before) {
                        std::this_thread::yield();
                    }
                }
                subscription.reset();
                *ended = true;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(late, 0);
    EXPECT_EQ(notKey, 0);
    EXPECT_GT(packets, 0);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(hub->Counters(i, 0).watchers, 0);
    }
}
