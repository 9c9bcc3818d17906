#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <filesystem>

#include "server/notify_info.h"
#include "support/fake_clock.h"
#include "support/fake_recorder.h"
#include "support/message_log.h"
#include "support/recorder_texts.h"
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
        recorder.SetDocuments(1);
    }
    // What was asked for, one letter a request: Conc, Disk, Ext, Notify.
    std::string RunWith(FakeRecorder::Handler notify) {
        recorder.On("notify.cgi", std::move(notify));
        const std::size_t before = recorder.Server().Heads().size();
        GetNotifyInfo(worker, status);
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

sockaddr_in Loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

sockaddr* Generic(sockaddr_in& address) {
    return static_cast<sockaddr*>(static_cast<void*>(&address));
}

// A port whose host takes no further connection and refuses none, as one that is gone.
class DeafPort {
public:
    DeafPort() {
        sockaddr_in address = Loopback(0);
        socklen_t length = sizeof address;
        EXPECT_EQ(::bind(m_listener, Generic(address), length), 0);
        EXPECT_EQ(::listen(m_listener, 0), 0);
        EXPECT_EQ(::getsockname(m_listener, Generic(address), &length), 0);
        m_port = ntohs(address.sin_port);
        EXPECT_EQ(::connect(m_waiting, Generic(address), length), 0);
    }
    ~DeafPort() {
        ::close(m_waiting);
        ::close(m_listener);
    }
    std::uint16_t Port() const { return m_port; }

private:
    const int m_listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int m_waiting = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    std::uint16_t m_port = 0;
};

int Option(int fd, int level, int name) {
    int value = 0;
    socklen_t length = sizeof value;
    return ::getsockopt(fd, level, name, &value, &length) == 0 ? value : -1;
}

// This process's connection to the port that has the keep-alive on; -1 without one.
int WatchedConnection(std::uint16_t port) {
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        const int fd = std::stoi(entry.path().filename().string());
        sockaddr_in peer{};
        socklen_t length = sizeof peer;
        if (::getpeername(fd, Generic(peer), &length) == 0 && peer.sin_family == AF_INET &&
            ntohs(peer.sin_port) == port && Option(fd, SOL_SOCKET, SO_KEEPALIVE) == 1) {
            return fd;
        }
    }
    return -1;
}

}  // namespace

TEST_F(Notify, SendsExactlyThisRequestUnderAFixedPath) {
    worker.Query().FlipCgiRoot();
    RunWith(Lines(""));
    EXPECT_EQ(recorder.Server().Heads().at(0),
              "GET /cgi-bin/notify.cgi HTTP/1.0\r\nUser-Agent: Monitor\r\nHost: 127.0.0.1\r\n"
              "Connection: Keep-Alive\r\nAuthorization: Basic dTpw\r\n\r\n");
    EXPECT_EQ(recorder.CountHeads("GET /get_init_info.cgi"), 1);
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

TEST_F(Notify, AHostThatIsGoneIsGivenUpAfterTwentySeconds) {
    const DeafPort gone;
    worker.SetConnectInfo(0, "127.0.0.1", gone.Port(), "u", "p");
    clock.SetSocketRound(Milliseconds(1));
    FlagWord ended{0};
    std::thread watch([&] {
        // A wait that has no end of its own is ended here, and told of.
        if (!WaitUntil([&] { return ended != 0; })) {
            worker.Query().AbortTransactions();
        }
    });
    EXPECT_EQ(RunWith(Lines("")), "");
    ended = 1;
    watch.join();
    EXPECT_FALSE(worker.Query().IsStopped());
    clock.SetSocketRound(Milliseconds(0));
    worker.SetConnectInfo(0, "127.0.0.1", recorder.Port(), "u", "p");
    EXPECT_EQ(RunWith(Lines("")), "NCDE") << "the next try";
}

// Without this a recorder that lost its power kept its connection for two hours.
TEST_F(Notify, ADeadPeerIsNoticedWithinAMinute) {
    int quietSeconds = 0;
    int unansweredMs = 0;
    int blocking = -1;
    RunWith([&](Peer& peer) {
        peer.Write("HTTP/1.0 200 OK\r\n");
        int fd = -1;
        ASSERT_TRUE(WaitUntil([&] { return (fd = WatchedConnection(recorder.Port())) >= 0; }));
        quietSeconds = Option(fd, IPPROTO_TCP, TCP_KEEPIDLE) +
                       Option(fd, IPPROTO_TCP, TCP_KEEPINTVL) * Option(fd, IPPROTO_TCP, TCP_KEEPCNT);
        unansweredMs = Option(fd, IPPROTO_TCP, TCP_USER_TIMEOUT);
        blocking = (::fcntl(fd, F_GETFL) & O_NONBLOCK) == 0 ? 1 : 0;
        peer.Write("3\n");
    });
    EXPECT_GT(quietSeconds, 0);
    EXPECT_LE(quietSeconds, 60);
    EXPECT_GT(unansweredMs, 0);
    EXPECT_LE(unansweredMs, 60000);
    EXPECT_EQ(blocking, 1) << "the bounded connect leaves the socket as it was made";
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

TEST_F(Notify, ALineMayComeInParts) {
    clock.SetSocketRound(Milliseconds(5));
    const std::string letters = RunWith([&](Peer& peer) {
        clock.Advance(Milliseconds(20));
        peer.Write("HTTP/1.0 200 OK\r\n");
        peer.Read(1);
        peer.Write("2");
        peer.Read(2);  // a wait has ended behind the digit
        peer.Write("\n3\n");
    });
    EXPECT_EQ(letters, "NCDECDE");
}

// A line for each channel of a recorder of sixteen, all at once: what they ask for is asked.
TEST_F(Notify, ABurstOfLinesIsServed) {
    std::string burst;
    std::string asked = "NCDE";
    for (int i = 0; i < 16; ++i) {
        burst += "1\n";
        asked += 'D';
    }
    EXPECT_EQ(RunWith(Lines(burst)), asked);
}

// At a second for each line what a recorder pours out would be worked off for hours, and what it tells at
// last would be seen behind that.
TEST_F(Notify, AFloodOfLinesEndsTheConnection) {
    for (const char* const line : {"4\n", "1\n", "2\n"}) {
        std::string flood;
        for (int i = 0; i < 5000; ++i) {
            flood += line;
        }
        const std::uint64_t began = clock.TickMs();
        RunWith([&](Peer& peer) {
            peer.Write("HTTP/1.0 200 OK\r\n" + flood);
            peer.WaitClosed();
        });
        EXPECT_LT(clock.TickMs() - began, 60'000u) << line;
    }
}

TEST_F(Notify, AnInstantReplyMeansNoTimeOutAndNoKeepAlive) {
    std::string alive;
    RunWith([&](Peer& peer) {
        peer.Write("HTTP/1.0 200 OK\r\n");
        // The refresh goes through meanwhile; its pauses take no real time.
        WaitUntil([&] { return recorder.CountHeads("get_ext_info") == 1; });
        EXPECT_FALSE(peer.WaitClosed(milliseconds(100)));
        peer.Write("3\n");
    });
    EXPECT_EQ(recorder.CountHeads("z_status"), 1);
}

TEST_F(Notify, TwelveFailuresEndTheConnection) {
    recorder.SetDocument("get_init_info.cgi", "HTTP/1.0 500 Oops\r\n\r\n");
    const std::string letters = RunWith([](Peer& peer) {
        peer.Write("HTTP/1.0 200 OK\r\n");
        peer.WaitClosed();
    });
    EXPECT_EQ(letters, "N" + std::string(12, 'C'));
    EXPECT_EQ(log->All(), std::vector<Message>(12, Message{WM_GETVSINFO_FAILED, 1, 0}));
    EXPECT_EQ(worker.Query().ErrorCount(), 0u) << "counted apart";
    // Waits of 1 s after the first two, of 5 s up to the seventh, of 15 s behind.
    const auto waits = clock.Waits();
    EXPECT_EQ(std::count(waits.begin(), waits.end(), Milliseconds(500)), 2 * 2 + 5 * 10 + 4 * 30);
}

TEST_F(Notify, FailuresCarryTheirCodesAndStopTheRefresh) {
    const auto firstFailure = [&](const std::string& key, int failures, const std::string& lines) {
        const std::size_t before = log->All().size();
        recorder.SetDocuments(1);
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
    worker.Query().SetIdx(1);
    EXPECT_EQ(firstFailure("z_status.cgi", 1, ""), std::vector<int>{}) << "told for the first server only";
    EXPECT_EQ(firstFailure("get_ext_info.cgi", 1, ""), std::vector<int>{11322});
}

TEST_F(Notify, ARepublishedListClearsTheErrorCount) {
    worker.Query().SetErrorCount(3);
    RunWith(Lines(""));
    EXPECT_EQ(worker.Query().ErrorCount(), 0u);
    worker.Query().SetErrorCount(3);
    RunWith(Lines(""));
    EXPECT_EQ(worker.Query().ErrorCount(), 3u) << "nothing changed";
    worker.Query().SetErrorCount(12);
    RunWith(Lines(""));
    EXPECT_EQ(worker.Query().ErrorCount(), 0u);
}
