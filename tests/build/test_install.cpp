// What `cmake --install` puts somewhere works there, and needs nothing of the folder that it was built in.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "support/temp_folder.h"

namespace {

namespace fs = std::filesystem;

bool Runs(const std::string& command) {
    const int status = std::system((command + " >/dev/null 2>&1 </dev/null").c_str());
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

std::string Content(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace

TEST(Install, ATreeThatWasMovedHasItsLanguagesHelpersAndMenuEntry) {
    const kvtest::TempFolder folder;
    const fs::path first = folder.File("first");
    const fs::path prefix = folder.File("moved");
    ASSERT_TRUE(Runs(KV_CMAKE " --install " KV_BUILD " --prefix " + first.string()));
    fs::rename(first, prefix);
    const auto picture = [&](int language) {
        const fs::path file = folder.File("card" + std::to_string(language) + ".png");
        EXPECT_TRUE(Runs("QT_QPA_PLATFORM=offscreen " + (prefix / "bin/kvmon").string() + " --data-dir " +
                         folder.File("data" + std::to_string(language)) + " --language " +
                         std::to_string(language) + " --picture " + file.string() + " --picture-after 0"));
        return Content(file);
    };
    const std::string english = picture(0);
    EXPECT_FALSE(english.empty());
    EXPECT_NE(english, picture(6)) << "of German";
    EXPECT_TRUE(Runs((prefix / "bin/kvrecorder").string() + " --help"));
    EXPECT_TRUE(fs::exists(prefix / "libexec/kvmon/kvmon-shares"));

    const fs::path share = prefix / "share";
    std::string entry = Content(share / "applications/kvmon.desktop");
    EXPECT_NE(entry.find("\nExec=kvmon\nIcon=kvmon\n"), std::string::npos);
    EXPECT_TRUE(fs::exists(share / "icons/hicolor/scalable/apps/kvmon.svg"));
    EXPECT_TRUE(fs::exists(share / "icons/hicolor/48x48/apps/kvmon.png"));
    EXPECT_TRUE(fs::exists(share / "kvmon/help/ger/help.html"));
}
