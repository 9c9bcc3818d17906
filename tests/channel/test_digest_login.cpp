// A camera's login that does not send the password.
#include <gmock/gmock.h>

#include "channel/stream/digest_login.h"
#include "direct_camera.h"
#include "persist/utilities.h"

namespace kvmon {
namespace {

using kvtest::DirectCamera;
using kvtest::Jpeg;
using kvtest::kAtEase;
using kvtest::kGood;
using kvtest::Part;
using kvtest::Peer;
using kvtest::Repeat;
using kvtest::ScriptedServer;

std::string Field(const std::string& head, const std::string& name) {
    const std::size_t at = head.find(" " + name + "=\"");
    if (at == std::string::npos) {
        return {};
    }
    const std::size_t begin = at + name.size() + 3;
    return head.substr(begin, head.find('"', begin) - begin);
}

TEST_F(DirectCamera, LogsInAsTheCameraWantsIt) {
    fakeClock.SetSocketRound(kAtEase);
    ScriptedServer device([part = Part(Jpeg(80, 60, 40))](Peer& peer) {
        const std::string head = peer.ReadHead();
        const std::string secret = MD5String("viewer:A \"door\":pass");
        const std::string what = MD5String("GET:" + Field(head, "uri"));
        const std::string response =
            MD5String(secret + ":n0nce=:00000001:" + Field(head, "cnonce") + ":auth:" + what);
        if (head.find("Authorization: Digest ") == std::string::npos || Field(head, "response") != response ||
            Field(head, "opaque") != "o,p" || head.find("GET " + Field(head, "uri") + " ") != 0) {
            peer.Write(
                "HTTP/1.1 401 Unauthorized\r\nWWW-Authenticate: Basic realm=\"x\"\r\n"
                "WWW-Authenticate: Digest realm=\"A \\\"door\\\"\", nonce=\"n\", algorithm=SHA-256, "
                "qop=\"auth\"\r\n"
                "www-authenticate: digest realm=\"A \\\"door\\\"\",qop=\"auth-int, auth\", nonce=\"n0nce=\", "
                "opaque=\"o,p\", algorithm=MD5\r\n\r\n");
            return;
        }
        peer.Write(kGood);
        Repeat(peer, part);
    });
    ScriptedServer recorder([](Peer& peer) { peer.Hold(); }, "getstream.cgi");
    Play(SettingsFor(device.Port(), recorder.Port()), fakeClock);
    ASSERT_TRUE(Shown(2));
    EXPECT_EQ(device.ConnectionCount(), 2);
    EXPECT_EQ(Line(SubString::StreamFrom), "Stream From: Camera");
}

TEST(DigestLogin, AnswersAsPublished) {
    // The example of RFC 2617, one of a session, and a challenge of the older form.
    const auto first = AnswerDigestChallenge(
        "Digest realm=\"testrealm@host.com\", qop=\"auth,auth-int\", "
        "nonce=\"dcd98b7102dd2f0e8b11d0f600bfb0c093\", opaque=\"5ccc069c403ebaf9f0171e9517f40e41\"",
        {"GET", "/dir/index.html", "Mufasa", "Circle Of Life", "0a4f113b"});
    ASSERT_TRUE(first);
    EXPECT_EQ(Field(*first, "response"), "6629fae49393a05397450978507c4ef1");
    EXPECT_EQ(Field(*first, "opaque"), "5ccc069c403ebaf9f0171e9517f40e41");
    const auto second = AnswerDigestChallenge("Digest realm=\"r\", nonce=\"n\", qop=auth, algorithm=MD5-sess",
                                              {"GET", "/", "u", "p", "c"});
    ASSERT_TRUE(second);
    EXPECT_EQ(Field(*second, "response"),
              MD5String(MD5String(MD5String("u:r:p") + ":n:c") + ":n:00000001:c:auth:" + MD5String("GET:/")));
    const auto third = AnswerDigestChallenge("digest nonce=abc, realm=\"r\"", {"GET", "/", "u", "p", "c"});
    ASSERT_TRUE(third);
    EXPECT_EQ(Field(*third, "response"), MD5String(MD5String("u:r:p") + ":abc:" + MD5String("GET:/")));
    EXPECT_EQ(third->find("qop"), std::string::npos);

    for (const char* const other :
         {"", "Digest", "Digest ", "Basic realm=\"x\"", "Digestive nonce=\"n\"", "Digest realm=\"x\"",
          "Digest nonce=\"n\", algorithm=SHA-256", "Digest nonce=\"n\", qop=\"auth-int\"", "Digest nonce=\"",
          "Digest =,=,=\"\\"}) {
        EXPECT_FALSE(AnswerDigestChallenge(other, {"GET", "/", "u", "p", "c"})) << other;
    }
}

}  // namespace
}  // namespace kvmon
