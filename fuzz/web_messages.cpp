// What programs that reach the web host can send: a request's head, or a WebSocket's bytes with what is in
// their messages. The first byte chooses.
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "web/host/web_access.h"
#include "web/host/web_socket_frames.h"
#include "web/platform/remote_display.h"
#include "web/session/json_rpc.h"
#include "web/session/page_protocol.h"

using namespace kvmon;

namespace {

constexpr std::size_t kMaxMessage = 64 * 1024;

void ReadRequest(std::string_view head) {
    static const WebAccess access("127.0.0.1", 80, {"http://a"}, "0123456789abcdef");
    if (const auto request = ParseHttpRequest(head)) {
        access.MayHaveSession(*request);
        access.MayHavePage(*request);
    }
}

void ReadMessage(const WsFrameReader::Message& message) {
    if (message.opcode == WsOpcode::Binary) {
        ReadPageMessage(RemoteDisplay::Instance(), message.payload);
    } else {
        const std::string_view text(reinterpret_cast<const char*>(message.payload.data()),
                                    message.payload.size());
        AnswerJsonRpc(text, [](const AutomationMember&, std::span<const Variant>) {
            return CallResult{CallStatus::Ok, 1};
        });
    }
}

void ReadFrames(std::span<const std::uint8_t> bytes) {
    WsFrameReader reader(kMaxMessage);
    WsFrameReader::Message message;
    while (!bytes.empty()) {
        const std::size_t part = std::min<std::size_t>(bytes.size(), 1000);
        reader.Feed(bytes.first(part));
        bytes = bytes.subspan(part);
        while (reader.Next(message) == WsFrameReader::Result::Message) {
            ReadMessage(message);
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const std::span<const std::uint8_t> rest(data + 1, size - 1);
    if (data[0] % 2 == 0) {
        ReadRequest({reinterpret_cast<const char*>(rest.data()), rest.size()});
    } else {
        ReadFrames(rest);
    }
    return 0;
}
