#include <cstdio>
#include <ctime>
#include <set>

#include "answers/documents.h"
#include "service_fixture.h"
#include "state/disk_figures.h"

namespace kvtest {
namespace {

class Documents : public ServiceTest {};

struct InitRecord {
    int channel;
    std::string id, lan, wan, user, password;
    int port, wanPort;
};

// Reads two lines the way clients do: by widths, blanks skipped before a text.
InitRecord ReadDocumentRecord(const std::string& first, const std::string& second) {
    InitRecord record{};
    char id[17] = "", lan[65] = "", wan[65] = "", text[33] = "";
    std::sscanf(first.c_str(), "%03d%16s%64s%64s", &record.channel, id, lan, wan);
    record.id = id;
    record.lan = lan;
    record.wan = wan;
    if (second[31] != ' ' && std::sscanf(second.c_str(), "%32s", text) == 1) {
        record.user = text;
    }
    if (second[63] != ' ' && std::sscanf(second.c_str() + 32, "%32s", text) == 1) {
        record.password = text;
    }
    std::sscanf(second.c_str() + 64, "%6d%6d", &record.port, &record.wanPort);
    return record;
}

TEST_F(Documents, InitInfoCarriesEveryChannelInItsColumns) {
    CameraConfig& camera = config.channels[1].camera;
    camera.id = "0000002A00000007";
    camera.lanAddress = std::string(63, 'l');
    camera.wanAddress = std::string(63, 'w');
    camera.port = 65535;
    camera.wanPort = 8080;
    camera.user = "viewer";
    camera.password = std::string(31, 'p');
    config.channels[2].configured = false;
    Start();
    const HttpAnswer answer = Ask("/cgi-bin/get_init_info.cgi");
    const auto lines = Lines(answer.body);
    ASSERT_EQ(lines.size(), 5u + 2 * 3 + 1);
    EXPECT_EQ(lines[0], "server name=North \xC3\xA9");
    EXPECT_EQ(lines[1], "version=4.0.0");
    EXPECT_EQ(lines[2], "build=1");
    EXPECT_EQ(lines[3], "channel number=3");
    EXPECT_EQ(lines[4], "//----------");
    EXPECT_EQ(lines.back(), "----------//");
    EXPECT_EQ(answer.body.find('\r'), std::string::npos);

    const InitRecord full = ReadDocumentRecord(Unscramble(lines[7]), Unscramble(lines[8]));
    EXPECT_EQ(full.channel, 1);
    EXPECT_EQ(full.id, camera.id);
    EXPECT_EQ(full.lan, camera.lanAddress);
    EXPECT_EQ(full.wan, camera.wanAddress);
    EXPECT_EQ(full.user, "viewer");
    EXPECT_EQ(full.password, camera.password);
    EXPECT_EQ(full.port, 65535);
    EXPECT_EQ(full.wanPort, 8080);

    const InitRecord none = ReadDocumentRecord(Unscramble(lines[9]), Unscramble(lines[10]));
    EXPECT_EQ(none.channel, 2);
    EXPECT_EQ(none.lan + none.wan, "") << "a channel without addresses is not configured";

    // A user who may not watch a channel does not get its camera's password.
    const auto guarded = Lines(Ask("/cgi-bin/get_init_info.cgi", "guard:night").body);
    EXPECT_EQ(ReadDocumentRecord(Unscramble(guarded[7]), Unscramble(guarded[8])).password, camera.password);
    const InitRecord hidden = ReadDocumentRecord(Unscramble(guarded[5]), Unscramble(guarded[6]));
    EXPECT_EQ(hidden.lan, "127.0.0.1");
    EXPECT_EQ(hidden.user + hidden.password, "");
}

TEST_F(Documents, EachScrambledLineHasAKeyOfItsOwnAndFitsAClientsLine) {
    config.channels[0].camera.videoUrl = "/" + std::string(238, 'u');
    Start();
    std::set<std::string> keys;
    for (const char* name : {"/cgi-bin/get_init_info.cgi", "/cgi-bin/get_ext_info.cgi"}) {
        for (const std::string& line : Lines(Ask(name).body)) {
            if (line.size() >= 16 && line.find_first_not_of("0123456789ABCDEF") == std::string::npos) {
                EXPECT_LT(line.size() + 1, 2048u);
                EXPECT_EQ(line.size() % 8, 0u);
                EXPECT_TRUE(keys.insert(line.substr(0, 8)).second);
            }
        }
    }
    EXPECT_EQ(keys.size(), 3u * (2 + 7));
}

TEST_F(Documents, ExtInfoTellsItsLinesPerChannel) {
    CameraConfig& camera = config.channels[1].camera;
    camera.rtspPort = 8554;
    camera.wanRtspPort = 9554;
    camera.adminPassword = "root1";
    camera.guestPassword = "guest1";
    camera.videoUrl = "/video.mjpg";
    camera.wanAddress = "203.0.113.9";
    Start();
    const auto lines = Lines(Ask("/cgi-bin/get_ext_info.cgi", "guard:night").body);
    ASSERT_GT(lines.size(), 3u);
    EXPECT_EQ(lines[0], "channel number=3");
    ASSERT_GT(lines[1].size(), 17u);
    const auto perChannel = static_cast<std::size_t>(std::atoi(lines[1].c_str() + 17));
    ASSERT_EQ(lines.size(), 3 + 3 * perChannel + 1);
    EXPECT_EQ(lines[2], "//----------");
    EXPECT_EQ(lines.back(), "----------//");
    std::vector<std::string> second;
    for (std::size_t i = 0; i < perChannel; ++i) {
        second.push_back(Unscramble(lines[3 + perChannel + i]));
    }
    EXPECT_EQ(second, (std::vector<std::string>{"rtsp port=8554", "rtsp port2=9554", "admin password=root1",
                                                "guest password=guest1", "http_video_url=/video.mjpg",
                                                "wan address=203.0.113.9", "lan address=127.0.0.1"}));
    EXPECT_EQ(Unscramble(lines[3 + 2]), "admin password=") << "the guard may not watch channel 0";
}

TEST_F(Documents, StatusHasDiskSectionsAndNames) {
    config.channels[0].status = {0xD, 2, 5, 0xF};
    config.channels[1].name = "T\xC3\xBCr, \"%s\" <b>";
    config.channels[2].name = "";
    Start();
    // The name in the query is sent unescaped, whatever stands in it.
    const HttpAnswer answer = Ask("/cgi-bin/z_status.cgi?user=a b HTTP/1.0", "guard:night");
    ASSERT_EQ(answer.status, 200);
    const auto lines = Lines(answer.body);
    ASSERT_EQ(lines.size(), 5u);
    EXPECT_EQ(std::atoi(lines[0].c_str()), 0);
    const DiskFigures disk = ReadDiskFigures(config.server);
    EXPECT_NEAR(std::atoi(lines[0].c_str() + 5), disk.usedPercent, 1);
    EXPECT_EQ(std::strtoull(lines[0].c_str() + 9, nullptr, 10), disk.totalKilobytes);
    EXPECT_GT(disk.totalKilobytes, 0u);
    EXPECT_EQ(lines[1],
              "003"
              "D88"
              "200"
              "500"
              "F00"
              "010");
    EXPECT_EQ(lines[2], "Camera 1");
    EXPECT_EQ(lines[3], config.channels[1].name);
    EXPECT_EQ(lines[4], "");
    config.server.diskFolder = "/nowhere/at/all";
    EXPECT_EQ(ReadDiskFigures(config.server).status, -1);
}

TEST_F(Documents, StreamInfoNumbersSizesByClass) {
    Start();
    EXPECT_EQ(Ask("/getmultistreaminfo.cgi", "guard:night").body,
              "<multistream><return>0</return><ch1><stream_no>2</stream_no>"
              "<stream0><id>0</id><fcc>Z264</fcc><resolution>3</resolution></stream0>"
              "<stream1><id>1</id><fcc>ZIVG</fcc><resolution>1</resolution></stream1></ch1></multistream>");
}

TEST_F(Documents, FullRecorderFitsWhatClientsRead) {
    config.channels = DemoChannels(kMaxChannels);
    Start();
    const std::string streams = Ask("/cgi-bin/getmultistreaminfo.cgi").body;
    for (int i = 0; i < static_cast<int>(kMaxChannels); ++i) {
        EXPECT_NE(streams.find("<ch" + std::to_string(i) + "><stream_no>"), std::string::npos) << i;
    }
    EXPECT_TRUE(streams.ends_with("</ch" + std::to_string(kMaxChannels - 1) + "></multistream>"));
    EXPECT_LT(streams.size(), std::size_t{1} << 20);
    const std::string capabilities = Ask("/cgi-bin/zcapabilities.cgi?group=Camera ").body;
    EXPECT_LE(capabilities.size(), 20480u);
    EXPECT_NE(capabilities.find("<ch127><audio_out>0</audio_out>"), std::string::npos);
    EXPECT_LT(Lines(Ask("/cgi-bin/z_status.cgi?user=admin").body)[1].size(), 2047u);
}

TEST_F(Documents, ParamGroupsAndPresets) {
    config.channels[0].audio = true;
    config.channels[2].presets = {"Gate", "", "T\xC3\xBCr"};
    Start();
    const auto lines = Lines(Ask("/cgi-bin/param.cgi?action=list&group=System").body);
    ASSERT_EQ(lines.size(), 3u);
    std::tm time{};
    ASSERT_TRUE(lines[1].starts_with("<date_time>"));
    ASSERT_EQ(std::sscanf(lines[1].c_str() + 11, "%4d%2d%2d%2d%2d%2d", &time.tm_year, &time.tm_mon,
                          &time.tm_mday, &time.tm_hour, &time.tm_min, &time.tm_sec),
              6);
    time.tm_year -= 1900;
    time.tm_mon -= 1;
    time.tm_isdst = -1;
    EXPECT_NEAR(std::difftime(std::mktime(&time), std::time(nullptr)), 0, 5);

    const std::string group = "/cgi-bin/param.cgi?action=list&group=Recording.MediaProperty&channel_id=";
    EXPECT_NE(Ask(group + "0").body.find("<audio_enabled>"), std::string::npos);
    EXPECT_EQ(Ask(group + "1").body.find("<audio_enabled>"), std::string::npos);
    EXPECT_EQ(Ask(group + "1", "guard:night").status, 200);
    EXPECT_EQ(Ask(group + "0", "guard:night").status, 403);
    EXPECT_EQ(Ask(group + "3").status, 404);
    EXPECT_EQ(Ask(group + "x").status, 400);

    EXPECT_EQ(Ask("/cgi-bin/ptz.cgi?ch=2&command=15").body, "0030447617465--0454C3BC72");
    EXPECT_EQ(Ask("/cgi-bin/ptz.cgi?ch=2&command=16").body, "16");
    EXPECT_EQ(Ask("/cgi-bin/ptz.cgi?ch=2&command=20").body, "00311");
    EXPECT_EQ(Ask("/cgi-bin/ptz.cgi?ch=1&command=16").body, "0");
    EXPECT_EQ(Ask("/cgi-bin/ptz.cgi?ch=1&command=0").body, "-1");
    EXPECT_EQ(Ask("/cgi-bin/ptz.cgi?ch=1&command=0", "guard:night").status, 403);
}

}  // namespace
}  // namespace kvtest
