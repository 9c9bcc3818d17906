#include "answers/ptz_handler.h"

#include "answers/documents.h"
#include "answers/handler_tools.h"

namespace kvrecorder {
namespace {

constexpr int kLastCommand = 22;
constexpr int kCapabilities = 16;

struct Read {
    int command;
    std::string (*make)(const Channel&);
};
constexpr std::array<Read, 3> kReads = {{
    {15, MakePresetTable},
    {kCapabilities, MakePtzCapabilities},
    {20, MakePresetFormat},
}};

Reply Later(std::function<void(std::function<void(std::string)>)> make) {
    Reply reply = Text("");
    reply.kind = ReplyKind::Later;
    reply.headFirst = true;
    reply.find = [make = std::move(make)](std::function<void(Reply)> done) {
        make([done = std::move(done)](std::string body) { done(Text(std::move(body))); });
    };
    return reply;
}

// What a camera on the network answers, when it does.
Reply AskCamera(const HandlerInput& input, int command, int number, const Channel& channel) {
    const std::shared_ptr<CameraControl> control = channel.control;
    // Clients ask again when the gateway was told to be in want of time.
    const auto abilities = control->Abilities();
    for (const Read& read : kReads) {
        if (read.command != command) {
            continue;
        }
        if (!abilities) {
            return Refuse(504);
        }
        if (command == kCapabilities) {
            return Text(read.make(channel));
        }
        return Later([control, channel, make = read.make](std::function<void(std::string)> done) {
            control->ReadPresets([channel, make, done = std::move(done)] { done(make(channel)); });
        });
    }
    if (!input.user.Has(Right::Ptz, number)) {
        return Refuse(403);
    }
    auto order = ReadPtzOrder(command, input.request.Text("arg"));
    if (!order || (abilities && !abilities->Any())) {
        return Text("-1");
    }
    return Later([control, order = *std::move(order)](std::function<void(std::string)> done) {
        control->Give(order, std::move(done));
    });
}

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
    const auto order = ReadPtzOrder(command, input.request.Text("arg"));
    return Text(channel.config.ptz.reply == PtzReply::Locked
                    ? std::to_string(static_cast<int>(EndStop::Locked))
                : order ? RunPtzOrder(*channel.ptz, *order)
                        : "-1");
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
        if (channel.control) {
            return AskCamera(input, *command, number, channel);
        }
        Reply reply = Obey(input, *command, number, channel);
        return channel.ptz && reply.status == 200 ? Spoil(channel.config.ptz, std::move(reply)) : reply;
    });
}

}  // namespace kvrecorder
