#include <gtest/gtest.h>

#include "server/documents/server_documents.h"
#include "support/recorder_texts.h"

using namespace kvmon;
using namespace kvtest;

namespace {

std::string Decoded(const std::string& line, std::size_t size = 256) {
    std::string out(size, '?');
    EXPECT_EQ(DecodeHexLine(line, out), 0) << line;
    return out;
}

std::string DiskSize(std::int64_t bytes) {
    std::string number, unit;
    FormatDiskSize(number, unit, bytes);
    return number + "|" + unit;
}

CNvrStatus StatusOf(std::size_t channels) {
    CNvrStatus status;
    status.m_VideoSettingList.resize(channels);
    return status;
}

}  // namespace

TEST(ScrambledLine, ReadsBlanksBehindItsTextAndIgnoresABrokenGroup) {
    const std::string out = Decoded(Scramble("a\xFFz"));
    EXPECT_EQ(out.substr(0, 4), std::string("a\xFFz\0", 4));
    EXPECT_EQ(out.substr(4), std::string(out.size() - 4, ' '));
    EXPECT_STREQ(Decoded(std::string(TrimRight(Scramble("ab"), "\r\n")) + "1234567").c_str(), "ab");
    EXPECT_STREQ(Decoded("1234567").c_str(), "");
    EXPECT_STREQ(Decoded("").c_str(), "");
    EXPECT_STREQ(Decoded("zzzzzzzz00000041").c_str(), "A");
    // Cut anywhere: a beginning of the text.
    const std::string line = Scramble("0123456789");
    for (std::size_t cut = 0; cut <= line.size(); ++cut) {
        EXPECT_TRUE(std::string_view("0123456789").starts_with(Decoded(line.substr(0, cut)).c_str()));
    }
}

TEST(ScrambledLine, RefusesMoreThanFits) {
    std::array<char, 4> out;
    EXPECT_EQ(DecodeHexLine(Scramble("abc"), out), 0);
    EXPECT_EQ(DecodeHexLine(Scramble("abcd"), out), -1);
    EXPECT_EQ(DecodeHexLine("00000000", std::span<char>()), -1);
}

TEST(ChannelLines, FieldsAreWordsLikeScanfReadsThem) {
    const auto line = ParseChannelAddressLine(AddressLine(7, "89ABCDEF00000034", "10.0.0.1", "cam.example"));
    EXPECT_EQ(line.nIndex, 7);
    EXPECT_EQ(line.VendorId(), 0x89ABCDEFu);
    EXPECT_EQ(line.ModelId(), 0x34u);
    EXPECT_EQ(line.szLanAddress.View(), "10.0.0.1");
    EXPECT_EQ(line.szWanAddress.View(), "cam.example");

    EXPECT_EQ(ParseChannelAddressLine("").nIndex, -1);
    EXPECT_LT(ParseChannelAddressLine("-12").nIndex, 0);
    EXPECT_EQ(ParseChannelAddressLine("9999").nIndex, 999);
    EXPECT_TRUE(ParseChannelAddressLine("007" + std::string(16, 'A')).szLanAddress.IsEmpty());
    // 64 characters are read and 63 kept; what is left of a longer word is the next field.
    const auto wide = ParseChannelAddressLine("000" + std::string(16, 'A') + std::string(70, 'l'));
    EXPECT_EQ(wide.szLanAddress.Length(), 63u);
    EXPECT_EQ(wide.szWanAddress.View(), "llllll");
}

TEST(ChannelLines, AccountsStandAtTheRightOfTheirColumns) {
    const auto read = [](const std::string& plain) {
        return ParseChannelAccountLine(Decoded(Scramble(plain)));
    };
    auto line = read(AccountLine("root", "secret", 80, 554));
    EXPECT_EQ(line.szUser.View(), "root");
    EXPECT_EQ(line.szPassword.View(), "secret");
    EXPECT_EQ(line.nLanPort, 80u);
    EXPECT_EQ(line.nWanPort, 554u);

    line = read(AccountLine("", "secret", 80, 554));
    EXPECT_TRUE(line.szUser.IsEmpty());
    EXPECT_EQ(line.szPassword.View(), "secret");
    // Left-aligned: column 31 is a blank.
    EXPECT_TRUE(read("root" + std::string(28, ' ') + std::string(32, 'p')).szUser.IsEmpty());
    // A full password does not run into the user.
    EXPECT_EQ(read(AccountLine("u", std::string(32, 'p'), 1, 2)).szUser.View(), "u");
    // Short lines, and numbers without sense.
    EXPECT_EQ(read("").nLanPort, 0u);
    EXPECT_EQ(read(AccountLine("u", "p", -5, 65535)).nLanPort, 0u);
    EXPECT_EQ(read(AccountLine("u", "p", -5, 65535)).nWanPort, 65535u);
}

TEST(ExtLine, KeysAreFoundAnywhereAndValuesAtTheLimitIgnored) {
    CVideoSetting setting;
    ApplyExtLine("rtsp port=554", setting);
    ApplyExtLine("xx rtsp port2=8554", setting);
    ApplyExtLine("admin password=" + std::string(63, 'a'), setting);
    ApplyExtLine("guest password=" + std::string(64, 'g'), setting);
    ApplyExtLine("http_video_url=" + std::string(256, 'u'), setting);
    ApplyExtLine("wan address=w.example", setting);
    ApplyExtLine("lan address=10.1.1.1", setting);
    EXPECT_EQ(setting.m_NetworkSetting[0].nRtspPort, 554u);
    EXPECT_EQ(setting.m_NetworkSetting[1].nRtspPort, 8554u);
    EXPECT_EQ(setting.m_lpszAdminPasswd.Length(), 63u);
    EXPECT_TRUE(setting.m_lpszGuestPasswd.IsEmpty());
    EXPECT_TRUE(setting.m_lpszVideoURL.IsEmpty());
    EXPECT_EQ(setting.m_NetworkSetting[1].szAddress.View(), "w.example");
    EXPECT_EQ(setting.m_NetworkSetting[0].szAddress.View(), "10.1.1.1");
    // Two keys in one line: the first one's value goes to the line's end.
    ApplyExtLine("guest password=a lan address=b", setting);
    EXPECT_EQ(setting.m_lpszGuestPasswd.View(), "a lan address=b");
    EXPECT_EQ(setting.m_NetworkSetting[0].szAddress.View(), "b");
}

TEST(DiskLine, EmptyAndAbsurdLines) {
    CNvrStatus status;
    ParseDiskLine("", status);
    EXPECT_EQ(status.m_nDiskStatus, 100);
    EXPECT_EQ(status.m_nDiskUsed, 100);
    ParseDiskLine("-7   034 1024\n", status);
    EXPECT_EQ(status.m_nDiskStatus, -7);
    EXPECT_EQ(status.m_nDiskUsed, 34);
    EXPECT_EQ(status.m_strDiskSize + "|" + status.m_strDiskUnit, "1.00|MB");
    ParseDiskLine("9999999999999999999 99 99999999999999999999999", status);
    EXPECT_EQ(status.m_nDiskStatus, INT32_MAX);
    EXPECT_EQ(status.m_strDiskUnit, "GB");
}

TEST(RecordingLine, EachCutGivesItsSectionsCode) {
    const std::string whole =
        "002"
        "9F"
        "20"
        "FF"
        "5A"
        "1x"
        "\n";
    for (std::size_t cut = 0; cut < 13; ++cut) {
        CNvrStatus status = StatusOf(2);
        const int expected = cut < 3 ? 7 : 8 + static_cast<int>((cut - 3) / 2);
        EXPECT_EQ(static_cast<int>(ParseRecordingLine(whole.substr(0, cut) + "\n", status)), expected) << cut;
        EXPECT_EQ(static_cast<int>(ParseRecordingLine(whole.substr(0, cut), status)), expected) << cut;
    }
    CNvrStatus status = StatusOf(2);
    status.m_VideoSettingList[1].SetStatus(kStatusMonitorRight, 1);
    ASSERT_EQ(ParseRecordingLine(whole, status), RecordingLine::Good);
    EXPECT_EQ(status.m_nChannelCount, 2);
    const auto word = [&](int channel, std::uint32_t mask) {
        return status.m_VideoSettingList[static_cast<std::size_t>(channel)].Status(mask);
    };
    EXPECT_EQ(word(0, 8), 1u);  // bit 0 of 9
    EXPECT_EQ(word(0, 2), 0u);  // bit 2 of 9
    EXPECT_EQ(word(0, 1), 1u);  // bit 3 of 9
    EXPECT_EQ(word(1, 2), 1u);
    EXPECT_EQ(word(0, 128), 1u);
    EXPECT_EQ(word(1, 128), 0u);
    EXPECT_EQ(word(0, 4), 1u);
    EXPECT_EQ(word(0, 16), 0u);
    EXPECT_EQ(word(0, 32), 1u);
    EXPECT_EQ(word(0, 64), 0u);
    EXPECT_EQ(word(1, 16), 1u);
    EXPECT_EQ(word(1, 64), 1u);
    EXPECT_EQ(word(0, 256), 1u);
    EXPECT_EQ(word(1, 256), 1u) << "anything but 1 leaves the right as it was";
}

TEST(RecordingLine, CountsBeyondTheListAreReadAndIgnored) {
    CNvrStatus status = StatusOf(1);
    EXPECT_EQ(ParseRecordingLine("003" + std::string(15, '1') + "\n", status), RecordingLine::Good);
    EXPECT_EQ(status.m_VideoSettingList.size(), 1u);
    EXPECT_EQ(ParseRecordingLine("999" + std::string(2000, '1'), status), RecordingLine::ShortC);
    EXPECT_EQ(ParseRecordingLine(std::string("1\0", 2) + "2", status), RecordingLine::BadCount);
}

TEST(DiskSize, RoundsAsToldByTheKeptDigits) {
    const std::pair<std::int64_t, const char*> rows[] = {
        {0, "0|Byte"},
        {1, "1|Byte"},
        {2, "2|Bytes"},
        {999, "999|Bytes"},
        {1000, "0.98|KB"},  // 0.977
        {1023, "1.00|KB"},  // 0.999: carries over the point
        {1024, "1.00|KB"},
        {1029, "1.00|KB"},         // 1.005: exactly 5 rounds down
        {1030, "1.01|KB"},         // 1.006
        {10239, "0.00|KB"},        // 9.999: all nines, no digit is added
        {102339, "99.9|KB"},       // 99.940
        {102398, "00.0|KB"},       // 99.998
        {999999, "976|KB"},        // 976.562: what follows is the point
        {1000000, "0.95|MB"},      // 0.954
        {999999999, "953|MB"},     // 953.674
        {1000000000, "0.93|GB"},   // 0.931
        {99999999999, "93.1|GB"},  // 93.132
        {100000000000, "93 |GB"},
        {std::int64_t{976762584} * 1024, "931 |GB"},
    };
    for (const auto& [bytes, text] : rows) {
        EXPECT_EQ(DiskSize(bytes), text) << bytes;
    }
}

TEST(DateTime, RefusesWhatIsNoTime) {
    ASSERT_TRUE(ParseDateTime("20240131235959 x"));
    EXPECT_EQ(ParseDateTime("20240131235959")->tm_mon, 0);
    for (const char* text :
         {"2024013123595", "2024-131235959", "20241331235959", "20240100000000", "20240131245959", ""}) {
        EXPECT_FALSE(ParseDateTime(text)) << text;
    }
}
