#include <gtest/gtest.h>

#include <algorithm>
#include <new>
#include <set>

#include "platform/text.h"
#include "server/recorder_list.h"
#include "server/server_messages.h"
#include "support/fake_clock.h"
#include "support/fake_recorder.h"
#include "support/message_log.h"
#include "support/recorder_texts.h"
#include "support/wait_until.h"

using namespace kvmon;
using namespace kvtest;

namespace {

constexpr Message Failed(std::uint32_t code) {
    return {WM_GETVSINFO_FAILED, code, 0};
}
constexpr Message Update(std::uint32_t code) {
    return {WM_UPDATEVSINFO, code, 0};
}

class Info : public testing::Test {
protected:
    Info() {
        info.SetConnectInfo(0, "127.0.0.1", recorder.Port(), "u", "p");
        info.SetNotifyWnd(WindowHandle(log));
    }
    // The first messages, once so many came.
    std::vector<Message> Messages(std::size_t count) {
        EXPECT_TRUE(log->WaitFor(count));
        auto all = log->All();
        all.resize(std::min(all.size(), count));
        return all;
    }
    bool StopsAtOnce() {
        const auto start = std::chrono::steady_clock::now();
        return info.StopGetKelvaraInfo(StopWait::ToTheEnd) && Worker::AbandonedCount() == 0 &&
               std::chrono::steady_clock::now() - start < std::chrono::seconds(2);
    }

    FakeClock clock{true};
    std::shared_ptr<MessageLog> log = std::make_shared<MessageLog>();
    FakeRecorder recorder;
    CKelvaraInfo info{clock};
};

class FakeCamera final : public ServerCamera {
public:
    bool StopCameraThreads(StopWait wait) override {
        stops.push_back(wait);
        return wait == StopWait::ToTheEnd || !stubborn;
    }
    std::uint32_t GetCHInMainDlg() const override { return 1; }

    bool stubborn = true;
    std::vector<StopWait> stops;
};

}  // namespace

TEST_F(Info, AGoodRoundPublishesAndSleepsOnTheConnection) {
    recorder.SetDocuments(2);
    recorder.On("notify.cgi", [](Peer& peer) {
        peer.Write("HTTP/1.0 200 OK\r\n");
        peer.Hold();
    });
    EXPECT_FALSE(info.IsRunning());
    info.RaiseErrorCount();
    info.StartGetKelvaraInfo(StartMode::GoOn);
    // The round's four, and code 3 of the connection's own refresh.
    EXPECT_EQ(Messages(5), (std::vector<Message>{Update(4), Update(1), Update(2), Update(3), Update(3)}));
    EXPECT_TRUE(info.IsRunning());
    EXPECT_EQ(info.GetErrorCount(), 0u);
    EXPECT_EQ(info.GetServerNameAndVersion(), "Lobby(3.5.1)");
    EXPECT_EQ(info.GetUserAtHost(), FormatText("u@127.0.0.1:%u", recorder.Port()));
    EXPECT_EQ(info.GetChannelCount(), 2);
    EXPECT_EQ(info.GetChannelName(1), "Door 2");
    EXPECT_EQ(info.GetAllCameraSettings().size(), 2u);
    EXPECT_EQ(info.GetStatus(1, kStatusControlRight), 1u);
    EXPECT_EQ(info.GetStatus(2, kStatusControlRight), 0u);
    EXPECT_EQ(info.GetStatus(-1, kStatusControlRight), 0u);
    CameraSettings setting;
    EXPECT_TRUE(info.GetCameraSetting(1, &setting));
    EXPECT_EQ(setting.m_NetworkSetting[0].nRtspPort, 554u);
    EXPECT_FALSE(info.GetCameraSetting(2, &setting));
    int status = 1, used = 1;
    std::string size, unit;
    info.GetDiskInfo(&status, &used, size, unit);
    EXPECT_EQ(FormatText("%d %d %s%s", status, used, size.c_str(), unit.c_str()), "0 34 931 GB");
    EXPECT_TRUE(StopsAtOnce());
    EXPECT_FALSE(info.IsRunning());
    EXPECT_TRUE(info.StopGetKelvaraInfo(StopWait::Brief));
}

TEST_F(Info, WhatThereWasNoMemoryToTellIsToldByTheNextRound) {
    struct Short final : MessageTarget {
        void PostMessage(std::uint32_t message, WParam wParam, LParam lParam) override {
            if (message == WM_UPDATEVSINFO && refused.insert(wParam).second) {
                throw std::bad_alloc();
            }
            log->PostMessage(message, wParam, lParam);
        }
        std::shared_ptr<MessageLog> log;
        std::set<WParam> refused;
    };
    const auto target = std::make_shared<Short>();
    target->log = log;
    info.SetNotifyWnd(WindowHandle(target));
    recorder.SetDocuments(2);
    recorder.On("notify.cgi", [](Peer& peer) {
        peer.Write("HTTP/1.0 200 OK\r\n");
        peer.Hold();
    });
    info.StartGetKelvaraInfo(StartMode::GoOn);
    for (const std::uint32_t code : {1, 2, 3, 4}) {
        EXPECT_TRUE(WaitUntil([&] {
            const auto all = log->All();
            return std::find(all.begin(), all.end(), Update(code)) != all.end();
        })) << code;
    }
    EXPECT_TRUE(StopsAtOnce());
}

TEST_F(Info, ARecorderWithoutChannelsTellsSo) {
    recorder.SetDocuments(0);
    recorder.On("notify.cgi", [](Peer& peer) {
        peer.Write("HTTP/1.0 200 OK\r\n");
        peer.Hold();
    });
    info.StartGetKelvaraInfo(StartMode::GoOn);
    EXPECT_EQ(Messages(2),
              (std::vector<Message>{Update(WM_UPDATEVSINFO_SERVERINFO), Update(WM_UPDATEVSINFO_CAMERACONN)}));
    EXPECT_TRUE(StopsAtOnce());
}

TEST_F(Info, AWrongPasswordIsToldAfterThreeSilentRounds) {
    recorder.SetDocument("get_init_info.cgi", "HTTP/1.0 401 Unauthorized\r\n\r\n");
    info.StartGetKelvaraInfo(StartMode::GoOn);
    EXPECT_EQ(Messages(1), std::vector<Message>{Failed(7)});
    EXPECT_TRUE(StopsAtOnce());
    EXPECT_GE(recorder.CountHeads("get_init_info.cgi"), 4);
    // The fourth round's message comes before its own attempt at a connection.
    const auto heads = recorder.Server().Heads();
    for (std::size_t i = 0; i < 7; ++i) {
        const char* const path = i % 2 == 0 ? "get_init_info.cgi" : "notify.cgi";
        EXPECT_NE(heads.at(i).find(path), std::string::npos) << i;
    }
}

TEST_F(Info, APasswordThatTurnsWrongIsToldAtOnce) {
    recorder.SetDocuments(1);
    recorder.On("notify.cgi", [&](Peer&) {
        recorder.SetDocument("get_init_info.cgi", "HTTP/1.0 401 Unauthorized\r\n\r\n");
    });
    info.StartGetKelvaraInfo(StartMode::GoOn);
    EXPECT_EQ(Messages(5).back(), Failed(7));
    EXPECT_TRUE(StopsAtOnce());
    EXPECT_LE(recorder.CountHeads("notify.cgi"), 2 + static_cast<int>(log->All().size()) - 5);
}

TEST_F(Info, AServerOutOfReachCostsOneMessageARoundAndLongerWaits) {
    info.SetConnectInfo(0, "127.0.0.1", UnusedPort(), "u", "p");
    for (int i = 0; i < 8; ++i) {
        info.RaiseErrorCount();
    }
    info.StartGetKelvaraInfo(StartMode::GoOn);
    EXPECT_EQ(Messages(2), (std::vector<Message>{Failed(2), Failed(2)}));
    EXPECT_TRUE(StopsAtOnce());
    const auto waits = clock.Waits();
    ASSERT_GE(waits.size(), 31u);
    EXPECT_EQ(std::count(waits.begin(), waits.begin() + 31, Milliseconds(500)), 30);
}

TEST_F(Info, AFailureThatIsCountedDuringTheWaitLengthensIt) {
    FakeClock slow;
    CKelvaraInfo refused(slow);
    refused.SetConnectInfo(0, "127.0.0.1", UnusedPort(), "u", "p");
    refused.SetNotifyWnd(WindowHandle(log));
    refused.RaiseErrorCount();
    refused.RaiseErrorCount();
    refused.StartGetKelvaraInfo(StartMode::GoOn);
    ASSERT_TRUE(WaitUntil([&] { return slow.Waits().size() == 2; }));
    EXPECT_EQ(refused.GetFailure(), (LinkFailure{LinkFault::NoRecorder, 0}));
    EXPECT_EQ(refused.GetRetrySeconds(), 1u);
    refused.RaiseErrorCount();
    for (std::size_t waits = 3; waits <= 11; ++waits) {
        slow.Advance(Milliseconds(500));
        ASSERT_TRUE(WaitUntil([&] { return slow.Waits().size() == waits; }));
        // What is left of the longer wait, counted in begun seconds.
        EXPECT_EQ(refused.GetRetrySeconds(), (12 - waits + 1) / 2);
    }
    EXPECT_EQ(log->All().size(), 1u) << "asked again before 5 s were over";
    slow.Advance(Milliseconds(500));
    EXPECT_EQ(Messages(2).size(), 2u);
}

TEST_F(Info, AFailedListStillReadsTheDiskAndTheNextRootIsTried) {
    recorder.SetDocuments(1);
    recorder.On("/cgi-bin/get_init_info.cgi",
                [](Peer& peer) { peer.Write(HttpReply(404, "Not Found", "")); });
    recorder.SetDocument("z_status.cgi", DiskInfo(1));
    info.StartGetKelvaraInfo(StartMode::GoOn);
    EXPECT_TRUE(WaitUntil([&] { return info.GetServerName() == "Lobby"; }));
    EXPECT_TRUE(StopsAtOnce());
    const auto heads = recorder.Server().Heads();
    EXPECT_EQ(heads.at(0).find("GET /cgi-bin/get_init_info.cgi"), 0u);
    EXPECT_EQ(heads.at(1).find("GET /z_status.cgi"), 0u);
    EXPECT_EQ(recorder.CountHeads("GET /cgi-bin/z_status.cgi"), 0);
}

TEST_F(Info, StopsWhateverTheRecorderHoldsBack) {
    for (const char* silent : {"get_init_info.cgi", "z_status.cgi", "get_ext_info.cgi", "notify.cgi"}) {
        recorder.SetDocuments(1);
        recorder.On("notify.cgi", [](Peer& peer) {
            peer.Write("HTTP/1.0 200 OK\r\n");
            peer.Hold();
        });
        std::atomic<bool> reached{false};
        recorder.On(silent, [&](Peer& peer) {
            reached = true;
            peer.Hold();
        });
        const std::size_t before = log->All().size();
        info.StartGetKelvaraInfo(StartMode::Anew);
        EXPECT_TRUE(WaitUntil([&] { return reached.load(); })) << silent;
        EXPECT_TRUE(StopsAtOnce()) << silent;
        for (std::size_t i = before; i < log->All().size(); ++i) {
            EXPECT_EQ(log->All()[i].number, WM_UPDATEVSINFO) << "a stop is no failure";
        }
    }
}

TEST_F(Info, AStartWithoutForceGoesOnWithTheNewData) {
    FakeRecorder other;
    other.SetDocuments(3);
    std::atomic<bool> reached{false};
    recorder.On("get_init_info.cgi", [&](Peer& peer) {
        reached = true;
        peer.Hold();
    });
    info.StartGetKelvaraInfo(StartMode::GoOn);
    ASSERT_TRUE(WaitUntil([&] { return reached.load(); }));
    info.StartGetKelvaraInfo(2, "127.0.0.1", other.Port(), "v", "w", StartMode::GoOn);
    EXPECT_TRUE(WaitUntil([&] { return info.GetChannelCount() == 3; }));
    EXPECT_EQ(info.GetIdx(), 2);
    EXPECT_TRUE(StopsAtOnce());
}

TEST(InfoThread, OneThatDoesNotEndIsLeftToItselfAndTellsNobody) {
    // A console that does not take its message blocks the thread, as nothing on the wire can.
    struct Stuck final : MessageTarget {
        void PostMessage(std::uint32_t, WParam, LParam) override {
            {
                const std::lock_guard lock(mutex);
                // Not the system's number of it, which another thread gets when this one has ended.
                static std::atomic<int> threads{0};
                thread_local const int me = ++threads;
                ++posts[me];
                first = posts.size() == 1 ? me : first;
            }
            go.Wait();
        }
        int PostsOfTheFirst() {
            const std::lock_guard lock(mutex);
            return posts.empty() ? 0 : posts[first];
        }
        Event go;
        std::mutex mutex;
        std::map<int, int> posts;
        int first = 0;
    };
    const auto stuck = std::make_shared<Stuck>();
    const auto log = std::make_shared<MessageLog>();
    static FakeClock clock(true);  // outlives the abandoned thread
    {
        CKelvaraInfo info(clock);
        info.SetConnectInfo(0, "127.0.0.1", UnusedPort(), "u", "p");
        info.SetNotifyWnd(WindowHandle(stuck));
        info.StartGetKelvaraInfo(StartMode::GoOn);
        ASSERT_TRUE(WaitUntil([&] { return stuck->PostsOfTheFirst() == 1; }));
        EXPECT_FALSE(info.StopGetKelvaraInfo(StopWait::Brief));
        EXPECT_TRUE(info.IsRunning());
        // It holds the lock of its state, so that the owner can only let go.
        std::thread release([&] {
            WaitUntil([] { return Worker::AbandonedCount() == 1; }, std::chrono::seconds(5));
            stuck->go.Set();
        });
        info.StartGetKelvaraInfo(StartMode::Anew);
        release.join();
        info.SetNotifyWnd(WindowHandle(log));
        EXPECT_TRUE(log->WaitFor(1)) << "the new thread works";
        EXPECT_EQ(info.GetUser(), "u");
    }
    EXPECT_TRUE(WaitUntil([] { return Worker::AbandonedCount() == 0; }));
    EXPECT_EQ(stuck->PostsOfTheFirst(), 1) << "the abandoned thread told of something";
}

TEST_F(Info, CountsAndVisibilityByConfigurationAndRight) {
    // Unconfigured, configured without right, configured with right.
    std::string text = ConcInfoHead(3);
    for (int i = 0; i < 3; ++i) {
        text += Scramble(AddressLine(i, std::string(16, '0'), i == 0 ? "" : "cam", "")) +
                Scramble(AccountLine("", "", 1, 1));
    }
    recorder.SetDocuments(3);
    recorder.SetDocument("get_init_info.cgi", text);
    recorder.SetDocument("z_status.cgi",
                         "HTTP/1.0 200 OK\r\n\r\n0\n003"
                         "000"
                         "000"
                         "000"
                         "000"
                         "001"
                         "\n");
    info.StartGetKelvaraInfo(StartMode::GoOn);
    Messages(4);
    EXPECT_TRUE(StopsAtOnce());
    EXPECT_EQ(info.CountChannels({true, true}), 3);
    EXPECT_EQ(info.CountChannels({true, false}), 2);
    EXPECT_EQ(info.CountChannels({false, true}), 2);
    EXPECT_EQ(info.CountChannels({false, false}), 1);
    const auto visible = [&](bool unconfigured, bool noRight) {
        std::string bits;
        for (int i = -1; i < 4; ++i) {
            bits += info.IsChannelVisible(i, {unconfigured, noRight}) ? '1' : '0';
        }
        return bits;
    };
    EXPECT_EQ(visible(true, true), "01110");
    EXPECT_EQ(visible(true, false), "01010");
    EXPECT_EQ(visible(false, true), "00110");
    EXPECT_EQ(visible(false, false), "00010");
}

TEST(RecorderListing, FindsParksAndReaps) {
    FakeClock clock(true);
    RecorderList recorders(clock);
    EXPECT_EQ(recorders.AddServer("a", 80, "u", "p"), 0);
    EXPECT_EQ(recorders.AddServer("a", 81, "u", "p"), 1);
    EXPECT_EQ(recorders.FindServer("a", 81), 1);
    EXPECT_EQ(recorders.FindServer("A", 81), -1);
    EXPECT_EQ(recorders.GetServerCount(), 2);
    EXPECT_EQ(recorders.GetServer(2), nullptr);
    EXPECT_EQ(recorders.GetServer(-1), nullptr);
    EXPECT_EQ(recorders.GetServer(1)->GetIdx(), 1);

    const auto camera = std::make_shared<FakeCamera>();
    const std::weak_ptr<FakeCamera> watch = camera;
    CKelvaraInfo& server = *recorders.GetServer(1);
    EXPECT_FALSE(server.SetCamera(0, camera));
    server.SetCameraCount(2);
    EXPECT_TRUE(server.SetCamera(1, camera));
    EXPECT_TRUE(recorders.IsCameraInUse(camera.get()));
    EXPECT_FALSE(recorders.IsCameraInUse(nullptr));
    recorders.StopAndRemoveCamera(1, 5);
    recorders.StopAndRemoveCamera(7, 0);
    recorders.StopAndRemoveCamera(1, 1);
    EXPECT_EQ(server.GetCamera(1), nullptr);
    EXPECT_EQ(server.GetCameraCount(), 2);
    EXPECT_FALSE(recorders.IsCameraInUse(camera.get()));
    recorders.ReapRemovedCameras(StopWait::Brief);
    EXPECT_EQ(camera.use_count(), 2) << "still held, since its threads run";
    recorders.ReapRemovedCameras(StopWait::ToTheEnd);
    EXPECT_EQ(camera.use_count(), 1);
    EXPECT_EQ(camera->stops, (std::vector<StopWait>{StopWait::Brief, StopWait::Brief, StopWait::ToTheEnd}));

    recorders.ParkServer(std::make_unique<CKelvaraInfo>(clock));
    recorders.ReapRemovedServers(StopWait::Brief);
    recorders.ReapRemovedServers(StopWait::ToTheEnd);
    recorders.DeleteAllKelvara();
    EXPECT_EQ(recorders.GetServerCount(), 0);
    EXPECT_EQ(recorders.FindServer("a", 80), -1);
}

TEST(RecorderListing, TellsWhoHasLeftAndMovesTheOthersUp) {
    class Listener final : public RecorderListener {
    public:
        void OnRecorderRemoved(const CKelvaraInfo& server) override { hosts.push_back(server.GetHost()); }
        std::vector<std::string> hosts;
    };
    FakeClock clock(true);
    RecorderList recorders(clock);
    Listener first, second;
    recorders.AddListener(first);
    recorders.AddListener(second);
    for (const char* const host : {"a", "b", "c"}) {
        recorders.AddServer(host, 80, {}, {});
    }
    recorders.RemoveServer(1);
    recorders.RemoveServer(7);
    EXPECT_EQ(first.hosts, std::vector<std::string>{"b"});
    EXPECT_EQ(second.hosts, first.hosts);
    ASSERT_EQ(recorders.GetServerCount(), 2);
    EXPECT_EQ(recorders.GetServer(1)->GetHost(), "c");
    EXPECT_EQ(recorders.GetServer(1)->GetIdx(), 1);
}
