// Manual pages and completions tell what the programs themselves tell.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <string>

#include "support/must_run.h"

namespace {

struct Said {
    int status = -1;
    std::string text;
};

Said Ask(const std::string& command) {
    Said said;
    std::FILE* const pipe = ::popen((command + " 2>&1 </dev/null").c_str(), "r");
    char bytes[4096];
    for (std::size_t count = 0; (count = std::fread(bytes, 1, sizeof(bytes), pipe)) > 0;) {
        said.text.append(bytes, count);
    }
    said.status = ::pclose(pipe);
    return said;
}

std::string PageContent(const std::string& name) {
    std::ifstream file(std::string(KV_PAGES "/") + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// The options that the program's own help begins a line with.
std::set<std::string> OptionsOf(const std::string& program) {
    const std::string help = Ask(KV_PROGRAM_FOLDER "/" + program + " --help").text;
    const std::regex option("\\n  (?:-[a-z],)?(--[a-z-]+)");
    std::set<std::string> names;
    for (std::sregex_iterator found(help.begin(), help.end(), option), end; found != end; ++found) {
        names.insert((*found)[1]);
    }
    return names;
}

bool Has(const std::string& program) {
    return Ask("command -v " + program).status == 0;
}

}  // namespace

TEST(Pages, EachOptionIsInTheManualAndCompletedByEachShell) {
    for (const std::string program : {"kvmon", "kvrecorder"}) {
        const std::string page = PageContent(program + ".1");
        const std::string zsh = PageContent("_" + program);
        const std::string fish = PageContent(program + ".fish");
        const std::set<std::string> options = OptionsOf(program);
        EXPECT_GT(options.size(), 15u) << program;
        for (const std::string& option : options) {
            const std::string escaped = std::regex_replace(option, std::regex("-"), "\\-");
            EXPECT_NE(page.find("\n\\fB" + escaped + "\\fR"), std::string::npos) << program << ' ' << option;
            EXPECT_TRUE(std::regex_search(zsh, std::regex("'\\*?" + option + "[=\\[]")))
                << program << ' ' << option;
            EXPECT_NE(fish.find(" -l " + option.substr(2) + " "), std::string::npos)
                << program << ' ' << option;
            // By the shell itself, as its user has it.
            const std::string word = option.substr(0, option.size() - 1);
            const Said bash =
                Ask("bash -c 'source " KV_PAGES "/" + program + ".bash; _" + program + " " + program + " \"" +
                    word + "\" " + program + "; printf \"%s\\n\" \"${COMPREPLY[@]}\"'");
            EXPECT_NE(("\n" + bash.text).find("\n" + option + "\n"), std::string::npos)
                << program << ' ' << option << ": " << bash.text;
        }
    }
    const Said looks =
        Ask("bash -c 'source " KV_PAGES "/kvmon.bash; _kvmon kvmon d --look; echo \"${COMPREPLY[@]}\"'");
    EXPECT_EQ(looks.text, "desktop dark\n");
}

// A shell of its own each, as its user sits at it.
TEST(Pages, OtherShellsCompleteToo) {
    if (!Has("fish") || !Has("zsh")) {
        KV_SKIP("there is no fish or no zsh");
    }
    const auto fish = [](const std::string& line) {
        return Ask("fish --no-config -c 'source " KV_PAGES "/kvmon.fish; complete -C \"" + line + "\"'").text;
    };
    EXPECT_NE(fish("kvmon --loc").find("--lock\t"), std::string::npos);
    EXPECT_NE(fish("kvmon --look ").find("contrast\t"), std::string::npos);

    // It completes at a terminal alone; the pattern is waited for.
    const auto zsh = [](const std::string& line, const std::string& completed) {
        return Ask("timeout 20 zsh -f -c 'zmodload zsh/zpty; zpty z zsh -f -i;"
                   " zpty -w z \"TERM=dumb; fpath=(" KV_PAGES
                   " \\$fpath); autoload -Uz compinit; compinit -D -u;"
                   " echo set\\\"\\\"up\"; zpty -r z said \"*setup*\";"
                   " zpty -w -n z \"" +
                   line + "\"$'\\''\\t'\\''; zpty -r -m z said \"*" + completed + "*\"'")
            .status;
    };
    EXPECT_EQ(zsh("kvmon --loc", "kvmon --lock"), 0);
    EXPECT_EQ(zsh("kvrecorder --disc", "kvrecorder --discover"), 0);
}

TEST(Pages, TheReaderOfManualsHasNothingToSay) {
    if (!Has("man")) {
        KV_SKIP("there is no man");
    }
    for (const std::string page :
         {"kvmon.1", "kvrecorder.1", "kvmon-settings.5", "kvrecorder.toml.5", "kvviews.5"}) {
        const Said said =
            Ask("(LC_ALL=C.UTF-8 MANWIDTH=80 man --warnings -E UTF-8 -l -Tutf8 -Z " KV_PAGES "/" + page +
                " >/dev/null)");
        EXPECT_EQ(said.status, 0) << page;
        EXPECT_EQ(said.text, "") << page;
    }
}
