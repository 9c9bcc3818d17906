#include "api/camera_documents.h"

#include <algorithm>
#include <array>

#include "api/api_reply.h"

namespace kvrecorder {
namespace {

const char* KindOf(const ChannelConfig& config) {
    if (!config.configured) {
        return "none";
    }
    if (!config.source.network.url.empty()) {
        return "camera";
    }
    return config.source.file.empty() ? "scene" : "file";
}

const char* NameOf(Codec codec) {
    switch (codec) {
        case Codec::H265:
            return "H.265";
        case Codec::Mjpeg:
            return "MJPEG";
        case Codec::Mxpeg:
            return "MxPEG";
        case Codec::Mpeg4:
        case Codec::Mpeg4Fields:
        case Codec::Vivotek:
            return "MPEG-4";
        case Codec::H264:
            break;
    }
    return "H.264";
}

bool Shows(const StatusDigits& status, const char* name) {
    const StatusFlag& flag = *FindStatusFlag(name);
    return (status[flag.section] & flag.bit) != 0;
}

const char* WordOf(JobState state) {
    constexpr std::array<const char*, 4> kWords = {"idle", "running", "done", "failed"};
    return kWords[static_cast<std::size_t>(state)];
}

}  // namespace

std::string RevisionOf(const Snapshot& state) {
    // FNV-1a: equal for the same cameras after another start, too.
    std::uint64_t sum = 14695981039346656037u;
    const auto add = [&](std::string_view text) {
        for (const char c : text) {
            sum = (sum ^ static_cast<unsigned char>(c)) * 1099511628211u;
        }
        sum = (sum ^ 0x100u) * 1099511628211u;
    };
    for (const Channel& channel : state.channels) {
        add(KindOf(channel.config));
        add(channel.config.configured ? channel.config.name : "");
        add(channel.config.source.network.url);
        add(channel.config.source.file);
    }
    return std::to_string(sum);
}

Json DescribeCamera(const Snapshot& state, MediaHub& hub, int channel) {
    const Channel& found = state.channels[static_cast<std::size_t>(channel)];
    const NetworkCamera& network = found.config.source.network;
    Json camera = {{"channel", channel}, {"name", found.config.name}, {"kind", KindOf(found.config)}};
    if (!found.config.configured) {
        camera["state"] = "none";
        return camera;
    }
    if (!network.url.empty()) {
        camera["address"] = network.url;
        camera["sub_address"] = network.subUrl;
        camera["user"] = network.user;
        camera["has_password"] = !network.password.Empty();
        camera["certificate"] = network.certificate;
        camera["transport"] = network.overUdp ? "udp" : "tcp";
    }
    int watchers = 0;
    for (int stream = 0; stream < static_cast<int>(found.streams.size()); ++stream) {
        watchers += hub.Counters(channel, stream).watchers;
    }
    const bool lost = Shows(found.config.status, "loss");
    camera["state"] = lost ? "lost" : watchers > 0 ? "live" : "idle";
    Tell(camera, "trouble", lost ? found.trouble : Fault());
    const bool known = !found.streams.empty() && found.streams[0].width > 0;
    camera["codec"] = known ? NameOf(found.streams[0].codec) : "";
    camera["width"] = known ? found.streams[0].width : 0;
    camera["height"] = known ? found.streams[0].height : 0;
    camera["watchers"] = watchers;
    camera["recording"] = Shows(found.config.status, "record");
    camera["sound"] = found.HasSound();
    camera["talk"] = found.TakesTalk();
    if (const auto share = hub.MotionShare(channel)) {
        camera["motion_share"] = *share;
    }
    return camera;
}

Json DescribeCameras(const Snapshot& state, MediaHub& hub) {
    Json cameras = Json::array();
    for (int i = 0; i < static_cast<int>(state.channels.size()); ++i) {
        cameras.push_back(DescribeCamera(state, hub, i));
    }
    return {{"revision", RevisionOf(state)}, {"cameras", std::move(cameras)}};
}

Json DescribeSearch(const SearchOutcome& outcome) {
    Json found = Json::array();
    for (const SeenCamera& camera : outcome.found) {
        found.push_back({{"address", camera.address},
                         {"host", camera.host},
                         {"maker", camera.maker},
                         {"model", camera.model},
                         {"name", camera.name},
                         {"streams", camera.streamUrls}});
    }
    return {{"state", WordOf(outcome.state)}, {"found", std::move(found)}};
}

Json DescribeTest(int number, const TestOutcome& outcome) {
    Json test = {{"test", number}, {"state", WordOf(outcome.state)}};
    if (outcome.state != JobState::Done) {
        return test;
    }
    const TestedCamera& camera = outcome.camera;
    test["codec"] = camera.codec;
    test["width"] = camera.width;
    test["height"] = camera.height;
    test["fps"] = camera.fps;
    test["key_interval_ms"] = camera.keyInterval ? Json(camera.keyInterval->count()) : Json(nullptr);
    test["sound"] = camera.sound;
    test["connected_ms"] = camera.connected.count();
    test["first_picture_ms"] = camera.firstPicture.count();
    test["faults"] = Json::array();
    test["fault_codes"] = Json::array();
    for (const Fault& fault : camera.faults) {
        test["faults"].push_back(fault.words);
        test["fault_codes"].push_back({{"code", fault.code}, {"values", ValuesOf(fault)}});
    }
    test["picture"] = !camera.picture.empty();
    return test;
}

}  // namespace kvrecorder
