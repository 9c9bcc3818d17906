// Who speaks to which channel: what clients send is decoded, kept and said to a camera.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <span>
#include <string>

#include "cameras/camera_talk.h"
#include "media/private_file.h"

namespace kvrecorder {

// Where WAV files of what is said are kept.
struct TalkFolder {
    std::string path;           // empty: nowhere
    std::uint64_t limitMb = 0;  // of all files together; the oldest go
    FileGroup group;            // may read them
};

// What one client says, from the head of its request to the end of its connection. Used by the connection
// alone; its end lets the channel go.
class Talk {
public:
    virtual ~Talk() = default;
    // False when it goes nowhere.
    virtual bool Hear(std::span<const char> bytes) = 0;
};

// Any thread; outlives all that it gave out.
class TalkBook {
public:
    // Null if another user talks to the channel. The same user's connection from before has to give way:
    // clients leave it open until they talk again, so that its `giveWay` is called, which may run on this
    // thread and must not end the talk in it. With a camera all is said to that, too.
    std::unique_ptr<Talk> Begin(int channel, const std::string& user, const TalkFolder& folder,
                                std::shared_ptr<CameraTalk> camera, std::function<void()> giveWay);

private:
    class Entry;
    struct Talker {
        std::string user;
        const Entry* entry;
        std::function<void()> giveWay;
    };

    void End(int channel, const Entry* entry);

    std::mutex m_mutex;
    std::map<int, Talker> m_talkers;
};

}  // namespace kvrecorder
