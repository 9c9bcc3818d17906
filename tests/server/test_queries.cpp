#include <gtest/gtest.h>

#include "server/documents/document_errors.h"
#include "server/http/conc_info.h"
#include "server/http/disk_info.h"
#include "server/http/ext_info.h"
#include "server/http/server_requests.h"
#include "support/fake_clock.h"
#include "support/fake_recorder.h"
#include "support/recorder_texts.h"
#include "support/wait_until.h"

using namespace kvmon;
using namespace kvtest;

namespace {

class Queries : public testing::Test {
protected:
    Queries() { Connect(recorder.Port()); }
    void Connect(std::uint32_t port) { query.SetConnectInfo(0, "127.0.0.1", port, "viewer", "pw"); }

    ConcInfoError Conc(const std::string& reply) {
        recorder.SetDocument("get_init_info.cgi", reply);
        return Conc();
    }
    ConcInfoError Conc() {
        std::uint32_t code = 99;
        const bool ok = GetNvrVsConcInfo(query, status, &code);
        EXPECT_EQ(ok, code == 0);
        return static_cast<ConcInfoError>(code);
    }
    DiskInfoError Disk(const std::string& reply) {
        recorder.SetDocument("z_status.cgi", reply);
        std::uint32_t code = 99;
        const bool ok = GetNvrDiskInfo(query, status, &code);
        EXPECT_EQ(ok, code == 0);
        return static_cast<DiskInfoError>(code);
    }
    // 99 if no code was set.
    int Ext(const std::string& reply) {
        recorder.SetDocument("get_ext_info.cgi", reply);
        std::uint32_t code = 99;
        GetExtInfo(query, status, &code);
        return static_cast<int>(code);
    }

    FakeClock clock{true};
    QueryContext query{clock};
    CNvrStatus status;
    FakeRecorder recorder;
};

const std::string kOk = "HTTP/1.0 200 OK\r\nX: y\r\n\r\n";

}  // namespace

TEST_F(Queries, SendExactlyTheseRequests) {
    EXPECT_EQ(Conc(ConcInfo(1)), ConcInfoError::None);
    EXPECT_EQ(Disk(DiskInfo(1)), DiskInfoError::None);
    EXPECT_EQ(Ext(ExtInfo(1)), 0);
    recorder.SetDocument("logout.cgi", "HTTP/1.0 200 OK\n\nbye\n\n");
    recorder.SetDocument("param.cgi", "HTTP/1.0 200 OK\n\n<DATE_TIME>\n20240102130000\n");
    EXPECT_TRUE(LogoutServer(query));
    EXPECT_TRUE(ReadServerTimeOffset(query));
    const std::string tail = "Authorization: Basic dmlld2VyOnB3\r\n\r\n";
    const std::vector<std::string> expected = {
        "GET /cgi-bin/get_init_info.cgi HTTP/1.0\r\nUser-Agent: Monitor\r\nHost: 127.0.0.1\r\n"
        "Connection: Keep-Alive\r\n" +
            tail,
        "GET /cgi-bin/z_status.cgi?user=viewer HTTP/1.0\r\nUser-Agent: Monitor\r\nHost: 127.0.0.1\r\n"
        "Connection:Keep-Alive\r\n" +
            tail,
        "GET /cgi-bin/get_ext_info.cgi HTTP/1.0\r\nUser-Agent: Monitor\r\nHost: 127.0.0.1\r\n"
        "Connection:Keep-Alive\r\n" +
            tail,
        "GET /cgi-bin/logout.cgi?logout=yes&display=no HTTP/1.0\r\nUser-Agent: Monitor\r\n"
        "Host: 127.0.0.1\r\n" +
            tail,
        "GET /cgi-bin/param.cgi?action=list&group=System HTTP/1.0\r\nUser-Agent: Monitor\r\n"
        "Host: 127.0.0.1\r\n" +
            tail,
    };
    EXPECT_EQ(recorder.Server().Heads(), expected);
}

TEST_F(Queries, FillTheStatus) {
    ASSERT_EQ(Conc(ConcInfo(2)), ConcInfoError::None);
    ASSERT_EQ(Disk(DiskInfo(2)), DiskInfoError::None);
    ASSERT_EQ(Ext(ExtInfo(2)), 0);
    EXPECT_EQ(status.m_strServerName, "Lobby");
    EXPECT_EQ(status.strServerVersion, "3.5.1");
    EXPECT_EQ(status.strServerBuild, "42");
    ASSERT_EQ(status.m_VideoSettingList.size(), 2u);
    const CVideoSetting& second = status.m_VideoSettingList[1];
    EXPECT_EQ(second.m_nCh, 1);
    EXPECT_EQ(second.m_dwVendorId, 0x12u);
    EXPECT_EQ(second.m_NetworkSetting[0].szAddress.View(), "10.0.0.2");
    EXPECT_EQ(second.m_NetworkSetting[0].nRtspPort, 554u);
    EXPECT_EQ(second.m_NetworkSetting[1].nPort, 8080u);
    EXPECT_EQ(second.m_lpszCamUserName.View(), "root");
    EXPECT_EQ(second.m_lpszSvrIP.View(), "127.0.0.1");
    EXPECT_EQ(second.m_lpszSvrUserName.View(), "viewer");
    EXPECT_EQ(second.m_strChannelName, "Door 2");
    EXPECT_EQ(second.Status(kStatusConfigured), 1u);
    EXPECT_EQ(second.Status(kStatusMonitorRight), 1u);
    EXPECT_EQ(second.ToCameraSettings().m_bMonitorRight, 1u);
    EXPECT_EQ(status.m_nDiskUsed, 34);
    EXPECT_EQ(status.m_strDiskSize, "931 ");
    // Ten pauses before the records.
    const auto waits = clock.Waits();
    EXPECT_EQ(std::count(waits.begin(), waits.end(), Milliseconds(100)), 10);
}

TEST_F(Queries, A404FlipsTheRootAndAnotherFlipsItBack) {
    EXPECT_EQ(Conc(), ConcInfoError::NotFound);
    EXPECT_EQ(query.CgiRoot(), "");
    EXPECT_EQ(Conc(), ConcInfoError::NotFound);
    EXPECT_EQ(query.CgiRoot(), "/cgi-bin");
    EXPECT_EQ(recorder.CountHeads("GET /get_init_info.cgi HTTP"), 1);
    EXPECT_EQ(Conc("HTTP/1.0 401 Unauthorized\r\n\r\n"), ConcInfoError::Unauthorized);
    EXPECT_EQ(Conc("HTTP/1.0 500 Oops\r\n\r\n"), ConcInfoError::BadStatus);
    EXPECT_EQ(Conc("HTTP/1.0 200\r\n\r\n"), ConcInfoError::BadStatus) << "no second blank";
    EXPECT_EQ(Conc(""), ConcInfoError::StatusLine);
}

TEST_F(Queries, EachMissingLineOfTheFirstDocumentHasItsCode) {
    const std::string lines[] = {"server name=a\n", "version=b\n", "build=c\n", "channel number=0\n",
                                 "//----------\n"};
    const int readCodes[] = {7, 9, 11, 13, 15};
    const int keyCodes[] = {7, 10, 12, 14, 16};
    std::string before = kOk;
    for (std::size_t i = 0; i < 5; ++i) {
        EXPECT_EQ(static_cast<int>(Conc(before)), readCodes[i]);
        EXPECT_EQ(static_cast<int>(Conc(before + "something else\n\n")), keyCodes[i]);
        before += lines[i];
    }
    EXPECT_EQ(Conc(before), ConcInfoError::None) << "no channels are fine";
    // A name without header lines, and one whose line holds more; the key counts from the line's start.
    EXPECT_EQ(Conc("HTTP/1.0 200 OK\r\nserver name=x\r\nversion=\nbuild=\nchannel number=0\n//----------\n"),
              ConcInfoError::None);
    EXPECT_EQ(status.m_strServerName, "x\r") << "only LFs go";
}

TEST_F(Queries, RecordsGoWhereTheirIndexSays) {
    const std::string id(16, '0');
    const auto record = [&](int index, const std::string& lan) {
        return Scramble(AddressLine(index, id, lan, "")) + Scramble(AccountLine("", "", 1, 2));
    };
    EXPECT_EQ(Conc(ConcInfoHead(2) + record(1, "b") + record(0, "a")), ConcInfoError::None);
    EXPECT_EQ(status.m_VideoSettingList[0].m_NetworkSetting[0].szAddress.View(), "a");
    // Fewer channels than before: the list no longer fits and is emptied.
    EXPECT_EQ(Conc(ConcInfo(1)), ConcInfoError::RecordCount);
    EXPECT_TRUE(status.m_VideoSettingList.empty());
    EXPECT_EQ(Conc(ConcInfoHead(1) + record(5, "a")), ConcInfoError::RecordCount);
    EXPECT_EQ(Conc(ConcInfoHead(3) + record(2, "a")), ConcInfoError::None) << "gaps count when the size fits";
    EXPECT_EQ(status.m_VideoSettingList[0].Status(kStatusConfigured), 0u);
    for (const int number : {-1, 1001, INT32_MAX}) {
        EXPECT_EQ(Conc(ConcInfoHead(number) + record(999, "a")), ConcInfoError::RecordCount) << number;
    }
    EXPECT_EQ(Conc(ConcInfoHead(1) + Scramble("x") + Scramble("y")), ConcInfoError::RecordCount);
    EXPECT_EQ(Conc(ConcInfoHead(1) + std::string(6000, '0') + "\n"), ConcInfoError::RecordCount);
}

TEST_F(Queries, ADocumentCutAnywhereFailsQuietly) {
    const std::string whole = ConcInfo(1);
    const std::size_t records = ConcInfoHead(1).size();
    const std::size_t enough = whole.size() - std::string("\r\n----------//\n").size();
    for (std::size_t cut = 0; cut < whole.size(); cut += cut < records ? 1 : 13) {
        status = CNvrStatus();
        const ConcInfoError error = Conc(whole.substr(0, cut));
        // A line needs its LF when the peer closes behind it.
        EXPECT_EQ(error == ConcInfoError::None, cut > enough + 1) << cut;
        EXPECT_EQ(status.m_VideoSettingList.size(), error == ConcInfoError::None ? 1u : 0u);
    }
}

TEST_F(Queries, EndlessAndForeignRepliesEnd) {
    EXPECT_EQ(Conc(kOk.substr(0, 17) + std::string(3 << 20, 'x')), ConcInfoError::ServerName);
    std::string headers = kOk.substr(0, 17);
    for (int i = 0; i < 20000; ++i) {
        headers += "A: b\r\n";
    }
    EXPECT_EQ(Conc(headers + "\r\nserver name=a\n"), ConcInfoError::ServerName);
    EXPECT_EQ(Conc(std::string("\0\xFF\x80garbage \n\n \0", 14)), ConcInfoError::StatusLine);
    EXPECT_EQ(Conc("220 smtp.example ESMTP\r\n"), ConcInfoError::BadStatus);
    EXPECT_EQ(Disk(std::string(1 << 20, ' ')), DiskInfoError::ChannelCount);
    EXPECT_EQ(Ext(kOk + "channel number=1\nline per channel=2000000000\n//----------\n"), 7);
}

TEST_F(Queries, RefusedAndSilentPeers) {
    clock.SetSocketRound(Milliseconds(1));
    recorder.On("z_status.cgi", [](Peer& peer) { peer.Hold(); });
    std::uint32_t code = 0;
    EXPECT_FALSE(GetNvrDiskInfo(query, status, &code));
    EXPECT_EQ(code, static_cast<std::uint32_t>(DiskInfoError::StatusLine));
    Connect(UnusedPort());
    EXPECT_EQ(Conc(), ConcInfoError::Connect);
    EXPECT_FALSE(GetNvrDiskInfo(query, status, &code));
    EXPECT_EQ(code, static_cast<std::uint32_t>(DiskInfoError::Connect));
    EXPECT_FALSE(GetExtInfo(query, status, &code));
    EXPECT_EQ(code, static_cast<std::uint32_t>(ExtInfoError::Connect));
    EXPECT_FALSE(LogoutServer(query));
    EXPECT_FALSE(ReadServerTimeOffset(query));
}

TEST_F(Queries, DiskInfoReadsAnyStatusAndForgivesMissingNames) {
    status.m_VideoSettingList.resize(2);
    status.m_VideoSettingList[0].m_strChannelName = status.m_VideoSettingList[1].m_strChannelName = "old";
    EXPECT_EQ(Disk("HTTP/1.0 500 Oops\r\n\r\n-7   01 4\n0021111111111\nonly one\r\n"), DiskInfoError::None);
    EXPECT_EQ(status.m_nDiskStatus, -7);
    EXPECT_EQ(status.m_VideoSettingList[0].m_strChannelName, "only one\r");
    EXPECT_EQ(status.m_VideoSettingList[1].m_strChannelName, "");
    EXPECT_EQ(Disk("HTTP/1.0 404 Not Found\r\n\r\n<html>\n<body>\n"), DiskInfoError::ChannelCount);
    EXPECT_EQ(Disk("HTTP/1.0 200 OK\r\n\r\n"), DiskInfoError::RecordingLine);
    EXPECT_EQ(status.m_nDiskStatus, 100) << "no disk line reads as an empty one";
    EXPECT_EQ(Disk("HTTP/1.0 200 OK\r\n\r\n\r\n\n0 1 2\n0031111\n"), DiskInfoError::SectionB);
    EXPECT_EQ(Disk(kOk + "0\n001000010\n" + std::string(4000, 'n') + "\n"), DiskInfoError::None);
    EXPECT_EQ(Utf16Length(status.m_VideoSettingList[0].m_strChannelName), 1024u);
}

TEST_F(Queries, NamesThatStayAwayAreNotAllWaitedFor) {
    clock.SetSocketRound(Milliseconds(5));
    status.m_VideoSettingList.resize(100);
    std::atomic<std::int64_t> tookMs{-1};
    recorder.On("z_status.cgi", [&](Peer& peer) {
        peer.Write(kOk + "0\n100" + std::string(500, '1') + "\nDoor\n");
        const auto began = std::chrono::steady_clock::now();
        peer.WaitClosed();
        const auto took = std::chrono::steady_clock::now() - began;
        tookMs = std::chrono::duration_cast<std::chrono::milliseconds>(took).count();
    });
    std::uint32_t code = 0;
    EXPECT_TRUE(GetNvrDiskInfo(query, status, &code));
    EXPECT_EQ(status.m_VideoSettingList[0].m_strChannelName, "Door");
    // A second of each name's wait takes 20 ms here.
    EXPECT_TRUE(WaitUntil([&] { return tookMs >= 0; }));
    EXPECT_LT(tookMs, 1000);
}

TEST_F(Queries, ExtInfoCodes) {
    status.m_VideoSettingList.resize(1);
    const std::string begin = kOk + "channel number=1\nline per channel=1\n";
    const std::string records = begin + "//----------\n";
    const std::string good = Scramble("rtsp port=1");
    EXPECT_EQ(Ext(""), 4);
    EXPECT_EQ(Ext("HTTP/1.0 404 Not Found\r\n\r\n"), 5);
    EXPECT_EQ(Ext("HTTP/1.0 200 OK\r\n"), 6);
    EXPECT_EQ(Ext("HTTP/1.0 200 OK\r\nX: y\r\n"), 99) << "a header without end sets no code";
    EXPECT_EQ(Ext(kOk), 99);
    EXPECT_EQ(Ext(kOk + "channel number=1\n"), 7);
    EXPECT_EQ(Ext(begin), 8);
    EXPECT_EQ(Ext(begin + "x\n"), 9);
    EXPECT_EQ(Ext(records), 10);
    EXPECT_EQ(Ext(records + "----------//\n"), 12);
    EXPECT_EQ(Ext(records + good), 14);
    EXPECT_EQ(Ext(records + good + "x\n"), 13);
    EXPECT_EQ(Ext(records + good + "----------//\n"), 0);
    EXPECT_EQ(Ext(kOk + "channel number=1\nlines\n//----------\n----------//\n"), 0) << "0 lines a channel";
    status.m_VideoSettingList.clear();
    EXPECT_EQ(Ext(records + "----------//\n"), 0) << "driven by the list as it is";
}

TEST_F(Queries, ServerTimeIsTheDifferenceToTheLocalClock) {
    std::time_t now = std::chrono::system_clock::to_time_t(clock.Now()) + 3600;
    std::tm local{};
    localtime_r(&now, &local);
    char text[32];
    std::strftime(text, sizeof text, "%Y%m%d%H%M%S", &local);
    const std::string head = "HTTP/1.0 200 OK\nX: y\n\n<other>\n";
    recorder.SetDocument("param.cgi", head + "<Date_Time>" + text + "</date_time>\n");
    EXPECT_EQ(ReadServerTimeOffset(query), 3600);
    recorder.SetDocument("param.cgi",
                         "HTTP/1.0 200 OK\r\nX: y\r\n\r\n<System>\n<date_time>\n" + std::string(text) + "\n");
    EXPECT_EQ(ReadServerTimeOffset(query), 3600);
    for (const std::string& body : {std::string("<date_time>2024\n"), std::string("<date_time>\nsoon\n"),
                                    std::string("<date_time>99999999999999\n"), std::string()}) {
        recorder.SetDocument("param.cgi", head + body);
        EXPECT_EQ(ReadServerTimeOffset(query), std::nullopt) << body;
    }
    recorder.SetDocument("logout.cgi", "HTTP/1.0 200 OK\n\n");
    EXPECT_FALSE(LogoutServer(query)) << "the second empty line is missing";
}

TEST_F(Queries, CredentialsOf57BytesCarryALineFeed) {
    query.SetConnectInfo(0, "127.0.0.1", recorder.Port(), std::string(28, 'u'), std::string(28, 'p'));
    Conc(ConcInfo(0));
    EXPECT_NE(recorder.Server().Heads().at(0).find("\n\r\n\r\n"), std::string::npos);
    query.SetConnectInfo(0, std::string(100, 'h'), 1, std::string(64, 'u'), "");
    EXPECT_EQ(query.GetConnectInfo().szHost.Length(), 63u);
    EXPECT_TRUE(query.GetConnectInfo().szBase64Auth.IsEmpty());
}
