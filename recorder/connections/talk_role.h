// Takes what a client says to a channel.
#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "connections/login.h"
#include "connections/role.h"
#include "connections/talk_book.h"

namespace kvrecorder {

class TalkRole : public Role {
public:
    struct Start {
        std::string head;  // of the reply
        int channel;
        Login login;
        std::chrono::milliseconds silence;  // a client that says nothing for so long is gone
    };

    TalkRole(Link& link, const RecorderModel& model, TalkBook& talks, Start start);

    void Begin() override;
    std::string_view OnBytes(std::string_view bytes) override;
    bool Reads() const override { return !m_stalls; }
    void OnSent() override { AwaitSpeech(); }
    void OnChanged(Change change) override;
    void Release() override { m_talk.reset(); }

private:
    void BeginTalk(const Snapshot& state);
    void AwaitSpeech();

    Link& m_link;
    const RecorderModel& m_model;
    TalkBook& m_talks;
    const Start m_start;
    std::shared_ptr<CameraTalk> m_camera;  // null: none hears it
    std::unique_ptr<Talk> m_talk;
    bool m_stalls = false;  // the configuration wants a recorder that does not read on
};

}  // namespace kvrecorder
