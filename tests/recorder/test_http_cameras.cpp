// Cameras that send JPEG pictures by HTTP: real connections to servers that do what such cameras do.
#include <thread>

#include "camera_fixture.h"
#include "cameras/multipart_reader.h"
#include "http_camera.h"
#include "support/scripted_server.h"
#include "wire/frame_header.h"

namespace kvtest {
namespace {

using testing::Contains;
using testing::StartsWith;

std::string HttpUrlOf(const ScriptedServer& server, const std::string& path = "/video") {
    return "http://127.0.0.1:" + std::to_string(server.Port()) + path;
}

struct HttpForm {
    const char* name;
    std::string head;  // of the reply
    std::string before;
    std::function<std::string(const std::string& jpeg, int number)> part;
};

class HttpForms : public Cameras, public testing::WithParamInterface<HttpForm> {};

// Each picture comes whole and unchanged, and before the next one is sent.
TEST_P(HttpForms, GivePicturesAsTheyWere) {
    std::atomic<std::size_t> taken = 0;
    const ScriptedServer server([&](Peer& camera) {
        camera.ReadHead();
        camera.Write(GetParam().head + "\r\n\r\n" + GetParam().before);
        for (int i = 0; i < 12; ++i) {
            camera.Write(GetParam().part(TestJpeg(static_cast<std::size_t>(i)), i));
            WaitUntil([&] { return taken > static_cast<std::size_t>(i); });
        }
        camera.Hold();
    });
    m_hub->AddChannel("Door", Camera(HttpUrlOf(server)));
    Collector watcher;
    const auto sink = watcher.Sink();
    const auto subscription = m_hub->Subscribe(0, 0, [&](const PacketPtr& packet) {
        sink(packet);
        ++taken;
    });
    const auto packets = watcher.WaitFor(12);
    ASSERT_EQ(packets.size(), 12u) << testing::PrintToString(Lost());
    for (std::size_t i = 0; i < packets.size(); ++i) {
        EXPECT_EQ(packets[i]->fourcc, wire::kZIVG);
        EXPECT_EQ(packets[i]->width, 320);
        EXPECT_TRUE(packets[i]->key);
        EXPECT_TRUE(packets[i]->data == TestJpegs()[i]->data) << i;
    }
    EXPECT_THAT(Lost(), testing::IsEmpty());
    EXPECT_EQ(m_hub->Counters(0, 0).encoded, 0u);
}

std::string Length(std::size_t length) {
    return "Content-Length: " + std::to_string(length) + "\r\n";
}

INSTANTIATE_TEST_SUITE_P(
    All, HttpForms,
    testing::Values(
        HttpForm{"Plain", "HTTP/1.1 200 OK\r\nContent-Type: multipart/x-mixed-replace; boundary=frame", "",
                 [](const std::string& jpeg, int) {
                     return "--frame\r\nContent-Type: image/jpeg\r\n" + Length(jpeg.size()) + "\r\n" + jpeg +
                            "\r\n";
                 }},
        HttpForm{"QuotedBoundaryWithDashesAndNoLength",
                 "HTTP/1.0 200 OK\r\ncontent-type: Multipart/X-Mixed-Replace;boundary=\"--my boundary\"",
                 "junk\r\n",
                 [](const std::string& jpeg, int) { return "--my boundary\r\n\r\n" + jpeg + "\r\n"; }},
        HttpForm{"NoBoundaryBareLinesAndWrongLengths",
                 "HTTP/1.1 200 OK\r\nContent-Type: multipart/x-mixed-replace", "\n",
                 [](const std::string& jpeg, int i) {
                     return "--x\ncontent-length: " + std::to_string(i % 2 == 0 ? 100 : 99'999'999) +
                            "\nX-Time: 1:2\n\n" + jpeg + "\n";
                 }},
        HttpForm{"BoundaryWithoutDashesAmongOtherParts",
                 "HTTP/1.1 200 OK\r\nContent-Type: multipart/x-mixed-replace; boundary=BoundaryString", "",
                 [](const std::string& jpeg, int) {
                     return "BoundaryString\r\nContent-type: text/plain\r\n" + Length(5) +
                            "\r\nhello\r\nBoundaryString\r\nContent-type: image/jpeg\r\n\r\n\r\n" + jpeg +
                            std::string(7, '\0') + "\r\n";
                 }},
        HttpForm{
            "Chunked",
            "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\nContent-Type: multipart/mixed; boundary=--a",
            "",
            [](const std::string& jpeg, int) {
                const std::string part = "--a\r\nContent-Type: image/jpeg\r\n\r\n" + jpeg + "\r\n";
                char size[16];
                std::snprintf(size, sizeof size, "%zx\r\n", part.size());
                return size + part + "\r\n";
            }}),
    [](const auto& form) { return form.param.name; });

// However the bytes are cut on their way.
TEST(MultipartReader, GivesTheSameInPiecesOfAnySize) {
    std::string body;
    for (std::size_t i = 0; i < 4; ++i) {
        body += "--b\r\nContent-Type: image/jpeg\r\n\r\n" + TestJpeg(i) + "\r\n";
    }
    // One that was cut short does not spoil the next.
    body += "--b\r\n\r\n" + TestJpeg(4).substr(0, 2000) + "\r\n--b\r\n\r\n" + TestJpeg(5);
    for (const std::size_t step : {1u, 7u, 1000u, 1u << 20}) {
        MultipartReader reader("b");
        std::vector<std::size_t> sizes;
        for (std::size_t at = 0; at < body.size(); at += step) {
            const auto* const bytes = reinterpret_cast<const std::uint8_t*>(body.data()) + at;
            reader.Add({bytes, std::min(step, body.size() - at)});
            while (const auto part = reader.Next()) {
                sizes.push_back(part->body.size());
            }
        }
        EXPECT_THAT(sizes, testing::ElementsAre(TestJpeg(0).size(), TestJpeg(1).size(), TestJpeg(2).size(),
                                                TestJpeg(3).size(), 2000, TestJpeg(5).size()))
            << step;
    }
}

TEST_F(Cameras, SinglePicturesAreAskedForAtTheirInterval) {
    const ScriptedServer server([](Peer& camera) {
        for (std::size_t i = 0;; ++i) {
            const std::string head = camera.ReadHead();
            if (head.empty()) {
                return;
            }
            const std::string jpeg = TestJpeg(i);
            camera.Write(HasDigest(head, "guard", "ses:ame")
                             ? "HTTP/1.1 200 OK\r\nContent-Type: image/jpeg\r\n" + Length(jpeg.size()) +
                                   "\r\n" + jpeg
                             : kDigestWanted);
        }
    });
    SourceConfig source = Camera(HttpUrlOf(server, "/snap.jpg?size=1"));
    source.network.user = "guard";
    source.network.password = "ses:ame";
    source.network.interval = milliseconds(100);
    m_hub->AddChannel("Door", source);
    Collector watcher;
    const auto subscription = m_hub->Subscribe(0, 0, watcher.Sink());
    const auto packets = watcher.WaitFor(11);
    ASSERT_EQ(packets.size(), 11u) << testing::PrintToString(Lost());
    EXPECT_GE(packets[10]->timeMs - packets[0]->timeMs, 900);
    EXPECT_EQ(Decode(packets).size(), 11u);
    EXPECT_EQ(server.ConnectionCount(), 1) << "kept for the next picture";
    for (const std::string& head : server.Heads()) {
        EXPECT_THAT(head, StartsWith("GET /snap.jpg?size=1 "));
        EXPECT_THAT(head, testing::Not(testing::HasSubstr("ses:ame")));
    }
}

TEST_F(Cameras, WhatIsWrongWithAnHttpCameraIsToldInWords) {
    const std::string multipart =
        "HTTP/1.1 200 OK\r\nContent-Type: multipart/x-mixed-replace; boundary=b\r\n\r\n";
    const std::string part = "--b\r\n\r\n" + TestJpeg(0);
    const struct {
        std::string reply;
        bool held;  // the connection, else it is closed
        const char* words;
    } cases[] = {
        {"HTTP/1.1 401 No\r\nContent-Length: 0\r\n\r\n", true, "the camera refuses the user or the password"},
        {"HTTP/1.1 403 No\r\n\r\n", true, "the camera refuses the user or the password"},
        {"HTTP/1.1 404 No\r\nContent-Length: 0\r\n\r\n", true, "the camera knows no such path"},
        {"HTTP/1.1 302 Go\r\nLocation: http://127.0.0.1:1/\r\nContent-Length: 0\r\n\r\n", true,
         "the camera leads on to another address"},
        {"HTTP/1.1 503 Busy\r\nContent-Length: 0\r\n\r\n", true, "the camera refuses to send pictures"},
        {"HTTP/1.1 200 OK\r\nContent-Type: text/html\r\n\r\n<html>", true,
         "what the camera sends (text/html) is none that can be passed on"},
        {"HTTP/1.1 200 OK\r\nContent-Type: image/jpeg\r\nContent-Length: 3\r\n\r\nabc", true,
         "the camera's answer cannot be understood"},
        {"RTSP/1.0 200 OK\r\n\r\n", false, "the camera's answer cannot be understood"},
        {"", false, "the camera closed the connection"},
        {"", true, "the camera does not answer"},
        {multipart + part, false, "the camera closed the connection; the last picture is 0 s old"},
        {multipart + part, true, "the camera sends no pictures any more; the last picture is "},
        {multipart + "--b\r\n" + std::string(20'000, 'x'), true, "the camera's answer cannot be understood"},
        {multipart + "--b\r\n\r\n\xFF\xD8\xFF" + std::string(17 << 20, 'x'), true,
         "the camera's answer cannot be understood"},
        {multipart.substr(0, multipart.size() - 2) + "X-Long: " + std::string(400'000, 'x'), true,
         "the camera's answer cannot be understood"}};
    for (const auto& test : cases) {
        const ScriptedServer server([&](Peer& camera) {
            camera.ReadHead();
            camera.Write(test.reply);
            if (test.held) {
                camera.Hold();
            }
        });
        SourceConfig source = Camera(HttpUrlOf(server));
        source.network.user = "guard";
        source.network.password = "sesame";
        const int channel = m_hub->AddChannel("Door", source);
        Collector watcher;
        const auto subscription = m_hub->Subscribe(channel, 0, watcher.Sink());
        EXPECT_TRUE(WaitUntil([&] {
            const auto lost = Lost();
            return std::any_of(lost.begin(), lost.end(),
                               [&](const std::string& words) { return words.starts_with(test.words); });
        })) << test.words
            << testing::PrintToString(Lost());
        const std::lock_guard lock(m_mutex);
        m_lost.clear();
    }
}

TEST_F(Cameras, AnHttpCameraThatGoesAwayComesBack) {
    const ScriptedServer server([](Peer& camera) {
        camera.ReadHead();
        camera.Write("HTTP/1.1 200 OK\r\nContent-Type: multipart/x-mixed-replace; boundary=b\r\n\r\n");
        for (std::size_t i = 0; i < 3; ++i) {
            camera.Write("--b\r\n\r\n" + TestJpeg(i) + "\r\n");
        }
        if (camera.Number() % 2 == 0) {
            camera.Reset();
        }
    });
    m_hub->AddChannel("Door", Camera(HttpUrlOf(server)));
    Collector watcher;
    const auto subscription = m_hub->Subscribe(0, 0, watcher.Sink());
    EXPECT_GE(watcher.WaitFor(12).size(), 12u);
    EXPECT_TRUE(WaitUntil([&] {
        const auto lost = Lost();
        return std::find(lost.begin(), lost.end(), "back") != lost.end();
    }));
    EXPECT_THAT(Lost(), Contains(StartsWith("the camera closed the connection")));
}

}  // namespace
}  // namespace kvtest
