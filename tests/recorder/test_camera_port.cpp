// The cameras' own port: who finds it, who gets pictures there, and their form to the letter.
#include <gmock/gmock.h>

#include <fstream>
#include <thread>

#include "service/control_commands.h"
#include "service_fixture.h"
#include "support/temp_folder.h"

namespace {

using namespace kvtest;

class CameraPortTest : public ServiceTest {
protected:
    CameraPortTest() {
        config.channels[1].camera.direct = true;
        config.channels[1].camera.user = "viewer";
        config.channels[1].camera.password = "lens";
        config.channels[2].camera.direct = true;
        config.channels[2].camera.videoUrl = "/eye";
        options.cameraAddress = "127.0.0.1";
    }
    void Begin() {
        Start();
        const std::string endpoint = service->CameraEndpoint();
        cameraPort = static_cast<std::uint16_t>(std::stoi(endpoint.substr(endpoint.rfind(':') + 1)));
    }
    int StatusOf(const std::string& target, const std::string& credentials) {
        return Fetch(cameraPort, Get(target, credentials)).status;
    }
    RecorderClient Watch(const std::string& target = "/camera/1/video.mjpg",
                         const std::string& credentials = "viewer:lens") {
        RecorderClient client(cameraPort);
        EXPECT_TRUE(client.Send(Get(target, credentials)));
        EXPECT_EQ(client.ReadHead(),
                  "HTTP/1.0 200 OK\r\nCache-Control: no-store\r\nConnection: close\r\n"
                  "Content-Type: multipart/x-mixed-replace; boundary=--picture\r\n\r\n");
        return client;
    }
    static std::string Part(std::size_t size, char fill) {
        return "--picture\r\nContent-Type: image/jpeg\r\nContent-Length: " + std::to_string(size) +
               "\r\n\r\n" + std::string(size, fill) + "\r\n\r\n";
    }
    std::string Command(const std::string& line) { return RunControlCommand(*model, line, {}).text; }

    std::uint16_t cameraPort = 0;
    std::atomic<bool> done{false};
};

TEST_F(CameraPortTest, TheDocumentsTellWhereItIs) {
    Begin();
    const auto records = [&](const std::string& target) {
        std::string all;
        for (const std::string& line : Lines(Ask(target).body)) {
            all += line.size() > 16 && line.find_first_not_of("0123456789ABCDEF") == std::string::npos
                       ? Unscramble(line) + "\n"
                       : "";
        }
        return all;
    };
    const std::string wanted = std::to_string(cameraPort);
    const std::string accounts = records("/cgi-bin/get_init_info.cgi");
    EXPECT_THAT(accounts,
                testing::HasSubstr(std::string(26, ' ') + "viewer" + std::string(28, ' ') + "lens"));
    EXPECT_THAT(accounts, testing::HasSubstr(std::string(6 - wanted.size(), ' ') + wanted));
    const std::string more = records("/cgi-bin/get_ext_info.cgi");
    EXPECT_THAT(more, testing::HasSubstr("http_video_url=\n"));  // of the channel that is not to be had there
    EXPECT_THAT(more, testing::HasSubstr("http_video_url=/camera/1/video.mjpg\n"));
    EXPECT_THAT(more, testing::HasSubstr("http_video_url=/eye\n"));
}

TEST_F(CameraPortTest, WantsThePlaceAndTheCamerasOwnLogin) {
    Begin();
    EXPECT_EQ(StatusOf("/camera/1/video.mjpg", "admin:secret"), 401);
    EXPECT_EQ(StatusOf("/camera/1/video.mjpg", "viewer:len"), 401);
    EXPECT_EQ(StatusOf("/camera/0/video.mjpg", "viewer:lens"), 404);
    EXPECT_EQ(StatusOf("/camera/2/video.mjpg", "viewer:lens"), 404) << "it has a place of its own";
    EXPECT_EQ(StatusOf("/cgi-bin/get_init_info.cgi", "admin:secret"), 404);
    EXPECT_EQ(Fetch(cameraPort, "HELLO\r\n\r\n").status, 400);
    EXPECT_EQ(Ask("/camera/1/video.mjpg").status, 404) << "not at the recorder's port";
    EXPECT_EQ(hub->Watchers(), 0u);
    RecorderClient client(cameraPort);
    EXPECT_TRUE(client.Send("GET /eye HTTP/1.0\r\n\r\n"));
    EXPECT_THAT(client.ReadHead(), testing::StartsWith("HTTP/1.0 200 OK\r\n")) << "no login is asked for";
}

TEST_F(CameraPortTest, SendsPicturesInTheFormThatClientsTake) {
    Begin();
    RecorderClient client = Watch();
    ASSERT_TRUE(kvtest::WaitUntil([&] { return hub->Watchers() == 1; }));
    std::string expected;
    for (const auto& [size, fill] : {std::pair{std::size_t{5}, 'a'}, std::pair{std::size_t{200'000}, 'b'}}) {
        hub->Push(1, 0, KeyPacket(9, 0, 'h'));  // the other stream's
        hub->Push(1, 1, KeyPacket(size, 0, fill));
        expected = Part(size, fill);
        EXPECT_EQ(client.Read(expected.size()), expected);
    }
    EXPECT_TRUE(client.Silent(std::chrono::milliseconds(20)));
}

TEST_F(CameraPortTest, FollowsWhatBecomesOfItsChannel) {
    Begin();
    RecorderClient client = Watch();
    EXPECT_EQ(Command("codec 1 mjpeg"), "ok\n");
    // The new source's first picture goes on in the same connection.
    const std::string expected = Part(7, 'n');
    ASSERT_TRUE(kvtest::WaitUntil([&] { return hub->Watchers() == 1; }));
    std::thread source([&] {
        while (!done) {
            hub->Push(1, 1, KeyPacket(7, 0, 'n'));
            std::this_thread::yield();
        }
    });
    EXPECT_EQ(client.Read(expected.size()), expected);
    done = true;
    source.join();
    EXPECT_EQ(Command("remove 1"), "ok\n");
    EXPECT_TRUE(client.WaitClosed());
    EXPECT_THAT(Command("codec 1 mjpeg"), testing::StartsWith("error: "));
    EXPECT_THAT(Command("codec 0 vp9"), testing::StartsWith("error: "));
    EXPECT_THAT(Command("codec 9 h264"), testing::StartsWith("error: "));

    RecorderClient second = Watch("/eye", "any:one");
    service->Stop();
    EXPECT_TRUE(second.WaitClosed());
}

TEST(CameraPortConfig, IsChecked) {
    const TempFolder folder;
    const auto load = [&](const std::string& text) {
        std::ofstream(folder.File("c.toml")) << text;
        try {
            return LoadConfig(folder.File("c.toml")).cameraListen;
        } catch (const ConfigError& failure) {
            return std::string(failure.what());
        }
    };
    const std::string channel = "[[channels]]\ncamera = { direct = true, video_url = \"/v\" }\n";
    EXPECT_EQ(load("camera_listen = \"127.0.0.1:0\"\n" + channel), "127.0.0.1:0");
    EXPECT_THAT(load(channel), testing::HasSubstr("camera_listen"));
    EXPECT_THAT(load("camera_listen = \"127.0.0.1:0\"\n[[channels]]\n"
                     "camera = { direct = true, video_url = \"v\" }\n"),
                testing::HasSubstr("video_url"));
}

}  // namespace
