// Request heads in pieces, as they come off the wire, up to the reply, on the recorder's own port and on the
// cameras'; and the same text as a command.
#include <cstdint>
#include <string_view>

#include "answers/handlers.h"
#include "connections/camera_request.h"
#include "empty_hub.h"
#include "fuzz_input.h"
#include "service/control_commands.h"

namespace {

using namespace kvrecorder;

RecorderConfig Start() {
    RecorderConfig config;
    config.users.push_back(MakeFullUser("a", "b"));
    config.server.recording.folder = "/proc/kvmon";  // none can be made
    config.channels = DemoChannels(2);
    for (ChannelConfig& channel : config.channels) {
        channel.camera.direct = true;
    }
    config.channels[0].camera.user = "a";
    config.channels[0].camera.password = "b";
    config.channels[0].presets = {"Gate"};
    return config;
}

// Reads on where the recorder does, and judges as often as the configuration changes.
void AskCamera(std::string_view text, std::size_t step, const Snapshot& state) {
    CameraRequest request;
    for (std::size_t at = 0; at < text.size(); at += step) {
        if (request.Feed(text.substr(at, step)) != RequestHead::State::Complete) {
            continue;
        }
        const int status = request.Answer(state);
        const int channel = request.ChannelIndex();
        kvfuzz::Check(status == 200 ? channel >= 0 && channel < 2 : channel == -1);
        kvfuzz::Check(status == 400 || request.Judge(state) == status);
        return;
    }
}

}  // namespace

// Fontconfig keeps some of its patterns behind offsets that the leak sanitizer does not follow.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libfontconfig\n";
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const RecorderConfig config = Start();
    static RecorderModel model(std::make_shared<kvfuzz::EmptyHub>());
    model.Begin(config);
    const std::string text(data, data + size);
    RequestHead head;
    const std::size_t step = size > 0 ? 1 + data[0] % 64 : 1;
    for (std::size_t at = 0; at < text.size(); at += step) {
        head.Feed(std::string_view(text).substr(at, step));
    }
    if (auto request = head.Parse()) {
        Answer(*request, *model.Current(), model, "127.0.0.1");
        // Past the password, which no luck would find.
        request->hasAuthorization = true;
        request->user = "a";
        request->password = "b";
        const Reply reply = Answer(*request, *model.Current(), model, "127.0.0.1");
        if (MakeReplyHead(reply).find("\r\n\r\n") == std::string::npos) {
            __builtin_trap();
        }
    }
    AskCamera(text, step, *model.Current());
    RunControlCommand(model, text, nullptr);
    return 0;
}
