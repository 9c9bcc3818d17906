// Requests to the interface that a recorder may have: what goes out, and which replies count.
#include <gtest/gtest.h>

#include <string>

#include "server/http/api_call.h"
#include "support/scripted_server.h"

using namespace kvmon;
using namespace kvtest;

namespace {

struct Answered {
    ApiReply reply;
    std::string request;
};

Answered Ask(const ScriptedServer::Script& script, const std::string& method = "GET",
             const std::string& body = {}, const std::string& password = "p") {
    FlagWord abort{0};
    ScriptedServer server(script);
    Answered answered;
    answered.reply =
        CallRecorderApi({"127.0.0.1", server.Port(), "u", password}, method, "/api/v1/x?y=1", body, abort);
    answered.request = server.Heads().empty() ? "" : server.Heads()[0];
    const std::string port = std::to_string(server.Port());
    if (const auto at = answered.request.find(port); at != std::string::npos) {
        answered.request.replace(at, port.size(), "PORT");
    }
    return answered;
}

ApiReply AskFor(const std::string& reply) {
    return Ask([&](Peer& peer) {
               peer.ReadHead();
               peer.Write(reply);
           })
        .reply;
}

}  // namespace

TEST(ApiCall, SendsOneRequestWithTheLoginInOneLine) {
    std::string sent;
    const auto script = [&](Peer& peer) {
        peer.ReadHead();
        sent = peer.Read(9);
        peer.Write(HttpReply(201, "Created", ""));
    };
    const Answered posted = Ask(script, "POST", "{\"a\": 12}");
    EXPECT_EQ(posted.request,
              "POST /api/v1/x?y=1 HTTP/1.0\r\nHost: 127.0.0.1:PORT\r\nAuthorization: Basic dTpw\r\n"
              "Content-Type: application/json\r\nContent-Length: 9\r\n\r\n");
    EXPECT_EQ(sent, "{\"a\": 12}");
    EXPECT_EQ(posted.reply.status, 201);
    const std::string request =
        Ask([](Peer& peer) { peer.ReadHead(); }, "GET", {}, std::string(100, 'x')).request;
    EXPECT_NE(request.find("Content-Length: 0\r\n"), std::string::npos);
    const auto login = request.find("Basic ");
    ASSERT_NE(login, std::string::npos);
    EXPECT_EQ(request.find('\n', login) - login, std::string("Basic ").size() + 136 + 1) << request;
}

TEST(ApiCall, TakesWholeReplies) {
    EXPECT_EQ(AskFor("HTTP/1.0 200 OK\r\nContent-Length: 3\r\n\r\nabcd").body, "abc");
    EXPECT_EQ(AskFor("HTTP/1.1 422 Unprocessable Content\r\nX: y\r\ncontent-length:  2\r\n\r\n{}").status,
              422);
    EXPECT_EQ(AskFor("HTTP/1.0 200 OK\r\n\r\nto the end").body, "to the end");
    EXPECT_EQ(AskFor("HTTP/1.0 204 No Content\r\n\r\n").status, 204);
    const std::string large(300'000, 'z');
    const Answered inPieces = Ask([&](Peer& peer) {
        peer.ReadHead();
        for (const char* const piece : {"HTT", "P/1.0 200 O", "K\r", "\nContent-Length: 300000\r\n\r"}) {
            peer.Write(piece);
            std::this_thread::sleep_for(milliseconds(2));
        }
        peer.Write("\n" + large);
    });
    EXPECT_EQ(inPieces.reply.body, large);
}

TEST(ApiCall, WhatIsNotWholeIsNoReply) {
    const std::string tooLong(4 * 1024 * 1024 + 1, 'z');
    for (const std::string& reply : {
             std::string(),
             std::string("nonsense\r\n\r\n"),
             std::string("HTTP/1.0 200 OK\r\nContent-Length: 3"),
             std::string("HTTP/1.0 200 OK\r\nContent-Length: 3\r\n\r\nab"),
             "HTTP/1.0 200 OK\r\nContent-Length: 4194305\r\n\r\n" + tooLong,
             "HTTP/1.0 200 OK\r\n\r\n" + tooLong,
             "HTTP/1.0 200 OK\r\n" + std::string(200'000, 'h'),
         }) {
        const ApiReply taken = AskFor(reply);
        EXPECT_TRUE(taken.status == 0 && taken.body.empty()) << reply.substr(0, 60);
    }
    EXPECT_EQ(AskFor("HTTP/1.0 200 OK\r\nContent-Length: -3\r\n\r\n").body, "");
}

TEST(ApiCall, EndsWithTheAbortFlagAndWhereNobodyListens) {
    FlagWord abort{0};
    ScriptedServer silent([&](Peer& peer) {
        peer.ReadHead();
        abort = 1;
        peer.Hold();
    });
    EXPECT_EQ(CallRecorderApi({"127.0.0.1", silent.Port(), "u", "p"}, "GET", "/x", {}, abort).status, 0);
    FlagWord none{0};
    EXPECT_EQ(CallRecorderApi({"127.0.0.1", UnusedPort(), "u", "p"}, "GET", "/x", {}, none).status, 0);
}
