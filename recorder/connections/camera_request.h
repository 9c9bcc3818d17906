// What a client of the camera port asks for, and whether it may have it.
#pragma once

#include <optional>
#include <string_view>

#include "answers/http_request.h"
#include "state/snapshot.h"

namespace kvrecorder {

// One request, from its bytes to the status of the reply.
class CameraRequest {
public:
    RequestHead::State Feed(std::string_view bytes) { return m_head.Feed(bytes); }
    // Of the head that is complete: the status that the reply tells, 200 with the channel found.
    int Answer(const Snapshot& state);
    // The same for the state as it has become.
    int Judge(const Snapshot& state);
    // Whether the camera that it names is behind a login; false if there is no such camera.
    bool AsksForLogin(const Snapshot& state) const;
    const HttpRequest& Request() const { return m_request; }
    // -1 until one was found.
    int ChannelIndex() const { return m_channel; }

private:
    const CameraConfig* Find(const Snapshot& state, int& number) const;

    RequestHead m_head;
    HttpRequest m_request;
    int m_channel = -1;
};

}  // namespace kvrecorder
