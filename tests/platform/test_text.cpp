#include <gtest/gtest.h>

#include "platform/outside_text.h"
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

TEST(TextTest, HiddenSignsOfOutsideTextsBecomeBlanks) {
    for (const char* const sign :
         {"\x01", "\x1B", "\x7F", "\xC2\x80", "\xC2\x9F", "\xD8\x9C", "\xE2\x80\x8E", "\xE2\x80\x8F",
          "\xE2\x80\xA8", "\xE2\x80\xAA", "\xE2\x80\xAE", "\xE2\x81\xA6", "\xE2\x81\xA9", "\xEF\xBB\xBF"}) {
        EXPECT_EQ(OutsideLine(std::string("a") + sign + "b"), "a b") << sign;
        EXPECT_EQ(OutsideText(std::string("a") + sign + "b"), "a b") << sign;
        std::string inPlace = std::string("\xF0\x9F\x98\x80\xC3\xA4\xE2\x82\xAC") + sign + "b\xE2";
        BlankHiddenSigns(inPlace.data(), inPlace.size());
        EXPECT_EQ(inPlace, std::string("\xF0\x9F\x98\x80\xC3\xA4\xE2\x82\xAC") +
                               std::string(std::string_view(sign).size(), ' ') + "b\xE2");
    }
    EXPECT_EQ(OutsideLine(std::string_view("a\0b", 3)), "a b");
    // Letters of those scripts, and what joins them, are no such signs; nor are pictures.
    const std::string text = "\xD7\xA9\xD9\x85\xE2\x80\x8D\xC2\xA0\xF0\x9F\x8E\xA5";
    EXPECT_EQ(OutsideLine(text), text);
    EXPECT_EQ(OutsideLine("a\xFF"), "a\xEF\xBF\xBD");
    EXPECT_EQ(OutsideLine("a\tb\nc\r\n"), "a b c\r\n");
    EXPECT_EQ(OutsideText("a\tb\nc\rd\r\n"), "a\tb\nc d\r\n");
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
