#include <fstream>

#include "service/control_commands.h"
#include "service_fixture.h"
#include "support/temp_folder.h"

namespace kvtest {
namespace {

class Notifications : public ServiceTest {
protected:
    RecorderClient Listen() {
        RecorderClient client(port);
        client.Send(Get("/cgi-bin/notify.cgi"));
        // No header: clients take each further line for a notification.
        EXPECT_EQ(client.ReadHead(), "HTTP/1.0 200 OK\r\n\r\n");
        return client;
    }
};

TEST_F(Notifications, ChangesArePushedToEveryone) {
    Start();
    RecorderClient first = Listen();
    RecorderClient second = Listen();
    EXPECT_TRUE(first.Send("\n\n\n")) << "keep-alive bytes";
    EXPECT_EQ(model->Rename(1, "Gate"), "");
    EXPECT_EQ(first.ReadLine(), "2\n");
    EXPECT_EQ(second.ReadLine(), "2\n");
    EXPECT_EQ(hub->Name(1), "Gate");
    EXPECT_EQ(model->SetFlag(0, *FindStatusFlag("record"), true), "");
    EXPECT_EQ(first.ReadLine(), "1\n");
    EXPECT_EQ(second.ReadLine(), "1\n");
    EXPECT_EQ(Lines(Ask("/z_status.cgi?user=admin").body)[1].substr(0, 6), "003C88");
    EXPECT_EQ(model->SetRight("guard", 0, Right::Monitor, true), "");
    EXPECT_EQ(first.ReadLine(), "2\n");
    EXPECT_NE(model->Rename(9, "Gate"), "");
    EXPECT_NE(model->Rename(0, "two\nlines"), "");
    EXPECT_TRUE(first.Silent(std::chrono::milliseconds(50))) << "nothing changed";
    service->Stop();
    EXPECT_EQ(first.ReadLine(), "3\n");
    EXPECT_EQ(first.ReadLine(), "");
    EXPECT_EQ(second.ReadToEnd(), "2\n3\n");
}

TEST_F(Notifications, BurstBecomesOneLineOfTheStrongerKind) {
    options.notifyPause = std::chrono::milliseconds(300);
    Start();
    RecorderClient client = Listen();
    EXPECT_EQ(model->Rename(0, "first"), "");
    EXPECT_EQ(client.ReadLine(), "2\n");
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(model->SetFlag(0, *FindStatusFlag("motion"), i % 2 == 0), "");
        EXPECT_EQ(model->Rename(0, "name " + std::to_string(i)), "");
    }
    EXPECT_EQ(client.ReadLine(), "2\n");
    service->Stop();
    EXPECT_EQ(client.ReadToEnd(), "3\n");
}

class Control : public ServiceTest {
protected:
    std::string Run(const std::string& line) { return RunControlCommand(*model, line, nullptr).text; }
};

TEST_F(Control, CommandsChangeTheState) {
    model->Begin(config);
    EXPECT_EQ(Run("rename 2  Back  door \r"), "ok\n");
    EXPECT_EQ(model->Current()->channels[2].config.name, "Back  door");
    EXPECT_EQ(Run("rename 2"), "ok\n");
    EXPECT_EQ(model->Current()->channels[2].config.name, "");
    EXPECT_EQ(Run("remove 1"), "ok\n");
    EXPECT_FALSE(model->Current()->Configured(1));
    EXPECT_EQ(Run("remove 1"), "error: the channel has no camera\n");
    EXPECT_EQ(Run("add"), "channel 1\nok\n");
    EXPECT_EQ(Run("add"), "channel 3\nok\n");
    EXPECT_EQ(model->Current()->channels[3].config.name, "Camera 4");
    EXPECT_EQ(Run("status 0 record on"), "ok\n");
    EXPECT_EQ(Run("status 0 connect off"), "ok\n");
    EXPECT_EQ(Run("status 0 d f"), "ok\n");
    EXPECT_EQ(model->Current()->channels[0].config.status, (StatusDigits{4, 0, 0, 15}));
    EXPECT_EQ(Run("rights guard 0 on audio"), "ok\n");
    EXPECT_TRUE(model->Current()->Authorize("guard", "night")->Has(Right::Audio, 0));
    EXPECT_EQ(Run("rights guard 1 off"), "ok\n");
    EXPECT_FALSE(model->Current()->Authorize("guard", "night")->Has(Right::Monitor, 1));
    EXPECT_NE(
        Run("list").find("0 \"Camera 1\" h264:640x480@15 mjpeg:176x144@5 record motion loss input alarm\n"),
        std::string::npos);
    EXPECT_EQ(Run("list").find("secret"), std::string::npos);
}

TEST_F(Control, NonsenseIsRefusedInWords) {
    model->Begin(config);
    const SnapshotPtr before = model->Current();
    for (const char* line : {"",
                             "  ",
                             "frobnicate",
                             "rename",
                             "rename x Gate",
                             "rename 200 Gate",
                             "rename 5 Gate",
                             "remove -1",
                             "status 0 record",
                             "status 0 record maybe",
                             "status 0 e 1",
                             "status 0 a 10",
                             "status 0 a g",
                             "status 7 record on",
                             "rights nobody 0 on",
                             "rights guard 0 on steering",
                             "rights guard 9 on",
                             "rights guard 0 perhaps",
                             "add 1",
                             "stop"}) {
        EXPECT_TRUE(Run(line).starts_with("error: ")) << line;
    }
    EXPECT_EQ(model->Current(), before);
    for (int i = 3; i < kMaxChannels; ++i) {
        EXPECT_TRUE(Run("add").ends_with("ok\n"));
    }
    EXPECT_EQ(Run("add"), "error: there are as many channels as there can be\n");
}

TEST_F(Control, SocketServesTheOwnerOnly) {
    const TempFolder folder;
    options.controlPath = folder.File("control");
    std::atomic<bool> stopped{false};
    options.onStop = [&] { stopped = true; };
    Start();
    EXPECT_EQ(std::filesystem::status(options.controlPath).permissions() & std::filesystem::perms(0177),
              std::filesystem::perms::none);
    EXPECT_EQ(SendControlCommand(options.controlPath, "rename 0 Gate"), "ok\n");
    EXPECT_EQ(model->Current()->channels[0].config.name, "Gate");
    EXPECT_TRUE(SendControlCommand(options.controlPath, "help").ends_with("ok\n"));
    EXPECT_THROW(SendControlCommand(options.controlPath, "rename 0 " + std::string(5000, 'x')), ConfigError);
    EXPECT_EQ(SendControlCommand(options.controlPath, "stop"), "ok\n");
    EXPECT_TRUE(WaitUntil([&] { return stopped.load(); }));

    // A second recorder leaves the first one's path alone.
    ServiceOptions other = options;
    EXPECT_THROW(RecorderService(model, other).Start(), ConfigError);
    EXPECT_EQ(SendControlCommand(options.controlPath, "rename 0 Door"), "ok\n");
    service.reset();
    EXPECT_FALSE(std::filesystem::exists(options.controlPath));
    EXPECT_THROW(SendControlCommand(options.controlPath, "list"), ConfigError);
    std::ofstream(options.controlPath) << "somebody's file";
    EXPECT_THROW(RecorderService(model, other).Start(), ConfigError);
    EXPECT_TRUE(std::filesystem::exists(options.controlPath));
}

TEST_F(Control, ReloadTakesOverWhatCanBeChanged) {
    model->Begin(config);
    config.users.pop_back();
    config.channels[0].name = "Gate";
    config.channels[1].source.file = "/missing";
    config.channels.pop_back();
    EXPECT_NE(model->Reload(config).find("channel 1: cannot read /missing"), std::string::npos);
    SnapshotPtr state = model->Current();
    EXPECT_EQ(state->users.size(), 1u);
    EXPECT_EQ(hub->Name(0), "Gate");
    ASSERT_EQ(state->channels.size(), 3u) << "positions keep their numbers";
    EXPECT_FALSE(state->Configured(2));

    config.channels = DemoChannels(5);
    config.channels[3].source.file = "/missing";
    EXPECT_NE(model->Reload(config).find("channel 3: cannot read /missing"), std::string::npos);
    state = model->Current();
    EXPECT_EQ(state->channels.size(), 3u);
    EXPECT_TRUE(state->Configured(2));
    EXPECT_THROW(RecorderModel(std::make_shared<FakeHub>()).Begin(config), ConfigError);
}

}  // namespace
}  // namespace kvtest
