// Places for connections when peers want more than there are, and the memory that a peer can take.
#include <gmock/gmock.h>

#include <malloc.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <list>
#include <thread>

#include "service/control_socket.h"
#include "service_fixture.h"
#include "support/temp_folder.h"

namespace kvtest {
namespace {

class PlacesTest : public ServiceTest {
protected:
    PlacesTest() {
        config.server.maxConnections = 40;  // 20 of a user, 30 of an address
        config.channels[1].camera.direct = true;
        config.channels[1].camera.user = "viewer";
        config.channels[1].camera.password = "lens";
        options.cameraAddress = "127.0.0.1";
    }
    void Begin() {
        Start();
        const std::string camera = service->CameraEndpoint();
        cameraPort = static_cast<std::uint16_t>(std::stoi(camera.substr(camera.rfind(':') + 1)));
    }
    // The status line's number; 0 if the connection was closed without one.
    int Keep(const std::string& target, const std::string& credentials, const char* from = nullptr) {
        kept.emplace_back(port, 0, from);
        kept.back().Send(Get(target, credentials));
        const std::string head = kept.back().ReadHead();
        return head.size() > 12 ? std::atoi(head.c_str() + 9) : 0;
    }

    std::list<RecorderClient> kept;
    std::uint16_t cameraPort = 0;
};

TEST_F(PlacesTest, OneUserAndOneAddressLeaveSomeToOthers) {
    Start();
    int granted = 0;
    for (int i = 0; i < 60; ++i) {
        granted += Keep("/cgi-bin/notify.cgi", "guard:night") == 200 ? 1 : 0;
    }
    EXPECT_EQ(granted, 20);
    EXPECT_EQ(Keep("/cgi-bin/notify.cgi", "admin:secret"), 200) << "another user of the same address";
    for (int i = 0; i < 60; ++i) {
        granted += Keep("/cgi-bin/notify.cgi", "admin:secret") == 200 ? 1 : 0;
    }
    EXPECT_EQ(granted, 20 + 9);
    EXPECT_EQ(Keep("/cgi-bin/notify.cgi", "admin:secret", "127.0.0.2"), 200) << "another address";
    for (int i = 0; i < 5; ++i) {
        kept.pop_front();
    }
    ASSERT_TRUE(WaitUntil([&] { return Keep("/cgi-bin/notify.cgi", "guard:night") == 200; }));
}

TEST_F(PlacesTest, UnfinishedAndRefusedLoginsMakeRoomAtBothPorts) {
    config.server.logins.penalty = std::chrono::minutes(1);
    config.server.logins.limit = std::chrono::hours(24);
    config.server.logins.delayPart = 1;  // refused ones are held back for longer than the test runs
    Begin();
    for (const auto& [at, target, right] : {std::tuple{port, "/get_init_info.cgi", "admin:secret"},
                                            std::tuple{cameraPort, "/camera/1/video.mjpg", "viewer:lens"}}) {
        for (int i = 0; i < 100; ++i) {
            kept.emplace_back(at);
            kept.back().Send(i % 2 == 0 ? "GET " + std::string(target)
                                        : Get(target, "viewer:" + std::to_string(i)));
        }
        for (int i = 0; i < 20; ++i) {
            RecorderClient viewer(at);
            viewer.Send(Get(target, right));
            EXPECT_THAT(viewer.ReadHead(), testing::StartsWith("HTTP/1.0 200 ")) << target << i;
        }
    }
}

TEST_F(PlacesTest, ControlSocketAcceptsAgainAfterDescriptorsRanOut) {
    const TempFolder folder;
    options.controlPath = folder.File("control");
    Start();
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    options.controlPath.copy(address.sun_path, sizeof address.sun_path - 1);
    const int client = ::socket(AF_UNIX, SOCK_STREAM, 0);
    const timeval patience{10, 0};
    ::setsockopt(client, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    rlimit before{};
    ::getrlimit(RLIMIT_NOFILE, &before);
    const int lowest = ::dup(client);
    ::close(lowest);
    const rlimit none{static_cast<rlim_t>(lowest), before.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &none);
    EXPECT_EQ(::connect(client, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));  // for the accept to fail
    ::setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(::write(client, "list\n", 5), 5);
    char reply[16];
    EXPECT_GT(::read(client, reply, sizeof reply), 0);
    ::close(client);
    EXPECT_EQ(SendControlCommand(options.controlPath, "rename 0 Gate"), "ok\n");
}

// What the program's memory holds, wherever it was taken.
std::size_t Held() {
    const struct mallinfo2 figures = ::mallinfo2();
    return figures.uordblks + figures.hblkhd;
}

// Peers that send without end, or take nothing.
TEST_F(PlacesTest, AHostilePeerOfAnyKindTakesLittleMemory) {
    constexpr std::size_t kAllowed = 12 << 20;  // a queue of each watcher's, and change
    config.channels[0].talk = true;
    Begin();
    RecorderClient body(port);
    body.Send(Get("/get_init_info.cgi"));
    RecorderClient talker = Open("/cgi-bin/putaudiostream.cgi?ch=0 ");
    RecorderClient line = Open("/cgi-bin/notify.cgi", 4096);
    RecorderClient watcher = Open("/cgi-bin/getstream.cgi?ch=1&stream_id=1 ", 4096);
    RecorderClient viewer(cameraPort, 4096);
    viewer.Send(Get("/camera/1/video.mjpg", "viewer:lens"));
    EXPECT_THAT(viewer.ReadHead(), testing::StartsWith("HTTP/1.0 200 "));
    ASSERT_TRUE(WaitUntil([&] { return hub->Watchers() == 2; }));
    const std::size_t before = Held();
    const std::string flood(1 << 20, 'f');
    for (int i = 0; i < 64; ++i) {
        body.Send(flood);
        talker.Send(flood.substr(0, 65536));
        for (int k = 0; k < 20; ++k) {
            hub->Push(1, 1, KeyPacket(60'000, 0));
            model->SetFlag(0, *FindStatusFlag("motion"), k % 2 == 0);
        }
        ASSERT_LT(Held(), before + kAllowed) << i << " MB";
    }
    EXPECT_EQ(Ask("/get_init_info.cgi").status, 200);
    EXPECT_EQ(line.ReadLine(), "1\n");
}

}  // namespace
}  // namespace kvtest
