#include <gmock/gmock.h>

#include <set>

#include "console/settings/snapshot_name.h"

namespace kvmon {
namespace {

std::tm Time() {
    std::tm time{};
    time.tm_year = 126;
    time.tm_mon = 10;
    time.tm_mday = 4;
    time.tm_hour = 5;
    time.tm_min = 6;
    time.tm_sec = 7;
    return time;
}

TEST(SnapshotNameTest, NamesServerCameraAndTimeAndThenCounts) {
    std::set<std::string> taken;
    const auto name = [&] {
        const std::string path = MakeSnapshotName("/shots", "Gate", 3, Time(), SnapshotFormat::Jpeg,
                                                  [&](const std::string& p) { return taken.contains(p); });
        taken.insert(path);
        return path;
    };
    EXPECT_EQ(name(), "/shots/Gate - Camera 3 2026-11-04-05-06-07.jpg");
    EXPECT_EQ(name(), "/shots/Camera 3 2026-11-04-05-06-07(1).jpg");
    EXPECT_EQ(name(), "/shots/Camera 3 2026-11-04-05-06-07(2).jpg");
}

TEST(SnapshotNameTest, AServerNameThatIsNoFileNameStaysOut) {
    for (const char* const name : {"", " a", "a.", "\ta", "a:b", "../../etc", "a\\b", "a\r", "a|b", "a?"}) {
        EXPECT_EQ(LegalNamePart(name), "") << name;
    }
    EXPECT_EQ(LegalNamePart("North gate.1"), "North gate.1");
    EXPECT_EQ(MakeSnapshotName("/s/", "a:b", 1, Time(), SnapshotFormat::Bmp,
                               [](const std::string&) { return false; }),
              "/s/ - Camera 1 2026-11-04-05-06-07.bmp");
}

}  // namespace
}  // namespace kvmon
