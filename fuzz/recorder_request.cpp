// Request heads in pieces, as they come off the wire, up to the reply; and the same text as a command.
#include <cstdint>
#include <string_view>

#include "answers/handlers.h"
#include "service/control_commands.h"

namespace {

using namespace kvrecorder;

// Channels without pictures.
class EmptyHub final : public MediaHub {
public:
    void SetListener(MediaListener) override {}
    int AddChannel(const std::string&, const SourceConfig&) override { return m_count++; }
    void ReplaceSource(int, const std::string&, const SourceConfig&) override {}
    void RenameChannel(int, const std::string&) override {}
    std::vector<StreamDescription> Streams(int) const override { return {{Codec::H264, 640, 480, 15}}; }
    std::unique_ptr<Subscription> Subscribe(int, int, std::function<void(const PacketPtr&)>) override {
        return nullptr;
    }

private:
    int m_count = 0;
};

RecorderConfig Start() {
    RecorderConfig config;
    config.users.push_back(MakeFullUser("a", "b"));
    config.channels = DemoChannels(2);
    config.channels[0].presets = {"Gate"};
    return config;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const RecorderConfig config = Start();
    static RecorderModel model(std::make_shared<EmptyHub>());
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
    RunControlCommand(model, text, nullptr);
    return 0;
}
