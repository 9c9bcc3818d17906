#include "state/recorder_config.h"

#include "host/service_manager.h"
#include "media/plain_file.h"
#include "state/text.h"

namespace kvrecorder {
namespace {

// The first of every four demonstration channels can be steered.
constexpr int kDemoSteerable = 0;
// The second and the seventh of ten have scenes in which motion comes and goes.
constexpr int kDemoWatched = 1;
struct DemoSound {
    bool audio;
    SoundFormat format;
    int rate;
    int bits;
    bool talk;
};
// Three of four channels can be heard, in all forms one after the other; every other one can be spoken to.
constexpr std::array<DemoSound, 12> kDemoSounds = {{
    {true, SoundFormat::MuLaw, 8000, 4, true},
    {true, SoundFormat::G726, 8000, 4, false},
    {true, SoundFormat::Pcm, 16000, 4, true},
    {false, SoundFormat::MuLaw, 8000, 4, false},
    {true, SoundFormat::ALaw, 8000, 4, true},
    {true, SoundFormat::Z726, 8000, 4, false},
    {true, SoundFormat::Pcm, 44100, 4, true},
    {false, SoundFormat::MuLaw, 8000, 4, false},
    {true, SoundFormat::PlainG726, 8000, 4, true},
    {true, SoundFormat::G726, 8000, 5, false},
    {true, SoundFormat::Z726, 8000, 3, true},
    {false, SoundFormat::MuLaw, 8000, 4, false},
}};

}  // namespace

User MakeFullUser(std::string name, Secret password) {
    User user{std::move(name), std::move(password), {}};
    for (ChannelSet& right : user.rights) {
        right.set();
    }
    user.admin = true;
    return user;
}

const StatusFlag* FindStatusFlag(std::string_view name) {
    for (const StatusFlag& flag : kStatusFlags) {
        if (name == flag.name) {
            return &flag;
        }
    }
    return nullptr;
}

std::vector<ChannelConfig> DemoChannels(int count) {
    std::vector<ChannelConfig> channels;
    for (int i = 0; i < count; ++i) {
        ChannelConfig channel;
        channel.name = "Camera " + std::to_string(i + 1);
        const DemoSound& sound = kDemoSounds[static_cast<std::size_t>(i) % kDemoSounds.size()];
        channel.audio = sound.audio;
        channel.sound.format = sound.format;
        channel.sound.rate = sound.rate;
        channel.sound.bits = sound.bits;
        channel.talk = sound.talk;
        if (i % 4 == kDemoSteerable) {
            channel.ptz.steerable = true;
            channel.presets = {"Left side", "Right side", "Middle"};
        }
        channel.source.watchMotion = i % 5 == kDemoWatched;
        channels.push_back(std::move(channel));
    }
    return channels;
}

std::string CameraPath(const ChannelConfig& channel, int number) {
    return channel.camera.videoUrl.empty() ? "/camera/" + std::to_string(number) + "/video.mjpg"
                                           : channel.camera.videoUrl;
}

// A credential that no service manager hands on is read where it would come from: by root, before the service
// starts.
std::string CredentialPath(const std::string& path) {
    const std::size_t name = path.rfind('/') + 1;
    if (!std::string_view(path).substr(name).starts_with('@')) {
        return path;
    }
    const std::string credential = path.substr(name + 1);
    const std::string handed = kvhost::CredentialFile(credential);
    return handed.empty() ? path.substr(0, name) + "kvrecorder.credentials/" + credential : handed;
}

Secret ReadPasswordFile(const std::string& file) {
    std::string text;
    const std::string path = CredentialPath(file);
    try {
        text = ReadPlainFile(path, kMaxUserBytes + 2);
    } catch (const std::runtime_error& failure) {
        throw ConfigError("cannot read a password from " + path + ": " + failure.what());
    }
    std::string_view line = std::string_view(text).substr(0, text.find('\n'));
    if (line.ends_with('\r')) {
        line.remove_suffix(1);
    }
    Secret password(line);
    Wipe(text);
    if (password.Empty() || password.View().size() > kMaxUserBytes) {
        throw ConfigError("the password in " + path + " must have 1 to 63 bytes");
    }
    return password;
}

std::string CheckChannelName(const std::string& name) {
    if (name.size() > kMaxNameBytes) {
        return "a name has at most 255 bytes";
    }
    return IsDisplayText(name) ? "" : "a name must be UTF-8 without control characters";
}

}  // namespace kvrecorder
