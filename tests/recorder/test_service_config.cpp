#include <gtest/gtest.h>

#include <fstream>

#include "service/options.h"
#include "support/temp_folder.h"

namespace kvtest {
namespace {

using namespace kvrecorder;

class Config : public testing::Test {
protected:
    std::string Write(const std::string& name, const std::string& text) {
        std::ofstream(folder.File(name)) << text;
        return folder.File(name);
    }
    RecorderConfig Load(const std::string& text) { return LoadConfig(Write("recorder.toml", text)); }
    std::string Failure(const std::string& text) {
        try {
            Load(text);
        } catch (const ConfigError& failure) {
            return failure.what();
        }
        return "";
    }
    TempFolder folder;
};

Options Parse(std::vector<const char*> arguments) {
    arguments.insert(arguments.begin(), "kvrecorder");
    return ParseOptions(static_cast<int>(arguments.size()), arguments.data(), "1.2.3");
}

TEST_F(Config, EveryKeyIsRead) {
    Write("guard.password", "night\r\nsecond line\n");
    const RecorderConfig config = Load(R"(
listen = "127.0.0.1:0"
[server]
name = "North"
version = "3.6"
build = "7"
disk = "."
max_connections = 64
[faults]
root = "/"
delay_ms = 20
[[users]]
name = "guard"
password_file = "guard.password"
monitor = [0, 2]
ptz = "all"
audio = "none"
[[users]]
name = "plain"
password = "p"
[[channels]]
name = "Gate"
streams = [{ codec = "mjpeg", width = 320, height = 240, fps = 5, gop = 1 }, {}]
status = ["record", "motion"]
presets = ["Door", ""]
[channels.camera]
id = "0000002A00000007"
lan = "192.0.2.21"
wan = "cam.example"
port = 8081
video_url = "/video.mjpg"
[[channels]]
file = "clip.mkv"
configured = false
)");
    EXPECT_EQ(config.listen, "127.0.0.1:0");
    EXPECT_EQ(config.server.name, "North");
    EXPECT_EQ(config.server.root, CgiRoot::Top);
    EXPECT_EQ(config.server.delayMs, 20);
    EXPECT_EQ(config.server.maxConnections, 64);
    ASSERT_EQ(config.users.size(), 2u);
    EXPECT_TRUE(config.users[0].password == "night");
    EXPECT_TRUE(config.users[0].Has(Right::Monitor, 2));
    EXPECT_FALSE(config.users[0].Has(Right::Monitor, 1));
    EXPECT_TRUE(config.users[0].Has(Right::Ptz, 127));
    EXPECT_TRUE(config.users[1].Has(Right::Monitor, 5)) << "watching is what a user may do unless told";
    EXPECT_FALSE(config.users[1].Has(Right::Record, 5));
    ASSERT_EQ(config.channels.size(), 2u);
    ASSERT_EQ(config.channels[0].source.streams.size(), 2u);
    EXPECT_EQ(config.channels[0].source.streams[0].codec, Codec::Mjpeg);
    EXPECT_EQ(config.channels[0].source.streams[1].width, 640);
    EXPECT_EQ(config.channels[0].status, (StatusDigits{12, 0, 0, 1}));
    EXPECT_EQ(config.channels[0].camera.wanAddress, "cam.example");
    EXPECT_EQ(config.channels[1].source.file, folder.File("clip.mkv"));
    EXPECT_FALSE(config.channels[1].configured);
}

TEST_F(Config, SlipsAreToldWithTheirLine) {
    const struct {
        const char* text;
        const char* line;
        const char* word;
    } cases[] = {
        {"listen = 5", ":1: ", "listen"},
        {"\n\nlisen = \"x\"", ":3: ", "lisen"},
        {"[server]\nname = \"a\\nb\"", ":2: ", "name"},
        {"[server", ":1: ", ""},
        {"[faults]\nroot = \"/cgi\"", ":2: ", "root"},
        {"[faults]\ndelay_ms = -1", ":2: ", "delay_ms"},
        {"[[users]]\npassword = \"x\"", ":1: ", "name"},
        {"[[users]]\nname = \"a:b\"\npassword = \"x\"", ":2: ", "name"},
        {"[[users]]\nname = \"a\"", ":1: ", "password"},
        {"[[users]]\nname = \"a\"\npassword = \"x\"\nmonitor = [128]", ":4: ", "monitor"},
        {"[[users]]\nname = \"a\"\npassword = \"x\"\nmonitor = \"some\"", ":4: ", "monitor"},
        {"[[users]]\nname=\"a\"\npassword=\"x\"\n[[users]]\nname=\"a\"\npassword=\"y\"", ":5: ", "name"},
        {"[[users]]\nname=\"a\"\npassword_file=\"none\"", "none", "password"},
        {"[[channels]]\nscene=\"a\"\nfile=\"b\"", ":2: ", "scene"},
        {"[[channels]]\nstreams=[{codec=\"vp9\"}]", ":2: ", "codec"},
        {"[[channels]]\nstreams=[{width=641}]", ":2: ", "width"},
        {"[[channels]]\nstreams=[{fps=1000}]", ":2: ", "fps"},
        {"[[channels]]\nstatus=[\"asleep\"]", ":2: ", "status"},
        {"[[channels]]\n[channels.camera]\nlan=\"a b\"", ":3: ", "lan"},
        {"[[channels]]\n[channels.camera]\nlan=\"\"", ":3: ", "lan"},
        {"[[channels]]\n[channels.camera]\nid=\"12\"", ":3: ", "id"},
        {"[[channels]]\n[channels.camera]\nport=70000", ":3: ", "port"},
        {"channels = 3", ":1: ", "channels"},
        {"server = 3", ":1: ", "server"},
        // Beyond ASCII where there are neither texts nor comments.
        {"# \xC3\xA9\n\nnam\xC3\xA9 = 1", ":3: ", "in quotes"},
        {"listen =\xC2\xA0\"127.0.0.1:0\"", ":1: ", "in quotes"},
        {"[server]\nname = \"\"\"a\\\n  \xC3\xA9\"\"\"", ":3: ", "behind"},
    };
    for (const auto& slip : cases) {
        const std::string failure = Failure(slip.text);
        EXPECT_NE(failure.find(slip.line), std::string::npos) << slip.text << "\n" << failure;
        EXPECT_NE(failure.find(slip.word), std::string::npos) << slip.text << "\n" << failure;
        EXPECT_EQ(failure.find('\n'), std::string::npos) << failure;
    }
    EXPECT_EQ(Load("\xEF\xBB\xBF[server] # \xC3\xA9\nname = '\xC3\xA9\"' # \"\n").server.name, "\xC3\xA9\"");
    EXPECT_EQ(Load("[server]\nname = \"\"\"\"\xC3\xA9\\\"\xC3\xA9\\\n  e\"\"\"\"\n").server.name,
              "\"\xC3\xA9\"\xC3\xA9"
              "e\"");
    std::string many;
    for (int i = 0; i <= kMaxChannels; ++i) {
        many += "[[channels]]\n";
    }
    EXPECT_NE(Failure(many), "");
    EXPECT_THROW(LoadConfig(folder.File("missing.toml")), ConfigError);
    EXPECT_THROW(LoadConfig(folder.Path()), ConfigError);
}

TEST_F(Config, OptionsAndFileMakeOneWhole) {
    const std::string password = Write("password", "pw\n");
    const std::string users =
        Write("users.toml", "listen = \"127.0.0.1:81\"\n[[users]]\nname=\"u\"\npassword=\"p\"\n");
    const std::string channels = Write("channels.toml", "[[channels]]\nname=\"Gate\"\n");

    const RecorderConfig plain = MakeConfig(Parse({}));
    EXPECT_EQ(plain.listen, "127.0.0.1:8090");
    EXPECT_EQ(plain.channels.size(), 8u);
    ASSERT_EQ(plain.users.size(), 1u);
    EXPECT_TRUE(plain.users[0].name == "admin" && plain.users[0].password == "admin");

    const RecorderConfig both =
        MakeConfig(Parse({"--config", users.c_str(), "--listen", "0.0.0.0:82", "--channels", "128", "--user",
                          "boss", "--password-file", password.c_str()}));
    EXPECT_EQ(both.listen, "0.0.0.0:82");
    EXPECT_EQ(both.channels.size(), 128u);
    ASSERT_EQ(both.users.size(), 2u);
    EXPECT_TRUE(both.users[1].password == "pw");
    EXPECT_TRUE(both.users[1].Has(Right::Talk, 127));

    const std::vector<std::vector<const char*>> refused = {
        {"--listen", "0.0.0.0:0"},  // the known password only on this machine
        {"--config", channels.c_str()},
        {"--config", channels.c_str(), "--user", "u", "--password-file", password.c_str(), "--channels", "3"},
        {"--listen", "localhost"},
        {"--listen", "127.0.0.1:70000"},
        {"--listen", "127.0.0.1:"},
    };
    for (const auto& arguments : refused) {
        EXPECT_THROW(MakeConfig(Parse(arguments)), ConfigError) << arguments[0] << " " << arguments[1];
    }
    EXPECT_TRUE(ParseListen("[::1]:0").loopback);
    EXPECT_FALSE(ParseListen("192.0.2.1:80").loopback);
}

TEST(RecorderOptions, DocumentedExampleLoads) {
    const RecorderConfig config = LoadConfig(KV_EXAMPLE_CONFIG);
    EXPECT_EQ(config.users.size(), 2u);
    EXPECT_EQ(config.channels.size(), 3u);
    EXPECT_NO_THROW(MakeConfig(Parse({"--config", KV_EXAMPLE_CONFIG})));
}

TEST(RecorderOptions, WrongOnesGiveOneLine) {
    const std::vector<std::vector<const char*>> wrong = {
        {"--channels", "0"},
        {"--channels", "129"},
        {"--channels", "x"},
        {"--user", "a"},
        {"--password-file", "f"},
        {"--send", "list"},
        {"--frobnicate"},
        {"stray"},
        {"--listen"},
    };
    for (const auto& arguments : wrong) {
        try {
            Parse(arguments);
            ADD_FAILURE() << arguments[0];
        } catch (const ConfigError& failure) {
            EXPECT_EQ(std::string(failure.what()).find('\n'), std::string::npos) << failure.what();
        }
    }
    EXPECT_EQ(Parse({"--version"}).exitText, "kvrecorder 1.2.3\n");
    EXPECT_NE(Parse({"--help"}).exitText.find("--password-file"), std::string::npos);
}

}  // namespace
}  // namespace kvtest
