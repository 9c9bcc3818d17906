// Whether a channel's sound is heard.
#pragma once

#include "audio/sound_flag.h"

namespace kvmon {

enum class PlaySound { No, Yes };

// What decides whether sound is played now. Any thread.
struct SoundSwitches {
    SoundFlag m_bPlayAudioUI;   // the user listens to this channel
    SoundFlag m_bSupportAudio;  // the camera has sound
    SoundFlag m_bAudioRight;    // the user may listen

    bool IsWanted() const { return m_bPlayAudioUI && m_bSupportAudio && m_bAudioRight; }
};

}  // namespace kvmon
