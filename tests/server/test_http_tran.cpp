#include <gtest/gtest.h>

#include "server/http/http_chunk_tran.h"
#include "support/fake_clock.h"
#include "support/scripted_server.h"
#include "support/wait_until.h"

using namespace kvmon;
using namespace kvtest;

namespace {

// One connection to a server that runs `script` on it.
struct Link {
    explicit Link(ScriptedServer::Script script, SocketKind kind = SocketKind::InRounds)
        : server(std::move(script)) {
        clock.SetSocketRound(Milliseconds(1));
        std::uint32_t connectBudget = 250 * 4000;
        EXPECT_TRUE(tran.Create(kind));
        EXPECT_TRUE(tran.Connect("127.0.0.1", server.Port(), &connectBudget));
    }
    // Length 0 for false.
    std::string ReadLine(std::size_t capacity, std::uint32_t budgetMs = kNoTimeout) {
        std::string buffer(capacity, '?');
        budget = budgetMs;
        if (!tran.ReadLine(buffer.data(), &capacity, &budget)) {
            EXPECT_TRUE(capacity == 0 || abort != 0);
            return "";
        }
        return buffer.substr(0, capacity);
    }

    FakeClock clock;
    FlagWord abort{0};
    std::uint32_t budget = 0;
    CHttpTran tran{&abort, clock};
    ScriptedServer server;
};

ScriptedServer::Script Says(std::string text) {
    return [text](Peer& peer) { peer.Write(text); };
}

ScriptedServer::Script SaysAndHolds(std::string text) {
    return [text](Peer& peer) {
        peer.Write(text);
        peer.Hold();
    };
}

}  // namespace

TEST(HttpTran, LinesKeepTheirEndAndAFullBufferIsALine) {
    Link link(Says("HTTP/1.0 200 OK\r\nlong line\nrest"));
    EXPECT_EQ(link.ReadLine(64), "HTTP/1.0 200 OK\r\n");
    EXPECT_EQ(link.ReadLine(4), "long");
    EXPECT_EQ(link.ReadLine(64), " line\n");
    EXPECT_EQ(link.ReadLine(64), "") << "the peer closed within the line";
}

TEST(HttpTran, ALineTakesNothingOfWhatStandsBehindIt) {
    const std::string lng(3000, 'l');
    Link link([&](Peer& peer) {
        peer.Write(lng + "\nbody\nand all");
        peer.WaitClosed(kvtest::milliseconds(20));
        peer.Write(" of it");
    });
    EXPECT_EQ(link.ReadLine(4000), lng + "\n");
    std::string body(17, '?');
    EXPECT_EQ(link.tran.ReadBlock(body.data(), body.size(), nullptr), body.size());
    EXPECT_EQ(body, "body\nand all of i");
}

TEST(HttpTran, ABudgetCountsRoundsAndStopsOnlyAStall) {
    // What stands behind the first line came with it, so that no round is spent on its way.
    Link link(SaysAndHolds("go\nabc\n"));
    ASSERT_EQ(link.ReadLine(64), "go\n");
    EXPECT_EQ(link.ReadLine(64, 0), "abc\n") << "data that is there comes with no budget left";
    EXPECT_EQ(link.ReadLine(64, 750), "");
    EXPECT_EQ(link.tran.GetSocketError(), kSocketAborted);
    EXPECT_STREQ(link.tran.GetSocketErrorText(), "[10053] Software caused connection abort");

    Link spends(SaysAndHolds("go\n12345678"));
    ASSERT_EQ(spends.ReadLine(64), "go\n");
    EXPECT_EQ(spends.ReadLine(8, 2250), "12345678");
    EXPECT_LE(spends.budget, 250u) << "each byte costs at least 250";
}

TEST(HttpTran, SendThatOnlyRanOutOfTimeIsTrue) {
    Link link([](Peer& peer) { peer.Hold(); });
    const std::string much(1 << 24, 'x');
    std::uint32_t budget = 500;
    EXPECT_TRUE(link.tran.Send(much, &budget));
    EXPECT_FALSE(link.tran.Send("", &budget));
    link.abort = 1;
    EXPECT_FALSE(link.tran.Send("x", &budget));
}

TEST(HttpTran, AbortAndShutdownEndABlockedRead) {
    Link link([](Peer& peer) { peer.Hold(); }, SocketKind::Blocking);
    std::thread stopper([&] {
        WaitUntil([&] { return link.server.ConnectionCount() == 1; });
        link.abort = 1;
    });
    EXPECT_EQ(link.ReadLine(64), "");
    stopper.join();
    link.abort = 0;

    std::thread closer([&] { link.tran.Shutdown(); });
    char buffer[16];
    std::size_t length = sizeof buffer;
    std::uint32_t budget = 500;
    EXPECT_EQ(link.tran.ReadNotifyLine(buffer, &length, &budget), NotifyLine::Closed);
    closer.join();
}

TEST(HttpTran, RefusedConnectionTellsItsCodeAndASecondCreateFails) {
    FakeClock clock;
    CHttpTran tran(nullptr, clock);
    std::uint32_t budget = 3000;
    EXPECT_FALSE(tran.Connect("127.0.0.1", 80, &budget));
    ASSERT_TRUE(tran.Create());
    EXPECT_FALSE(tran.Create());
    EXPECT_FALSE(tran.Connect("127.0.0.1", UnusedPort(), &budget));
    EXPECT_EQ(tran.GetSocketError(), 10061u);
    EXPECT_FALSE(tran.Connect("127.0.0.1", 0x10000, &budget));
    EXPECT_EQ(tran.GetSocketError(), kSocketInvalidArgument);
    tran.Close();
    tran.Close();
    EXPECT_TRUE(tran.Create());
}

TEST(HttpTran, NotifyLinesByTheirResult) {
    const auto read = [](ScriptedServer::Script script, std::size_t capacity, std::string* line,
                         std::uint32_t receiveTimeout = 10000) {
        Link link(std::move(script), SocketKind::Blocking);
        link.tran.SetSocketOptions(receiveTimeout);
        std::string buffer(capacity, '?');
        link.budget = 500;
        const NotifyLine result = link.tran.ReadNotifyLine(buffer.data(), &capacity, &link.budget);
        *line = buffer.substr(0, capacity);
        return result;
    };
    std::string line;
    EXPECT_EQ(read(Says("1\n2\n"), 64, &line), NotifyLine::Line);
    EXPECT_EQ(line, "1");
    EXPECT_EQ(read(Says("12345"), 4, &line), NotifyLine::Full);
    EXPECT_EQ(read(Says("12"), 64, &line), NotifyLine::Closed);
    EXPECT_EQ(read(SaysAndHolds("12"), 64, &line, 500), NotifyLine::TimedOut);
    EXPECT_EQ(line, "12");
    EXPECT_EQ(read([](Peer& peer) { peer.Reset(); }, 64, &line), NotifyLine::Failed);
    EXPECT_EQ(line, "");
}

TEST(HttpTran, WhatStandsBehindADelimiterWaitsForTheNextRead) {
    Link link(Says("head\r\nabc\nFF\xFF\xD8picture\xFF\xD9tail"));
    const auto read = [&](auto reader) {
        std::string buffer(64, '?');
        std::size_t length = buffer.size();
        EXPECT_TRUE((link.tran.*reader)(buffer.data(), &length, nullptr));
        return buffer.substr(0, length);
    };
    EXPECT_EQ(read(&CHttpTran::ReadToCRLF), "head\r\n");
    EXPECT_EQ(link.ReadLine(64), "abc\n");
    EXPECT_EQ(read(&CHttpTran::ReadToSOI), "FF\xFF\xD8");
    EXPECT_EQ(read(&CHttpTran::ReadToEOI), "picture\xFF\xD9");
    char tail[8];
    EXPECT_EQ(link.tran.ReadBlock(tail, sizeof tail, nullptr), 4u);
    EXPECT_EQ(std::string(tail, 4), "tail");
}

TEST(HttpTran, ADelimiterMayStraddleReads) {
    Link link([](Peer& peer) {
        peer.Write("ab\r");
        peer.Read(1);
        peer.Write("\ncd");
    });
    std::string buffer(64, '?');
    std::size_t length = 3;
    ASSERT_TRUE(link.tran.ReadToCRLF(buffer.data(), &length, nullptr)) << "capacity gone: what came";
    EXPECT_EQ(buffer.substr(0, length), "ab\r");
    link.tran.Send("x", nullptr);
    char rest[3];
    EXPECT_EQ(link.tran.ReadBlock(rest, sizeof rest, nullptr), 3u);
    EXPECT_EQ(std::string(rest, 3), "\ncd");
}

TEST(HttpHead, NeedsTwoBlanks) {
    HTTP_RESULT result;
    EXPECT_TRUE(CHttpTran::ParseHttpHeader("HTTP/1.0 404 Not Found", &result));
    EXPECT_EQ(std::string(result.szVersion, 8), "HTTP/1.0");
    EXPECT_EQ(result.nStatus, 404);
    EXPECT_STREQ(result.szReason, "Not Found");
    EXPECT_FALSE(CHttpTran::ParseHttpHeader("HTTP/1.0 200", &result));
    EXPECT_EQ(result.nStatus, 404);
    EXPECT_TRUE(CHttpTran::ParseHttpHeader("x 99999999999999 " + std::string(100, 'r'), &result));
    EXPECT_EQ(std::string(result.szReason).size(), 32u);
    EXPECT_TRUE(CHttpTran::ParseHttpHeader("  ", &result));
    EXPECT_EQ(result.nStatus, 0);
}

TEST(HttpChunkTran, BlocksCrossChunksAndLinesGoOnInTheNext) {
    ScriptedServer server(Says("5\r\n\r\nhello6\r\n world\r\n3\r\nab\r\r\n4\r\n\ncd!\r\n0\r\n\r\n"));
    CHttpChunkTran tran;
    ASSERT_TRUE(tran.Create());
    std::uint32_t budget = 3000;
    ASSERT_TRUE(tran.Connect("127.0.0.1", server.Port(), &budget));
    tran.SetChunked(true);
    char block[11];
    EXPECT_EQ(tran.ReadBlock(block, 3, nullptr), 3u);
    EXPECT_EQ(std::string(block, 3), "hel");
    EXPECT_EQ(tran.ReadBlock(block, 8, nullptr), 8u);
    EXPECT_EQ(std::string(block, 8), "lo world");
}

TEST(HttpChunkTran, ALineThatAChunkEndsGoesOnInTheNext) {
    ScriptedServer server(Says("3\r\n\r\nabc\r\n6\r\nde\r\nfg\r\n0\r\n\r\n"));
    CHttpChunkTran tran;
    ASSERT_TRUE(tran.Create());
    std::uint32_t budget = 3000;
    ASSERT_TRUE(tran.Connect("127.0.0.1", server.Port(), &budget));
    tran.SetChunked(true);
    std::string line(64, '?');
    std::size_t length = line.size();
    ASSERT_TRUE(tran.ReadToCRLF(line.data(), &length, nullptr));
    EXPECT_EQ(line.substr(0, length), "abcde\r\n");
}

TEST(HttpChunkTran, BadChunkHeadsEndTheRead) {
    for (const char* text :
         {"", "5\r\n", "5\r\nhello", "ffffffffffffffffffffff\r\n\r\n", "0\r\n\r\n", "zz\r\n\r\n"}) {
        ScriptedServer server(Says(text));
        CHttpChunkTran tran;
        ASSERT_TRUE(tran.Create());
        std::uint32_t budget = 3000;
        ASSERT_TRUE(tran.Connect("127.0.0.1", server.Port(), &budget));
        tran.SetChunked(true);
        char block[16];
        EXPECT_EQ(tran.ReadBlock(block, sizeof block, nullptr), 0u) << text;
    }
}
