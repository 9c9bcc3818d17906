// What a channel's camera can do, and what is known of it and its recorder for commands.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "channel/base/camera_info.h"
#include "channel/base/sound_switches.h"

namespace kvmon {

// A preset to be stored under a name.
struct PresetRecord {
    std::uint32_t nIndex = 0;
    std::string name;
};

// Any thread.
class Abilities {
public:
    // A camera's sound is one of its abilities.
    explicit Abilities(SoundSwitches& sound) : m_sound(sound) {}

    // Another camera.
    void Clear();
    CameraInfo GetCameraInfo() const;
    // What is kept of an earlier run.
    void Restore(const CameraInfo& info);
    // What the recorder tells.
    bool IsKnown(const CameraInfo& info) const;
    void Store(const CameraInfo& info);
    bool IsLoaded() const { return m_bCameraInfoLoaded; }
    // A reading is asked for, and has ended, at that tick.
    void NoteReadingAsked(std::uint64_t nTick) {
        m_nInfoReadTick = nTick;
        m_bReadingAsked = true;
    }
    void NoteReadingEnded(std::uint64_t nTick) {
        m_nInfoReadTick = nTick;
        m_bReadingAsked = false;
    }
    bool IsReadingAsked() const { return m_bReadingAsked; }
    // The tick of the last reading's end, or of the last word for one.
    std::uint64_t GetReadTick() const { return m_nInfoReadTick; }

    PresetFormat GetPresetFormat() const;
    // True if it has changed.
    bool SetPresetFormat(const PresetFormat& format);
    // Empty if it has none.
    std::string GetPresetName(std::uint32_t nIndex) const;
    // A preset's name on its way to the command thread. Gives the argument of its command. Of more than
    // `nMost` that wait the oldest is dropped.
    std::uint32_t AddPresetRecord(std::uint32_t nIndex, const std::string& name, std::size_t nMost);
    std::optional<PresetRecord> TakePresetRecord(std::uint32_t nTicket);

    // Why the recorder has not followed the last order to record, in its words; empty for none.
    void SetRecordingFault(const std::string& words);
    std::string GetRecordingFault() const;

    // This user may steer the camera.
    void SetPtzEnabled(bool bEnabled) { m_bPtzEnabled = bEnabled; }
    bool IsPtzEnabled() const { return m_bPtzEnabled; }
    // How many commands the recorder has refused or not answered.
    void CountFailedCommand() { ++m_nFailedCommands; }
    std::uint32_t GetFailedCommands() const { return m_nFailedCommands; }

private:
    SoundSwitches& m_sound;
    mutable std::mutex m_cs;
    CameraInfo m_cameraInfo;
    PresetFormat m_presetFormat;
    std::string m_recordingFault;
    std::map<std::uint32_t, PresetRecord> m_presetRecords;  // by the argument of their command
    std::uint32_t m_nNextPresetRecord = 0;
    std::atomic<bool> m_bCameraInfoLoaded{false};
    std::atomic<bool> m_bReadingAsked{false};
    std::atomic<std::uint64_t> m_nInfoReadTick{0};
    std::atomic<bool> m_bPtzEnabled{true};
    std::atomic<std::uint32_t> m_nFailedCommands{0};
};

}  // namespace kvmon
