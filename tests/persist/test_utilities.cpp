#include "persist/utilities.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>

#include "support/temp_folder.h"

using namespace kvmon;

namespace {

std::string Encoded(const std::string& data, bool lineBreaks, std::size_t outSize = 4096) {
    std::vector<char> out(outSize + 1, '#');
    const std::size_t length = Base64Encode(data.data(), data.size(), out.data(), outSize, lineBreaks);
    if (length == 0) {
        EXPECT_EQ(out[0], data.empty() ? '\0' : '#');  // a refusal writes nothing
        return {};
    }
    EXPECT_EQ(out[length], '\0');
    EXPECT_EQ(out[outSize], '#');
    return {out.data(), length};
}

TEST(Base64Test, LineBreaksStandBehindEach76Characters) {
    EXPECT_EQ(Encoded(std::string(56, 'x'), true).find('\n'), std::string::npos);
    const std::string full = Encoded(std::string(57, 'x'), true);
    EXPECT_EQ(full.size(), 77u);
    EXPECT_EQ(full.find('\n'), 76u);
    const std::string more = Encoded(std::string(58, 'x'), true);
    EXPECT_EQ(more.find('\n'), 76u);
    EXPECT_EQ(more.substr(77), "eA==");
    EXPECT_EQ(Encoded(std::string(114, 'x'), true).rfind('\n'), 153u);
    EXPECT_EQ(Encoded(std::string(57, 'x'), false).size(), 76u);
}

TEST(Base64Test, SmallBuffersGiveNothing) {
    EXPECT_EQ(Encoded("a", true, 75), "");
    EXPECT_EQ(Encoded("a", true, 76), "YQ==");
    EXPECT_EQ(Encoded("a", false, 4), "");  // no room for the NUL
    EXPECT_EQ(Encoded("a", false, 5), "YQ==");
    EXPECT_EQ(Encoded(std::string(57, 'x'), true, 77), "");
    EXPECT_EQ(Encoded(std::string(57, 'x'), true, 78).size(), 77u);
}

TEST(Base64Test, RoundTripOfEveryLengthAndByte) {
    std::string data;
    for (int i = 0; i < 300; ++i) {
        EXPECT_EQ(Base64Decode(Encoded(data, false)), data);
        EXPECT_EQ(Base64Decode(Encoded(data, true)), data);
        data += static_cast<char>(i * 7);
    }
}

TEST(Base64Test, DecodingSkipsBlanksAndCountsForeignBytesAsZero) {
    EXPECT_EQ(Base64Decode(" Y\tW\rJ\nj "), "abc");
    EXPECT_EQ(Base64Decode("YQ==YWI="), "aab");
    EXPECT_EQ(Base64Decode("Y-Jj"), Base64Decode("YAJj"));
    EXPECT_EQ(Base64Decode("YWJjYW"), "abc");  // a group that nothing closes is dropped
    EXPECT_EQ(Base64Decode("Y==="), "");
    EXPECT_EQ(Base64Decode("===="), "");
}

TEST(BasicAuthTest, MakesAndSplits) {
    EXPECT_EQ(MakeBasicAuth("admin", "a:b"), "YWRtaW46YTpi");
    EXPECT_EQ(SplitBasicAuth("YWRtaW46YTpi", 64, 64), std::pair(std::string("admin"), std::string("a:b")));
    EXPECT_EQ(SplitBasicAuth("YWRtaW46YTpi", 4, 3), std::pair(std::string("adm"), std::string("a:")));
    EXPECT_FALSE(SplitBasicAuth(EncodeBasicAuth("nocolon"), 64, 64));
    EXPECT_FALSE(SplitBasicAuth("", 64, 64));
    EXPECT_EQ(SplitBasicAuth(EncodeBasicAuth(":"), 64, 64), std::pair(std::string(), std::string()));
    EXPECT_NE(MakeBasicAuth(std::string(63, 'u'), std::string(63, 'p')), "");
    EXPECT_EQ(MakeBasicAuth(std::string(64, 'u'), "p"), "");
    EXPECT_EQ(MakeBasicAuth("u", std::string(64, 'p')), "");
    // Long credentials carry the line break, and come back all the same.
    const std::string text = MakeBasicAuth(std::string(60, 'u'), std::string(60, 'p'));
    EXPECT_NE(text.find('\n'), std::string::npos);
    EXPECT_EQ(SplitBasicAuth(text, 64, 64)->second, std::string(60, 'p'));
}

TEST(TextUtilitiesTest, EscapeURLTakesUnitsNotBytes) {
    EXPECT_EQ(EscapeURL("aZ09 -/"), "aZ09%20%2D%2F");
    EXPECT_EQ(EscapeURL("\xC3\xA9"), "%E9");
    EXPECT_EQ(EscapeURL("\xE2\x82\xAC"), "%20AC");
    EXPECT_EQ(EscapeURL("\xF0\x9F\x8E\xA5"), "%D83C%DFA5");
    EXPECT_EQ(EscapeURL("\n"), "%0A");
}

TEST(TextUtilitiesTest, NumbersNamesAndSearch) {
    EXPECT_EQ(FormatThousands(0), "0");
    EXPECT_EQ(FormatThousands(999), "999");
    EXPECT_EQ(FormatThousands(1000), "1,000");
    EXPECT_EQ(FormatThousands(UINT64_MAX), "18,446,744,073,709,551,615");
    for (const char c : std::string("<>:\"/\\|")) {
        EXPECT_FALSE(IsValidFileName(std::string("a") + c + "b")) << c;
    }
    EXPECT_TRUE(IsValidFileName("a*b?.jpg"));
    EXPECT_EQ(stristr("Content-LENGTH: 5", "length"), 8u);
    EXPECT_EQ(stristr("abc", "abcd"), std::string::npos);
    EXPECT_EQ(stristr("", ""), 0u);
    EXPECT_EQ(FromLatin1("\xE9"), "\xC3\xA9");
    std::tm time{};
    time.tm_year = 124;
    time.tm_mon = 1;
    time.tm_mday = 3;
    EXPECT_EQ(FormatTimeStamp(time), "20240203000000");
}

TEST(FolderTest, LookUpsAndDigests) {
    const kvtest::TempFolder folder;
    EXPECT_TRUE(CreateFolder(folder.File("a/b/c")));
    EXPECT_TRUE(CreateFolder(folder.File("a/b/c")));
    EXPECT_TRUE(IsFolder(folder.File("a/b")));
    struct stat status {};
    ASSERT_EQ(::stat(folder.File("a").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 077, 0u);
    std::ofstream(folder.File("file")) << "abc";
    EXPECT_TRUE(FileExists(folder.File("file")));
    EXPECT_FALSE(IsFolder(folder.File("file")));
    EXPECT_FALSE(CreateFolder(folder.File("file/sub")));
    EXPECT_FALSE(FileExists(folder.File("file/sub")));
    EXPECT_FALSE(FileExists(folder.File("none")));
    EXPECT_TRUE(FileExists(folder.File(std::string(300, 'x'))));  // neither not found nor a bad path

    for (const char* const low : {"/home/u/Temp/Low", "C:\\Temp\\LOW\\", "low", "/low/"}) {
        EXPECT_TRUE(IsLowIntegrityFolder(low)) << low;
    }
    for (const char* const other :
         {"", "/tmp", "lo", "/low/tmp", "/low//", "/yellow/", "/x/workflow", "flow"}) {
        EXPECT_FALSE(IsLowIntegrityFolder(other)) << other;
    }

    EXPECT_EQ(MD5String(""), "d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_EQ(MD5String("abc"), "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(MD5File(folder.File("file")), MD5String("abc"));
    EXPECT_EQ(MD5File(folder.File("none")), "");
    EXPECT_EQ(GetModuleFilePath(), GetModuleFileFolder() + "/test_persist");
}

}  // namespace
