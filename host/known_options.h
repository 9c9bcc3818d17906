// What a command line's options are called.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace kvhost {

// "--name" of each option.
std::vector<std::string> NamesOf(const CLI::App& app);

// The option "--name", which there is. The library's own search ends the program where there is no memory.
CLI::Option* OptionNamed(CLI::App& app, std::string_view name);

}  // namespace kvhost
