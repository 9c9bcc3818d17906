// kv-pages: prints a manual page or a shell's completions from the table of options that a program reads.
//
//     kv-pages page kvmon|kvrecorder|- VERSION PAGE [EXAMPLE]
//     kv-pages bash|zsh|fish kvmon|kvrecorder
#include <cstdio>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include "app/app_options.h"
#include "pages/completions.h"
#include "pages/option_table.h"
#include "pages/roff.h"
#include "service/options.h"

namespace {

using namespace kvpages;

std::vector<OptionRow> TableOf(const std::string& program) {
    std::vector<OptionRow> rows;
    const auto read = [&rows](const CLI::App& options) { rows = ReadTable(options); };
    if (program == "kvmon") {
        kvmon::ShowOptions(read);
    } else if (program == "kvrecorder") {
        kvrecorder::ShowOptions(read);
    }
    return rows;
}

}  // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> words(argv + 1, argv + argc);
    if (words.size() < 2) {
        std::fputs("kv-pages: see its source\n", stderr);
        return 2;
    }
    const std::vector<OptionRow> rows = TableOf(words[1]);
    if (words[0] == "page" && words.size() >= 4) {
        std::ifstream page(words[3]);
        std::ifstream example(words.size() > 4 ? words[4] : "/dev/null");
        if (!page || !example) {
            std::fputs("kv-pages: a file cannot be read\n", stderr);
            return 1;
        }
        PrintPage(page, rows, words[2], example, std::cout);
    } else if (words[0] == "bash") {
        PrintBash(words[1], rows, std::cout);
    } else if (words[0] == "zsh") {
        PrintZsh(words[1], rows, std::cout);
    } else if (words[0] == "fish") {
        PrintFish(words[1], rows, std::cout);
    } else {
        return 2;
    }
    return std::cout.flush() ? 0 : 1;
}
