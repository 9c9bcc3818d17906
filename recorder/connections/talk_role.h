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
    bool Reads() const override { return !stalls_; }
    void OnSent() override { AwaitSpeech(); }
    void OnChanged(Change change) override;
    void Release() override { talk_.reset(); }

private:
    void BeginTalk(const ServerConfig& server);
    void AwaitSpeech();

    Link& link_;
    const RecorderModel& model_;
    TalkBook& talks_;
    const Start start_;
    std::unique_ptr<Talk> talk_;
    bool stalls_ = false;  // the configuration wants a recorder that does not read on
};

}  // namespace kvrecorder
