#include <gmock/gmock.h>

#include "control/auth_text.h"
#include "control/help_url.h"
#include "control/languages.h"
#include "persist/utilities.h"

using namespace kvmon;

TEST(Languages, NumbersAndIdentifiers) {
    for (int number = 0; number < kLanguageCount; ++number) {
        EXPECT_EQ(NumberFromLanguage(LanguageFromNumber(number)), number);
    }
    EXPECT_EQ(LanguageFromNumber(99), 0x0409);
    EXPECT_EQ(LanguageFromNumber(-1), 0x0409);
    EXPECT_EQ(NumberFromLanguage(0x0C04), 0);   // Chinese of a third kind
    EXPECT_EQ(NumberFromLanguage(0x0C0C), 5);   // any French
    EXPECT_EQ(NumberFromLanguage(0x0C16), 16);  // any Portuguese but the Brazilian
    EXPECT_EQ(NumberFromLanguage(kLanguageNone), 0);
    EXPECT_EQ(NumberFromLanguage(0x0401), 0);
    EXPECT_STREQ(HelpSuffix(0x0C04), "cht");
    EXPECT_STREQ(HelpSuffix(0x0804), "chs");
    EXPECT_STREQ(HelpSuffix(0x0807), "ger");
    EXPECT_STREQ(HelpSuffix(0x0401), "eng");
}

TEST(HelpUrl, PathsOfTheRecorderAndWholeOnes) {
    EXPECT_EQ(MakeHelpURL("", "h", 80, 0x0409), "");
    EXPECT_EQ(MakeHelpURL("help", "h", 81, 0x0407), "http://h:81/help/ger/help.html");
    EXPECT_EQ(MakeHelpURL("/a/", "h", 80, 0x0409), "http://h:80/a/eng/help.html");
    EXPECT_EQ(MakeHelpURL("http://x/", "h", 80, 0x0409), "http://h:80/http://x/eng/help.html");
    EXPECT_EQ(MakeHelpURL("file:http://x", "h", 80, 0x0409), "file:http://x/eng/help.html");
    EXPECT_EQ(MakeHelpURL("%s%n", "%d", 80, 0x0409), "http://%d:80/%s%n/eng/help.html");
}

TEST(AuthText, UserAndPassword) {
    const auto credential = DecodeAuthText(EncodeBasicAuth("ann:a:b"));
    ASSERT_TRUE(credential);
    EXPECT_EQ(credential->first, "ann");
    EXPECT_EQ(credential->second, "a:b");
    EXPECT_FALSE(DecodeAuthText(EncodeBasicAuth("no colon")));
    EXPECT_FALSE(DecodeAuthText(""));
    EXPECT_FALSE(DecodeAuthText(EncodeBasicAuth("u:" + std::string(260, 'x'))));
}
