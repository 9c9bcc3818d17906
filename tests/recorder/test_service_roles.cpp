// What a connection is there for, and the change from one role to the next.
#include <filesystem>

#include "connections/notify_role.h"
#include "service_fixture.h"
#include "support/temp_folder.h"

namespace kvtest {
namespace {

constexpr const char* kStream = "/cgi-bin/getstream.cgi?ch=1&stream_id=0 ";
constexpr const char* kWho = "admin 127.0.0.1";
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

TEST_F(Roles, ATalkerWhoSaysNothingIsClosed) {
    options.talkTime = std::chrono::milliseconds(50);
    Start();
    RecorderClient client = Open(kTalk);
    EXPECT_TRUE(client.WaitClosed(std::chrono::seconds(5)));
}

// Keeps what a role asks for.
class ToldLink final : public Link {
public:
    void Send(std::string_view text, PacketPtr) override {
        EXPECT_FALSE(sending) << "one thing at a time";
        said += text;
        sending = true;
    }
    bool Sending() const override { return sending; }
    void SetDeadline(TimePoint) override {}
    void SetTimer(TimePoint at) override { timer = at; }
    std::string PeerAddress() const override { return "127.0.0.1"; }
    void SetSendBuffer(int) override {}
    void SetReceiveBuffer(int) override {}
    void EndWith(std::string text) override { last = std::move(text); }
    void Linger() override {}
    void End() override {}
    std::function<void()> Waker() override {
        return [] {};
    }
    std::function<void()> Ender() override {
        return [] {};
    }

    void Sent(Role& role) {
        sending = false;
        role.OnSent();
    }

    bool sending = false;
    std::string said;
    std::string last;
    TimePoint timer{};
};

TEST(NotifyRoleAlone, SaysOneThingAtATimeAndItsLastOnceAllIsOut) {
    ToldLink link;
    Presence users;
    users.Arrive(kWho);
    users.OpenLine(kWho);  // of another connection
    NotifyRole role(link, users, {"head ", kWho, Change::None, std::chrono::hours(1)});
    role.Begin();
    role.OnChanged(Change::Status);
    role.OnChanged(Change::Configuration);
    role.OnChanged(Change::Status);
    EXPECT_EQ(link.said, "head ");
    link.Sent(role);
    EXPECT_EQ(link.said, "head 2\n");
    role.OnChanged(Change::Status);
    const auto before = std::chrono::steady_clock::now();
    link.Sent(role);
    EXPECT_EQ(link.said, "head 2\n") << "not so soon";
    EXPECT_GT(link.timer, before + std::chrono::minutes(59));

    link.sending = true;
    EXPECT_TRUE(role.OnShutdown());
    EXPECT_EQ(link.last, "");
    link.Sent(role);
    EXPECT_EQ(link.last, "3\n");

    const TimePoint later = std::chrono::steady_clock::now() + std::chrono::hours(3);
    users.CloseLine(kWho);
    EXPECT_FALSE(users.Arrive(kWho, later)) << "there by this connection";
    users.OpenLine(kWho);
    role.Release();
    role.Release();
    EXPECT_FALSE(users.Arrive(kWho, later)) << "the other one is left alone";
    users.CloseLine(kWho);
    EXPECT_TRUE(users.Arrive(kWho, later));
}

}  // namespace
}  // namespace kvtest
