// What the recorder serves and to whom, as a configuration tells it.
#pragma once

#include <array>
#include <bitset>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "media/media_hub.h"
#include "media/sound_source.h"

namespace kvrecorder {

inline constexpr int kMaxChannels = 128;
inline constexpr std::size_t kMaxNameBytes = 255;
inline constexpr std::size_t kMaxUserBytes = 63;  // clients keep 64 with the end
inline constexpr std::size_t kMaxPresets = 10;

// Words for the user who wrote a configuration or an option.
class ConfigError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

enum class Right { Monitor, Ptz, Audio, Talk, Record };
inline constexpr std::size_t kRightCount = 5;
inline constexpr std::array<const char*, kRightCount> kRightNames = {"monitor", "ptz", "audio", "talk",
                                                                     "record"};
using ChannelSet = std::bitset<kMaxChannels>;

struct User {
    std::string name;
    std::string password;
    std::array<ChannelSet, kRightCount> rights;

    bool Has(Right right, int channel) const {
        return channel >= 0 && channel < kMaxChannels &&
               rights[static_cast<std::size_t>(right)][static_cast<std::size_t>(channel)];
    }
};

// A user who may do everything.
User MakeFullUser(std::string name, std::string password);

// How clients reach the camera itself, handed on in the documents.
struct CameraConfig {
    std::string id = "0000000000000000";  // eight hexadecimal digits of the maker, eight of the model
    std::string lanAddress = "127.0.0.1";
    std::string wanAddress;
    int port = 80;
    int wanPort = 0;
    int rtspPort = 554;
    int wanRtspPort = 0;
    std::string user;
    std::string password;
    std::string adminPassword;
    std::string guestPassword;
    std::string videoUrl;
};

// A channel's state as the recording line tells it: one hexadecimal digit a section.
using StatusDigits = std::array<std::uint8_t, 4>;

struct StatusFlag {
    const char* name;
    std::size_t section;
    std::uint8_t bit;
};
inline constexpr std::array<StatusFlag, 8> kStatusFlags = {{
    {"event", 0, 1},
    {"record", 0, 4},
    {"connect", 0, 8},
    {"manual", 1, 2},
    {"motion", 3, 1},
    {"loss", 3, 2},
    {"input", 3, 4},
    {"alarm", 3, 8},
}};
const StatusFlag* FindStatusFlag(std::string_view name);

struct ChannelConfig {
    std::string name;
    bool configured = true;
    SourceConfig source;
    CameraConfig camera;
    StatusDigits status = {8, 0, 0, 0};
    bool audio = false;  // the channel has sound
    SoundConfig sound;
    bool talk = false;  // clients may speak to it
    std::vector<std::string> presets;
};

enum class CgiRoot { Both, CgiBin, Top };

struct ServerConfig {
    std::string name = "kvrecorder";
    std::string version = "4.0.0";
    std::string build = "1";
    std::string diskFolder = ".";
    std::string talkFolder;  // of what clients said; empty: it is not kept
    CgiRoot root = CgiRoot::Both;
    int delayMs = 0;          // before every reply
    bool talkStalls = false;  // takes nothing of what clients say
    int maxConnections = 512;
};

struct RecorderConfig {
    std::string listen;  // empty: not told
    ServerConfig server;
    std::vector<User> users;
    std::vector<ChannelConfig> channels;
};

// Reads a configuration file; paths in it are taken from its folder. Throws ConfigError with file and line.
RecorderConfig LoadConfig(const std::string& path);

// Channels with generated scenes.
std::vector<ChannelConfig> DemoChannels(int count);

// The first line of a password file. Throws ConfigError.
std::string ReadPasswordFile(const std::string& path);

// "" or why the name cannot be used.
std::string CheckChannelName(const std::string& name);

}  // namespace kvrecorder
