// The panel's buttons for sound: listening to the active camera, and speaking to it.
#pragma once

#include <QtCore/QPointer>
#include <atomic>
#include <cstdint>
#include <memory>

#include "audio/microphone.h"
#include "platform/worker.h"

namespace kvmon {

class ActiveCamera;
class CSendSoundDlg;
class ConsoleControls;
class Desk;
class FeedbackLine;

// User interface thread only.
class AudioPanel {
public:
    AudioPanel(Desk& desk, const ActiveCamera& active, ConsoleControls& controls, FeedbackLine& feedback)
        : m_desk(desk), m_active(active), m_controls(controls), m_feedback(feedback) {}
    ~AudioPanel();

    // With the settings: the button as it was left, if sound of cameras can be played at all.
    void LoadSettings(bool bEnableAudio);
    // This machine can play sound, as far as is known; when that changes, a refresh of the controls comes.
    bool HasOutput();
    // Command 1753.
    void OnTalk();
    // The session is over, and talk-back with it.
    void CloseTalk();

    // For tests: null when nobody talks.
    CSendSoundDlg* TalkDialog() const;

private:
    Desk& m_desk;
    const ActiveCamera& m_active;
    ConsoleControls& m_controls;
    FeedbackLine& m_feedback;
    // Set by the probe, which may outlive this.
    const std::shared_ptr<std::atomic<bool>> m_outputExists = std::make_shared<std::atomic<bool>>(false);
    Worker m_probe;
    std::uint64_t m_nextProbe = 0;
    MicrophoneFactory m_microphone = CreateMicrophone;
    QPointer<CSendSoundDlg> m_talk;
};

}  // namespace kvmon
