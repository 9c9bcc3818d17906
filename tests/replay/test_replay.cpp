// The inputs that are kept of fuzzing: those that reach what no other does, and those that broke something
// once.
#include <gtest/gtest.h>

#include <unistd.h>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#define KV_FUZZ_TARGET(name)                                                  \
    extern "C" int KvFuzz_##name(const std::uint8_t* data, std::size_t size); \
    extern "C" [[gnu::weak]] int KvFuzzInitialize_##name(int* argc, char*** argv);
#include "fuzz_targets.inc"
#undef KV_FUZZ_TARGET

namespace {

namespace fs = std::filesystem;

struct Target {
    const char* name;
    int (*run)(const std::uint8_t*, std::size_t);
    int (*initialize)(int*, char***);  // null: the target has none
};

constexpr Target kTargets[] = {
#define KV_FUZZ_TARGET(name) {#name, KvFuzz_##name, KvFuzzInitialize_##name},
#include "fuzz_targets.inc"
#undef KV_FUZZ_TARGET
};

// Which input it was, when a target gives up.
char inputName[512];

void TellInput(int signal) {
    const auto told = ::write(STDERR_FILENO, inputName, std::strlen(inputName));
    static_cast<void>(told);
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

std::vector<fs::path> Entries(const fs::path& folder) {
    std::error_code error;
    std::vector<fs::path> paths;
    for (const auto& entry : fs::directory_iterator(folder, error)) {
        paths.push_back(entry.path());
    }
    return paths;
}

class Replay : public testing::TestWithParam<Target> {};

TEST_P(Replay, TakesTheKeptInputs) {
    const Target& target = GetParam();
    for (const int signal : {SIGABRT, SIGSEGV, SIGILL, SIGFPE, SIGBUS}) {
        std::signal(signal, TellInput);
    }
    static char program[] = "replay";
    static char* arguments[] = {program, nullptr};
    int count = 1;
    char** pArguments = arguments;
    if (target.initialize != nullptr) {
        target.initialize(&count, &pArguments);
    }
    std::size_t kept = 0;
    for (const char* const folder : {"corpus", "found"}) {
        for (const fs::path& path : Entries(fs::path(KV_FUZZ_FOLDER) / folder / target.name)) {
            const std::string told = "the input is " + path.string() + "\n";
            inputName[told.copy(inputName, sizeof inputName - 1)] = '\0';
            std::ifstream file(path, std::ios::binary);
            const std::vector<char> bytes(std::istreambuf_iterator<char>(file), {});
            // Memory of the input's own length, as the fuzzer gives it.
            target.run(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
            kept += std::strcmp(folder, "corpus") == 0 ? 1 : 0;
        }
    }
    EXPECT_GT(kept, 0u) << "a target without kept inputs begins from nothing in each run";
}

INSTANTIATE_TEST_SUITE_P(Fuzz, Replay, testing::ValuesIn(kTargets),
                         [](const auto& target) { return std::string(target.param.name); });

// A folder that no target reads would be tested by nobody.
TEST(ReplayFolders, BelongToTargets) {
    std::set<std::string> names;
    for (const Target& target : kTargets) {
        names.insert(target.name);
    }
    for (const char* const folder : {"corpus", "found"}) {
        for (const fs::path& path : Entries(fs::path(KV_FUZZ_FOLDER) / folder)) {
            EXPECT_TRUE(names.contains(path.filename().string())) << path;
        }
    }
}

}  // namespace
