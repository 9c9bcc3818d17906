// The program's command line.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "cameras/camera_url.h"
#include "state/recorder_config.h"

namespace CLI {
class App;
}

namespace kvrecorder {

struct Options {
    std::string listen;
    std::string searchListen;
    std::string configFile;
    int channels = 0;  // 0: not told
    std::string user;
    std::string passwordFile;
    std::string controlPath;
    std::string check;  // a configuration to be looked at, and that is all
    std::string send;   // a command for the recorder at controlPath
    // As they were told: with their logins, and the passwords that were asked for.
    std::vector<CameraUrl> cameras;
    std::string cameraPasswordFile;
    bool camerasOverUdp = false;
    std::string cameraCertificate;
    std::optional<CameraUrl> probe;  // to be looked at, and that is all
    bool discover = false;
    std::string discoverAt;    // who is asked; empty: all on the networks
    std::string discoverUser;  // of the cameras that are found
    std::string writeFile;     // gets a configuration for them; empty: none
    Secret madePassword;       // of the user for cameras when no other was told
    std::string exitText;      // of --help or --version: to be printed, and that is all
};

// Throws ConfigError with one line for the user.
Options ParseOptions(int argc, const char* const* argv, const std::string& version);

// Shows the table of all options to `look`, who prints it otherwise than --help does.
void ShowOptions(const std::function<void(const CLI::App& options)>& look);

// Asks the terminal for a line that is not shown. Throws ConfigError without one.
Secret AskPassword(const std::string& prompt);

// For a user who was not told.
Secret MakePassword();

// Completes the cameras' logins from the file or by `ask`, and makes up a password for who watches them if
// nobody is told. Throws ConfigError.
void CompleteCameras(Options& options, const std::function<Secret(const std::string& prompt)>& ask);

// Takes the passwords out of arguments that other users of this machine can read.
void HideLogins(int argc, char** argv);

struct ListenAddress {
    std::string address;
    std::uint16_t port = 0;
    bool loopback = true;
};
// "ADDRESS:PORT", an IPv6 address in brackets. Throws ConfigError.
ListenAddress ParseListen(const std::string& text);

// Where those who look for recorders are answered: as told, else beside an address that others reach. Nothing
// for nowhere. Throws ConfigError.
std::optional<ListenAddress> SearchPlace(const RecorderConfig& config);

// The configuration that file and options make together, complete. Throws ConfigError. What the file had
// `before` and lacks now is kept for once; `told` gets a line for each.
RecorderConfig MakeConfig(const Options& options, const RecorderConfig* before = nullptr,
                          std::vector<std::string>* told = nullptr);
// The same for a file that has been read.
RecorderConfig CompleteConfig(const Options& options, RecorderConfig config);

}  // namespace kvrecorder
