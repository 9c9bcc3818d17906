#include "state/channel_table.h"

#include <stdexcept>

#include "cameras/camera_url.h"
#include "cameras/certificate_word.h"

namespace kvrecorder {
namespace {

constexpr std::array<std::pair<std::string_view, SoundFormat>, 6> kSoundFormats = {{
    {"mu-law", SoundFormat::MuLaw},
    {"a-law", SoundFormat::ALaw},
    {"g726", SoundFormat::G726},
    {"z726", SoundFormat::Z726},
    {"pcm", SoundFormat::Pcm},
    {"plain-g726", SoundFormat::PlainG726},
}};

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
    reader.Path("file", sound.file);
    if (sound.file.empty()) {
        return;
    }
    try {
        CreateSoundSource(0, sound);
    } catch (const std::runtime_error& failure) {
        reader.Fail("file", failure.what());
    }
}

constexpr std::array<std::pair<std::string_view, bool>, 2> kTransports = {{{"tcp", false}, {"udp", true}}};

// An address that may hold a login, which is taken out of it.
CameraUrl ReadAddress(TableReader& reader, const char* key) {
    std::string text;
    reader.Text(key, text, 1024);
    try {
        return text.empty() ? CameraUrl{} : TakeCameraUrl(text);
    } catch (const std::runtime_error& failure) {
        reader.Fail(key, failure.what());
    }
}

void ReadSource(TableReader& reader, NetworkCamera& camera, std::vector<std::string>& secretFiles) {
    CameraUrl main = ReadAddress(reader, "url");
    if (IsDeviceUrl(main.url)) {
        if (reader.Find("sub_url")) {
            reader.Fail("sub_url",
                        "a camera of ONVIF tells the addresses of its streams; sub_profile chooses one");
        }
        reader.Text("profile", camera.profile);
        reader.Text("sub_profile", camera.subProfile);
    }
    if (main.url.empty()) {
        reader.Fail("url", "a source needs the address of a camera");
    }
    camera.url = main.url;
    CameraUrl sub = ReadAddress(reader, "sub_url");
    camera.subUrl = sub.url;
    camera.subUser = sub.user;
    camera.user = main.user;
    camera.password = main.password;
    reader.Text("user", camera.user);
    std::string password;
    reader.Text("password", password);
    if (!password.empty()) {
        camera.password = password;
        Wipe(password);
    }
    std::string file;
    reader.Path("password_file", file);
    if (!file.empty()) {
        secretFiles.push_back(file);
        camera.password = ReadPasswordFile(file);
    }
    camera.subPassword = sub.saysPassword ? sub.password : camera.password;
    reader.Word("transport", camera.overUdp, kTransports);
    std::string certificate;
    reader.Text("certificate", certificate);
    try {
        camera.certificate = ReadCertificateWord(certificate);
    } catch (const std::runtime_error& failure) {
        reader.Fail("certificate", failure.what());
    }
    int interval = static_cast<int>(camera.interval.count());
    reader.Number("interval", interval, 40, 3'600'000);
    camera.interval = std::chrono::milliseconds(interval);
    int linger = static_cast<int>(camera.linger.count());
    reader.Number("linger", linger, 0, 86400);
    camera.linger = std::chrono::seconds(linger);
}

// "motion = true", or a table.
void ReadMotion(TableReader& reader, SourceConfig& source) {
    const toml::node* node = reader.Find("motion");
    if (!node || !node->is_table()) {
        reader.Flag("motion", source.watchMotion);
        return;
    }
    source.watchMotion = true;
    reader.Table("motion", [&](TableReader& motion) {
        motion.Number("sensitivity", source.motion.sensitivity, 1, 100);
        motion.Tables("zones", 16, [&](TableReader& table) {
            MotionZone zone;
            table.Number("left", zone.left, 0, 99);
            table.Number("top", zone.top, 0, 99);
            zone.width = 100 - zone.left;
            zone.height = 100 - zone.top;
            table.Number("width", zone.width, 1, 100 - zone.left);
            table.Number("height", zone.height, 1, 100 - zone.top);
            source.motion.zones.push_back(zone);
        });
    });
}

// Told where the key stands that does not go together with a camera.
void CheckSource(TableReader& reader, const SourceConfig& source) {
    if (source.network.url.empty()) {
        return;
    }
    if (!source.file.empty() || !source.scene.empty()) {
        reader.Fail("source", "a channel has a source, a scene or a file");
    }
    if (!source.streams.empty()) {
        reader.Fail("streams", "the streams of a camera are those that it sends");
    }
}

// Nothing where nothing is said.
void ReadChoice(TableReader& reader, std::string_view key, std::optional<bool>& value) {
    if (reader.Find(key)) {
        bool said = false;
        reader.Flag(key, said);
        value = said;
    }
}

void ReadPtz(TableReader& reader, ChannelConfig& channel) {
    reader.Flag("steerable", channel.ptz.steerable);
    if (channel.ptz.steerable && (!channel.source.file.empty() || !channel.source.network.url.empty())) {
        reader.Fail("steerable", "only a generated scene can be steered");
    }
    reader.Flag("preset_names", channel.ptz.presetNames);
    reader.Number("delay_ms", channel.ptz.delayMs, 0, kMaxPtzDelayMs);
    reader.Word("reply", channel.ptz.reply, kPtzReplies);
}

}  // namespace

ChannelConfig ReadChannel(TableReader& reader, std::vector<std::string>& secretFiles) {
    ChannelConfig channel;
    channel.origin = Origin::File;
    reader.Text("name", channel.name, kMaxNameBytes);
    reader.Flag("configured", channel.configured);
    reader.Text("scene", channel.source.scene);
    reader.Path("file", channel.source.file);
    if (!channel.source.file.empty() && !channel.source.scene.empty()) {
        reader.Fail("scene", "a channel has a scene or a file, not both");
    }
    reader.Flag("watch_motion", channel.source.watchMotion);  // the older word for it
    ReadMotion(reader, channel.source);
    reader.Tables("streams", 8,
                  [&](TableReader& stream) { channel.source.streams.push_back(ReadStream(stream)); });
    reader.Table("source",
                 [&](TableReader& source) { ReadSource(source, channel.source.network, secretFiles); });
    CheckSource(reader, channel.source);
    reader.Table("camera", [&](TableReader& camera) { ReadCamera(camera, channel.camera); });
    for (const std::string& name : reader.Texts("status", kStatusFlags.size(), 32)) {
        const StatusFlag* flag = FindStatusFlag(name);
        if (!flag) {
            reader.Fail("status", "no state is called \"" + name + "\"");
        }
        channel.status[flag->section] = static_cast<std::uint8_t>(channel.status[flag->section] | flag->bit);
    }
    ReadChoice(reader, "audio", channel.audio);
    reader.Table("sound", [&](TableReader& sound) { ReadSound(sound, channel.sound); });
    ReadChoice(reader, "talk", channel.talk);
    channel.presets = reader.Texts("presets", kMaxPresets, kMaxPresetBytes);
    reader.Table("ptz", [&](TableReader& ptz) { ReadPtz(ptz, channel); });
    return channel;
}

}  // namespace kvrecorder
