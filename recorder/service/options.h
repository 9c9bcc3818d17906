// The program's command line.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "state/recorder_config.h"

namespace kvrecorder {

struct Options {
    std::string listen;
    std::string configFile;
    int channels = 0;  // 0: not told
    std::string user;
    std::string passwordFile;
    std::string controlPath;
    std::string send;      // a command for the recorder at controlPath
    std::string exitText;  // of --help or --version: to be printed, and that is all
};

// Throws ConfigError with one line for the user.
Options ParseOptions(int argc, const char* const* argv, const std::string& version);

struct ListenAddress {
    std::string address;
    std::uint16_t port = 0;
    bool loopback = true;
};
// "ADDRESS:PORT", an IPv6 address in brackets. Throws ConfigError.
ListenAddress ParseListen(const std::string& text);

// The configuration that file and options make together, complete. Throws ConfigError. What the file had
// `before` and lacks now is kept for once; `told` gets a line for each.
RecorderConfig MakeConfig(const Options& options, const RecorderConfig* before = nullptr,
                          std::vector<std::string>* told = nullptr);

}  // namespace kvrecorder
