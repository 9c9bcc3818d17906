// The recorders' clocks, as they are asked for by the clock alone.
#include <gmock/gmock.h>

#include <atomic>
#include <memory>
#include <string>

#include "console/recorders/server_clock.h"
#include "console/settings/console_settings.h"
#include "port_doubles.h"
#include "server/recorder_list.h"
#include "support/fake_clock.h"
#include "support/fake_recorder.h"
#include "support/qt_pump.h"

using namespace kvmon;
using kvtest::PumpUntil;

namespace {

class ServerClockTest : public testing::Test {
protected:
    ServerClockTest() {
        recorders.AddServer("127.0.0.1", recorder.Port(), "admin", "secret");
        recorders.GetServer(0)->StartGetKelvaraInfo(StartMode::Anew);
    }
    int Asked() const { return recorder.CountHeads("/cgi-bin/param.cgi?action=list&group=System HTTP/1.0"); }
    // Ticks until the recorder was asked so often.
    bool IsAskedBy(int times) {
        return PumpUntil([&] {
            serverClock.OnTick();
            return Asked() >= times;
        });
    }

    kvtest::FakeRecorder recorder{"Hall", 1};
    kvtest::FakeClock recorderClock{Milliseconds(1)};
    kvtest::FakeClock clock;
    kvtest::FakeDesk desk;
    ConsoleSettings settings;
    RecorderList recorders{recorderClock};
    ServerClock serverClock{desk, settings, recorders, clock};
};

}  // namespace

TEST_F(ServerClockTest, IsAskedForTheStampAloneAndFollowedEveryTenMinutes) {
    const CKelvaraInfo& server = *recorders.GetServer(0);
    // By their turn: when an answer has come cannot be seen.
    const auto answered = std::make_shared<std::atomic<int>>(0);
    recorder.On("group=System", [answered](kvtest::Peer& peer) {
        const int n = ++*answered;
        peer.Write(n == 1 ? kvtest::HttpReply(404, "Not Found", "")
                          : "HTTP/1.0 200 OK\nX: y\n\n<date_time>" +
                                std::string(n == 2 ? "20310203040506" : "20320203040506") + "</date_time>\n");
    });
    ASSERT_TRUE(PumpUntil([&] { return server.IsConnected(); }));
    serverClock.OnTick();  // without the stamp
    desk.loggedIn = false;
    settings.options.bShowSnapshotTimeStamp = true;
    serverClock.OnTick();
    desk.loggedIn = true;
    // One that has no time is asked again after ten seconds.
    ASSERT_TRUE(IsAskedBy(1));
    clock.Advance(Milliseconds(9999));
    serverClock.OnTick();
    EXPECT_FALSE(PumpUntil([&] { return Asked() > 1; }, kvtest::milliseconds(50)));
    clock.Advance(Milliseconds(1));
    ASSERT_TRUE(IsAskedBy(2));
    ASSERT_TRUE(PumpUntil([&] { return server.IsServerTimeKnown(); }));
    clock.Advance(Milliseconds(599'999));
    serverClock.OnTick();
    EXPECT_FALSE(PumpUntil([&] { return Asked() > 2; }, kvtest::milliseconds(100)));
    const std::int64_t before = server.GetServerTimeOffset();
    clock.Advance(Milliseconds(1));
    ASSERT_TRUE(PumpUntil([&] {
        serverClock.OnTick();
        return server.GetServerTimeOffset() != before;
    }));
    EXPECT_EQ(Asked(), 3);
}
