// What the command thread works on.
#pragma once

namespace kvmon {

class Abilities;
class CamCmdQueue;
class ChannelWindows;
class Clock;
class StreamSource;
struct ThreadControl;

struct CommandParts {
    CamCmdQueue& queue;
    const StreamSource& source;
    Abilities& abilities;
    const ChannelWindows& windows;
    Clock& clock;
    ThreadControl& control;
};

}  // namespace kvmon
