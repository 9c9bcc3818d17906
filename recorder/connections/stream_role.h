// Sends the records of a channel's stream.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "connections/login.h"
#include "connections/role.h"
#include "media/sound_hub.h"
#include "state/record_queue.h"

namespace kvrecorder {

class StreamRole : public Role {
public:
    struct Start {
        std::string head;  // of the reply
        int channel;
        int stream;
        Login login;
    };

    StreamRole(Link& link, RecorderModel& model, SoundHub& sounds, std::shared_ptr<RecordQueue> queue,
               Start start);

    void Begin() override;
    void OnSent() override { NextRecord(); }
    void OnWoken() override;
    void OnChanged(Change change) override;
    void Release() override;

private:
    void Subscribe(const Channel& channel);
    void SubscribeSound();
    std::function<void(const PacketPtr&)> MakeSink();
    // False if the user lost the stream, and the connection is ended.
    bool CheckRight();
    void FollowSource();
    // What waits, as far as the system takes it. False: OnWoken has to go on with the rest.
    bool SendWaiting();
    void NextRecord();
    void MakeText(const Packet& packet);

    Link& m_link;
    RecorderModel& m_model;
    SoundHub& m_sounds;
    const std::shared_ptr<RecordQueue> m_queue;
    const Start m_start;
    std::unique_ptr<Subscription> m_subscription;
    std::unique_ptr<Subscription> m_sound;
    std::optional<SoundConfig> m_heard;  // what m_sound is of
    int m_sourceNumber = 0;
    // Of whoever takes from the queue: the connection, or the thread that found it idle.
    std::uint32_t m_recordNumber = 0;
    std::string m_recordText;
    PacketPtr m_begun;  // sent to a part
    std::size_t m_sent = 0;
};

}  // namespace kvrecorder
