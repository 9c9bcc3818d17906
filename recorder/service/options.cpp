#include "service/options.h"

#include <algorithm>

#include <CLI/CLI.hpp>
#include <asio/ip/address.hpp>

#include "cameras/certificate_word.h"
#include "host/known_options.h"
#include "host/near_name.h"
#include "media/utf8.h"
#include "state/kept_config.h"
#include "state/text.h"
#include "wire/recorder_search.h"

namespace kvrecorder {
namespace {

constexpr const char* kDefaultListen = "127.0.0.1:8090";
constexpr const char* kNowhere = "off";
constexpr int kDefaultChannels = 8;

CameraUrl ReadOneCamera(const char* option, std::string& text) {
    try {
        return TakeCameraUrl(text);
    } catch (const std::runtime_error& failure) {
        throw ConfigError(std::string(option) + ": " + failure.what());
    }
}

std::string ReadCertificate(const std::string& text) {
    try {
        return ReadCertificateWord(text);
    } catch (const std::runtime_error& failure) {
        throw ConfigError(std::string("--camera-certificate: ") + failure.what());
    }
}

// What stands before an at sign may be a password.
std::string WithoutLogins(const std::string& text) {
    const std::size_t mark = text.find("://");
    const std::size_t at = text.rfind('@');
    const bool login = mark != std::string::npos && at != std::string::npos && at > mark;
    return login ? text.substr(0, mark + 3) + "..." + text.substr(at) : text;
}

// Those of one host get numbers.
std::vector<ChannelConfig> CameraChannels(const Options& options) {
    std::vector<ChannelConfig> channels;
    for (const CameraUrl& camera : options.cameras) {
        ChannelConfig channel;
        channel.name = PrintableUtf8(camera.host, kMaxNameBytes - 8);
        const auto alike = std::count_if(options.cameras.begin(), options.cameras.end(),
                                         [&](const CameraUrl& other) { return other.host == camera.host; });
        if (alike > 1) {
            channel.name += " / " + std::to_string(channels.size() + 1);
        }
        NetworkCamera& network = channel.source.network;
        network.url = camera.url;
        network.user = camera.user;
        network.password = camera.password;
        network.overUdp = options.camerasOverUdp;
        network.certificate = options.cameraCertificate;
        channels.push_back(std::move(channel));
    }
    return channels;
}

// Where, what and to whom.
void AddServing(CLI::App& app, Options& options) {
    app.add_option("--listen", options.listen, "Where to serve; port 0 is the system's choice")
        ->type_name("ADDRESS:PORT");
    app.add_option("--search-listen", options.searchListen,
                   "Where to answer who looks for recorders on the network; off: nowhere, as with a loopback "
                   "address to serve on")
        ->type_name("ADDRESS:PORT");
    app.add_option("--config", options.configFile, "Configuration file")->type_name("FILE");
    app.add_option(
           "--check", options.check,
           "Tell what is wrong with a configuration, what it lacks and who else can read its passwords, and "
           "exit: with 0 if nothing is, else with 2")
        ->type_name("FILE");
    app.add_option("--channels", options.channels, "Channels with generated scenes, when no file lists any")
        ->type_name("N")
        ->check(CLI::Range(1, kMaxChannels));
    CLI::Option* user =
        app.add_option("--user", options.user, "A user who may do everything")->type_name("NAME");
    CLI::Option* password =
        app.add_option("--password-file", options.passwordFile, "The user's password is its first line")
            ->type_name("FILE");
    user->needs(password);
    password->needs(user);
    CLI::Option* control =
        app.add_option("--control", options.controlPath, "Unix socket for commands")->type_name("PATH");
    app.add_option("--send", options.send, "Send a command to the recorder at --control and print its reply")
        ->type_name("COMMAND")
        ->needs(control);
}

void AddCameras(CLI::App& app, Options& options, std::vector<std::string>& cameras) {
    app.add_option("--camera", cameras,
                   "Serve this camera: rtsp://user@host/path, onvif://user@host, http://host/path, "
                   "usb:/dev/video0; may be "
                   "given again for others")
        ->type_name("URL")
        ->allow_extra_args(false);
    app.add_option("--camera-password-file", options.cameraPasswordFile,
                   "Its first line is the password of the cameras' user; else the terminal is asked for it")
        ->type_name("FILE");
    app.add_option("--camera-certificate", options.cameraCertificate,
                   "The only certificate that is taken of cameras whose connections are encrypted, by its "
                   "fingerprint sha256:..., or any; else one that this computer trusts")
        ->type_name("WORD");
    app.add_flag("--camera-udp", options.camerasOverUdp,
                 "Let the cameras send by UDP, not within the connection");
}

void AddSearching(CLI::App& app, Options& options) {
    CLI::Option* discover =
        app.add_flag("--discover", options.discover, "List the cameras that answer on the network, and exit");
    app.add_option("--discover-at", options.discoverAt,
                   "Ask this address alone, as of a camera behind a router")
        ->type_name("ADDRESS[:PORT]")
        ->needs(discover);
    app.add_option("--discover-user", options.discoverUser,
                   "The cameras' user; the password as of --camera-password-file")
        ->type_name("NAME")
        ->needs(discover);
    app.add_option("--write", options.writeFile, "With --discover: a new configuration that serves them")
        ->type_name("FILE")
        ->needs(discover);
}

// What is read from the command line before it is checked.
struct Given {
    std::vector<std::string> cameras;
    std::string probe;
};

void AddOptions(CLI::App& app, const std::string& version, Options& options, Given& given) {
    app.set_version_flag("--version", "kvrecorder " + version, "Print the version and exit");
    app.set_help_flag("--help", "Print this text and exit");
    AddServing(app, options);
    AddCameras(app, options, given.cameras);
    app.add_option(
           "--probe", given.probe,
           "Tell what this camera sends and what is wrong with it, and exit: with 0 if pictures come, "
           "else with 1")
        ->type_name("URL");
    AddSearching(app, options);
}

constexpr const char* kAbout = "A small network video recorder.";
constexpr const char* kProgram = "kvrecorder";

}  // namespace

void ShowOptions(const std::function<void(const CLI::App& options)>& look) {
    Options options;
    Given given;
    CLI::App app(kAbout, kProgram);
    AddOptions(app, "", options, given);
    look(app);
}

Options ParseOptions(int argc, const char* const* argv, const std::string& version) {
    Options options;
    Given given;
    CLI::App app(kAbout, kProgram);
    AddOptions(app, version, options, given);
    try {
        app.parse(argc, argv);
        if (app.count("--probe") > 0) {
            options.probe = ReadOneCamera("--probe", given.probe);
        }
        options.cameraCertificate = ReadCertificate(options.cameraCertificate);
        for (std::string& camera : given.cameras) {
            options.cameras.push_back(ReadOneCamera("--camera", camera));
        }
    } catch (const CLI::Success& wanted) {
        const bool help = dynamic_cast<const CLI::CallForHelp*>(&wanted) != nullptr;
        options.exitText = help ? app.help() : std::string(wanted.what()) + "\n";
    } catch (const CLI::ExtrasError&) {
        throw ConfigError(kvhost::DescribeExtras(app.remaining(), kvhost::NamesOf(app)) +
                          " (--help lists the options)");
    } catch (const CLI::ParseError& failure) {
        std::string line = failure.what();
        throw ConfigError(WithoutLogins(line.substr(0, line.find('\n'))));
    }
    return options;
}

ListenAddress ParseListen(const std::string& text) {
    const std::size_t colon = text.rfind(':');
    std::string address = text.substr(0, colon);
    if (address.starts_with('[') && address.ends_with(']')) {
        address = address.substr(1, address.size() - 2);
    }
    const auto port = colon == std::string::npos
                          ? std::nullopt
                          : ParseNumber<unsigned>(std::string_view(text).substr(colon + 1), 0, 65535);
    std::error_code error;
    const auto parsed = asio::ip::make_address(address, error);
    if (!port || error) {
        throw ConfigError("\"" + text + "\" is no ADDRESS:PORT to listen on");
    }
    return {address, static_cast<std::uint16_t>(*port), parsed.is_loopback()};
}

std::optional<ListenAddress> SearchPlace(const RecorderConfig& config) {
    if (config.searchListen == kNowhere) {
        return std::nullopt;
    }
    if (!config.searchListen.empty()) {
        return ParseListen(config.searchListen);
    }
    ListenAddress served = ParseListen(config.listen);
    served.port = wire::kSearchPort;
    const auto address = asio::ip::make_address(served.address);
    if (address.is_unspecified()) {
        served.address = "0.0.0.0";  // that of IPv6 takes connections of both
    }
    return served.loopback || (address.is_v6() && !address.is_unspecified()) ? std::nullopt
                                                                             : std::optional(served);
}

RecorderConfig MakeConfig(const Options& options, const RecorderConfig* before,
                          std::vector<std::string>* told) {
    RecorderConfig config;
    if (!options.configFile.empty()) {
        config = LoadConfig(options.configFile);
    }
    if (before && !config.saysEnd) {
        throw ConfigError(options.configFile + ": its last line is not \"" + std::string(kEndMark) +
                          "\", so that it may be half written; nothing of it was taken");
    }
    if (before && told) {
        *told = KeepVanished(*before, config);
    }
    return CompleteConfig(options, std::move(config));
}

RecorderConfig CompleteConfig(const Options& options, RecorderConfig config) {
    if (!options.listen.empty() || config.listen.empty()) {
        config.listen = options.listen.empty() ? kDefaultListen : options.listen;
    }
    if (!options.searchListen.empty()) {
        config.searchListen = options.searchListen;
    }
    SearchPlace(config);  // a slip is told at once
    if ((options.channels > 0 || !options.cameras.empty()) && !config.channels.empty()) {
        throw ConfigError(std::string(options.channels > 0 ? "--channels" : "--camera") +
                          ": the configuration file lists the channels already");
    }
    if (options.channels > 0 && !options.cameras.empty()) {
        throw ConfigError("--channels: cameras are served, and no scenes beside them");
    }
    if (options.cameras.size() > static_cast<std::size_t>(kMaxChannels)) {
        throw ConfigError("--camera: there can be no more than " + std::to_string(kMaxChannels) +
                          " channels");
    }
    if (!options.user.empty()) {
        if (options.user.size() > kMaxUserBytes || options.user.find(':') != std::string::npos) {
            throw ConfigError("--user: a name of at most 63 bytes without a colon is wanted");
        }
        std::erase_if(config.users, [&](const User& user) { return user.name == options.user; });
        config.users.push_back(MakeFullUser(options.user, ReadPasswordFile(options.passwordFile)));
        config.secretFiles.push_back(options.passwordFile);
    }
    const bool loopback = ParseListen(config.listen).loopback;
    if (config.users.empty() && (!config.channels.empty() || !loopback)) {
        throw ConfigError(loopback
                              ? "the configuration lists channels but no user; add one or give --user"
                              : "listening beyond this machine needs a user: --user and --password-file, "
                                "or users in the configuration");
    }
    if (config.users.empty()) {
        config.users.push_back(
            MakeFullUser("admin", options.madePassword.Empty() ? Secret("admin") : options.madePassword));
    }
    if (!options.cameras.empty()) {
        config.channels = CameraChannels(options);
    }
    if (config.channels.empty()) {
        config.channels = DemoChannels(options.channels > 0 ? options.channels : kDefaultChannels);
    }
    return config;
}

}  // namespace kvrecorder
