// What a connection is there for, and the change from one role to the next.
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>

#include "service_fixture.h"
#include "support/temp_folder.h"

namespace kvtest {
namespace {

constexpr const char* kStream = "/cgi-bin/getstream.cgi?ch=1&stream_id=0 ";
constexpr const char* kTalk = "/cgi-bin/putaudiostream.cgi?ch=0 ";

class Roles : public ServiceTest {
protected:
    Roles() {
        config.channels[0].talk = true;
        config.server.talkFolder = kept.Path();
        config.users[1].rights[static_cast<std::size_t>(Right::Talk)].set(0);
    }
    // The sound that is kept, in bytes of its samples; of all files.
    bool Kept(std::size_t bytes) {
        return WaitUntil([&] {
            std::size_t sum = 0;
            for (const auto& entry : std::filesystem::directory_iterator(kept.Path())) {
                sum += std::filesystem::file_size(entry) - 44;
            }
            return sum == bytes;
        });
    }

    TempFolder kept;
};

TEST_F(Roles, WhatChangedBeforeTheRequestIsToldWithTheFirstLine) {
    Start();
    RecorderClient client(port);
    ASSERT_TRUE(WaitUntil([&] { return service->Counters().connections == 1; }));
    EXPECT_EQ(model->Rename(1, "Gate"), "");
    EXPECT_EQ(model->SetFlag(0, *FindStatusFlag("record"), true), "");
    client.Send(Get("/cgi-bin/notify.cgi"));
    client.ReadHead();
    EXPECT_EQ(client.ReadLine(), "2\n");
    EXPECT_TRUE(client.Silent(std::chrono::milliseconds(50)));
}

TEST_F(Roles, ADelayEndsInWhatWasAskedForAsItIsByThen) {
    config.server.delayMs = 200;
    Start();
    RecorderClient watcher(port);
    watcher.Send(Get(kStream));
    RecorderClient listener(port);
    listener.Send(Get("/cgi-bin/notify.cgi"));
    RecorderClient talker(port);
    talker.Send(Get(kTalk) + "lost");
    EXPECT_TRUE(watcher.ReadHead().starts_with("HTTP/1.0 200 OK\r\n"));
    EXPECT_EQ(service->Counters().streams, 1u);
    hub->Push(1, 0, KeyPacket(100, 0));
    EXPECT_EQ(watcher.Read(56 + 100).size(), 156u);
    EXPECT_EQ(listener.ReadHead(), "HTTP/1.0 200 OK\r\n\r\n");
    EXPECT_TRUE(talker.ReadHead().starts_with("HTTP/1.0 200 OK\r\n"));
    talker.Send("kept");
    EXPECT_TRUE(Kept(16)) << "two samples a byte, and nothing of what came too early";

    RecorderClient late(port);
    late.Send(Get(kStream));
    EXPECT_EQ(model->Remove(1), "");
    EXPECT_TRUE(late.ReadToEnd().starts_with("HTTP/1.0 404")) << "the camera has gone meanwhile";
    EXPECT_TRUE(WaitUntil([&] { return service->Counters().streams == 0; }));
    EXPECT_EQ(hub->Watchers(), 0u);
}

TEST_F(Roles, ATalkIsHeardFromBehindTheHeadOnAndGivesWayToItsOwnUser) {
    Start();
    RecorderClient first(port);
    first.Send(Get(kTalk) + std::string(100, '\x5A'));
    EXPECT_TRUE(first.ReadHead().starts_with("HTTP/1.0 200 OK\r\n"));
    EXPECT_TRUE(Kept(400));
    first.Send(std::string(50, '\x5A'));
    EXPECT_TRUE(Kept(600));
    EXPECT_EQ(Ask(kTalk, "guard:night").status, 503);

    RecorderClient second = Open(kTalk);
    EXPECT_TRUE(first.WaitClosed());
    second.Send(std::string(50, '\x5A'));
    EXPECT_TRUE(Kept(800));
    EXPECT_EQ(model->SetRight("admin", 0, Right::Monitor, false), "");
    second.Send(std::string(50, '\x5A'));
    EXPECT_TRUE(Kept(1000)) << "it needs the right to talk alone";
    EXPECT_EQ(model->SetRight("admin", 0, Right::Talk, false), "");
    EXPECT_TRUE(second.WaitClosed());
    RecorderClient guard = Open(kTalk, 0, "guard:night");
}

TEST_F(Roles, ANewTalkPushesTheOldestOut) {
    namespace fs = std::filesystem;
    config.server.talkLimitMb = 1;
    const auto now = fs::file_time_type::clock::now();
    // Each hour's file, and one that is another's.
    for (const auto& [name, hours] :
         {std::pair("talk-ch0-1.wav", 3), {"talk-ch0-2.wav", 2}, {"notes.wav", 4}}) {
        const std::string path = kept.File(name);
        std::ofstream(path) << std::string(600'000, 'x');
        fs::last_write_time(path, now - std::chrono::hours(hours));
    }
    Start();
    RecorderClient client = Open(kTalk);
    EXPECT_FALSE(fs::exists(kept.File("talk-ch0-1.wav")));
    EXPECT_TRUE(fs::exists(kept.File("talk-ch0-2.wav")));
    EXPECT_TRUE(fs::exists(kept.File("notes.wav")));
}

TEST_F(Roles, ATalkerWhoSaysNothingIsClosed) {
    options.talkTime = std::chrono::milliseconds(50);
    Start();
    RecorderClient client = Open(kTalk);
    EXPECT_TRUE(client.WaitClosed(std::chrono::seconds(5)));
}

}  // namespace
}  // namespace kvtest
