// A recorder on a loopback port of the system's choice, with two users and channels of a test's own.
#pragma once

#include <gtest/gtest.h>

#include "fake_hub.h"
#include "recorder_client.h"
#include "service/recorder_service.h"
#include "support/wait_until.h"

namespace kvtest {

class ServiceTest : public testing::Test {
protected:
    // "admin:secret" may do everything, "guard:night" may watch channel 1 only.
    ServiceTest() {
        config.server.name = "North \xC3\xA9";
        config.users.push_back(MakeFullUser("admin", "secret"));
        config.users.push_back(User{"guard", "night", {}});
        config.users[1].rights[static_cast<std::size_t>(Right::Monitor)].set(1);
        config.channels = DemoChannels(3);
        for (ChannelConfig& channel : config.channels) {
            channel.audio = channel.talk = false;
        }
        options.notifyPause = std::chrono::milliseconds(1);
        config.server.logins.penalty = {};
    }
    void Start() {
        model->Begin(config);
        service = std::make_unique<RecorderService>(model, options);
        service->Start();
        port = service->Port();
    }
    HttpAnswer Ask(const std::string& target, const std::string& credentials = "admin:secret") {
        return Fetch(port, Get(target, credentials));
    }
    // A connection on which the head of a good reply was read.
    RecorderClient Open(const std::string& target, int receiveBuffer = 0,
                        const std::string& credentials = "admin:secret") {
        RecorderClient client(port, receiveBuffer);
        EXPECT_TRUE(client.Send(Get(target, credentials)));
        EXPECT_TRUE(client.ReadHead().starts_with("HTTP/1.0 200 OK\r\n"));
        return client;
    }

    RecorderConfig config;
    ServiceOptions options;
    std::shared_ptr<FakeHub> hub = std::make_shared<FakeHub>();
    std::shared_ptr<RecorderModel> model = std::make_shared<RecorderModel>(hub);
    std::unique_ptr<RecorderService> service;
    std::uint16_t port = 0;
};

}  // namespace kvtest
