#include "platform/socket.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>

#include <cerrno>
#include <thread>

#include "platform/event.h"
#include "support/scripted_server.h"
#include "support/wait_until.h"

using namespace kvmon;

namespace {

Ipv4Address Loopback() {
    return *ParseDottedAddress("127.0.0.1");
}

class SocketTest : public testing::Test {
protected:
    void ConnectTo(const kvtest::ScriptedServer& server) {
        ASSERT_EQ(socket.Open(), 0u);
        ASSERT_EQ(socket.Connect(Loopback(), server.Port()), 0u);
    }

    std::uint32_t error = 0;
    char buffer[16] = {};
    SystemSocket socket;
};

TEST_F(SocketTest, CarriesBytesAndTellsThePeersEnd) {
    kvtest::ScriptedServer server([](kvtest::Peer& peer) { peer.Write(peer.Read(4)); });
    ConnectTo(server);
    EXPECT_EQ(socket.Poll(true, 10000, error), Socket::Ready::Yes);
    EXPECT_EQ(socket.Poll(false, 0, error), Socket::Ready::No);
    EXPECT_EQ(socket.Send("ping", 4, error), 4u);
    EXPECT_EQ(socket.Poll(false, 10000, error), Socket::Ready::Yes);
    EXPECT_EQ(socket.Receive(buffer, sizeof buffer, error), 4u);
    EXPECT_EQ(socket.Receive(buffer, sizeof buffer, error), 0u);
}

TEST_F(SocketTest, ErrorsHaveTheCodesOfTheLogic) {
    std::uint16_t freed = 0;
    {
        kvtest::ScriptedServer server([](kvtest::Peer&) {});
        freed = server.Port();
    }
    ASSERT_EQ(socket.Open(), 0u);
    EXPECT_EQ(socket.Connect(Loopback(), freed), 10061u);
    socket.Close();

    EXPECT_FALSE(socket.Receive(buffer, sizeof buffer, error));
    EXPECT_EQ(error, 10009u);
    EXPECT_EQ(socket.Connect(Loopback(), freed), 10009u);
    EXPECT_EQ(SocketErrorFromErrno(ETIMEDOUT), kSocketTimedOut);
    EXPECT_EQ(SocketErrorFromErrno(12345), kSocketInvalidArgument);
}

TEST_F(SocketTest, ConnectionUnderWayTellsItsOutcome) {
    std::uint16_t freed = 0;
    {
        kvtest::ScriptedServer server([](kvtest::Peer&) {});
        freed = server.Port();
    }
    ASSERT_EQ(socket.Open(), 0u);
    ASSERT_EQ(socket.SetBlocking(false), 0u);
    const std::uint32_t code = socket.Connect(Loopback(), freed);
    if (code == kSocketWouldBlock) {
        ASSERT_EQ(socket.Poll(true, 10000, error), Socket::Ready::Yes);
        EXPECT_EQ(socket.PendingError(), 10061u);
    } else {
        EXPECT_EQ(code, 10061u);
    }
}

TEST_F(SocketTest, ResetAndSilence) {
    kvtest::ScriptedServer server([](kvtest::Peer& peer) {
        if (peer.Number() == 0) {
            peer.Reset();
        } else {
            peer.Hold();
        }
    });
    ConnectTo(server);
    EXPECT_FALSE(socket.Receive(buffer, sizeof buffer, error));
    EXPECT_EQ(error, 10054u);
    socket.Close();

    ConnectTo(server);
    ASSERT_EQ(socket.SetReceiveTimeout(10), 0u);
    EXPECT_FALSE(socket.Receive(buffer, sizeof buffer, error));
    EXPECT_EQ(error, kSocketWouldBlock);
}

// The way in which a worker that sits in a silent connection is brought back.
TEST_F(SocketTest, ShutdownFromAnotherThreadEndsReceive) {
    kvtest::ScriptedServer server([](kvtest::Peer& peer) { peer.Hold(); });
    ConnectTo(server);
    std::atomic<bool> ended{false};
    std::thread reader([&] {
        std::uint32_t readError = 0;
        socket.Receive(buffer, sizeof buffer, readError);
        ended = true;
    });
    EXPECT_FALSE(ended);
    socket.Shutdown();
    EXPECT_TRUE(kvtest::WaitUntil([&] { return ended.load(); }));
    reader.join();
    EXPECT_EQ(socket.Receive(buffer, sizeof buffer, error), 0u);
    EXPECT_FALSE(socket.Send("x", 1, error));
    socket.Close();
    socket.Shutdown();  // nothing to shut, and no descriptor of somebody else's
}

TEST_F(SocketTest, SignalDoesNotEndReceive) {
    struct sigaction action {};
    struct sigaction before {};
    static std::atomic<int> signals{0};
    signals = 0;
    action.sa_handler = [](int) { ++signals; };
    ASSERT_EQ(::sigaction(SIGUSR1, &action, &before), 0);
    Event answer;
    kvtest::ScriptedServer server([&](kvtest::Peer& peer) {
        answer.Wait(std::chrono::seconds(10));
        peer.Write("late");
    });
    ConnectTo(server);
    // A limit turns off the system's own restart after a signal.
    ASSERT_EQ(socket.SetReceiveTimeout(20000), 0u);
    std::optional<std::size_t> got;
    std::thread reader([&] { got = socket.Receive(buffer, sizeof buffer, error); });
    while (signals < 5) {
        const int seen = signals;
        ::pthread_kill(reader.native_handle(), SIGUSR1);
        EXPECT_TRUE(kvtest::WaitUntil([&] { return signals > seen; }));
    }
    answer.Set();
    reader.join();
    EXPECT_EQ(got, 4u);
    ::sigaction(SIGUSR1, &before, nullptr);
}

TEST(AddressTest, DottedFormsAndNames) {
    EXPECT_EQ(ParseDottedAddress("127.1"), Loopback());
    EXPECT_EQ(ParseDottedAddress("0x7f.0.0.01"), Loopback());
    EXPECT_EQ(ParseDottedAddress("2130706433"), Loopback());
    for (const char* bad : {"", "localhost", "256.1.1.1", "1.2.3.4.5", "1..2"}) {
        EXPECT_FALSE(ParseDottedAddress(bad)) << bad;
    }
    EXPECT_EQ(ResolveName("localhost", [] { return false; }), Loopback());
    EXPECT_FALSE(ResolveName(std::string(300, 'x'), [] { return false; }));
}

}  // namespace
