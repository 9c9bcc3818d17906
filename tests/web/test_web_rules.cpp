// The web host's rules, without a socket: who gets what, what is a message, what is a call.
#include <gmock/gmock.h>

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

#include "audio/sound_in.h"
#include "platform/event.h"
#include "web/host/web_access.h"
#include "web/host/web_settings.h"
#include "web/host/web_socket_frames.h"
#include "web/platform/remote_display.h"
#include "web/session/json_rpc.h"
#include "web/session/page_keys.h"
#include "web/session/page_protocol.h"
#include "web/session/page_sound.h"
#include "web/session/tile_encoder.h"

using namespace kvmon;
using testing::HasSubstr;

namespace {

HttpRequest Request(const std::string& target, const std::string& headers) {
    const auto request = ParseHttpRequest("GET " + target + " HTTP/1.1\r\n" + headers);
    return request.value_or(HttpRequest{});
}

std::vector<std::uint8_t> Masked(std::uint8_t head, const std::string& payload, std::size_t claimed) {
    std::vector<std::uint8_t> frame{head};
    if (claimed < 126) {
        frame.push_back(static_cast<std::uint8_t>(0x80 | claimed));
    } else {
        frame.push_back(0x80 | 127);
        for (int i = 7; i >= 0; --i) {
            frame.push_back(static_cast<std::uint8_t>(std::uint64_t{claimed} >> (8 * i)));
        }
    }
    const std::uint8_t mask[] = {1, 2, 3, 4};
    frame.insert(frame.end(), std::begin(mask), std::end(mask));
    for (std::size_t i = 0; i < payload.size(); ++i) {
        frame.push_back(static_cast<std::uint8_t>(static_cast<std::uint8_t>(payload[i]) ^ mask[i % 4]));
    }
    return frame;
}

std::vector<std::uint8_t> Masked(std::uint8_t head, const std::string& payload) {
    return Masked(head, payload, payload.size());
}

using Result = WsFrameReader::Result;

Result ReadAll(const std::vector<std::uint8_t>& bytes, std::string& text, WsClose& failure) {
    WsFrameReader reader(1000);
    WsFrameReader::Message message;
    Result last = Result::NeedMore;
    for (const std::uint8_t byte : bytes) {  // the worst way for them to come
        reader.Feed({&byte, 1});
        while ((last = reader.Next(message)) == Result::Message) {
            text.append(message.payload.begin(), message.payload.end());
            text += message.opcode == WsOpcode::Ping ? "(ping)" : ";";
        }
        failure = reader.Failure();
    }
    return last;
}

}  // namespace

TEST(WebAccess, OnlyKnownPagesWithTheTokenGetASession) {
    const std::string token = MakeToken();
    EXPECT_EQ(token.size(), 32u);
    EXPECT_NE(token, MakeToken());
    const WebAccess access("127.0.0.1", 8450, {"https://Intranet.example/"}, token);
    const std::string right = "/control?token=" + token;
    const std::string host = "Host: 127.0.0.1:8450\r\n";
    EXPECT_TRUE(access.MayHaveSession(Request(right, host + "Origin: http://127.0.0.1:8450\r\n")));
    EXPECT_TRUE(
        access.MayHaveSession(Request(right, "Host: LOCALHOST:8450\r\nOrigin: http://localhost:8450\r\n")));
    EXPECT_TRUE(access.MayHaveSession(Request(right, host + "Origin: https://intranet.example\r\n")));
    EXPECT_TRUE(access.MayHaveSession(Request(right, host)));  // no browser
    for (const char* const origin : {"http://evil.example", "null", "https://intranet.example.evil",
                                     "http://127.0.0.1:8451", "https://127.0.0.1:8450"}) {
        EXPECT_FALSE(access.MayHaveSession(Request(right, host + "Origin: " + origin + "\r\n"))) << origin;
    }
    // A name of somebody's that was turned to this address.
    EXPECT_FALSE(
        access.MayHavePage(Request("/", "Host: evil.example:8450\r\nOrigin: http://evil.example:8450\r\n")));
    EXPECT_FALSE(access.MayHaveScript(Request("/kvmon.js", host + "Referer: http://evil.example/x\r\n")));
    EXPECT_FALSE(access.MayHaveScript(Request("/kvmon.js", host + "Sec-Fetch-Site: cross-site\r\n")));
    EXPECT_TRUE(access.MayHaveScript(Request(
        "/kvmon.js", host + "Referer: https://intranet.example/x\r\nSec-Fetch-Site: cross-site\r\n")));
    for (const std::string& wrong :
         {std::string("/control"), right + "0", right.substr(0, right.size() - 1),
          std::string("/control?token="), std::string("/control?Token=") + token}) {
        EXPECT_FALSE(access.MayHaveSession(Request(wrong, host))) << wrong;
    }
    const WebAccess open("0.0.0.0", 80, {}, token);
    EXPECT_FALSE(open.MayHavePage(Request("/", "Host: 192.0.2.4\r\n")));
    EXPECT_TRUE(open.MayHavePage(Request("/?token=" + token, "Host: 192.0.2.4\r\n")));
    EXPECT_FALSE(open.MayHavePage(Request("/?token=" + token, "Host: dead.beef\r\n")));
}

TEST(WebAccess, WhatIsNoRequestIsRefused) {
    for (const char* const head :
         {"", "GET", "GET / SPDY", "GET http://x/ HTTP/1.1", "GET / HTTP/1.1\r\nno colon",
          "GET / HTTP/1.1\r\nHost: a\r\nhost: b", "GET / HTTP/1.1\r\n: x"}) {
        EXPECT_FALSE(ParseHttpRequest(head)) << head;
    }
    EXPECT_FALSE(ParseHttpRequest("GET /" + std::string(kMaxRequestHead, 'a') + " HTTP/1.1"));
    const HttpRequest request = Request("/a?x=%41+b&y", "");
    EXPECT_EQ(request.path, "/a");
    EXPECT_EQ(request.query.at("x"), "A b");
}

TEST(WebSettings, AddressesAndOrders) {
    std::string address;
    std::uint16_t port = 0;
    EXPECT_TRUE(ParseServeAddress("8450", address, port));
    EXPECT_EQ(address, "127.0.0.1");
    EXPECT_TRUE(ParseServeAddress("[::1]:0", address, port));
    EXPECT_EQ(address, "::1");
    for (const char* const wrong : {"", "a:b", "127.0.0.1:", "127.0.0.1:65536", "::1:80", "1:-1"}) {
        EXPECT_FALSE(ParseServeAddress(wrong, address, port)) << wrong;
    }
    SessionOrder order;
    order.key = "k";
    order.defaults.auth = "QTpC\n";
    order.defaults.language = 3;
    const auto read = ReadSessionOrder(WriteSessionOrder(order));
    ASSERT_TRUE(read);
    EXPECT_EQ(read->defaults.auth, order.defaults.auth);
    EXPECT_EQ(read->defaults.language, 3);
    EXPECT_FALSE(ReadSessionOrder("{"));
}

TEST(WebSocketFrames, MessagesComeWholeWhateverTheirPieces) {
    EXPECT_EQ(WsAcceptKey("dGhlIHNhbXBsZSBub25jZQ=="), "s3pPLMBiTxaQ9kYGzzhZRbK+xOo=");
    std::vector<std::uint8_t> bytes;
    for (const auto& frame : {Masked(0x81, "one"), Masked(0x01, "tw"), Masked(0x89, "p"), Masked(0x80, "o"),
                              Masked(0x82, std::string(200, 'x'))}) {
        bytes.insert(bytes.end(), frame.begin(), frame.end());
    }
    std::string text;
    WsClose failure{};
    EXPECT_EQ(ReadAll(bytes, text, failure), Result::NeedMore);
    EXPECT_EQ(text, "one;p(ping)two;" + std::string(200, 'x') + ";");
}

TEST(WebSocketFrames, HostileFramesEndIt) {
    std::vector<std::uint8_t> fragments = Masked(0x01, std::string(100, 'a'));
    for (int i = 0; i < 10; ++i) {
        const auto more = Masked(0x00, std::string(100, 'a'));
        fragments.insert(fragments.end(), more.begin(), more.end());
    }
    // Nothing at all, in many pieces.
    std::vector<std::uint8_t> empty = Masked(0x01, "");
    for (std::size_t i = 0; i < 1000 / WsFrameReader::kPieceCost + 1; ++i) {
        const auto more = Masked(0x00, "");
        empty.insert(empty.end(), more.begin(), more.end());
    }
    std::vector<std::uint8_t> open = Masked(0x01, "a");
    const auto second = Masked(0x81, "b");
    open.insert(open.end(), second.begin(), second.end());
    const struct {
        std::vector<std::uint8_t> bytes;
        WsClose failure;
    } cases[] = {
        {{0x81, 0x01, 'a'}, WsClose::ProtocolError},  // not masked
        {Masked(0xC1, "a"), WsClose::ProtocolError},
        {Masked(0x83, "a"), WsClose::ProtocolError},
        {Masked(0x80, "a"), WsClose::ProtocolError},  // continues nothing
        {open, WsClose::ProtocolError},
        {Masked(0x09, "a"), WsClose::ProtocolError},  // a ping in pieces
        {Masked(0x89, "", 200), WsClose::ProtocolError},
        {Masked(0x82, "", std::size_t{1} << 62), WsClose::TooLarge},
        {fragments, WsClose::TooLarge},
        {empty, WsClose::TooLarge},
        {Masked(0x81, "\xC0\x80"), WsClose::BadText},
    };
    for (const auto& one : cases) {
        std::string text;
        WsClose failure{};
        EXPECT_EQ(ReadAll(one.bytes, text, failure), Result::Failed);
        EXPECT_EQ(failure, one.failure);
        EXPECT_EQ(text, "");
    }
}

TEST(JsonRpc, CallsGoToMembersAndNothingElse) {
    std::vector<std::string> calls;
    const MemberCall call = [&](const AutomationMember& member, std::span<const Variant> arguments) {
        const std::string name = member.name;
        calls.push_back(name + "/" + std::to_string(arguments.size()));
        return name == "SetLanguage" ? CallResult{CallStatus::BadArguments, {}}
                                     : CallResult{CallStatus::Ok, std::string("<b>")};
    };
    const auto answer = [&](const std::string& text) { return AnswerJsonRpc(text, call); };
    const auto request = [](const std::string& rest) { return R"({"jsonrpc":"2.0",)" + rest + "}"; };
    EXPECT_THAT(answer(request(R"("id":1,"method":"get.ServerIP")")), HasSubstr(R"("result":"<b>")"));
    EXPECT_THAT(answer(request(R"("id":"x","method":"Login","params":["u",null]))")), HasSubstr("-32700"));
    EXPECT_EQ(answer(request(R"("method":"Login","params":["u"])")), "");
    EXPECT_THAT(answer(request(R"("id":1,"method":"SetLanguage","params":[1])")), HasSubstr("-32602"));
    EXPECT_THAT(calls, testing::ElementsAre("ServerIP/0", "Login/1", "SetLanguage/1"));
    calls.clear();
    for (const auto& [text, code] : std::vector<std::pair<std::string, std::string>>{
             {request(R"("id":1,"method":"get.Login")"), "-32601"},
             {request(R"("id":1,"method":"NotifyLogin")"), "-32601"},
             {request(R"("id":1,"method":"get.constructor")"), "-32601"},
             {request(R"("id":1,"method":"Login","params":{"a":1})"), "-32602"},
             {request(R"("id":1,"method":"Login","params":[[]])"), "-32602"},
             {request(R"("id":{},"method":"Login")"), "-32600"},
             {R"({"id":1,"method":"Login"})", "-32600"},
             {"[]", "-32600"},
             {"7", "-32700"},
             {std::string(5000, '['), "-32700"},
         }) {
        EXPECT_THAT(answer(text), HasSubstr(code)) << text.substr(0, 80);
    }
    EXPECT_TRUE(calls.empty());
    const std::string batch = answer("[" + request(R"("id":1,"method":"IELogout")") + "," +
                                     request(R"("method":"IELogout")") + ",3]");
    EXPECT_EQ(QJsonDocument::fromJson(QByteArray::fromStdString(batch)).array().size(), 2);
}

TEST(PageProtocol, WhatIsNoMessageIsToldSo) {
    RemoteDisplay& display = RemoteDisplay::Instance();
    const auto kind = [&](std::vector<std::uint8_t> bytes) { return ReadPageMessage(display, bytes).kind; };
    using Kind = PageMessage::Kind;
    EXPECT_EQ(kind({}), Kind::Wrong);
    EXPECT_EQ(kind({1, 0xE8, 3, 0xA8}), Kind::Wrong);
    EXPECT_EQ(kind({2, 0, 0, 0, 0, 0}), Kind::None);
    EXPECT_EQ(kind({2, 0xFF, 0x7F, 0, 0x80, 0xFF}), Kind::None);
    EXPECT_EQ(kind({3, 0, 0, 0, 0, 7, 1, 0}), Kind::Wrong);  // no such button
    EXPECT_EQ(kind({3, 0, 0, 0, 0, 0, 0, 0, 1}), Kind::None);
    EXPECT_EQ(kind({3, 0, 0, 0, 0, 0, 0, 0, 2}), Kind::Wrong);  // neither a mouse nor a finger
    EXPECT_EQ(kind({3, 0, 0, 0, 0, 0, 0, 0, 1, 0}), Kind::Wrong);
    EXPECT_EQ(kind({5, 1, 0, 0}), Kind::Wrong);  // no name
    EXPECT_EQ(kind({5, 1, 0, 0, 0xFF}), Kind::Wrong);
    std::vector<std::uint8_t> longKey{5, 1, 0, 0};
    longKey.resize(200, 'a');
    EXPECT_EQ(kind(longKey), Kind::Wrong);
    EXPECT_EQ(kind({200}), Kind::Wrong);
    EXPECT_EQ(kind({7, 1}), Kind::None);
    EXPECT_EQ(kind({7, 0, 1}), Kind::None);
    EXPECT_EQ(kind({7, 1, 3}), Kind::Wrong);
    EXPECT_EQ(kind({13}), Kind::NoMicrophone);
    EXPECT_EQ(kind({13, 0}), Kind::Wrong);
    const PageMessage behind = ReadPageMessage(display, std::vector<std::uint8_t>{7, 1, 2});
    EXPECT_TRUE(behind.kind == Kind::Entered && behind.bFromBehind);
    const PageMessage size = ReadPageMessage(display, std::vector<std::uint8_t>{1, 0xE8, 3, 0xA8, 2});
    EXPECT_EQ(size.size, QSize(1000, 680));
    display.SetSize({100000, 1}, 1);
    EXPECT_EQ(display.Size(), QSize(RemoteDisplay::kMaxSide, RemoteDisplay::kMinSide));
}

TEST(PageSound, APageThatGivesNothingEndsTheRecording) {
    const auto page =
        std::make_shared<PageSound>(PageSound::Patience{.silent = std::chrono::milliseconds(50)});
    std::vector<bool> asked;
    page->SetSession({{}, [&](bool bOn) { asked.push_back(bOn); }});
    CSoundIn recording(page->MakeHost().input);
    Event heard;
    Event failed;
    recording.SetCallback([&](std::span<const std::int16_t>) {
        heard.Set();
        return true;
    });
    recording.SetFailed([&] { failed.Set(); });
    ASSERT_TRUE(recording.Start());
    page->Take(std::vector<std::int16_t>(2000, 7));
    EXPECT_TRUE(heard.Wait(Milliseconds(10000)));
    ASSERT_TRUE(failed.Wait(Milliseconds(10000))) << "nothing more came";
    EXPECT_EQ(asked, (std::vector<bool>{true, false})) << "the page need not record any more";
    // An end that was asked for is no failure.
    failed.Reset();
    CSoundIn other(page->MakeHost().input);
    other.SetCallback([](std::span<const std::int16_t>) { return true; });
    other.SetFailed([&] { failed.Set(); });
    ASSERT_TRUE(other.Start());
    other.Stop();
    while (!other.IsEnded()) {
        std::this_thread::sleep_for(Milliseconds(1));
    }
    EXPECT_FALSE(failed.IsSet());
}

TEST(PageKeys, NamesAreThoseOfTheBrowserBothWays) {
    constexpr int kControl = static_cast<int>(Qt::ControlModifier);
    for (const auto& [key, name] : std::vector<std::pair<int, std::string>>{{Qt::Key_F1, "F1"},
                                                                            {Qt::Key_F24, "F24"},
                                                                            {Qt::Key_PageDown, "PageDown"},
                                                                            {Qt::Key_Q, "q"},
                                                                            {Qt::Key_Plus, "+"}}) {
        EXPECT_EQ(NameOfKey(key), name);
        EXPECT_EQ(NameOfKey(key | kControl), "Control+" + name);
        EXPECT_EQ(KeyOfName(name).key, key);
    }
    for (const char* const name : {"F0", "F25", "F01", "F1x", "Fx", "F1111111111111", "Unidentified"}) {
        EXPECT_EQ(KeyOfName(name).key, 0) << name;
    }
    EXPECT_EQ(NameOfKey(Qt::Key_VolumeUp), "");
}

TEST(TileEncoder, TilesAreThePicturesPart) {
    QImage picture(64, 48, QImage::Format_RGB32);
    picture.fill(Qt::black);
    const QRect part(5, 7, 33, 21);
    for (int y = part.top(); y <= part.bottom(); ++y) {
        for (int x = part.left(); x <= part.right(); ++x) {
            picture.setPixel(x, y, qRgb(200, 100, 50));
        }
    }
    TileEncoder encoder;
    std::vector<std::uint8_t> bytes{9, 9};
    ASSERT_TRUE(encoder.AppendJpeg(picture, part, 80, bytes));
    const QImage jpeg = QImage::fromData(bytes.data() + 2, static_cast<int>(bytes.size() - 2));
    ASSERT_EQ(jpeg.size(), part.size());
    EXPECT_NEAR(qRed(jpeg.pixel(32, 20)), 200, 4);
    EXPECT_NEAR(qBlue(jpeg.pixel(0, 0)), 50, 4);
    bytes.clear();
    ASSERT_TRUE(TileEncoder::AppendPng(picture, part, bytes));
    EXPECT_EQ(
        QImage::fromData(bytes.data(), static_cast<int>(bytes.size())).convertToFormat(QImage::Format_RGB32),
        picture.copy(part));
}
