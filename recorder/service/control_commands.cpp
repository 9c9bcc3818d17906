#include "service/control_commands.h"

#include <algorithm>

#include "state/text.h"

namespace kvrecorder {
namespace {

struct Call {
    RecorderModel& model;
    const std::vector<std::string_view> words;  // behind the command
    std::string_view rest;                      // the line behind the first of them
    const std::function<void()>& onStop;
    std::string output;  // lines before the last
    std::function<void()> afterwards;
};

std::optional<int> ChannelNumber(std::string_view word) {
    return ParseNumber<int>(word, 0, kMaxChannels - 1);
}

std::optional<bool> Switch(std::string_view word) {
    if (word == "on" || word == "off") {
        return word == "on";
    }
    return std::nullopt;
}

std::string Rename(Call& call) {
    const auto channel = ChannelNumber(call.words[0]);
    return channel ? call.model.Rename(*channel, std::string(call.rest)) : "a channel number is wanted";
}

std::string Remove(Call& call) {
    const auto channel = ChannelNumber(call.words[0]);
    return channel ? call.model.Remove(*channel) : "a channel number is wanted";
}

std::string Add(Call& call) {
    int added = 0;
    std::string problem = call.model.Add(added);
    if (problem.empty()) {
        call.output = "channel " + std::to_string(added) + "\n";
    }
    return problem;
}

// "record on" by name, or "a 9" for a whole digit.
std::string Status(Call& call) {
    const auto channel = ChannelNumber(call.words[0]);
    if (!channel) {
        return "a channel number is wanted";
    }
    const std::string_view name = call.words[1];
    if (const StatusFlag* flag = FindStatusFlag(name)) {
        const auto on = Switch(call.words[2]);
        return on ? call.model.SetFlag(*channel, *flag, *on) : "on or off is wanted";
    }
    if (name.size() != 1 || name[0] < 'a' || name[0] > 'd') {
        return "there is no such state";
    }
    const std::string_view digits = "0123456789abcdef";
    const std::size_t value =
        call.words[2].size() == 1 ? digits.find(call.words[2][0]) : std::string_view::npos;
    if (value == std::string_view::npos) {
        return "a hexadecimal digit is wanted";
    }
    return call.model.SetDigit(*channel, static_cast<std::size_t>(name[0] - 'a'),
                               static_cast<std::uint8_t>(value));
}

std::string Rights(Call& call) {
    const auto channel = ChannelNumber(call.words[1]);
    const auto on = Switch(call.words[2]);
    if (!channel || !on) {
        return channel ? "on or off is wanted" : "a channel number is wanted";
    }
    const std::string_view wanted = call.words.size() > 3 ? call.words[3] : "monitor";
    const auto right = std::find(kRightNames.begin(), kRightNames.end(), wanted);
    if (right == kRightNames.end()) {
        return "there is no such right";
    }
    return call.model.SetRight(call.words[0], *channel, static_cast<Right>(right - kRightNames.begin()), *on);
}

std::string PtzFault(Call& call) {
    const auto channel = ChannelNumber(call.words[0]);
    const auto delay = call.words.size() > 2 ? ParseNumber<int>(call.words[2], 0, kMaxPtzDelayMs) : 0;
    if (!channel || !delay) {
        return channel ? "milliseconds are wanted, up to 600000" : "a channel number is wanted";
    }
    for (const auto& [word, reply] : kPtzReplies) {
        if (word == call.words[1]) {
            return call.model.SetPtz(*channel, reply, *delay);
        }
    }
    return "there is no such reply";
}

std::string Recode(Call& call) {
    const auto channel = ChannelNumber(call.words[0]);
    if (!channel) {
        return "a channel number is wanted";
    }
    for (const auto& [word, codec] : kCodecNames) {
        if (word == call.words[1]) {
            return call.model.SetCodec(*channel, codec);
        }
    }
    return "there is no such codec";
}

std::string Disk(Call& call) {
    for (const auto& [word, fault] : kDiskFaults) {
        if (word == call.words[0]) {
            return call.model.SetDiskFault(fault);
        }
    }
    return "none, full or failed is wanted";
}

std::string Record(Call& call) {
    const auto channel = ChannelNumber(call.words[0]);
    const auto on = Switch(call.words[1]);
    if (!channel || !on) {
        return channel ? "on or off is wanted" : "a channel number is wanted";
    }
    return call.model.Record(*channel, *on);
}

std::string Stop(Call& call) {
    if (!call.onStop) {
        return "this recorder cannot be stopped from here";
    }
    call.afterwards = call.onStop;
    return "";
}

std::string_view CodecName(Codec codec) {
    const auto* const found = std::find_if(kCodecNames.begin(), kCodecNames.end(),
                                           [&](const auto& name) { return name.second == codec; });
    return found->first;
}

std::string List(Call& call) {
    const SnapshotPtr state = call.model.Current();
    for (std::size_t i = 0; i < state->channels.size(); ++i) {
        const Channel& channel = state->channels[i];
        call.output += std::to_string(i) + " \"" + channel.config.name + "\"";
        if (!channel.config.configured) {
            call.output += " (no camera)\n";
            continue;
        }
        for (const StreamDescription& stream : channel.streams) {
            call.output += " " + std::string(CodecName(stream.codec)) + ":" + std::to_string(stream.width) +
                           "x" + std::to_string(stream.height) + "@" + std::to_string(stream.fps);
        }
        for (const StatusFlag& flag : kStatusFlags) {
            if (channel.config.status[flag.section] & flag.bit) {
                call.output += std::string(" ") + flag.name;
            }
        }
        call.output += "\n";
    }
    for (const User& user : state->users) {
        call.output += "user " + user.name + "\n";
    }
    return "";
}

std::string Help(Call& call);

struct Command {
    std::string_view name;
    std::size_t least;  // words behind it
    std::size_t most;
    std::string (*run)(Call&);
    const char* usage;
};

constexpr std::size_t kAnyCount = 1024;
constexpr std::array<Command, 12> kCommands = {{
    {"rename", 1, kAnyCount, Rename, "rename N NAME: gives channel N another name"},
    {"remove", 1, 1, Remove, "remove N: takes channel N's camera away"},
    {"add", 0, 0, Add, "add: gives a channel its camera back, or adds one"},
    {"status", 3, 3, Status,
     "status N STATE on|off: connect, record, event, manual, motion, loss, input, alarm; "
     "or status N a|b|c|d DIGIT"},
    {"rights", 3, 4, Rights,
     "rights USER N on|off [RIGHT]: monitor (when not told), ptz, audio, talk, record"},
    {"ptz", 2, 3, PtzFault,
     "ptz N REPLY [MS]: normal, no-content, empty, garbage, busy, locked, never; and the wait before it"},
    {"record", 2, 2, Record, "record N on|off: records channel N to a file"},
    {"codec", 2, 2, Recode,
     "codec N CODEC: h264, mpeg4, mjpeg, mpeg4-fields, vivotek, mxpeg; for all streams of channel N"},
    {"disk", 1, 1, Disk, "disk none|full|failed: what the disk is made out to be"},
    {"list", 0, 0, List, "list: channels and users"},
    {"stop", 0, 0, Stop, "stop: ends the recorder"},
    {"help", 0, 0, Help, "help: this text"},
}};

std::string Help(Call& call) {
    for (const Command& command : kCommands) {
        call.output += std::string(command.usage) + "\n";
    }
    return "";
}

}  // namespace

ControlReply RunControlCommand(RecorderModel& model, std::string_view line,
                               const std::function<void()>& onStop) {
    std::vector<std::string_view> words = Words(line);
    if (words.empty()) {
        return {"error: a command is wanted; help tells them\n", {}};
    }
    const auto command = std::find_if(kCommands.begin(), kCommands.end(),
                                      [&](const Command& known) { return known.name == words[0]; });
    if (command == kCommands.end()) {
        return {"error: there is no such command; help tells them\n", {}};
    }
    std::string_view rest;
    if (words.size() > 1) {
        rest = Trim(line.substr(static_cast<std::size_t>(words[1].data() - line.data()) + words[1].size()));
    }
    words.erase(words.begin());
    if (words.size() < command->least || words.size() > command->most) {
        return {std::string("error: ") + command->usage + "\n", {}};
    }
    Call call{model, std::move(words), rest, onStop, "", {}};
    const std::string problem = command->run(call);
    return {call.output + (problem.empty() ? "ok\n" : "error: " + problem + "\n"), call.afterwards};
}

}  // namespace kvrecorder
