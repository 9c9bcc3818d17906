#include <gtest/gtest.h>

#include "fake_recorder.h"
#include "server/server_worker.h"
#include "support/fake_clock.h"
#include "support/message_log.h"
#include "support/wait_until.h"

using namespace kvmon;
using namespace kvtest;

namespace {

// One call of GetNotifyInfo, against a recorder whose three documents are good.
class Notify : public testing::Test {
protected:
    Notify() {
        worker.SetConnectInfo(0, "127.0.0.1", recorder.Port(), "u", "p");
        worker.SetNotifyWnd(WindowHandle(log));
        recorder.AnswerAll(1);
    }
    // What was asked for, one letter a request: Conc, Disk, Ext, Notify.
    std::string RunWith(FakeRecorder::Handler notify) {
        recorder.On("notify.cgi", std::move(notify));
        const std::size_t before = recorder.Server().Heads().size();
        worker.GetNotifyInfo(status);
        std::string letters;
        const auto heads = recorder.Server().Heads();
        for (std::size_t i = before; i < heads.size(); ++i) {
            for (const auto& [key, letter] : {std::pair("get_init", 'C'), std::pair("z_status", 'D'),
                                              std::pair("get_ext", 'E'), std::pair("notify", 'N')}) {
                letters += heads[i].find(key) != std::string::npos ? std::string(1, letter) : "";
            }
        }
        return letters;
    }
    static FakeRecorder::Handler Lines(const std::string& text) {
        return [text](Peer& peer) { peer.Write("HTTP/1.0 200 OK\r\n" + text); };
    }

    FakeClock clock{true};
    ServerWorker worker{clock};
    CNvrStatus status;
    std::shared_ptr<MessageLog> log = std::make_shared<MessageLog>();
    FakeRecorder recorder;
};

}  // namespace

TEST_F(Notify, SendsExactlyThisRequestUnderAFixedPath) {
    worker.FlipCgiRoot();
    RunWith(Lines(""));
    EXPECT_EQ(recorder.Server().Heads().at(0),
              "GET /cgi-bin/notify.cgi HTTP/1.0\r\nUser-Agent: Monitor\r\nHost: 127.0.0.1\r\n"
              "Connection: Keep-Alive\r\nAuthorization: Basic dTpw\r\n\r\n");
    EXPECT_EQ(recorder.Count("GET /get_init_info.cgi"), 1);
}

TEST_F(Notify, LinesAskForTheirDocuments) {
    EXPECT_EQ(RunWith(Lines("")), "NCDE") << "a new connection is a full refresh";
    EXPECT_EQ(RunWith(Lines("1\n")), "NCDED");
    EXPECT_EQ(RunWith(Lines("2\n1\n")), "NCDECDED");
    EXPECT_EQ(RunWith(Lines("3\n1\n")), "NCDE") << "the server leaves";
    EXPECT_EQ(RunWith(Lines("1\r\n\n12\n" + std::string("1\0\n", 3) + "4\n1\n")), "NCDED");
    EXPECT_EQ(RunWith(Lines(std::string(1025, '1') + "\n1\n")), "NCDE") << "an over-long line ends it";
}

TEST_F(Notify, OtherRepliesEndQuietly) {
    EXPECT_EQ(RunWith([](Peer& peer) { peer.Write("HTTP/1.0 401 Unauthorized\r\n"); }), "N");
    EXPECT_EQ(RunWith([](Peer& peer) { peer.Write("HTTP/1.0 200\r\n"); }), "N");
    EXPECT_EQ(RunWith([](Peer&) {}), "N");
    clock.SetSocketRound(Milliseconds(20));
    EXPECT_EQ(RunWith([](Peer& peer) { peer.Hold(); }), "N") << "silent for the whole budget";
    worker.SetConnectInfo(0, "127.0.0.1", UnusedPort(), "u", "p");
    EXPECT_EQ(RunWith(Lines("")), "");
    EXPECT_TRUE(log->All().empty());
}

TEST_F(Notify, ATimeOutIsAnsweredByALineFeedAfterThePause) {
    clock.SetSocketRound(Milliseconds(5));
    std::string alive;
    RunWith([&](Peer& peer) {
        clock.Advance(Milliseconds(20));  // a quiet wait is then 30 ms long
        peer.Write("HTTP/1.0 200 OK\r\n");
        alive = peer.Read(2);
        peer.Write("3\n");
    });
    EXPECT_EQ(alive, "\n\n");
    const auto waits = clock.Waits();
    EXPECT_GE(std::count(waits.begin(), waits.end(), Milliseconds(500)), 4);
}

TEST_F(Notify, AnInstantReplyMeansNoTimeOutAndNoKeepAlive) {
    std::string alive;
    RunWith([&](Peer& peer) {
        peer.Write("HTTP/1.0 200 OK\r\n");
        // The refresh goes through meanwhile; its pauses take no real time.
        WaitUntil([&] { return recorder.Count("get_ext_info") == 1; });
        EXPECT_FALSE(peer.WaitClosed(milliseconds(100)));
        peer.Write("3\n");
    });
    EXPECT_EQ(recorder.Count("z_status"), 1);
}

TEST_F(Notify, TwelveFailuresEndTheConnection) {
    recorder.Answer("get_init_info.cgi", "HTTP/1.0 500 Oops\r\n\r\n");
    const std::string letters = RunWith([](Peer& peer) {
        peer.Write("HTTP/1.0 200 OK\r\n");
        peer.WaitClosed();
    });
    EXPECT_EQ(letters, "N" + std::string(12, 'C'));
    EXPECT_EQ(log->All(), std::vector<Message>(12, Message{WM_GETVSINFO_FAILED, 1, 0}));
    EXPECT_EQ(worker.m_dwErrorCount, 0u) << "counted apart";
    // Waits of 1 s after the first two, of 5 s up to the seventh, of 15 s behind.
    const auto waits = clock.Waits();
    EXPECT_EQ(std::count(waits.begin(), waits.end(), Milliseconds(500)), 2 * 2 + 5 * 10 + 4 * 30);
}

TEST_F(Notify, FailuresCarryTheirCodesAndStopTheRefresh) {
    const auto firstFailure = [&](const std::string& key, int failures, const std::string& lines) {
        const std::size_t before = log->All().size();
        recorder.AnswerAll(1);
        std::atomic<int> left{failures};
        const auto good = key == "z_status.cgi" ? DiskInfo(1) : ExtInfo(1);
        int seen = 0;
        recorder.On(key, [&, good](Peer& peer) {
            // With lines the first refresh passes.
            const bool pass = !lines.empty() && seen++ == 0;
            peer.Write(pass || left-- <= 0 ? good : "HTTP/1.0 500 Oops\r\n\r\n");
        });
        RunWith(Lines(lines));
        std::vector<int> codes;
        const auto all = log->All();
        for (std::size_t i = before; i < all.size(); ++i) {
            if (all[i].number == WM_GETVSINFO_FAILED) {
                codes.push_back(static_cast<int>(all[i].wParam));
            }
        }
        return codes;
    };
    EXPECT_EQ(firstFailure("z_status.cgi", 1, ""), std::vector<int>{11322});
    EXPECT_EQ(firstFailure("get_ext_info.cgi", 2, ""), (std::vector<int>{11322, 11322}));
    EXPECT_EQ(firstFailure("z_status.cgi", 1, "1\n"), std::vector<int>{2});
    worker.m_nIdx = 1;
    EXPECT_EQ(firstFailure("z_status.cgi", 1, ""), std::vector<int>{}) << "told for the first server only";
    EXPECT_EQ(firstFailure("get_ext_info.cgi", 1, ""), std::vector<int>{11322});
}

TEST_F(Notify, ARepublishedListClearsTheErrorCount) {
    worker.m_dwErrorCount = 3;
    RunWith(Lines(""));
    EXPECT_EQ(worker.m_dwErrorCount, 0u);
    worker.m_dwErrorCount = 3;
    RunWith(Lines(""));
    EXPECT_EQ(worker.m_dwErrorCount, 3u) << "nothing changed";
    worker.m_dwErrorCount = 12;
    RunWith(Lines(""));
    EXPECT_EQ(worker.m_dwErrorCount, 0u);
}
