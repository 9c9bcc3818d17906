// The folder that recordings are kept in.
#pragma once

#include <atomic>
#include <string>

#include "state/recorder_config.h"

namespace kvrecorder {

// Any thread, once Prepare has been called.
class RecordingFolder {
public:
    explicit RecordingFolder(RecordingConfig config) : m_config(std::move(config)) {}

    // Makes the folder if there is none. "" or words for the user. One thread at a time.
    std::string Prepare();
    bool IsFull() const;
    // While it is `full`, the disk counts so whatever it holds.
    void PretendFull(bool full) { m_pretendFull = full; }
    // Deletes the oldest of our files, but none that was written to just now.
    void MakeRoom() const;
    FileGroup Group() const { return m_config.group; }
    // The path of a new file for a channel.
    std::string NewFile(int channel) const;

private:
    RecordingConfig m_config;
    std::atomic<bool> m_pretendFull = false;
};

}  // namespace kvrecorder
