#include "console/audio_panel.h"

#include "audio/g726.h"
#include "audio/sound_card.h"
#include "channel/base_camera.h"
#include "channel/channel_messages.h"
#include "console/main_dlg.h"
#include "console/send_sound_dlg.h"
#include "persist/log_file.h"
#include "persist/utilities.h"
#include "platform/clock.h"
#include "skin/skin_messages.h"

namespace kvmon {

namespace {

// A machine without an output is looked at again after this, at the next refresh.
constexpr std::uint64_t kNextProbeMs = 10000;

}  // namespace

AudioPanel::~AudioPanel() {
    delete m_talk.data();
}

void AudioPanel::LoadSettings(bool bEnableAudio) {
    G726Codec probe;
    if (!probe.Open(1, 8000, 32000, G726Packing::LowFirst)) {
        return;
    }
    m_dlg.Controls().SetShown(kCtlAudio, true);
    m_dlg.Controls().SetPressed(kCtlAudio, bEnableAudio);
}

bool AudioPanel::IsAudioChecked() const {
    const bool bPressed = m_dlg.Controls().IsPressed(kCtlAudio);
    Trace("CMainDlg::IsAudioChecked: m_pAudioButton->GetCheck()==BST_CHECKED=%s...\n", BoolText(bPressed));
    const bool bExists = m_dlg.Controls().Exists(kCtlAudio);
    Trace("CMainDlg::IsAudioChecked: ::IsWindow(m_pAudioButton->GetSafeHwnd() )=%s...\n", BoolText(bExists));
    return bPressed && bExists;
}

// Asks the system's sound service on a thread, as that may take long; the answer comes with a refresh.
bool AudioPanel::HasOutput() {
    const std::uint64_t now = SystemClock().TickMs();
    if (*m_outputExists || now < m_nextProbe || !m_probe.Wait(Milliseconds(0))) {
        return *m_outputExists;
    }
    m_nextProbe = now + kNextProbeMs;
    m_probe.Start("sound-probe", [exists = m_outputExists, console = m_dlg.Handle()] {
        if (HasSoundOutput()) {
            *exists = true;
            console.Post(WM_COMMAND, kCmdRefreshControls, 0);
        }
    });
    return false;
}

void AudioPanel::Sync() {
    const auto active = m_dlg.View().Cells().GetActiveCamera();
    for (int n = 0; n < m_dlg.Cameras().GetCount(); ++n) {
        const auto camera = m_dlg.Cameras().GetCameraByChannel(n);
        if (camera && camera != active) {
            camera->SetPlayAudio(false);
        }
    }
    if (active) {
        active->SetPlayAudio(active->HasAudioRight() && IsAudioChecked());
    }
}

void AudioPanel::OnTalk() {
    const auto camera = m_dlg.View().Cells().GetActiveCamera();
    if (!camera || !camera->CanTalk() || TalkDialog() != nullptr) {
        return;
    }
    m_talk = new CSendSoundDlg(m_dlg.Screens().DialogHost(), camera, m_microphone);
    m_talk->SetMixerStarted([this] { m_dlg.Screens().MakeRoom(); });
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
