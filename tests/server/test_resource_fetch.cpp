#include <gtest/gtest.h>

#include "platform/text.h"
#include "server/http/resource_fetch.h"
#include "support/scripted_server.h"

using namespace kvmon;
using namespace kvtest;

namespace {

struct Fetched {
    bool ok;
    std::string text;
    std::string request;
};

Fetched Fetch(const std::string& reply, FetchTransport transport, const std::string& user = "",
              const std::string& password = "") {
    ScriptedServer server([&](Peer& peer) {
        peer.ReadHead();
        peer.Write(reply);
    });
    std::vector<std::uint8_t> data;
    const std::string url = FormatText("http://127.0.0.1:%u/logomark.jpg?x=1", server.Port());
    Fetched result;
    result.ok = GetResourceFromURL(&data, url, "image/jpeg", user, password, transport);
    result.text.assign(data.begin(), data.end());
    const auto heads = server.Heads();
    result.request = heads.empty() ? "" : heads[0];
    const std::string port = std::to_string(server.Port());
    if (const auto at = result.request.find(port); at != std::string::npos) {
        result.request.replace(at, port.size(), "PORT");
    }
    return result;
}

}  // namespace

TEST(ResourceBySocket, SendsTheBareRequest) {
    const std::string reply = "HTTP/1.0 200 OK\r\nContent-length: 3\r\n\r\nabcdef";
    const Fetched plain = Fetch(reply, FetchTransport::Socket);
    EXPECT_TRUE(plain.ok);
    EXPECT_EQ(plain.text, "abc");
    EXPECT_EQ(plain.request,
              "GET /logomark.jpg?x=1 HTTP/1.0\r\nAccept */*\r\nHost: 127.0.0.1:PORT\r\n"
              "Content-type: image/jpeg\r\n\r\n");
    EXPECT_EQ(Fetch(reply, FetchTransport::Socket, "u", "p").request,
              "GET /logomark.jpg?x=1 HTTP/1.0\r\nAccept */*\r\nHost: 127.0.0.1:PORT\r\n"
              "Authorization: Basic dTpw\r\nContent-type: image/jpeg\r\n\r\n");
}

TEST(ResourceBySocket, RefusesNewerVersionsOtherStatusesAndBrokenReplies) {
    for (const char* reply : {
             "HTTP/1.1 200 OK\r\nContent-length: 3\r\n\r\nabc",
             "HTTP/1.0 404 Not Found\r\nContent-length: 3\r\n\r\nabc",
             "HTTP/1.0 200 OK\r\nContent-length: 4\r\n\r\nabc",
             "HTTP/1.0 200 OK\r\nContent-length: 4294967295\r\n\r\nabc",
             "HTTP/1.0 200 OK\r\nContent-length: 99999999999999999999\r\n\r\nabc",
             "HTTP/1.0 200 OK\r\n",
             "garbage\r\n\r\n",
             "",
         }) {
        EXPECT_FALSE(Fetch(reply, FetchTransport::Socket).ok) << reply;
    }
    EXPECT_FALSE(
        Fetch("HTTP/1.0 200 OK\r\nX: " + std::string(9000, 'x') + "\r\n\r\n", FetchTransport::Socket).ok);
    // No length, or one in other letters, is a length of 0.
    EXPECT_TRUE(Fetch("HTTP/1.0 200 OK\r\nContent-Length: 3\r\n\r\nabc", FetchTransport::Socket).ok);
    EXPECT_EQ(Fetch("HTTP/1.0 200 OK\r\nContent-Length: 3\r\n\r\nabc", FetchTransport::Socket).text, "");
}

TEST(ResourceByPlatform, TakesWhatTheSocketRefusesButNoOtherScheme) {
    const Fetched good = Fetch("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nabc", FetchTransport::Platform);
    EXPECT_TRUE(good.ok);
    EXPECT_EQ(good.text, "abc");
    EXPECT_TRUE(good.request.starts_with("GET /logomark.jpg?x=1 HTTP/1.0\r\n")) << good.request;
    EXPECT_EQ(good.request.find("Authorization"), std::string::npos);
    EXPECT_NE(good.request.find("User-Agent: KV Get Resource From URL/1.0\r\n"), std::string::npos);
    EXPECT_NE(good.request.find("Content-type: image/jpeg\r\n"), std::string::npos);
    for (const char* reply : {
             "HTTP/1.1 302 Found\r\nLocation: file:///etc/hostname\r\nContent-Length: 0\r\n\r\n",
             "HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n",
             "HTTP/1.1 200 OK\r\nContent-Length: 4294967296\r\n\r\nabc",
             "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nabc",
         }) {
        EXPECT_FALSE(Fetch(reply, FetchTransport::Platform).ok) << reply;
    }
    std::vector<std::uint8_t> data;
    for (const char* url : {"https://127.0.0.1/", "file:///etc/hostname", "ftp://127.0.0.1/x", "", "x",
                            "http://127.0.0.1:99999/", "http://127.0.0.1/a b\r\nX: y"}) {
        EXPECT_FALSE(GetResourceFromURL(&data, url, "", "", "", FetchTransport::Socket)) << url;
        EXPECT_FALSE(GetResourceFromURL(&data, url, "", "", "", FetchTransport::Platform)) << url;
    }
}

// A recorder that gets a request without them may count it as a failed login.
TEST(ResourceByPlatform, TheFirstRequestCarriesTheCredentials) {
    ScriptedServer server([](Peer& peer) {
        const bool bKnown = peer.ReadHead().find("Authorization: Basic dTpw\r\n") != std::string::npos;
        peer.Write(bKnown
                       ? "HTTP/1.0 200 OK\r\nContent-Length: 3\r\n\r\nabc"
                       : "HTTP/1.0 401 Unauthorized\r\nWWW-Authenticate: Digest realm=\"x\", nonce=\"y\"\r\n"
                         "WWW-Authenticate: Basic realm=\"x\"\r\nContent-Length: 0\r\n\r\n");
    });
    std::vector<std::uint8_t> data;
    EXPECT_TRUE(GetResourceFromURL(&data, FormatText("http://127.0.0.1:%u/emap.jpg", server.Port()),
                                   "image/jpeg", "u", "p", FetchTransport::Platform));
    ASSERT_EQ(server.Heads().size(), 1u);
    EXPECT_TRUE(server.Heads()[0].starts_with("GET /emap.jpg HTTP/1.0\r\n")) << server.Heads()[0];
}

TEST(ResourceFetch, AnAbortEndsASilentExchange) {
    for (const FetchTransport transport : {FetchTransport::Socket, FetchTransport::Platform}) {
        FlagWord abort{0};
        ScriptedServer server([&](Peer& peer) {
            peer.ReadHead();
            abort = 1;
            peer.Hold();
        });
        std::vector<std::uint8_t> data;
        const auto start = std::chrono::steady_clock::now();
        EXPECT_FALSE(GetResourceFromURL(&data, FormatText("http://127.0.0.1:%u/", server.Port()), "", "", "",
                                        transport, &abort));
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(4));
    }
}
