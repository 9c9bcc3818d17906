// The configuration file: TOML, checked key by key, so that a slip is told and not ignored.
#include <filesystem>
#include <fstream>
#include <iterator>

#include "state/recorder_config.h"
#include "state/table_reader.h"

namespace kvrecorder {
namespace {

constexpr std::array<std::pair<std::string_view, CgiRoot>, 3> kRoots = {{
    {"both", CgiRoot::Both},
    {"/cgi-bin", CgiRoot::CgiBin},
    {"/", CgiRoot::Top},
}};

constexpr std::array<std::pair<std::string_view, SoundFormat>, 6> kSoundFormats = {{
    {"mu-law", SoundFormat::MuLaw},
    {"a-law", SoundFormat::ALaw},
    {"g726", SoundFormat::G726},
    {"z726", SoundFormat::Z726},
    {"pcm", SoundFormat::Pcm},
    {"plain-g726", SoundFormat::PlainG726},
}};

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

User ReadUser(TableReader& reader) {
    User user;
    user.rights[static_cast<std::size_t>(Right::Monitor)].set();
    reader.Text("name", user.name, kMaxUserBytes);
    if (user.name.empty() || user.name.find(':') != std::string::npos) {
        reader.Fail("name", "a user needs a name without a colon");
    }
    reader.Text("password", user.password, kMaxUserBytes);
    std::string file;
    reader.Text("password_file", file, 4096);
    if (!file.empty()) {
        user.password = ReadPasswordFile(reader.Resolve(file));
    }
    if (user.password.empty()) {
        reader.Fail("password", "a user needs a password or a password_file");
    }
    for (std::size_t i = 0; i < kRightCount; ++i) {
        ReadRight(reader, kRightNames[i], user.rights[i]);
    }
    return user;
}

void ReadCamera(TableReader& reader, CameraConfig& camera) {
    reader.Column("id", camera.id, 16);
    if (camera.id.size() != 16 ||
        camera.id.find_first_not_of("0123456789ABCDEFabcdef") != std::string::npos) {
        reader.Fail("id", "sixteen hexadecimal digits are wanted");
    }
    reader.Column("lan", camera.lanAddress, 63);
    reader.Column("wan", camera.wanAddress, 63);
    if (camera.lanAddress.empty()) {
        // Clients would take the other address for this one.
        reader.Fail("lan", "an address is wanted; a channel without a camera says configured = false");
    }
    reader.Number("port", camera.port, 0, 65535);
    reader.Number("wan_port", camera.wanPort, 0, 65535);
    reader.Number("rtsp_port", camera.rtspPort, 0, 65535);
    reader.Number("wan_rtsp_port", camera.wanRtspPort, 0, 65535);
    reader.Column("user", camera.user, 32);
    // At its full width it would run into the user's name for clients that skip blanks.
    reader.Column("password", camera.password, 31);
    reader.Column("admin_password", camera.adminPassword, 63);
    reader.Column("guest_password", camera.guestPassword, 63);
    // A longer one would not fit into a client's line once it is scrambled.
    reader.Column("video_url", camera.videoUrl, 239);
    reader.Flag("direct", camera.direct);
    if (camera.direct && !camera.videoUrl.empty() && !camera.videoUrl.starts_with('/')) {
        reader.Fail("video_url", "a path that begins with / is wanted for a camera of the camera port");
    }
}

StreamConfig ReadStream(TableReader& reader) {
    StreamConfig stream;
    reader.Word("codec", stream.codec, kCodecNames);
    reader.Number("width", stream.width, 16, 4096);
    reader.Number("height", stream.height, 16, 4096);
    if (stream.width % 2 != 0 || stream.height % 2 != 0) {
        reader.Fail(stream.width % 2 != 0 ? "width" : "height", "an even number is wanted");
    }
    reader.Number("fps", stream.fps, 1, 60);
    reader.Number("gop", stream.gop, 1, 600);
    return stream;
}

void ReadSound(TableReader& reader, SoundConfig& sound) {
    reader.Word("format", sound.format, kSoundFormats);
    reader.Number("rate", sound.rate, 8000, 48000);
    if (sound.format != SoundFormat::Pcm && sound.rate != 8000) {
        reader.Fail("rate", "only plain PCM has another rate than 8000");
    }
    if (sound.rate % 25 != 0) {
        reader.Fail("rate", "a multiple of 25 is wanted");
    }
    reader.Number("bits", sound.bits, 2, 5);
    reader.Number("tune", sound.tune, 1, SoundTunes());
    reader.Number("hertz", sound.hertz, 20, 20000);
    reader.Text("file", sound.file, 4096);
    if (sound.file.empty()) {
        return;
    }
    sound.file = reader.Resolve(sound.file);
    try {
        CreateSoundSource(0, sound);
    } catch (const std::runtime_error& failure) {
        reader.Fail("file", failure.what());
    }
}

void ReadPtz(TableReader& reader, ChannelConfig& channel) {
    reader.Flag("steerable", channel.ptz.steerable);
    if (channel.ptz.steerable && !channel.source.file.empty()) {
        reader.Fail("steerable", "only a generated scene can be steered");
    }
    reader.Flag("preset_names", channel.ptz.presetNames);
    reader.Number("delay_ms", channel.ptz.delayMs, 0, kMaxPtzDelayMs);
    reader.Word("reply", channel.ptz.reply, kPtzReplies);
}

ChannelConfig ReadChannel(TableReader& reader) {
    ChannelConfig channel;
    reader.Text("name", channel.name, kMaxNameBytes);
    reader.Flag("configured", channel.configured);
    reader.Text("scene", channel.source.scene);
    reader.Text("file", channel.source.file, 4096);
    if (!channel.source.file.empty() && !channel.source.scene.empty()) {
        reader.Fail("scene", "a channel has a scene or a file, not both");
    }
    if (!channel.source.file.empty()) {
        channel.source.file = reader.Resolve(channel.source.file);
    }
    reader.Flag("watch_motion", channel.source.watchMotion);
    reader.Tables("streams", 8,
                  [&](TableReader& stream) { channel.source.streams.push_back(ReadStream(stream)); });
    reader.Table("camera", [&](TableReader& camera) { ReadCamera(camera, channel.camera); });
    for (const std::string& name : reader.Texts("status", kStatusFlags.size(), 32)) {
        const StatusFlag* flag = FindStatusFlag(name);
        if (!flag) {
            reader.Fail("status", "no state is called \"" + name + "\"");
        }
        channel.status[flag->section] = static_cast<std::uint8_t>(channel.status[flag->section] | flag->bit);
    }
    reader.Flag("audio", channel.audio);
    reader.Table("sound", [&](TableReader& sound) { ReadSound(sound, channel.sound); });
    reader.Flag("talk", channel.talk);
    channel.presets = reader.Texts("presets", kMaxPresets, kMaxPresetBytes);
    reader.Table("ptz", [&](TableReader& ptz) { ReadPtz(ptz, channel); });
    return channel;
}

void ReadRecording(TableReader& reader, ServerConfig& server) {
    RecordingConfig& recording = server.recording;
    reader.Text("recordings", recording.folder, 4096);
    if (!recording.folder.empty()) {
        recording.folder = reader.Resolve(recording.folder);
    } else if (!server.stateFolder.empty()) {
        recording.folder = server.stateFolder + "/recordings";
    }
    int limit = static_cast<int>(recording.limitMb);
    int free = static_cast<int>(recording.minFreeMb);
    reader.Number("recordings_limit_mb", limit, 1, 100'000'000);
    reader.Number("min_free_mb", free, 0, 100'000'000);
    recording.limitMb = static_cast<std::uint64_t>(limit);
    recording.minFreeMb = static_cast<std::uint64_t>(free);
}

void ReadAll(TableReader& reader, RecorderConfig& config) {
    reader.Text("listen", config.listen);
    reader.Text("camera_listen", config.cameraListen);
    reader.Table("server", [&](TableReader& server) {
        server.Text("name", config.server.name);
        server.Text("version", config.server.version, 63);
        server.Text("build", config.server.build, 63);
        server.Text("disk", config.server.diskFolder, 4096);
        config.server.diskFolder = server.Resolve(config.server.diskFolder);
        server.Text("talk_folder", config.server.talkFolder, 4096);
        if (!config.server.talkFolder.empty()) {
            config.server.talkFolder = server.Resolve(config.server.talkFolder);
        }
        server.Text("state", config.server.stateFolder, 4096);
        if (!config.server.stateFolder.empty()) {
            config.server.stateFolder = server.Resolve(config.server.stateFolder);
        }
        ReadRecording(server, config.server);
        server.Text("map", config.server.mapFile, 4096);
        if (!config.server.mapFile.empty()) {
            config.server.mapFile = server.Resolve(config.server.mapFile);
        }
        server.Text("map_title", config.server.mapTitle, 249);
        server.Number("max_connections", config.server.maxConnections, 8, 4096);
    });
    reader.Table("faults", [&](TableReader& faults) {
        faults.Word("root", config.server.root, kRoots);
        faults.Word("disk", config.server.diskFault, kDiskFaults);
        faults.Number("delay_ms", config.server.delayMs, 0, 60000);
        faults.Flag("talk_stalls", config.server.talkStalls);
    });
    reader.Tables("users", 64, [&](TableReader& user) {
        config.users.push_back(ReadUser(user));
        for (std::size_t i = 0; i + 1 < config.users.size(); ++i) {
            if (config.users[i].name == config.users.back().name) {
                user.Fail("name", "a user of this name stands further up");
            }
        }
    });
    reader.Tables("channels", kMaxChannels, [&](TableReader& channel) {
        config.channels.push_back(ReadChannel(channel));
        if (config.channels.back().camera.direct && config.cameraListen.empty()) {
            channel.Fail("camera", "direct needs a camera_listen further up");
        }
    });
    reader.Finish();
}

}  // namespace

RecorderConfig ParseConfig(std::string_view text, const std::string& path) {
    try {
        const toml::table table = toml::parse(text, path);
        RecorderConfig config;
        TableReader reader(path, table);
        ReadAll(reader, config);
        return config;
    } catch (const toml::parse_error& failure) {
        TableReader::FailAt(path, failure.source(), std::string(failure.description()));
    }
}

RecorderConfig LoadConfig(const std::string& path) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error)) {
        throw ConfigError(path + ": no such file");
    }
    if (std::filesystem::file_size(path, error) > 4 * 1024 * 1024 || error) {
        throw ConfigError(path + ": cannot be read or is too large");
    }
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw ConfigError(path + ": cannot be read or is too large");
    }
    return ParseConfig(std::string(std::istreambuf_iterator<char>(file), {}), path);
}

}  // namespace kvrecorder
