// Where recorded sound comes from.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>

#include "audio/sound_card.h"
#include "platform/clock.h"

namespace kvmon {

// One recording. Used by one thread, but for Cancel.
class Microphone {
public:
    virtual ~Microphone() = default;
    // Begins to record 16-bit sound. May take as long as the system's sound service does. False if there is
    // nothing to record from.
    virtual bool Open(const PcmFormat& format) = 0;
    // Fills the block, waiting for its sound. False when cancelled or when the recording has failed.
    virtual bool Read(std::span<std::int16_t> block) = 0;
    virtual void Close() = 0;
    // Ends a Read that waits, and all to come. Any thread.
    virtual void Cancel() = 0;
};

using MicrophoneFactory = std::function<std::unique_ptr<Microphone>()>;

// The system's default input; with the variable KVMON_MICROPHONE a file's sound in its place. Of what nobody
// reads it keeps three quarters of a second and loses what comes after.
std::unique_ptr<Microphone> CreateMicrophone();

// A file's sound at the pace of a microphone, and silence behind its end: a WAV file of 16-bit sound in the
// format that is asked for, or bare samples.
std::unique_ptr<Microphone> CreateFileMicrophone(const std::string& path, Clock& clock = SystemClock());

}  // namespace kvmon
