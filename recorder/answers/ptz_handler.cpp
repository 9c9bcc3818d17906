#include "answers/ptz_handler.h"

#include "answers/documents.h"
#include "answers/handler_tools.h"

namespace kvrecorder {
namespace {

constexpr int kLastCommand = 22;

struct Read {
    int command;
    std::string (*make)(const Channel&);
};
constexpr std::array<Read, 3> kReads = {{
    {15, MakePresetTable},
    {16, MakePtzCapabilities},
    {20, MakePresetFormat},
}};

// The reply that the camera itself would give.
Reply Obey(const HandlerInput& input, int command, int number, const Channel& channel) {
    for (const Read& read : kReads) {
        if (read.command == command) {
            return Text(read.make(channel));
        }
    }
    if (!input.user.Has(Right::Ptz, number)) {
        return Refuse(403);
    }
    // Clients take a minus for a refusal by the camera.
    if (!channel.ptz) {
        return Text("-1");
    }
    return Text(channel.config.ptz.reply == PtzReply::Locked
                    ? std::to_string(static_cast<int>(EndStop::Locked))
                    : RunPtzOrder(*channel.ptz, command, input.request.Text("arg")));
}

// Changes the camera's reply as the configured fault wants it.
Reply Spoil(const PtzConfig& config, Reply reply) {
    switch (config.reply) {
        case PtzReply::Normal:
        case PtzReply::Locked:
            break;
        case PtzReply::NoContent:
            reply = Refuse(204);
            reply.body.clear();
            break;
        case PtzReply::Empty:
            reply = Text("");
            break;
        case PtzReply::Garbage:
            reply = Text("\x01-\xFF%n99999999999999999999<ptz>\x7F");
            break;
        case PtzReply::Busy:
            reply = Refuse(504);
            break;
        case PtzReply::Never:
            reply.kind = ReplyKind::Silence;
            break;
    }
    reply.delayMs = config.delayMs;
    return reply;
}

}  // namespace

Reply Ptz(const HandlerInput& input) {
    const auto command = input.request.Number("command", 0, kLastCommand);
    if (!command) {
        return Refuse(400);
    }
    return ForChannel(input, "ch", Right::Monitor, [&](int number, const Channel& channel) {
        Reply reply = Obey(input, *command, number, channel);
        return channel.ptz && reply.status == 200 ? Spoil(channel.config.ptz, std::move(reply)) : reply;
    });
}

}  // namespace kvrecorder
