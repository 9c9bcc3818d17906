// The tool that keeps the includes inside a folder running one way.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "support/temp_folder.h"

namespace kvmon {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class Arrows : public ::testing::Test {
protected:
    void Write(const std::string& name, const std::string& text) {
        const auto path = std::filesystem::path(m_folder.Path()) / name;
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path) << text;
    }

    // What the tool said; nothing when all is well.
    std::string Check() {
        const auto said = std::filesystem::path(m_folder.Path()) / "said";
        const std::string command =
            std::string(KV_ARROWS) + " '" + m_folder.Path() + "' 2>'" + said.string() + "'";
        m_status = std::system(command.c_str());
        std::ifstream file(said);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    kvtest::TempFolder m_folder;
    int m_status = 0;
};

TEST_F(Arrows, DownIsFineAlsoByTwoWays) {
    Write("a/top.h", "#include \"a/left.h\"\n#include <vector>\n");
    Write("a/top.cpp", "#include \"a/top.h\"\n#include \"a/right.h\"\n");
    Write("a/left.h", "#include \"b/ground.h\"\n");
    Write("a/right.h", "  #include \"b/ground.h\"  // why\n");
    Write("b/ground.h", "");
    EXPECT_THAT(Check(), IsEmpty());
    EXPECT_EQ(m_status, 0);
}

TEST_F(Arrows, ASourceThatIncludesWhatStandsOnItsHeaderIsRefusedWithTheFilesNamed) {
    Write("a/hub.h", "#include \"a/subject.h\"\n");
    Write("a/subject.h", "");
    Write("a/subject.cpp", "#include \"a/subject.h\"\n#include \"a/hub.h\"\n");
    EXPECT_THAT(Check(), AllOf(HasSubstr("a/hub.h includes"), HasSubstr("a/subject.cpp includes")));
    EXPECT_NE(m_status, 0);
}

TEST_F(Arrows, ALongerCircleBetweenFoldersIsRefused) {
    Write("a/one.h", "#include \"b/two.h\"\n");
    Write("b/two.h", "#include \"c/three.h\"\n");
    Write("c/three.h", "");
    Write("c/three.cpp", "#include \"a/one.h\"\n");
    EXPECT_THAT(Check(), AllOf(HasSubstr("one.h includes"), HasSubstr("two.h includes"),
                               HasSubstr("three.cpp includes")));
    EXPECT_NE(m_status, 0);
}

}  // namespace
}  // namespace kvmon
