// Which of the two readers of RTSP a camera's sessions are for.
#pragma once

#include <optional>
#include <string>

#include "media/av_ptr.h"

namespace kvrecorder {

// Kept by a source from session to session: to try our own reader first costs the camera a connection each
// time. One thread.
class ReaderChoice {
public:
    // A session of this address is for the other reader, as the last one was.
    bool IsOther(const std::string& url, bool withSound) const {
        return m_seen && m_seen->url == url && m_seen->withSound == withSound;
    }
    // The other reader has opened one. What differs from the session before may be for our own the next time.
    void NoteOther(const std::string& url, bool withSound, AVCodecID pictures, AVCodecID sound) {
        const Seen now{url, withSound, pictures, sound};
        const bool same = !IsOther(url, withSound) || *m_seen == now;
        m_seen = same ? std::optional(now) : std::nullopt;
    }
    void Forget() { m_seen.reset(); }

private:
    struct Seen {
        std::string url;
        bool withSound = false;
        AVCodecID pictures = AV_CODEC_ID_NONE;
        AVCodecID sound = AV_CODEC_ID_NONE;

        bool operator==(const Seen&) const = default;
    };
    std::optional<Seen> m_seen;
};

}  // namespace kvrecorder
