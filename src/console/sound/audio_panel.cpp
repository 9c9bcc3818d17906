#include "console/sound/audio_panel.h"

#include "audio/g726.h"
#include "audio/sound_card.h"
#include "channel/base/channel_messages.h"
#include "channel/camera/base_camera.h"
#include "channel/picture/captions.h"
#include "console/panel/console_controls.h"
#include "console/ports/desk.h"
#include "console/settings/fill_pattern.h"
#include "console/sound/send_sound_dlg.h"
#include "console/wall/active_camera.h"
#include "console/wall/feedback_line.h"
#include "persist/log_file.h"
#include "persist/string_table.h"
#include "persist/utilities.h"
#include "platform/clock.h"
#include "skin/skin_messages.h"

namespace kvmon {

namespace {

// A machine without an output is looked at again after this, at the next refresh.
constexpr std::uint64_t kNextProbeMs = 10000;
constexpr std::uint32_t kStrTalkEnded = 7437;

}  // namespace

AudioPanel::~AudioPanel() {
    delete m_talk.data();
}

void AudioPanel::LoadSettings(bool bEnableAudio) {
    G726Codec probe;
    if (!probe.Open(1, 8000, 32000, G726Packing::LowFirst)) {
        return;
    }
    m_controls.SetShown(kCtlAudio, true);
    m_controls.SetPressed(kCtlAudio, bEnableAudio);
}

// Asks the system's sound service on a thread, as that may take long; the answer comes with a refresh.
bool AudioPanel::HasOutput() {
    const std::uint64_t now = SystemClock().TickMs();
    if (*m_outputExists || now < m_nextProbe || !m_probe.Wait(Milliseconds(0))) {
        return *m_outputExists;
    }
    m_nextProbe = now + kNextProbeMs;
    m_probe.Start("sound-probe", [exists = m_outputExists, console = m_desk.Handle()] {
        if (HasSoundOutput()) {
            *exists = true;
            console.Post(WM_COMMAND, kCmdRefreshControls, 0);
        }
    });
    return false;
}

void AudioPanel::OnTalk() {
    const auto camera = m_active.Camera();
    if (!camera || !camera->CanTalk() || TalkDialog() != nullptr) {
        return;
    }
    m_talk = new CSendSoundDlg(m_desk.DialogHost(), camera, m_microphone);
    m_talk->SetMixerStarted([this] { m_desk.MakeRoom(); });
    m_talk->SetTalkEnded([this, name = DisplayLine(camera->GetCameraName())] {
        m_feedback.Say(FillPattern(LoadString(kStrTalkEnded), {name}));
    });
    m_talk->Open();
}

CSendSoundDlg* AudioPanel::TalkDialog() const {
    return m_talk && !m_talk->IsOver() ? m_talk.data() : nullptr;
}

void AudioPanel::CloseTalk() {
    if (m_talk) {
        m_talk->Cancel();
    }
}

}  // namespace kvmon
