// The configuration file: TOML, checked key by key, so that a slip is told and not ignored.
#include <grp.h>
#include <sys/types.h>

#include <algorithm>
#include <filesystem>
#include <vector>

#include "media/plain_file.h"
#include "state/channel_table.h"
#include "state/recorder_config.h"
#include "state/table_reader.h"
#include "state/text.h"

namespace kvrecorder {
namespace {

constexpr std::array<std::pair<std::string_view, CgiRoot>, 3> kRoots = {{
    {"both", CgiRoot::Both},
    {"/cgi-bin", CgiRoot::CgiBin},
    {"/", CgiRoot::Top},
}};

constexpr std::size_t kMaxFileBytes = 4 * 1024 * 1024;

// "all", "none" or a list of channel numbers.
void ReadRight(TableReader& reader, const char* key, ChannelSet& right) {
    const toml::node* node = reader.Find(key);
    if (!node) {
        return;
    }
    const auto word = node->value_exact<std::string>();
    if (word == "all" || word == "none") {
        right = word == "all" ? ChannelSet().set() : ChannelSet();
        return;
    }
    const char* wanted = "\"all\", \"none\" or a list of channel numbers from 0 to 127 is wanted";
    const toml::array* array = node->as_array();
    if (!array) {
        reader.Fail(key, wanted);
    }
    right.reset();
    for (const toml::node& entry : *array) {
        const auto channel = entry.value_exact<std::int64_t>();
        if (!channel || *channel < 0 || *channel >= kMaxChannels) {
            reader.Fail(key, wanted);
        }
        right.set(static_cast<std::size_t>(*channel));
    }
}

User ReadUser(TableReader& reader, std::vector<std::string>& secretFiles) {
    User user;
    user.origin = Origin::File;
    user.rights[static_cast<std::size_t>(Right::Monitor)].set();
    reader.Text("name", user.name, kMaxUserBytes);
    if (user.name.empty() || user.name.find(':') != std::string::npos) {
        reader.Fail("name", "a user needs a name without a colon");
    }
    std::string password;
    reader.Text("password", password, kMaxUserBytes);
    user.password = password;
    Wipe(password);
    std::string file;
    reader.Path("password_file", file);
    if (!file.empty()) {
        secretFiles.push_back(file);
        user.password = ReadPasswordFile(file);
    }
    if (user.password.Empty()) {
        reader.Fail("password", "a user needs a password or a password_file");
    }
    for (std::size_t i = 0; i < kRightCount; ++i) {
        ReadRight(reader, kRightNames[i], user.rights[i]);
    }
    reader.Flag("admin", user.admin);
    return user;
}

void ReadRecording(TableReader& reader, ServerConfig& server) {
    RecordingConfig& recording = server.recording;
    recording.group = server.group;
    reader.Path("recordings", recording.folder);
    if (recording.folder.empty() && !server.stateFolder.empty()) {
        recording.folder = server.stateFolder + "/recordings";
    }
    int talks = static_cast<int>(server.talkLimitMb);
    reader.Number("talks_limit_mb", talks, 1, 100'000'000);
    server.talkLimitMb = static_cast<std::uint64_t>(talks);
    int limit = static_cast<int>(recording.limitMb);
    int free = static_cast<int>(recording.minFreeMb);
    reader.Number("recordings_limit_mb", limit, 1, 100'000'000);
    reader.Number("min_free_mb", free, 0, 100'000'000);
    recording.limitMb = static_cast<std::uint64_t>(limit);
    recording.minFreeMb = static_cast<std::uint64_t>(free);
}

// A group's number by its name.
FileGroup ReadGroup(TableReader& reader) {
    std::string name;
    reader.Text("group", name, 63);
    if (name.empty()) {
        return {};
    }
    std::vector<char> texts(16384);
    struct group entry {};
    struct group* found = nullptr;
    ::getgrnam_r(name.c_str(), &entry, texts.data(), texts.size(), &found);
    if (found == nullptr) {
        reader.Fail("group", "there is no group of this name");
    }
    return found->gr_gid;
}

void ReadLogins(TableReader& reader, LoginLimits& limits) {
    const auto seconds = [&](const char* key, std::chrono::milliseconds& value, int low) {
        int number = static_cast<int>(value.count() / 1000);
        reader.Number(key, number, low, 86400);
        value = std::chrono::seconds(number);
    };
    seconds("penalty", limits.penalty, 0);
    seconds("limit", limits.limit, 1);
    seconds("longest", limits.longest, 1);
    reader.Word("loopback", limits.loopback, kLoopbackLogins);
}

void ReadAll(TableReader& reader, RecorderConfig& config) {
    std::error_code error;
    reader.Text("listen", config.listen);
    reader.Text("camera_listen", config.cameraListen);
    reader.Text("search_listen", config.searchListen);
    reader.Table("server", [&](TableReader& server) {
        server.Text("name", config.server.name);
        server.Text("version", config.server.version, 63);
        server.Text("build", config.server.build, 63);
        server.Path("disk", config.server.diskFolder);
        server.Path("talk_folder", config.server.talkFolder);
        server.Path("state", config.server.stateFolder);
        config.server.group = ReadGroup(server);
        ReadRecording(server, config.server);
        server.Path("map", config.server.mapFile);
        if (std::filesystem::exists(config.server.mapFile, error) &&
            !std::filesystem::is_regular_file(config.server.mapFile, error)) {
            server.Fail("map", config.server.mapFile + " is not a plain file");
        }
        server.Text("map_title", config.server.mapTitle, 249);
        server.Number("max_connections", config.server.maxConnections, 8, 4096);
        server.Number("user_connections", config.server.userConnections, 0, 4096);
        server.Number("address_connections", config.server.addressConnections, 0, 4096);
    });
    reader.Table("logins", [&](TableReader& logins) { ReadLogins(logins, config.server.logins); });
    reader.Table("faults", [&](TableReader& faults) {
        faults.Word("root", config.server.root, kRoots);
        faults.Word("disk", config.server.diskFault, kDiskFaults);
        faults.Number("delay_ms", config.server.delayMs, 0, 60000);
        faults.Flag("talk_stalls", config.server.talkStalls);
    });
    reader.Tables("users", 64, [&](TableReader& user) {
        config.users.push_back(ReadUser(user, config.secretFiles));
        for (std::size_t i = 0; i + 1 < config.users.size(); ++i) {
            if (config.users[i].name == config.users.back().name) {
                user.Fail("name", "a user of this name stands further up");
            }
        }
    });
    reader.Tables("channels", kMaxChannels, [&](TableReader& channel) {
        config.channels.push_back(ReadChannel(channel, config.secretFiles));
        if (config.channels.back().camera.direct && config.cameraListen.empty()) {
            channel.Fail("camera", "direct needs a camera_listen further up");
        }
    });
    reader.Finish();
}

bool SaysEnd(std::string_view text) {
    text = Trim(text);
    return Trim(text.substr(text.rfind('\n') + 1)) == kEndMark;
}

// A password, or an address with a login in it, anywhere in the text.
bool HoldsPasswords(const toml::node& node) {
    if (const toml::array* const entries = node.as_array()) {
        return std::any_of(entries->begin(), entries->end(),
                           [](const toml::node& entry) { return HoldsPasswords(entry); });
    }
    const toml::table* const table = node.as_table();
    return table && std::any_of(table->begin(), table->end(), [](const auto& entry) {
               const std::string_view key = entry.first.str();
               const bool holds = key.ends_with("password") || (key.ends_with("url") && key != "video_url");
               const std::string_view text = entry.second.value_or(std::string_view());
               return HoldsPasswords(entry.second) ||
                      (holds && (key.ends_with("password") ? !text.empty() : text.find('@') != text.npos));
           });
}

void WipeText(toml::table& table, std::string_view key) {
    if (auto* const text = table.get_as<std::string>(key)) {
        Wipe(text->get());
    }
}

void WipePasswords(toml::table& table) {
    if (toml::array* const users = table["users"].as_array()) {
        users->for_each([](toml::table& user) { WipeText(user, "password"); });
    }
    if (toml::array* const channels = table["channels"].as_array()) {
        channels->for_each([](toml::table& channel) {
            if (toml::table* const source = channel["source"].as_table()) {
                for (const char* const key : {"password", "url", "sub_url"}) {
                    WipeText(*source, key);
                }
            }
        });
    }
}

}  // namespace

RecorderConfig ParseConfig(std::string_view text, const std::string& path) {
    try {
        toml::table table = ReadToml(text);
        RecorderConfig config;
        config.saysEnd = SaysEnd(text);
        config.secretFiles.push_back(path);
        config.fileIsSecret = HoldsPasswords(table);
        TableReader reader(path, table);
        ReadAll(reader, config);
        WipePasswords(table);
        return config;
    } catch (const TomlSlip& slip) {
        throw ConfigError(path + ":" + std::to_string(slip.Line()) + ": " + slip.what());
    }
}

std::string ReadConfigText(const std::string& path) {
    try {
        std::string text = ReadPlainFile(path, kMaxFileBytes + 1);
        if (text.size() > kMaxFileBytes) {
            throw std::runtime_error("it is too large");
        }
        return text;
    } catch (const std::runtime_error& failure) {
        throw ConfigError("cannot read " + path + ": " + failure.what());
    }
}

RecorderConfig LoadConfig(const std::string& path) {
    std::string text = ReadConfigText(path);
    RecorderConfig config = ParseConfig(text, path);
    Wipe(text);
    return config;
}

}  // namespace kvrecorder
