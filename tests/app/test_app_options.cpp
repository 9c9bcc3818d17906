#include "app/app_options.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <fstream>
#include <sstream>

#include "persist/utilities.h"
#include "support/temp_folder.h"

using namespace kvmon;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

ParsedCommandLine Parse(const std::vector<std::string>& args, const std::string& input = {}) {
    std::istringstream stream(input);
    return ParseCommandLine(args, stream);
}

}  // namespace

TEST(AppOptions, TakesThemAll) {
    const auto parsed = Parse({"--server", "rec.local", "--port", "8080", "--auth", "dTpw", "--auto-start",
                               "--server-name", "Hall", "--language", "6", "--help-path", "h", "--data-dir",
                               "/d", "--picture", "p.png", "--picture-after", "0.5"});
    ASSERT_TRUE(parsed.options) << parsed.text;
    EXPECT_EQ(parsed.options->server, "rec.local");
    EXPECT_EQ(parsed.options->port, 8080);
    EXPECT_EQ(parsed.options->auth, "dTpw");
    EXPECT_TRUE(parsed.options->autoStart);
    EXPECT_EQ(parsed.options->language, 6);
    EXPECT_EQ(parsed.options->picture, "p.png");
    EXPECT_EQ(parsed.options->pictureAfterSeconds, 0.5);
    EXPECT_THAT(parsed.options->given,
                testing::UnorderedElementsAre("ServerIP", "ServerPort", "AuthData", "AutoStart",
                                              "DefServerName", "Language", "HelpPath"));
    EXPECT_FALSE(parsed.options->keep || parsed.options->lock || parsed.options->fullScreen);
    const auto wall = Parse({"--full-screen", "--display", "2", "--lock"});
    ASSERT_TRUE(wall.options) << wall.text;
    EXPECT_TRUE(wall.options->fullScreen && wall.options->lock);
    EXPECT_EQ(wall.options->display, 2);
    const auto walls = Parse({"--all-displays", "--display-view", "3=Yard = north", "--display-view", "2=A"});
    ASSERT_TRUE(walls.options && walls.options->allDisplays) << walls.text;
    EXPECT_THAT(walls.options->displayViews,
                testing::ElementsAre(testing::Pair(2, "A"), testing::Pair(3, "Yard = north")));
    EXPECT_FALSE(Parse({}).options->language);
    EXPECT_THAT(Parse({"--keep"}).options->given, IsEmpty());
    EXPECT_TRUE(Parse({"--keep"}).options->keep);
    EXPECT_EQ(Parse({"--decoder-threads", "4"}).options->decoderThreads, 4);
    EXPECT_EQ(Parse({}).options->hardware, "off");
    EXPECT_EQ(Parse({"--hwdec", "vaapi"}).options->hardware, "vaapi");
    EXPECT_THAT(Parse({"--hwdec", "vapi"}).text, HasSubstr("no such device: vapi; did you mean vaapi?"));
    EXPECT_FALSE(Parse({}).options->look);
    EXPECT_EQ(Parse({"--look", "light"}).options->look, LookChoice::Light);
    EXPECT_EQ(Parse({"--look", "contrast"}).options->look, LookChoice::HighContrast);
}

TEST(AppOptions, WrongOnesGiveOneLineAndStatusTwo) {
    const std::vector<std::vector<std::string>> wrong = {
        {"--port", "0"},
        {"--port", "65536"},
        {"--port", "x"},
        {"--port"},
        {"--bogus"},
        {"--language", "21"},
        {"--look", "pink"},
        {"--look", "2"},
        {"stray"},
        {"--user", "u"},
        {"--password-file", "/etc/hostname"},
        {"--auth", "a", "--user", "u", "--password-file", "f"},
        {"--picture-after", "3"},
        {"--picture", "p", "--picture-after", "-1"},
        {"--user", "u", "--password-file", "/nonexistent/file"},
        {"--auth", "-"},
        {"--serve", "1.2.3.4"},
        {"--serve", "1", "--keep"},
        {"--serve", "1", "--lock"},
        {"--display", "0"},
        {"--display-view", "Yard"},
        {"--display-view", "=Yard"},
        {"--display-view", "2="},
        {"--display-view", "0=Yard"},
        {"--display-view", "99999999999=Yard"},
        {"--display-view", "2=A", "--display-view", "2=B"},
        {"--display", "2", "--display-view", "2=A"},
        {"--serve", "1", "--all-displays"},
        {"--decoder-threads", "0"},
        {"--hwdec", "gpu"},
        {"--serve", "127.0.0.1:0", "--picture", "p"},
        {"--web-origin", "http://a"},
        {"--serve", "1", "--web-token-file", "/nonexistent/file"},
    };
    for (const auto& args : wrong) {
        const auto parsed = Parse(args);
        EXPECT_FALSE(parsed.options) << args[0];
        EXPECT_EQ(parsed.exitStatus, 2) << args[0];
        EXPECT_THAT(parsed.text, testing::StartsWith("kvmon: "));
        EXPECT_THAT(parsed.text, Not(HasSubstr("\n")));
    }
}

TEST(AppOptions, HelpAndVersionAreNoFailure) {
    EXPECT_EQ(Parse({"--help"}).exitStatus, 0);
    EXPECT_THAT(Parse({"--help"}).text, HasSubstr("--password-file"));
    EXPECT_THAT(Parse({"--version"}).text, testing::MatchesRegex("kvmon [0-9.]+\n"));
}

TEST(AppOptions, CredentialsFromInputAndFile) {
    EXPECT_EQ(Parse({"--auth", "-"}, "dTpw\r\nmore").options->auth, "dTpw");
    EXPECT_FALSE(Parse({"--auth", "-"}, std::string(100000, 'x')).options);

    const kvtest::TempFolder folder;
    std::ofstream(folder.File("pw")) << "s3cret word\nsecond line\n";
    const auto parsed = Parse({"--user", "ann", "--password-file", folder.File("pw")});
    ASSERT_TRUE(parsed.options) << parsed.text;
    EXPECT_EQ(parsed.options->auth, MakeBasicAuth("ann", "s3cret word"));
    // A token becomes part of an address and of a page.
    EXPECT_FALSE(Parse({"--serve", "1", "--web-token-file", folder.File("pw")}).options);
    std::ofstream(folder.File("token")) << "0123456789abcdef_-Z\n";
    EXPECT_EQ(Parse({"--serve", "1", "--web-token-file", folder.File("token")}).options->webToken,
              "0123456789abcdef_-Z");
}

TEST(AppOptions, WhatOthersCouldReadIsTold) {
    EXPECT_THAT(Parse({"--auth", "dTpw"}).options->warnings,
                ElementsAre(HasSubstr("--auth - reads it from")));
    EXPECT_THAT(Parse({"--auth", "-"}, "dTpw").options->warnings, IsEmpty());

    const kvtest::TempFolder folder;
    const std::string file = folder.File("0123456789abcdef");
    std::ofstream(file) << "0123456789abcdef\n";
    const auto warnings = [&](mode_t folderMode, mode_t fileMode) {
        ::chmod(folder.Path().c_str(), folderMode);
        ::chmod(file.c_str(), fileMode);
        return Parse({"--user", "ann", "--password-file", file, "--serve", "1", "--web-token-file", file})
            .options->warnings;
    };
    EXPECT_THAT(warnings(0755, 0600), IsEmpty());
    EXPECT_THAT(warnings(0700, 0644), IsEmpty()) << "nobody gets there";
    EXPECT_THAT(warnings(0710, 0640),
                ElementsAre(HasSubstr(file), HasSubstr("--web-token-file: others can")));
    EXPECT_THAT(warnings(0755, 0604).size(), 2u);
}

TEST(AppOptions, AMistypedPasswordIsNotRepeated) {
    EXPECT_THAT(Parse({"--password=hunter2"}).text, Not(HasSubstr("hunter2")));
    EXPECT_THAT(Parse({"--user", "u", "hunter2"}).text, Not(HasSubstr("hunter2")));
    EXPECT_THAT(Parse({"--passwd", "hunter2"}).text, Not(HasSubstr("hunter2")));
}

TEST(AppOptions, ScrubsTheArgumentVector) {
    std::string texts[] = {"kvmon", "--auth", "c2VjcmV0", "--auth=dTpw", "--server", "host", "--auth"};
    std::vector<char*> argv;
    for (std::string& text : texts) {
        argv.push_back(text.data());
    }
    ScrubArguments(static_cast<int>(argv.size()), argv.data());
    EXPECT_EQ(texts[2], "xxxxxxxx");
    EXPECT_EQ(texts[3], "--auth=xxxx");
    EXPECT_EQ(texts[5], "host");
    EXPECT_EQ(texts[6], "--auth");
}
