#include "answers/documents.h"

#include <random>

#include "state/text.h"

namespace kvrecorder {
namespace {

constexpr std::size_t kMaxMapTitle = 249;
constexpr const char* kRecordsBegin = "//----------\n";
constexpr const char* kRecordsEnd = "----------//\n";
constexpr int kCapabilityPan = 1;
constexpr int kCapabilityTilt = 2;
constexpr int kCapabilityZoom = 4;
constexpr int kCapabilityFocus = 8;
constexpr int kCapabilityPresets = 16;
constexpr int kCapabilityHome = 32;
constexpr int kCapabilityCentre = 64;
constexpr int kCapabilityAll = 127;

// Clients choose a stream by these classes of size; the wire counts them from 1.
constexpr std::array<int, 4> kSizeClassPixels = {25344, 101376, 307200, 1228800};

int ResolutionNumber(const StreamDescription& stream) {
    const int pixels = stream.width * stream.height;
    int number = 1;
    for (const int limit : kSizeClassPixels) {
        number += pixels > limit ? 1 : 0;
    }
    return number;
}

const char* CodecCode(Codec codec) {
    switch (codec) {
        case Codec::Mjpeg:
            return "ZIVG";
        case Codec::Mpeg4:
            return "ZMP4";
        case Codec::Mpeg4Fields:
            return "AVM4";
        case Codec::Vivotek:
            return "ZV7K";
        case Codec::Mxpeg:
            return "ZXPG";
        case Codec::H265:
            return "Z265";
        case Codec::H264:
            break;
    }
    return "Z264";
}

std::string RightAligned(const std::string& text, std::size_t width) {
    return text.size() < width ? std::string(width - text.size(), ' ') + text : text.substr(0, width);
}

std::string Number(std::size_t value, std::size_t width, char fill) {
    std::string text = std::to_string(value);
    return text.size() < width ? std::string(width - text.size(), fill) + text : text;
}

std::string Port(int port) {
    return Number(static_cast<std::size_t>(port), 6, ' ');
}

// A channel without a camera is one without addresses.
CameraConfig ShownCamera(const Snapshot& state, std::size_t number) {
    const ChannelConfig& channel = state.channels[number].config;
    CameraConfig camera;
    if (!channel.configured) {
        camera.lanAddress.clear();
        return camera;
    }
    camera = channel.camera;
    if (camera.direct && state.cameras.port != 0) {
        camera.videoUrl = CameraPath(channel, static_cast<int>(number));
        camera.port = state.cameras.port;
        const std::string& address = state.cameras.address;
        if (address != "0.0.0.0" && address != "::") {
            camera.lanAddress = address;
        }
    }
    return camera;
}

std::string Element(const std::string& name, const std::string& content) {
    return "<" + name + ">" + content + "</" + name + ">";
}

// By the preset's number; an empty place has no value.
std::vector<std::optional<std::string>> PresetNames(const Channel& channel) {
    std::vector<std::optional<std::string>> names;
    if (channel.control) {
        const ControlPresets presets = channel.control->Presets();
        return {presets.begin(), presets.end()};
    }
    if (channel.ptz) {
        for (const auto& preset : channel.ptz->presets.Slots()) {
            names.push_back(preset ? std::optional(preset->name) : std::nullopt);
        }
        return names;
    }
    for (const std::string& name : channel.config.presets) {
        names.push_back(name.empty() ? std::nullopt : std::optional(name));
    }
    return names;
}

}  // namespace

std::string ScrambleLine(std::string_view text) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    thread_local std::random_device source;
    const auto key = static_cast<std::uint32_t>(source());
    std::string line;
    line.reserve(8 * text.size() + 9);
    const auto put = [&](std::uint32_t word) {
        for (int shift = 28; shift >= 0; shift -= 4) {
            line.push_back(kDigits[word >> shift & 0xF]);
        }
    };
    put(key);
    for (const char c : text) {
        put(key ^ static_cast<unsigned char>(c));
    }
    line.push_back('\n');
    return line;
}

std::string MakeInitInfo(const Snapshot& state, const User& user) {
    std::string body = "server name=" + state.server.name + "\nversion=" + state.server.version +
                       "\nbuild=" + state.server.build +
                       "\nchannel number=" + std::to_string(state.channels.size()) + "\n" + kRecordsBegin;
    for (std::size_t i = 0; i < state.channels.size(); ++i) {
        const CameraConfig camera = ShownCamera(state, i);
        const bool watches = user.Has(Right::Monitor, static_cast<int>(i));
        body += ScrambleLine(Number(i, 3, '0') + camera.id + RightAligned(camera.lanAddress, 64) +
                             RightAligned(camera.wanAddress, 64));
        body += ScrambleLine(RightAligned(watches ? camera.user : "", 32) +
                             RightAligned(watches ? camera.password : "", 32) + Port(camera.port) +
                             Port(camera.wanPort));
    }
    return body + kRecordsEnd;
}

std::string MakeExtInfo(const Snapshot& state, const User& user) {
    // Clients read the second number at its place, seventeen characters in.
    std::string body =
        "channel number=" + std::to_string(state.channels.size()) + "\nline per channel=7\n" + kRecordsBegin;
    for (std::size_t i = 0; i < state.channels.size(); ++i) {
        const CameraConfig camera = ShownCamera(state, i);
        const bool watches = user.Has(Right::Monitor, static_cast<int>(i));
        body += ScrambleLine("rtsp port=" + std::to_string(camera.rtspPort));
        body += ScrambleLine("rtsp port2=" + std::to_string(camera.wanRtspPort));
        body += ScrambleLine("admin password=" + (watches ? camera.adminPassword : ""));
        body += ScrambleLine("guest password=" + (watches ? camera.guestPassword : ""));
        body += ScrambleLine("http_video_url=" + (watches ? camera.videoUrl : ""));
        body += ScrambleLine("wan address=" + camera.wanAddress);
        body += ScrambleLine("lan address=" + camera.lanAddress);
    }
    return body + kRecordsEnd;
}

std::string MakeStatus(const Snapshot& state, const User& user, const DiskFigures& disk) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    // Status, used percent and size stand at the characters 0, 5 and 9.
    std::string body = RightAligned(std::to_string(disk.status), 4) + " " +
                       RightAligned(std::to_string(disk.usedPercent), 3) + " " +
                       std::to_string(disk.totalKilobytes) + "\n" + Number(state.channels.size(), 3, '0');
    for (std::size_t section = 0; section < StatusDigits().size(); ++section) {
        for (const Channel& channel : state.channels) {
            const bool shown = channel.config.configured;
            body.push_back(kDigits[shown ? channel.config.status[section] & 0xF : 0]);
        }
    }
    for (std::size_t i = 0; i < state.channels.size(); ++i) {
        body.push_back(user.Has(Right::Monitor, static_cast<int>(i)) ? '1' : '0');
    }
    body.push_back('\n');
    for (const Channel& channel : state.channels) {
        body += channel.config.name + "\n";
    }
    return body;
}

std::string MakeStreamInfo(const Snapshot& state, const User& user) {
    std::string body = "<multistream><return>0</return>";
    for (std::size_t i = 0; i < state.channels.size(); ++i) {
        const Channel& channel = state.channels[i];
        if (!channel.config.configured || !user.Has(Right::Monitor, static_cast<int>(i))) {
            continue;
        }
        std::string content = Element("stream_no", std::to_string(channel.streams.size()));
        for (std::size_t m = 0; m < channel.streams.size(); ++m) {
            const StreamDescription& stream = channel.streams[m];
            content += Element("stream" + std::to_string(m),
                               Element("id", std::to_string(m)) + Element("fcc", CodecCode(stream.codec)) +
                                   Element("resolution", std::to_string(ResolutionNumber(stream))));
        }
        body += Element("ch" + std::to_string(i), content);
    }
    return body + "</multistream>";
}

std::string MakeCapabilities(const Snapshot& state, const User& user) {
    std::string body = "<capabilities><return>0</return>";
    for (std::size_t i = 0; i < state.channels.size(); ++i) {
        const Channel& channel = state.channels[i];
        const bool hears =
            channel.config.configured && channel.TakesTalk() && user.Has(Right::Talk, static_cast<int>(i));
        // The only form that clients can send has the number 1.
        const std::string number = hears ? "1" : "0";
        body += Element("ch" + std::to_string(i),
                        Element("audio_out", number) + Element("audio_out_type", number));
    }
    return body + "</capabilities>";
}

std::string MakeMapPage(const ServerConfig& server) {
    std::string title = MarkupFree(server.mapTitle.empty() ? server.name : server.mapTitle);
    // Clients refuse longer ones; the cut must not leave half a character.
    while (title.size() > kMaxMapTitle || !IsDisplayText(title)) {
        title.pop_back();
    }
    return "<html><head><meta charset=\"utf-8\"></head><body><b>" + title +
           "</b><br><img src=\"/cgi-bin/data/images/emap.jpg\"></body></html>\n";
}

std::string MakeSystemGroup(std::time_t now) {
    std::tm local{};
    ::localtime_r(&now, &local);
    char text[32];
    std::strftime(text, sizeof text, "%Y%m%d%H%M%S", &local);
    return "<System>\n" + Element("date_time", text) + "\n</System>\n";
}

std::string MakeMediaProperty(const Channel& channel, bool sound) {
    // Clients look for the tag, not for its value: a channel without sound must not have it.
    std::string body =
        "<MediaProperty>\n" + Element("stream_no", std::to_string(channel.streams.size())) + "\n";
    if (sound) {
        body += "<audio_enabled>1</audio_enabled>\n";
    }
    return body + "</MediaProperty>\n";
}

std::string MakePresetTable(const Channel& channel) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    const auto names = PresetNames(channel);
    std::string body = Number(names.size(), 3, '0');
    if (!names.empty() && !channel.config.ptz.presetNames) {
        return body + "xx";
    }
    for (const auto& name : names) {
        if (!name) {
            body += "--";
            continue;
        }
        body += Number(name->size(), 2, '0');
        for (const char c : *name) {
            body.push_back(kDigits[static_cast<unsigned char>(c) >> 4]);
            body.push_back(kDigits[static_cast<unsigned char>(c) & 0xF]);
        }
    }
    return body;
}

std::string MakePtzCapabilities(const Channel& channel) {
    if (channel.control) {
        const ControlAbilities can = channel.control->Abilities().value_or(ControlAbilities());
        return std::to_string((can.pan ? kCapabilityPan : 0) + (can.tilt ? kCapabilityTilt : 0) +
                              (can.zoom ? kCapabilityZoom : 0) + (can.focus ? kCapabilityFocus : 0) +
                              (can.presets ? kCapabilityPresets : 0) + (can.home ? kCapabilityHome : 0) +
                              (can.centre ? kCapabilityCentre : 0));
    }
    return std::to_string(channel.ptz                      ? kCapabilityAll
                          : channel.config.presets.empty() ? 0
                                                           : kCapabilityPresets);
}

std::string MakePresetFormat(const Channel& channel) {
    const std::string count = Number(PresetNames(channel).size(), 3, '0');
    // Behind the count: whether names are kept, and that numbers and names stand together.
    return count == "000" ? count : count + (channel.config.ptz.presetNames ? "11" : "01");
}

}  // namespace kvrecorder
