// The version has one place; whoever tells it tells the same.
#include <gmock/gmock.h>
#include <stdio.h>

#include <array>
#include <fstream>
#include <iterator>
#include <regex>
#include <string>

using testing::StartsWith;

namespace {

std::string ContentOf(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string FirstGroup(const std::string& text, const char* pattern) {
    std::smatch found;
    return std::regex_search(text, found, std::regex(pattern)) ? found[1].str() : std::string();
}

std::string Says(const std::string& command) {
    std::string said;
    FILE* const pipe = ::popen(command.c_str(), "r");
    std::array<char, 256> part{};
    while (pipe != nullptr && ::fgets(part.data(), part.size(), pipe) != nullptr) {
        said += part.data();
    }
    return pipe != nullptr && ::pclose(pipe) == 0 ? said : std::string();
}

}  // namespace

TEST(Version, IsTheSameWhereverItIsTold) {
    const std::string tree = KV_TREE;
    const std::string version = FirstGroup(ContentOf(tree + "/CMakeLists.txt"),
                                           R"(project\(kvmon VERSION ([0-9]+\.[0-9]+\.[0-9]+) )");
    ASSERT_FALSE(version.empty());
    for (const std::string program : {"kvmon", "kvrecorder"}) {
        EXPECT_THAT(Says(KV_BUILD "/bin/" + program + " --version"), StartsWith(program + " " + version));
    }
    // The newest that has been released, or the one that has not been yet.
    EXPECT_EQ(FirstGroup(ContentOf(tree + "/CHANGELOG.md"), R"(([0-9]+\.[0-9]+\.[0-9]+))"), version);
    const std::string packages = ContentOf(tree + "/debian/changelog");
    if (!packages.empty()) {
        EXPECT_THAT(packages, StartsWith("kvmon (" + version));
    }
}
