#include "answers/http_request.h"
#include "service_fixture.h"
#include "state/text.h"

namespace kvtest {
namespace {

class Http : public ServiceTest {};

TEST(RequestHead, TakesWhatClientsSend) {
    const auto parse = [](const std::string& text) {
        RequestHead head;
        // Byte by byte, as a slow client would.
        RequestHead::State state = RequestHead::State::Incomplete;
        for (const char c : text) {
            state = head.Feed(std::string_view(&c, 1));
        }
        EXPECT_EQ(state, RequestHead::State::Complete) << text;
        return head.Parse();
    };
    const auto doubled = parse("GET /cgi-bin/getstream.cgi?ch=3&stream_id=1  HTTP/1.0\r\nHost: h\r\n\r\n");
    ASSERT_TRUE(doubled);
    EXPECT_EQ(doubled->path, "/cgi-bin/getstream.cgi");
    EXPECT_EQ(doubled->Number("ch", 0, 127), 3);
    EXPECT_EQ(doubled->Number("stream_id", 0, 0), std::nullopt);
    EXPECT_FALSE(doubled->hasAuthorization);

    const auto colonless = parse("GET /logomark.jpg HTTP/1.0\r\nAccept */*\r\nHost: h:80\r\n\r\n");
    ASSERT_TRUE(colonless);
    EXPECT_EQ(parse("GET /x?arg=10%20-3&y=%zz HTTP/1.1\n\n")->Text("arg"), "10 -3");

    // Credentials of 57 bytes and more carry a line feed after each 76 characters of their Base64 form.
    for (const std::size_t length : {56u, 57u, 90u}) {
        const std::string plain = "user:" + std::string(length - 5, 'p');
        std::string text = EncodeBase64(plain);
        if (text.size() >= 76) {
            text.insert(76, "\n");
        }
        RequestHead head;
        ASSERT_EQ(head.Feed("GET / HTTP/1.0\r\nAuthorization: Basic " + text + "\r\n\r\n"),
                  RequestHead::State::Complete);
        EXPECT_EQ(head.Parse()->password.View(), std::string(length - 5, 'p')) << length;
    }
}

TEST(ServiceText, DisplayTextIsUtf8WithoutControls) {
    for (const char* good : {"", "Tor 1", "\xC3\xBC \xE2\x82\xAC \xF0\x9F\x8E\xA5"}) {
        EXPECT_TRUE(IsDisplayText(good)) << good;
    }
    for (const char* bad : {"a\nb", "\x7F", "\xC3", "\xC0\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xFF"}) {
        EXPECT_FALSE(IsDisplayText(bad)) << bad;
    }
}

TEST_F(Http, UsersAndPathsAreChecked) {
    Start();
    const std::string info = "/cgi-bin/get_init_info.cgi";
    EXPECT_EQ(Ask(info).status, 200);
    for (const char* credentials :
         {"admin:wrong", "admin:", "admin:secretx", "Admin:secret", ":", "nobody:secret"}) {
        const HttpAnswer answer = Ask(info, credentials);
        EXPECT_EQ(answer.status, 401) << credentials;
        EXPECT_NE(answer.head.find("WWW-Authenticate: Basic"), std::string::npos);
    }
    EXPECT_EQ(Fetch(port, "GET " + info + " HTTP/1.0\r\n\r\n").status, 401);
    EXPECT_EQ(Fetch(port, "GET " + info + " HTTP/1.0\r\nAuthorization: Basic !!\r\n\r\n").status, 401);
    EXPECT_EQ(Ask("/nothing.cgi").status, 404);
    EXPECT_EQ(Ask("/cgi-bin/../get_init_info.cgi").status, 404);
    EXPECT_EQ(Ask("/nothing.cgi", "x:y").status, 401);
    std::string lines = "GET / HTTP/1.0\r\n";
    for (int i = 0; i < 70; ++i) {
        lines += "a: b\r\n";
    }
    for (const std::string& none :
         {std::string("POST / HTTP/1.0\r\n\r\n"), std::string("GET /\r\n\r\n"),
          std::string("GET / FTP/1.0\r\n\r\n"), std::string("GET x HTTP/1.0\r\n\r\n"),
          std::string("garbage\r\n\r\n"), std::string("\r\n\r\n"),
          std::string("GET /\0x HTTP/1.0\r\n\r\n", 20), lines, std::string(9000, 'x')}) {
        EXPECT_EQ(Fetch(port, none).status, 400) << none.substr(0, 20);
    }
    EXPECT_EQ(Ask("/cgi-bin/logout.cgi?logout=yes&display=no").body, "\n\n");

    const HttpAnswer logo = Fetch(port, "GET /logomark.jpg HTTP/1.0\r\nAccept */*\r\n\r\n");
    EXPECT_EQ(logo.status, 200);
    EXPECT_TRUE(logo.body.starts_with("\xFF\xD8\xFF"));
    EXPECT_TRUE(logo.body.ends_with("\xFF\xD9"));
    EXPECT_NE(logo.head.find("\r\nContent-length: " + std::to_string(logo.body.size()) + "\r\n"),
              std::string::npos);
}

TEST_F(Http, RootDecidesWhereTheDocumentsStand) {
    config.server.root = CgiRoot::Top;
    Start();
    EXPECT_EQ(Ask("/cgi-bin/get_init_info.cgi").status, 404);
    EXPECT_EQ(Ask("/get_init_info.cgi").status, 200);
    EXPECT_EQ(Ask("/cgi-bin/param.cgi?action=list&group=System").status, 200) << "clients know it there only";
    config.server.root = CgiRoot::CgiBin;
    EXPECT_EQ(model->Reload(config), "");
    EXPECT_EQ(Ask("/cgi-bin/get_init_info.cgi").status, 200);
    EXPECT_EQ(Ask("/get_init_info.cgi").status, 404);
}

TEST_F(Http, DelayHoldsADocumentAndAHalfClosedPeerStillGetsIt) {
    config.server.delayMs = 50;
    Start();
    RecorderClient client(port);
    const auto before = std::chrono::steady_clock::now();
    client.Send(Get("/get_init_info.cgi"));
    client.CloseSending();
    EXPECT_NE(client.ReadToEnd().find("----------//"), std::string::npos);
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(50));
}

TEST_F(Http, HalfRequestsEndAndDoNotKeepOthersOut) {
    options.headTime = std::chrono::milliseconds(300);
    config.server.maxConnections = 40;
    Start();
    std::vector<RecorderClient> half;
    for (int i = 0; i < 60; ++i) {
        half.emplace_back(port);
        half.back().Send("GET /cgi-bin/get_init");
    }
    EXPECT_EQ(Ask("/get_init_info.cgi").status, 200) << "the oldest unfinished ones make room";
    for (RecorderClient& client : half) {
        EXPECT_TRUE(client.WaitClosed());
    }
    EXPECT_TRUE(WaitUntil([&] { return service->Counters().connections == 0; }));
}

}  // namespace
}  // namespace kvtest
