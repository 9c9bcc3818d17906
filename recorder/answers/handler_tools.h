// What handlers of several files make their replies with. Inside this folder only.
#pragma once

#include <string>
#include <string_view>
#include <utility>

#include "answers/handler_input.h"
#include "answers/reply.h"

namespace kvrecorder {

inline Reply MakeDocument(std::string type, std::string body) {
    Reply reply;
    reply.type = std::move(type);
    reply.body = std::move(body);
    return reply;
}

inline Reply Text(std::string body) {
    return MakeDocument("text/plain; charset=utf-8", std::move(body));
}

// Runs `make` with the channel that the query names if the user has the right for it.
template <typename Make>
Reply ForChannel(const HandlerInput& input, std::string_view key, Right right, Make make) {
    const auto number = input.request.Number(key, 0, kMaxChannels - 1);
    if (!number) {
        return Refuse(400);
    }
    const Channel* channel = input.state.Configured(*number);
    if (!channel) {
        return Refuse(404);
    }
    return input.user.Has(right, *number) ? make(*number, *channel) : Refuse(403);
}

}  // namespace kvrecorder
