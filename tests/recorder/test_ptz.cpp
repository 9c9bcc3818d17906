// Steerable cameras: the motion of the picture, the orders of the wire, and faults on the way.
#include <filesystem>
#include <fstream>

#include "media/ptz_camera.h"
#include "media_tools.h"
#include "service_fixture.h"
#include "support/temp_folder.h"

namespace kvtest {
namespace {

constexpr MediaTime kFrame{66'667};

TEST(PtzCamera, FollowsItsAimWithInertiaAndStopsThere) {
    PtzCamera camera(PictureShape::Normal);
    double x = camera.Pose(MediaTime(0)).view.centreX;
    EXPECT_EQ(camera.Move(1, 0), EndStop::None);
    double fastest = 0;
    double first = 0;
    double last = 0;
    for (int i = 1; i <= 45; ++i) {
        const double next = camera.Pose(kFrame * i).view.centreX;
        last = next - x;
        first = i == 1 ? last : first;
        fastest = std::max(fastest, last);
        EXPECT_GE(last, -0.001) << "never swings back";
        x = next;
    }
    EXPECT_GT(fastest, 2 * first);
    EXPECT_LT(last, 0.5);
    EXPECT_NEAR(x, camera.Aim().centreX, 0.5);
    EXPECT_FALSE(camera.Moving());
    // The time of another stream, a little earlier.
    EXPECT_EQ(camera.Pose(kFrame * 44).view.centreX, x);
}

TEST(PtzCamera, EndsAreToldAndThePictureStaysInTheScene) {
    PtzCamera camera(PictureShape::Wide);
    const auto drive = [&](auto order) {
        EndStop end = EndStop::None;
        for (int i = 0; i < 40 && end == EndStop::None; ++i) {
            end = order();
        }
        return end;
    };
    EXPECT_EQ(drive([&] { return camera.Move(1, 0); }), EndStop::Right);
    EXPECT_EQ(drive([&] { return camera.Move(0, 1); }), EndStop::Down);
    EXPECT_EQ(camera.Move(1, 1), EndStop::DownRight);
    EXPECT_EQ(camera.Move(-1, -1), EndStop::None);
    EXPECT_EQ(drive([&] { return camera.Zoom(1); }), EndStop::Tele);
    EXPECT_EQ(drive([&] { return camera.Move(-1, -1); }), EndStop::Up);
    EXPECT_EQ(drive([&] { return camera.Move(-1, 0); }), EndStop::Left);
    EXPECT_EQ(camera.Move(-1, -1), EndStop::UpLeft);
    EXPECT_EQ(drive([&] { return camera.Zoom(-1); }), EndStop::Wide);
    const SceneView view = camera.Aim();
    EXPECT_GE(view.centreX - kHomeWidth / view.zoom / 2, -0.01);
    EXPECT_GE(view.centreY - kHomeWidth / view.zoom * 9 / 32, -0.01);

    EXPECT_EQ(drive([&] { return camera.Focus(1); }), EndStop::Far);
    camera.Pose(MediaTime(0));
    EXPECT_GT(camera.Pose(MediaTime(10'000'000)).blur, 0.2);
    EXPECT_EQ(drive([&] { return camera.Focus(-1); }), EndStop::Near);
    camera.Home();
    EXPECT_EQ(camera.Pose(MediaTime(20'000'000)).blur, 0) << "home is sharp";
    EXPECT_EQ(camera.Aim(), SceneView{});

    // What was clicked comes to the middle.
    EXPECT_EQ(camera.Centre(0.75, 0.5), EndStop::None);
    EXPECT_NEAR(camera.Aim().centreX, kWorldWidth / 2 + kHomeWidth / 4, 0.01);
    EXPECT_NEAR(camera.Aim().centreY, kWorldHeight / 2, 0.01);
}

TEST(PtzCamera, PicturesOfAChannelMove) {
    const auto clock = std::make_shared<SelfMovingClock>();
    const auto hub = CreateMediaHub(clock, 1);
    SourceConfig source;
    source.scene = "harbour";
    source.streams = {{Codec::Mjpeg, 320, 240, 5, 1}};
    source.camera = std::make_shared<PtzCamera>(PictureShape::Normal);
    hub->AddChannel("Dome", source);
    Collector collector;
    const auto subscription = hub->Subscribe(0, 0, collector.Sink());
    clock->Allow(std::chrono::seconds(1));
    collector.WaitFor(4);
    source.camera->Zoom(1);
    source.camera->Zoom(1);
    source.camera->Move(1, 0);
    clock->Allow(std::chrono::seconds(3));
    const auto pictures = Decode(collector.WaitFor(16));
    ASSERT_GE(pictures.size(), 16u);
    const double still = pictures[1].Differs(pictures[2], 40, 200);
    EXPECT_GT(pictures[2].Differs(pictures[14], 40, 200), 3 * still);
}

class PtzCgi : public ServiceTest {
protected:
    std::string Order(const std::string& rest, const std::string& user = "admin:secret") {
        return Ask("/cgi-bin/ptz.cgi?ch=0&command=" + rest, user).body;
    }
    double AimX() { return model->Current()->channels[0].ptz->camera->Aim().centreX; }

    TempFolder folder;
};

TEST_F(PtzCgi, EachCommandHasItsEffectAndReply) {
    config.users[1].rights[static_cast<std::size_t>(Right::Monitor)].set(0);
    Start();
    EXPECT_EQ(Order("16"), "127");
    EXPECT_EQ(Order("20"), "01011");
    EXPECT_EQ(Order("16", "guard:night"), "127");
    EXPECT_EQ(Ask("/cgi-bin/ptz.cgi?ch=0&command=3", "guard:night").status, 403);
    const double home = AimX();
    EXPECT_EQ(Order("3"), "0");
    EXPECT_GT(AimX(), home);
    EXPECT_EQ(Order("2"), "0");
    EXPECT_EQ(Order("14&arg=320%20240"), "0");
    EXPECT_NEAR(AimX(), home, 0.01);
    for (const char* wrong :
         {"14&arg=320", "14&arg=641%20240", "14&arg=-1%200", "14&arg=a%20b", "14", "12", "12&arg=10",
          "12&arg=-1", "21&arg=01003", "21&arg=00x", "21&arg=0000241", "22&arg=", "21&arg=00002zz"}) {
        EXPECT_EQ(Order(wrong).substr(0, 2), std::string(wrong) == "21&arg=0000241" ? "OK" : "-1") << wrong;
    }
    EXPECT_EQ(Ask("/cgi-bin/ptz.cgi?ch=0&command=23").status, 400);
    for (const char* good : {"12&arg=0", "13", "17", "18", "19", "4", "5", "6", "7", "8", "9", "10", "11"}) {
        EXPECT_EQ(Order(good).find_first_not_of("0123456789"), std::string::npos) << good;
    }
    EXPECT_EQ(Order("13"), "0");
    EXPECT_EQ(AimX(), home);
}

TEST_F(PtzCgi, PresetsAreStoredErasedAndOutliveTheRecorder) {
    config.server.stateFolder = folder.File("state");
    Start();
    Order("3");
    const double there = AimX();
    EXPECT_EQ(Order("21&arg=00403446f72"), "OK");
    EXPECT_EQ(Order("22&arg=000xx"), "OK");
    Order("13");
    EXPECT_EQ(Order("12&arg=4"), "0");
    EXPECT_EQ(AimX(), there);
    const std::string table = Order("15");
    EXPECT_TRUE(table.starts_with("010--")) << table;
    EXPECT_NE(table.find("03446F72"), std::string::npos) << table;
    // A new name at the end of a move, without one the old stays.
    EXPECT_EQ(Order("21&arg=004xx"), "OK");
    EXPECT_EQ(Order("15"), table);

    std::ofstream(folder.File("state/presets-0"), std::ios::app) << "77 1 1 1 x\n5 nan 0 1 y\n6\n";
    const std::string file = folder.File("state/presets-0");
    const auto slots = PresetTable(file, {"other"}).Slots();
    EXPECT_FALSE(slots[0] || slots[5] || slots[6]);
    ASSERT_TRUE(slots[4]);
    EXPECT_EQ(slots[4]->name, "Dor");
    EXPECT_NEAR(slots[4]->view.centreX, there, 0.1);
    EXPECT_TRUE(PresetTable(folder.File("none"), {"other"}).Slots()[0]);
}

TEST_F(PtzCgi, FaultsReachTheClientAndNobodyElse) {
    Start();
    const auto fault = [&](PtzReply reply) { EXPECT_EQ(model->SetPtz(0, reply, 0), ""); };
    fault(PtzReply::Locked);
    EXPECT_EQ(Order("3"), "7");
    EXPECT_EQ(Order("16"), "127");
    fault(PtzReply::NoContent);
    EXPECT_EQ(Ask("/cgi-bin/ptz.cgi?ch=0&command=3").status, 204);
    fault(PtzReply::Busy);
    EXPECT_EQ(Ask("/cgi-bin/ptz.cgi?ch=0&command=16").status, 504);
    fault(PtzReply::Empty);
    EXPECT_EQ(Ask("/cgi-bin/ptz.cgi?ch=0&command=3").body, "");
    fault(PtzReply::Never);
    RecorderClient client(port);
    client.Send(Get("/cgi-bin/ptz.cgi?ch=0&command=3"));
    EXPECT_EQ(Ask("/cgi-bin/ptz.cgi?ch=1&command=16").body, "0");
    EXPECT_TRUE(client.Silent(std::chrono::milliseconds(50)));
    client.CloseSending();
    EXPECT_TRUE(client.WaitClosed()) << "a client that gives up is not kept";
    EXPECT_EQ(model->SetPtz(1, PtzReply::Busy, 0), "the channel's camera cannot be steered");
}

TEST_F(PtzCgi, AnotherSourceGoesOnInTheSameStream) {
    Start();
    RecorderClient client = Open("/cgi-bin/getstream.cgi?ch=1&stream_id=0");
    ASSERT_TRUE(WaitUntil([&] { return hub->Watchers() == 1; }));
    hub->Push(1, 0, KeyPacket(10, 0));
    client.Read(56 + 10);
    config.channels[1].source.scene = "aquarium";
    EXPECT_EQ(model->Reload(config), "");
    ASSERT_TRUE(WaitUntil([&] { return hub->Subscribed() == 2 && hub->Watchers() == 1; }));
    hub->Push(1, 0, DeltaPacket(20, 0, 'd'));
    hub->Push(1, 0, KeyPacket(20, 0, 'n'));
    EXPECT_EQ(client.Read(56 + 20).substr(56), std::string(20, 'n'));
    config.channels[1].source.scene.clear();
    config.channels[1].source.file = "/missing";
    EXPECT_NE(model->Reload(config).find("channel 1: cannot read /missing"), std::string::npos);
    EXPECT_EQ(model->Current()->channels[1].config.source.scene, "aquarium");
}

}  // namespace
}  // namespace kvtest
