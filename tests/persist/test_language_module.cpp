#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <set>

#include "persist/language_module.h"
#include "persist/plural.h"
#include "persist/string_table.h"
#include "support/temp_folder.h"

using namespace kvmon;
using testing::ElementsAre;

namespace {

constexpr std::uint32_t kWaitText = 1108;       // no places
constexpr std::uint32_t kSnapshotText = 57426;  // "%d" twice

void Write(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

std::string Module(const std::string& langid, const std::string& lines = "") {
    return "kvmon language module 1\nlangid " + langid + "\n" + lines;
}

std::vector<LanguageModuleFile> Files(std::initializer_list<std::uint16_t> langids) {
    std::vector<LanguageModuleFile> files;
    for (const std::uint16_t langid : langids) {
        files.push_back({"", langid});
    }
    return files;
}

}  // namespace

TEST(LanguageModuleTest, ChoosesTheWantedThenTheUsersThenItsPrimaryThenEnglishThenTheFirst) {
    EXPECT_EQ(ChooseLanguageModule(Files({0x0409, 0x0407, 0x040C}), 0x0407, 0x040C), 1u);
    EXPECT_EQ(ChooseLanguageModule(Files({0x0409, 0x0407, 0x040C}), 0x0411, 0x040C), 2u);
    EXPECT_EQ(ChooseLanguageModule(Files({0x0409, 0x0816}), 0x0416, 0x0416), 1u);
    EXPECT_EQ(ChooseLanguageModule(Files({0, 0x0407, 0x0409}), 0xFFFF, 0), 2u);
    EXPECT_EQ(ChooseLanguageModule(Files({0, 0x0407, 0x0411}), 0xFFFF, 0x0419), 1u);
    EXPECT_FALSE(ChooseLanguageModule(Files({0}), 0, 0).has_value());
    EXPECT_FALSE(ChooseLanguageModule({}, 0x0409, 0x0409).has_value());
}

TEST(LanguageModuleTest, ListsTheFilesOfTheMaskWithTheirLanguages) {
    kvtest::TempFolder site;
    kvtest::TempFolder program;
    Write(site.File("kvmonfre.dll"), Module("0x040C"));
    Write(site.File("KVMON.DLL"), Module("0x0407"));
    Write(program.File("KVMONGER.DLL"), Module("0x0407"));
    Write(program.File("KVMONBAD.DLL"), "MZ\x90 something else");
    std::filesystem::create_directory(program.File("KVMONDIR.DLL"));

    std::vector<std::uint16_t> langids;
    for (const LanguageModuleFile& file :
         ListLanguageModules({site.Path(), "/nowhere/at/all", program.Path()})) {
        langids.push_back(file.langid);
    }
    EXPECT_THAT(langids, ElementsAre(0x040C, 0, 0, 0x0407));
}

TEST(LanguageModuleTest, TakesWhatIsRightFromAFileAndNothingElse) {
    kvtest::TempFolder folder;
    const std::string path = folder.File("KVMONFRE.DLL");
    Write(path,
          Module("0x040C",
                 "# a remark\r\n\n1108 Patientez\\nun peu\r\nnonsense\n77\n4294967296 x\n4002 \xFF\xFE\n"
                 "57426 %s%n\n9999999 unknown\n"));
    const auto module = LoadLanguageModule(path);
    ASSERT_TRUE(module);
    EXPECT_EQ(module->langid, 0x040C);

    UseLanguageModule(std::make_shared<const LanguageModule>(*module));
    EXPECT_EQ(LoadString(kWaitText), "Patientez\nun peu");
    EXPECT_EQ(LoadString(4002), EnglishString(4002));
    EXPECT_EQ(LoadString(kSnapshotText), EnglishString(kSnapshotText));
    EXPECT_EQ(LoadString(9999999), "");
    UseLanguageModule(nullptr);
    EXPECT_EQ(LoadString(kWaitText), EnglishString(kWaitText));

    Write(path, Module("0x040C", std::string(kMaxLanguageModuleBytes, 'x')));
    EXPECT_FALSE(LoadLanguageModule(path));
    Write(path, Module("0x4", "") + std::string("1108 x"));
    EXPECT_EQ(LoadLanguageModule(path)->langid, 4);
    for (const char* const langid : {"0x", "1036", "0x10409", "0x040G", ""}) {
        Write(path, Module(langid));
        EXPECT_FALSE(LoadLanguageModule(path)) << langid;
    }
}

// Each module that we ship has each text, with the same places for values, and a language of its own.
TEST(LanguageModuleTest, TheShippedModulesAreComplete) {
    std::set<std::uint16_t> langids;
    for (const LanguageModuleFile& file : ListLanguageModules({KV_LANGUAGES})) {
        SCOPED_TRACE(file.path);
        const auto module = LoadLanguageModule(file.path);
        ASSERT_TRUE(module);
        EXPECT_TRUE(langids.insert(module->langid).second);
        if (module->langid == 0x0409) {
            continue;
        }
        for (const std::uint32_t id : StringIds()) {
            const auto text = module->texts.find(id);
            if (text == module->texts.end()) {
                ADD_FAILURE() << "lacks " << id << " " << EnglishString(id);
                continue;
            }
            if (EnglishString(id).find(kBetweenForms) == std::string::npos) {
                EXPECT_EQ(FormatPlaces(text->second), FormatPlaces(EnglishString(id))) << id;
            }
        }
        for (const auto& [id, text] : module->texts) {
            EXPECT_NE(EnglishString(id), "") << id << " is no longer used";
        }
    }
    EXPECT_TRUE(langids.contains(0x0409));
}

// The form that is told for a number, by each language's own rule, and with no place lost.
TEST(LanguageModuleTest, NumbersTakeTheFormOfTheirLanguage) {
    struct Row {
        std::uint16_t language;
        std::vector<std::vector<std::uint64_t>> forms;  // numbers that take each of them
    };
    const Row rows[] = {
        {0x0409, {{1}, {0, 2, 11, 21, 101}}},
        {0x0407, {{1}, {0, 2, 21}}},
        {0x040C, {{0, 1}, {2, 21}}},
        {0x0416, {{0, 1}, {2, 21}}},
        {0x0816, {{1}, {0, 2}}},
        {0x0405, {{1}, {2, 3, 4}, {0, 5, 11, 21, 22, 100}}},
        {0x0415, {{1}, {2, 4, 22, 104}, {0, 5, 12, 14, 21, 112}}},
        {0x0419, {{1, 21, 101}, {2, 4, 22, 104}, {0, 5, 11, 12, 14, 111, 112}}},
        {0x0411, {{0, 1, 2, 42}}},
    };
    for (const Row& row : rows) {
        for (std::size_t form = 0; form < row.forms.size(); ++form) {
            for (const std::uint64_t number : row.forms[form]) {
                EXPECT_EQ(PluralForm(row.language, number), form) << row.language << " " << number;
            }
        }
    }
    for (const LanguageModuleFile& file : ListLanguageModules({KV_LANGUAGES})) {
        UseLanguageModule(std::make_shared<const LanguageModule>(LoadLanguageModule(file.path).value()));
        for (const std::uint32_t id : StringIds()) {
            if (EnglishString(id).find(kBetweenForms) == std::string::npos) {
                continue;
            }
            for (const std::uint64_t number : {0, 1, 2, 5, 22}) {
                const std::string text = LoadPlural(id, number);
                EXPECT_EQ(text.find(kBetweenForms), std::string::npos) << text;
                EXPECT_EQ(FormatPlaces(text),
                          FormatPlaces(EnglishString(id).substr(0, EnglishString(id).find(kBetweenForms))))
                    << file.path << text;
            }
            // A module that was left out would give the English words.
            if (file.langid == 0x0419) {
                EXPECT_NE(LoadPlural(id, 1),
                          EnglishString(id).substr(0, EnglishString(id).find(kBetweenForms)));
            }
        }
        if (file.langid == 0x0419) {
            EXPECT_EQ(LoadPlural(7416, 21), "%d снимок");
            EXPECT_EQ(LoadPlural(7416, 3), "%d снимка");
            EXPECT_EQ(LoadPlural(7416, 11), "%d снимков");
        }
    }
    UseLanguageModule(nullptr);
    EXPECT_EQ(LoadPlural(7416, 1), "%d snapshot");
    EXPECT_EQ(LoadPlural(7416, 2), "%d snapshots");
}
