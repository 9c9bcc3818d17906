#include <gtest/gtest.h>

#include "platform/text.h"

using namespace kvmon;

TEST(TextTest, Utf16RoundTripAndUnits) {
    const std::string text = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x8E\xA5";  // a, e acute, euro, camera
    EXPECT_EQ(FromUtf16(ToUtf16(text)), text);
    EXPECT_EQ(Utf16Length(text), 5u);
    EXPECT_EQ(Utf16Left(text, 3), "a\xC3\xA9\xE2\x82\xAC");
    EXPECT_EQ(Utf16Left(text, 4), "a\xC3\xA9\xE2\x82\xAC");  // the pair does not fit
    EXPECT_EQ(Utf16Left(text, 5), text);
}

TEST(TextTest, BadBytesBecomeReplacements) {
    EXPECT_EQ(FromUtf16(ToUtf16("\xFF")), "\xEF\xBF\xBD");
    EXPECT_EQ(FromUtf16(ToUtf16("\xC3")), "\xEF\xBF\xBD");
    EXPECT_EQ(FromUtf16(u"\xD800x"), "\xEF\xBF\xBDx");
    EXPECT_FALSE(IsValidUtf8("\xED\xA0\x80"));  // a surrogate
    EXPECT_FALSE(IsValidUtf8("\xC0\x80"));      // overlong
    EXPECT_TRUE(IsValidUtf8("\xE2\x82\xAC"));
}

TEST(TextTest, BoundedTextCutsAndStopsAtNul) {
    BoundedText<4> text("abcdef");
    EXPECT_EQ(text.View(), "abc");
    text = std::string_view("a\0b", 3);
    EXPECT_EQ(text.View(), "a");
    text = text.View();
    EXPECT_EQ(text.View(), "a");
}

TEST(TextTest, FormatsAndTrims) {
    EXPECT_EQ(FormatText("%s-%u", "x", 7u), "x-7");
    EXPECT_EQ(TrimRight("abc\r\n", "\r\n"), "abc");
    EXPECT_EQ(TrimRight("\n", "\n"), "");
}
