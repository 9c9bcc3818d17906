#include "app/app_options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstring>
#include <fstream>

#include "codec/hardware_search.h"
#include "host/exit_status.h"
#include "host/known_options.h"
#include "host/near_name.h"
#include "host/service_manager.h"
#include "persist/utilities.h"
#include "platform/secret_file.h"
#include "platform/secret_memory.h"
#include "web/host/web_settings.h"

namespace kvmon {

namespace {

constexpr const char* kAbout = "Live monitoring of network video recorders.";
constexpr const char* kProgram = "kvmon";
constexpr std::size_t kMaxSecret = 1024;
constexpr std::size_t kMinToken = 16;
constexpr int kMaxDisplay = 64;
constexpr const char* kLanguage = "--language";

// Options that set a property of the control.
constexpr std::pair<const char*, const char*> kProperties[] = {
    {"--server", "ServerIP"}, {"--port", "ServerPort"},      {"--auth", "AuthData"},
    {"--user", "AuthData"},   {"--auto-start", "AutoStart"}, {"--server-name", "DefServerName"},
    {kLanguage, "Language"},  {"--help-path", "HelpPath"},
};

// The first line, without its end. Nothing when there is none, or no end to it.
std::optional<std::string> ReadSecretLine(std::istream& input) {
    std::string line;
    for (int c = input.get(); c != std::istream::traits_type::eof(); c = input.get()) {
        if (c == '\n') {
            break;
        }
        if (line.size() >= kMaxSecret) {
            return std::nullopt;
        }
        line += static_cast<char>(c);
    }
    if (!line.empty() && line.back() == '\r') {
        line.pop_back();
    }
    return line.empty() ? std::nullopt : std::optional(line);
}

ParsedCommandLine Wrong(std::string text) {
    std::replace(text.begin(), text.end(), '\n', ' ');
    while (!text.empty() && (text.back() == ' ' || text.back() == '.')) {
        text.pop_back();
    }
    return {std::nullopt, "kvmon: " + text + " (--help lists the options)", kvhost::kWrongUse};
}

struct Credentials {
    std::string auth;
    std::string user;
    std::string passwordFile;
};

void WarnOfReadableFile(const char* option, const std::string& path, AppOptions& options) {
    if (OthersCanRead(path)) {
        options.warnings.push_back(std::string(option) + ": others can read this file: chmod 600 " + path);
    }
}

// Gives an error text, or nothing when `options` holds the credentials.
// A service `serve`s without words: it is handed what others are told.
std::string TakeCredentials(const Credentials& given, bool serve, std::istream& input, AppOptions& options) {
    if (given.auth == "-") {
        auto line = ReadSecretLine(input);
        if (!line) {
            return "--auth -: standard input holds no line to read";
        }
        options.auth = *line;
        Wipe(*line);
        return {};
    }
    if (!given.auth.empty()) {
        options.warnings.emplace_back(
            "--auth: others could read the password in the list of processes; --auth - reads it from "
            "standard input, --password-file from a file");
    }
    options.auth = given.auth;
    if (const std::string handed = kvhost::CredentialFile("kvmon.auth");
        serve && given.auth.empty() && given.user.empty() && !handed.empty()) {
        std::ifstream file(handed, std::ios::binary);
        auto line = ReadSecretLine(file);
        if (!line) {
            return "the credential kvmon.auth holds no line to read";
        }
        options.auth = *line;
        Wipe(*line);
        return {};
    }
    if (given.user.empty()) {
        return {};
    }
    WarnOfReadableFile("--password-file", given.passwordFile, options);
    std::ifstream file(given.passwordFile, std::ios::binary);
    auto password = file ? ReadSecretLine(file) : std::nullopt;
    if (!password) {
        return "--password-file: no password could be read from " + given.passwordFile;
    }
    const WipeAtEnd wipe(*password);
    options.auth = MakeBasicAuth(given.user, *password);
    if (options.auth.empty()) {
        return "--user or its password is too long";
    }
    return {};
}

struct WebOptions {
    std::string serve;
    std::string tokenFile;
};

// Gives an error text in the same way.
std::string TakeWebOptions(const WebOptions& given, AppOptions& options) {
    options.serve = !given.serve.empty();
    if (options.serve && !ParseServeAddress(given.serve, options.serveAddress, options.servePort)) {
        return "--serve: not an address and a port: " + given.serve;
    }
    const std::string tokenFile =
        given.tokenFile.empty() && options.serve ? kvhost::CredentialFile("kvmon.token") : given.tokenFile;
    if (tokenFile.empty()) {
        return {};
    }
    std::ifstream file(tokenFile, std::ios::binary);
    const auto token = file ? ReadSecretLine(file) : std::nullopt;
    const bool bPlain =
        token && std::all_of(token->begin(), token->end(), [](unsigned char c) {
            return std::isalnum(c) != 0 || c == '-' || c == '_';  // it stands in addresses and in a page
        });
    if (!bPlain || token->size() < kMinToken) {
        return "--web-token-file: no 16 or more letters and digits could be read from " + tokenFile;
    }
    WarnOfReadableFile("--web-token-file", tokenFile, options);
    options.webToken = *token;
    return {};
}

// What is read from the command line before it is checked.
struct Given {
    Credentials credentials;
    WebOptions web;
    int language = 0;
    std::string look;
    std::string searchFrom;
    std::vector<std::string> displayViews;
};

// Gives an error text in the same way.
std::string TakeDisplayViews(const std::vector<std::string>& given, AppOptions& options) {
    for (const std::string& each : given) {
        const std::size_t sign = each.find('=');
        int number = 0;
        const char* const end = each.data() + std::min(sign, each.size());
        const auto read = std::from_chars(each.data(), end, number);
        const bool bNumber =
            read.ec == std::errc() && read.ptr == end && number >= 1 && number <= kMaxDisplay;
        if (sign == std::string::npos || !bNumber || sign + 1 == each.size()) {
            return "--display-view: not the number of a display, = and a name: " + each;
        }
        if (number == options.display) {
            return "--display-view: the view of the display that --display names is told by --view";
        }
        if (!options.displayViews.emplace(number, each.substr(sign + 1)).second) {
            return "--display-view: display " + std::to_string(number) + " has two views";
        }
    }
    return {};
}

std::string HardwareProblem(const std::string& name) {
    const std::vector<std::string> names = HardwareChoices();
    if (std::find(names.begin(), names.end(), name) != names.end()) {
        return {};
    }
    const std::string meant = kvhost::NearName(name, names);
    return "--hwdec: no such device: " + name + (meant.empty() ? "" : "; did you mean " + meant + "?");
}

std::optional<LookChoice> LookNamed(const std::string& name) {
    return name == "desktop"    ? std::optional(LookChoice::Desktop)
           : name == "dark"     ? std::optional(LookChoice::Dark)
           : name == "light"    ? std::optional(LookChoice::Light)
           : name == "contrast" ? std::optional(LookChoice::HighContrast)
                                : std::nullopt;
}

void AddRecorderOptions(CLI::App& app, AppOptions& options, Given& given) {
    app.add_option("--server", options.server, "address of the recorder")
        ->type_name("ADDRESS")
        ->capture_default_str();
    app.add_option("--port", options.port, "port of the recorder")
        ->type_name("PORT")
        ->check(CLI::Range(1, 65535))
        ->capture_default_str();
    auto* const auth =
        app.add_option("--auth", given.credentials.auth,
                       "base64 of user, colon and password; only - , which reads it from standard "
                       "input, keeps it from the list of processes")
            ->type_name("TEXT");
    auto* const user =
        app.add_option("--user", given.credentials.user, "user, with --password-file")->type_name("NAME");
    auto* const passwordFile = app.add_option("--password-file", given.credentials.passwordFile,
                                              "file whose first line is the password")
                                   ->type_name("FILE");
    auth->excludes(user);
    user->needs(passwordFile);
    passwordFile->needs(user);
    app.add_flag("--auto-start", options.autoStart, "log in at once");
    app.add_flag(
        "--check-connection", options.checkConnection,
        "tell whether the recorder answers and takes the login, and exit: with 0 if so, else with 1");
    app.add_option("--server-name", options.serverName, "name of the recorder until it tells its own")
        ->type_name("NAME");
}

void AddProgramOptions(CLI::App& app, AppOptions& options, Given& given) {
    app.add_option(kLanguage, given.language, "language number, 0 is English")
        ->type_name("NUMBER")
        ->check(CLI::Range(0, 20));
    app.add_option("--help-path", options.helpPath, "path of the help pages")->type_name("PATH");
    app.add_flag("--keep", options.keep,
                 "use the recorder and the other settings given here in later starts, too");
    app.add_option("--decoder-threads", options.decoderThreads,
                   "threads of each decoder, for few large pictures")
        ->type_name("NUMBER")
        ->check(CLI::Range(1, 16))
        ->capture_default_str();
    app.add_option("--hwdec", options.hardware,
                   "decode H.264 and H.265 on a device: off, vaapi, cuda, vdpau, or auto for the first that "
                   "is faster than this computer's processor")
        ->type_name("NAME")
        ->capture_default_str();
    app.add_option("--view", options.view, "name of the view or sequence of views to open")
        ->type_name("NAME");
    app.add_option("--look", given.look, "desktop (what the desktop prefers), dark, light or contrast")
        ->type_name("LOOK")
        ->check(CLI::IsMember({"desktop", "dark", "light", "contrast"}));
    app.add_option("--search-from", given.searchFrom,
                   "look for recorders from this address of the computer alone, at this port")
        ->type_name("ADDRESS:PORT");
    app.add_flag("--full-screen", options.fullScreen, "begin in full screen");
    app.add_option("--display", options.display, "number of the display to open on, 1 is the first")
        ->type_name("NUMBER")
        ->check(CLI::Range(1, kMaxDisplay));
    app.add_flag("--all-displays", options.allDisplays,
                 "a wall of its own on each other display, too, with the view that was left there");
    app.add_option("--display-view", given.displayViews,
                   "a wall on display N that opens this view or sequence; repeatable")
        ->type_name("N=NAME");
    app.add_flag("--lock", options.lock,
                 "full screen without panel and menus; Escape asks for the password of the login");
    app.add_option("--data-dir", options.dataDir, "folder of the settings")->type_name("FOLDER");
    auto* const picture =
        app.add_option("--picture", options.picture, "save what the window shows to a file, and end")
            ->type_name("FILE");
    app.add_option("--picture-after", options.pictureAfterSeconds, "seconds before the picture is taken")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.0, 3600.0))
        ->capture_default_str()
        ->needs(picture);
}

void AddWebOptions(CLI::App& app, AppOptions& options, Given& given) {
    auto* const serve =
        app.add_option("--serve", given.web.serve, "serve the console to web pages instead of a window")
            ->type_name("ADDRESS:PORT");
    app.add_option("--web-origin", options.webOrigins,
                   "origin of pages elsewhere that may embed the console; repeatable")
        ->type_name("ORIGIN")
        ->needs(serve);
    app.add_option("--web-token-file", given.web.tokenFile,
                   "file whose first line is the token that pages need")
        ->type_name("FILE")
        ->needs(serve);
    for (const char* const option :
         {"--picture", "--keep", "--view", "--search-from", "--check-connection", "--full-screen",
          "--display", "--lock", "--all-displays", "--display-view"}) {
        serve->excludes(kvhost::OptionNamed(app, option));
    }
}

void AddOptions(CLI::App& app, AppOptions& options, Given& given) {
    app.set_help_flag("--help,-h", "print this text and exit");
    app.set_version_flag("--version", std::string("kvmon ") + KV_VERSION, "print the version and exit");
    AddRecorderOptions(app, options, given);
    AddProgramOptions(app, options, given);
    AddWebOptions(app, options, given);
}

}  // namespace

void ShowOptions(const std::function<void(const CLI::App& options)>& look) {
    AppOptions options;
    Given given;
    CLI::App app(kAbout, kProgram);
    AddOptions(app, options, given);
    look(app);
}

ParsedCommandLine ParseCommandLine(const std::vector<std::string>& args, std::istream& input) {
    AppOptions options;
    Given given;
    const WipeAtEnd wipe(given.credentials.auth);
    CLI::App app(kAbout, kProgram);
    AddOptions(app, options, given);
    try {
        app.parse(std::vector<std::string>(args.rbegin(), args.rend()));
    } catch (const CLI::CallForHelp&) {
        return {std::nullopt, app.help(), 0};
    } catch (const CLI::CallForVersion&) {
        return {std::nullopt, app.version() + "\n", 0};
    } catch (const CLI::ExtrasError&) {
        return Wrong(kvhost::DescribeExtras(app.remaining(), kvhost::NamesOf(app)));
    } catch (const CLI::ParseError& error) {
        return Wrong(error.what());
    }
    if (const std::string problem =
            TakeCredentials(given.credentials, !given.web.serve.empty(), input, options);
        !problem.empty()) {
        return Wrong(problem);
    }
    if (const std::string problem = TakeWebOptions(given.web, options); !problem.empty()) {
        return Wrong(problem);
    }
    if (const std::string problem = TakeDisplayViews(given.displayViews, options); !problem.empty()) {
        return Wrong(problem);
    }
    if (!given.searchFrom.empty() &&
        !ParseServeAddress(given.searchFrom, options.searchFrom, options.searchPort)) {
        return Wrong("--search-from: not an address and a port: " + given.searchFrom);
    }
    if (const std::string problem = HardwareProblem(options.hardware); !problem.empty()) {
        return Wrong(problem);
    }
    options.look = LookNamed(given.look);
    if (app.count(kLanguage) > 0) {
        options.language = given.language;
    }
    for (const auto& [option, property] : kProperties) {
        if (app.count(option) > 0) {
            options.given.insert(property);
        }
    }
    return {options, {}, 0};
}

void ScrubArguments(int argc, char** argv) {
    constexpr std::string_view kOption = "--auth";
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i];
        char* secret = nullptr;
        if (argument == kOption && i + 1 < argc) {
            secret = argv[i + 1];
        } else if (argument.starts_with("--auth=")) {
            secret = argv[i] + kOption.size() + 1;
        }
        if (secret != nullptr && std::string_view(secret) != "-") {
            std::memset(secret, 'x', std::strlen(secret));
        }
    }
}

}  // namespace kvmon
