// Replies that are read on connections of their own: to the commands of a channel, a site's map, a resource,
// a camera's challenge. The first byte says which, the second how the peer sends it.
#include <array>

#include "channel/command/command_exchange.h"
#include "channel/command/ptz_request.h"
#include "channel/stream/camera_text.h"
#include "channel/stream/digest_login.h"
#include "console/site/emap_fetch.h"
#include "fuzz_input.h"
#include "script_socket.h"
#include "server/http/socket_fetch.h"

using namespace kvmon;
using kvfuzz::Check;

namespace {

void ReadCamera(std::string_view body) {
    CameraInfo info;
    bool presets = false;
    ParseCapabilities(body, info, presets);
    ParsePresetTable(body, info);
    Check(info.dwPresetMask >> kPresetCount == 0);
    for (const std::string& name : info.presetNames) {
        Check(IsValidUtf8(name));
    }
    PresetFormat format;
    if (ParsePresetFormat(body, format)) {
        Check(format.nPresetCount >= 0 && format.nPresetCount < 1000);
    }
}

// A command's exchange. What is in its body is a camera's, too.
void Exchange(kvfuzz::StepClock& clock, std::unique_ptr<Socket> socket, bool body) {
    constexpr std::size_t kBodySize = 3096;
    const FlagWord abort(0);
    CommandExchange exchange(clock, abort, std::move(socket));
    TargetSettings settings;
    settings.szAddress = "127.0.0.1";
    const auto request = BuildPtzQuery(16, settings);
    if (!request || exchange.Start(settings, *request)) {
        return;
    }
    if (!body) {
        exchange.HasBody(kBodySize, 5000);
    } else if (exchange.SkipHead()) {
        const std::string read = exchange.ReadBody(kBodySize, 5000);
        Check(read.size() <= kBodySize);
        ReadCamera(read);
    }
}

void Fetch(std::unique_ptr<Socket> socket, const std::string& reply) {
    std::vector<std::uint8_t> data;
    SplitUrl url;
    Check(SplitHttpUrl("http://127.0.0.1/map.jpg", &url));
    if (FetchBySocket(*socket, data, url, "image/jpeg", "viewer", "pw", nullptr)) {
        Check(data.size() <= kMaxResourceBytes && data.size() < reply.size());
        Check(reply.find(kvfuzz::AsText(data)) != std::string::npos);
    }
}

void AnswerChallenge(std::string_view text) {
    if (const auto answer =
            AnswerDigestChallenge(text, {"GET", "/video", "viewer", "pw", "0123456789abcdef"})) {
        Check(answer->starts_with("Digest ") && answer->find_first_of("\r\n") == std::string::npos);
    }
    std::array<char, 64> value{};
    GetValueFromText(text, "boundary=", value);
    std::int32_t number = 0;
    GetNumberFromText(text, "Content-Length:", &number);
}

void ReadTitle(std::string_view text) {
    bool found = false;
    const std::string title = EMapTitle(text, &found);
    Check(IsValidUtf8(title) && Utf16Length(title) <= 256 && (found || title.empty()));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    kvfuzz::Input input(data, size);
    const std::uint8_t what = input.Byte();
    kvfuzz::Script script;
    script.SetManner(input.Byte());
    script.bytes = input.RestText();
    kvfuzz::StepClock clock;
    kvfuzz::ScriptPeer peer([&script](std::string_view) { return script; });
    switch (what % 6) {
        case 0:
            ReadCamera(script.bytes);
            break;
        case 1:
            Exchange(clock, peer.Make(), true);
            break;
        case 2:
            Exchange(clock, peer.Make(), false);
            break;
        case 3:
            Fetch(peer.Make(), script.bytes);
            break;
        case 4:
            AnswerChallenge(script.bytes);
            break;
        default:
            ReadTitle(script.bytes);
    }
    return 0;
}
