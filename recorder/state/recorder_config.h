// What the recorder serves and to whom, as a configuration tells it.
#pragma once

#include <array>
#include <bitset>
#include <chrono>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "media/fault.h"
#include "media/media_hub.h"
#include "media/private_file.h"
#include "media/secret.h"
#include "media/sound_source.h"
#include "wire/channel_states.h"

namespace kvrecorder {

inline constexpr int kMaxChannels = 128;
inline constexpr std::size_t kMaxNameBytes = 255;
inline constexpr std::size_t kMaxUserBytes = 63;  // clients keep 64 with the end
inline constexpr std::size_t kMaxPresets = 10;
inline constexpr std::size_t kMaxPresetBytes = 99;  // the wire tells the length in two digits

// Words for the user who wrote a configuration or an option.
class ConfigError : public std::runtime_error {
public:
    explicit ConfigError(const std::string& words)
        : ConfigError(Fault(FaultCode::ConfigWrong, {{"reason", words}})) {}
    explicit ConfigError(const char* words) : ConfigError(std::string(words)) {}
    explicit ConfigError(Fault fault) : std::runtime_error(fault.words), m_fault(std::move(fault)) {}

    const Fault& Told() const { return m_fault; }

private:
    Fault m_fault;
};

enum class Right { Monitor, Ptz, Audio, Talk, Record };
inline constexpr std::size_t kRightCount = 5;
inline constexpr std::array<const char*, kRightCount> kRightNames = {"monitor", "ptz", "audio", "talk",
                                                                     "record"};
using ChannelSet = std::bitset<kMaxChannels>;

// Where a user or a channel comes from.
enum class Origin {
    Program,   // options, commands, and what stands in for a file that says nothing
    File,      // the configuration file
    Vanished,  // the file as it was: kept until it is read once more
};

struct User {
    std::string name;
    Secret password;
    std::array<ChannelSet, kRightCount> rights;
    Origin origin = Origin::Program;
    bool admin = false;  // may change what the recorder serves

    bool Has(Right right, int channel) const {
        return channel >= 0 && channel < kMaxChannels &&
               rights[static_cast<std::size_t>(right)][static_cast<std::size_t>(channel)];
    }
};

// A user who may do everything.
User MakeFullUser(std::string name, Secret password);

// The codecs by the names that users write.
inline constexpr std::array<std::pair<std::string_view, Codec>, 6> kCodecNames = {{
    {"h264", Codec::H264},
    {"mpeg4", Codec::Mpeg4},
    {"mjpeg", Codec::Mjpeg},
    {"mpeg4-fields", Codec::Mpeg4Fields},
    {"vivotek", Codec::Vivotek},
    {"mxpeg", Codec::Mxpeg},
}};

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
    bool direct = false;  // it is to be had at the camera port, whose place takes that of lan and port
};

// A channel's state as the recording line tells it: one hexadecimal digit a section.
using StatusDigits = std::array<std::uint8_t, 4>;

using StatusFlag = wire::ChannelState;
inline constexpr const auto& kStatusFlags = wire::kChannelStates;
const StatusFlag* FindStatusFlag(std::string_view name);

// How a steerable camera behaves towards clients.
enum class PtzReply { Normal, NoContent, Empty, Garbage, Busy, Locked, Never };
inline constexpr std::array<std::pair<std::string_view, PtzReply>, 7> kPtzReplies = {{
    {"normal", PtzReply::Normal},
    {"no-content", PtzReply::NoContent},  // status 204
    {"empty", PtzReply::Empty},           // a body without a byte
    {"garbage", PtzReply::Garbage},       // a body without sense
    {"busy", PtzReply::Busy},             // status 504
    {"locked", PtzReply::Locked},         // told to be in another's hands
    {"never", PtzReply::Never},           // nothing at all
}};

inline constexpr int kMaxPtzDelayMs = 600000;

struct PtzConfig {
    bool steerable = false;
    bool presetNames = true;  // else clients learn how many presets there are, and no more
    int delayMs = 0;          // before the reply to each order
    PtzReply reply = PtzReply::Normal;
};

struct ChannelConfig {
    std::string name;
    bool configured = true;
    SourceConfig source;
    CameraConfig camera;
    StatusDigits status = {8, 0, 0, 0};
    // The channel has sound; not said: what a camera on the network has, else none.
    std::optional<bool> audio;
    SoundConfig sound;
    // Clients may speak to it; not said: to a camera that plays it.
    std::optional<bool> talk;
    PtzConfig ptz;
    // Names of the places that a camera knows from the start, "" for none.
    std::vector<std::string> presets;
    Origin origin = Origin::Program;
};

struct DiskFigures {
    int status = 0;  // 0: good
    int usedPercent = 0;
    std::uint64_t totalKilobytes = 0;
};

// A fault that the disk is made to show.
enum class DiskFault { None, Full, Failed };
inline constexpr std::array<std::pair<std::string_view, DiskFault>, 3> kDiskFaults = {{
    {"none", DiskFault::None},
    {"full", DiskFault::Full},
    {"failed", DiskFault::Failed},
}};

enum class CgiRoot { Both, CgiBin, Top };

// How logins from the loopback address are counted.
enum class LoopbackLogins { ByName, AsOthers, Free };
inline constexpr std::array<std::pair<std::string_view, LoopbackLogins>, 3> kLoopbackLogins = {{
    {"by-name", LoopbackLogins::ByName},      // each user's name as an address of its own
    {"as-others", LoopbackLogins::AsOthers},  // like any other address
    {"free", LoopbackLogins::Free},           // not at all
}};

// What wrong passwords cost the address that they come from.
struct LoginLimits {
    std::chrono::milliseconds penalty{5'000};  // for each; zero: nothing is counted
    std::chrono::milliseconds limit{30'000};   // who owes so much is refused until it has paid
    std::chrono::milliseconds longest{600'000};
    int delayPart = 10;  // a refusal is held back for this part of what is owed
    LoopbackLogins loopback = LoopbackLogins::ByName;

    bool Count(bool fromLoopback) const {
        return penalty.count() > 0 && !(fromLoopback && loopback == LoopbackLogins::Free);
    }
};

struct RecordingConfig {
    std::string folder;            // empty: a temporary one, made when it is needed
    FileGroup group;               // may read the files; nothing: the recorder's user alone
    std::uint64_t limitMb = 2048;  // of all files together; the oldest go
    std::uint64_t minFreeMb = 64;  // that the file system must keep
};

struct ServerConfig {
    std::string name = "kvrecorder";
    std::string version = "4.0.0";
    std::string build = "1";
    std::string diskFolder = ".";
    std::string talkFolder;           // of what clients said; empty: it is not kept
    std::uint64_t talkLimitMb = 512;  // of all that is kept; the oldest go
    std::string stateFolder;          // of what lasts from one start to the next; empty: nothing does
    RecordingConfig recording;
    std::string mapFile;   // a JPEG picture; empty: one that is drawn
    std::string mapTitle;  // empty: the server's name
    DiskFault diskFault = DiskFault::None;
    CgiRoot root = CgiRoot::Both;
    int delayMs = 0;          // before every reply
    bool talkStalls = false;  // takes nothing of what clients say
    FileGroup group;          // may read what is kept of recordings and talks
    // Places of each port; 0 of one user or one address: a half and three quarters of all.
    int maxConnections = 1024;
    int userConnections = 0;
    int addressConnections = 0;
    LoginLimits logins;
};

struct RecorderConfig {
    std::string listen;        // empty: not told
    std::string cameraListen;  // empty: there is no camera port
    std::string searchListen;  // empty: not told
    ServerConfig server;
    std::vector<User> users;
    std::vector<ChannelConfig> channels;
    std::vector<std::string> secretFiles;  // what it was read from: its file, then those of passwords
    bool fileIsSecret = true;              // there are passwords in the first of these
    bool saysEnd = true;                   // the file's last line is the mark of its end
};

// The last line of a configuration that is whole. Without it a file is taken at the start only.
inline constexpr std::string_view kEndMark = "# end";

// The place of a channel's pictures on the camera port: as its configuration tells, else one by its number.
std::string CameraPath(const ChannelConfig& channel, int number);

// Reads the text of a configuration file; paths in it are taken from the file's folder. Throws ConfigError
// with file and line.
RecorderConfig ParseConfig(std::string_view text, const std::string& path);
RecorderConfig LoadConfig(const std::string& path);
// The text alone. It holds passwords: who has it wipes it.
std::string ReadConfigText(const std::string& path);

// Channels with generated scenes.
std::vector<ChannelConfig> DemoChannels(int count);

// The first line of a password file; one of the name "@NAME" is the credential NAME of the manager of
// services, or if it hands none on the file kvrecorder.credentials/NAME beside. Throws ConfigError.
Secret ReadPasswordFile(const std::string& path);

// "" or why the name cannot be used.
std::string CheckChannelName(const std::string& name);

}  // namespace kvrecorder
