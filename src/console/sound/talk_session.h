// One try to talk to a camera: connection, microphone, and the threads between them.
#pragma once

#include <memory>

#include "audio/microphone.h"
#include "platform/window_handle.h"
#include "platform/worker.h"

namespace kvmon {

class CBaseCamera;

// The dialog hears of it by WM_TALKING_NOTIFY. User interface thread only; no operation waits.
class TalkSession {
public:
    TalkSession(std::shared_ptr<CBaseCamera> camera, const WindowHandle& dialog, MicrophoneFactory factory);
    // Ends; threads that still run own what they touch, and are let go after half a second.
    ~TalkSession();

    // Once. The try before this one, which was told to end, gets 5 s for it first.
    void Begin(const TalkSession* before);
    // Asks all threads to leave; the dialog hears nothing more. The connection stays open, for the next try
    // or the channel's end to close it.
    void End();
    // No thread is left.
    bool IsEnded();

private:
    struct State;

    const std::shared_ptr<State> m_state;
    Worker m_thread;
};

}  // namespace kvmon
