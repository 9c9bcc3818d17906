// The command line.
#pragma once

#include <cstdint>
#include <functional>
#include <istream>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "skin/look_keeper.h"

namespace CLI {
class App;
}

namespace kvmon {

struct AppOptions {
    std::string server = "127.0.0.1";
    std::int32_t port = 80;
    std::string auth;  // base64 of user, colon, password; empty for none
    bool autoStart = false;
    std::string serverName;
    std::optional<int> language;
    std::string helpPath;
    std::set<std::string> given;   // the control's properties that the command line sets, by their names
    bool keep = false;             // for later starts, too
    bool checkConnection = false;  // tells whether the recorder takes the login, and that is all
    std::string view;              // to open; empty for none
    std::optional<LookChoice> look;
    bool fullScreen = false;
    bool lock = false;                        // full screen, and only the login's password leads out
    int display = 0;                          // from 1; 0: where the window was
    bool allDisplays = false;                 // a wall on each of the others, too
    std::map<int, std::string> displayViews;  // what to open there, by the display's number
    std::string dataDir;
    std::string picture;  // file to save the window's picture to; empty for none
    double pictureAfterSeconds = 5;
    int decoderThreads = 1;
    std::string hardware = "off";  // auto, off or a device's name
    std::string searchFrom;        // where recorders are looked for; empty: on all networks
    std::uint16_t searchPort = 0;  // 0: the usual one
    bool serve = false;            // the web host instead of a window
    std::string serveAddress;
    std::uint16_t servePort = 0;
    std::vector<std::string> webOrigins;
    std::string webToken;               // empty: a new one at each start
    std::vector<std::string> warnings;  // a line each, for whoever started the program
};

// What the command line asks for: to run, or to say something and end.
struct ParsedCommandLine {
    std::optional<AppOptions> options;
    std::string text;  // without options: help, version, or one line of what is wrong
    int exitStatus = 0;
};

// `args` are without the program's name. "--auth -" reads its value from `input`.
ParsedCommandLine ParseCommandLine(const std::vector<std::string>& args, std::istream& input);

// Shows the table of all options to `look`, who prints it otherwise than --help does.
void ShowOptions(const std::function<void(const CLI::App& options)>& look);

// Overwrites the credentials in the argument vector, which everybody can read in the process list.
void ScrubArguments(int argc, char** argv);

}  // namespace kvmon
