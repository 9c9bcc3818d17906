// Changes of channels in the text of a configuration: only their lines, whatever way they are written.
#include <gtest/gtest.h>

#include "state/config_text.h"
#include "state/recorder_config.h"

namespace kvtest {
namespace {

using namespace kvrecorder;

const char* const kFile = R"(# Of the north building.
[[users]]
name = "chief"
password = "p"
admin = true
monitor = [0,
  1, # the yard
  2]

# The gate, by the road.
[[channels]]
name = "Göté" # as painted on it
note_of_nobody = 1
[channels.source]
  url = "rtsp://old:pw@10.0.0.1/a"   # main

# Beside the bins.
[[channels]]
name = 'Yard'
source = { url = "rtsp://10.0.0.2/b", password_file = "yard.password", linger = 3 }
status = [ # both
  "record",
]

[[channels]]
source.url = "rtsp://10.0.0.3/c"
camera.id = """
0000
[channels]"""

[server] # behind them
name = "North"
# The last line.
# end
)";

std::string Swap(std::string text, const std::string& from, const std::string& to) {
    const std::size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    EXPECT_EQ(text.find(from, at + 1), std::string::npos) << from;
    return text.replace(at, from.size(), to);
}

TEST(ConfigText, NamesAndSourcesChangeInTheirPlace) {
    ConfigText text(kFile);
    text.Rename(0, "Tor \"1\"\\");
    text.Rename(2, "Street");
    std::string wanted = Swap(kFile, "\"Göté\"", R"("Tor \"1\"\\")");
    wanted = Swap(wanted, "[[channels]]\nsource.url", "[[channels]]\nname = \"Street\"\nsource.url");
    EXPECT_EQ(text.Text(), wanted);

    // A login that stood in the address does not get lost with it.
    text.SetSource(0, {"rtsp://10.0.0.9/a", "", "old", "pw", "udp", false});
    wanted = Swap(
        wanted, "\"rtsp://old:pw@10.0.0.1/a\"   # main\n",
        "\"rtsp://10.0.0.9/a\"   # main\n  transport = \"udp\"\n  password = \"pw\"\n  user = \"old\"\n");
    EXPECT_EQ(text.Text(), wanted);
    // A password in a file stays there until another one is told.
    text.SetSource(1, {"rtsp://10.0.0.2/b", "", "u", "", "", false});
    wanted = Swap(wanted, "10.0.0.2/b\",", "10.0.0.2/b\", user = \"u\",");
    EXPECT_EQ(text.Text(), wanted);
    text.SetSource(1, {"rtsp://10.0.0.2/b", "", "", "new", "", true});
    wanted = Swap(wanted, "user = \"u\", password_file = \"yard.password\",", "password = \"new\",");
    EXPECT_EQ(text.Text(), wanted);
    text.SetSource(2, {"rtsp://10.0.0.3/d", "rtsp://10.0.0.3/e", "", "", "", false});
    wanted = Swap(wanted, "source.url = \"rtsp://10.0.0.3/c\"\n",
                  "source.url = \"rtsp://10.0.0.3/d\"\nsource.sub_url = \"rtsp://10.0.0.3/e\"\n");
    EXPECT_EQ(text.Text(), wanted);
}

TEST(ConfigText, PlacesAreTakenLeftAndExchangedWithTheirComments) {
    ConfigText text(kFile);
    text.Move(0, 2);
    // The camera of the gate is number 2 now, and who may watch only some watches the same ones.
    std::string wanted = kFile;
    const std::string gate =
        wanted.substr(wanted.find("# The gate"), wanted.find("\n\n# Beside") - wanted.find("# The gate"));
    const std::string yard = wanted.substr(
        wanted.find("# Beside"), wanted.find("\n\n[[channels]]\nsource.") - wanted.find("# Beside"));
    const std::string street =
        wanted.substr(wanted.find("[[channels]]\nsource."),
                      wanted.find("\n\n[server]") - wanted.find("[[channels]]\nsource."));
    wanted = wanted.substr(0, wanted.find("# The gate")) + yard + "\n\n" + street + "\n\n" + gate +
             wanted.substr(wanted.find("\n\n[server]"));
    wanted = Swap(wanted, "[0,\n  1, # the yard\n  2]", "[2,\n  0, # the yard\n  1]");
    EXPECT_EQ(text.Text(), wanted);
    text.Move(2, 0);
    EXPECT_EQ(text.Text(), kFile);

    text.Remove(1);
    wanted = Swap(kFile, yard.substr(yard.find("[[")), "[[channels]]\nconfigured = false");
    EXPECT_EQ(text.Text(), wanted);
    text.Remove(2);
    EXPECT_EQ(text.Text(), Swap(wanted, "\n" + street + "\n", ""));
    const SourceText source{"rtsp://h/x", "", "u", "p", "udp", true};
    const std::string added = R"([[channels]]
name = "New"
source = { url = "rtsp://h/x", user = "u", password = "p", transport = "udp" })";
    EXPECT_EQ(text.Add("New", source), 1) << "a place that was left is taken first";
    EXPECT_EQ(text.Add("New", source), 2);
    wanted = Swap(Swap(wanted, "\n" + street + "\n", ""), "[[channels]]\nconfigured = false",
                  added + "\n\n" + added);
    EXPECT_EQ(text.Text(), wanted);

    ConfigText first("listen = \"127.0.0.1:0\"\r\n\r\n# all\r\n# end\r\n");
    EXPECT_EQ(first.Add("New", {"rtsp://h/x", "", "", "", "", true}), 0);
    EXPECT_EQ(first.Text(),
              "listen = \"127.0.0.1:0\"\r\n\r\n[[channels]]\r\nname = \"New\"\r\nsource = { url = "
              "\"rtsp://h/x\" }\r\n\r\n# all\r\n# end\r\n");
    first.Remove(0);
    EXPECT_NE(first.Text().find("configured = false\r\n"), std::string::npos)
        << "without any place the recorder would serve scenes instead";
}

TEST(ConfigText, WhatIsLeftToPeopleIsToldAndStays) {
    for (const char* const file : {"channels = [{ name = \"a\" }]\n",
                                   "[[channels]]\nname = \"a\"\n[server]\nname = \"n\"\n[channels.ptz]\n",
                                   "[[channels]\n", "[[channels]]\nname = \"scene\"\n"}) {
        ConfigText text(file);
        EXPECT_THROW(text.SetSource(0, {"rtsp://h/x", "", "", "", "", true}), ConfigError) << file;
        EXPECT_EQ(text.Text(), file);
    }
    ConfigText text(kFile);
    EXPECT_THROW(text.Rename(3, "x"), ConfigError);
    EXPECT_THROW(text.Move(0, 3), ConfigError);
    EXPECT_THROW(text.Remove(-1), ConfigError);
    EXPECT_EQ(text.Text(), kFile);
}

}  // namespace
}  // namespace kvtest
