#include "console/sound/talk_session.h"

#include <atomic>

#include "audio/sound_in.h"
#include "channel/base/channel_messages.h"
#include "channel/camera/base_camera.h"
#include "channel/sound/talk_back.h"
#include "persist/log_file.h"
#include "platform/caught.h"
#include "platform/clock.h"

namespace kvmon {

namespace {

constexpr Milliseconds kEndLook{50};
constexpr int kEndLooks = 100;  // five seconds for the try before
constexpr Milliseconds kEndWait{500};
constexpr Milliseconds kShortLook{10};

}  // namespace

// Shared with the threads. It stands between them and the dialog, which must not hear of a try that is over.
struct TalkSession::State final : MessageTarget {
    State(std::shared_ptr<CBaseCamera> talkedTo, const WindowHandle& hears, MicrophoneFactory factory)
        : camera(std::move(talkedTo)), dialog(hears), soundIn(std::move(factory)) {}

    void PostMessage(std::uint32_t message, WParam wParam, LParam lParam) override {
        if (*abort == 0) {
            dialog.Post(message, wParam, lParam);
        }
    }
    void Notify(const WindowHandle& hWnd, TalkingNotify what, LParam value) const {
        hWnd.Post(WM_TALKING_NOTIFY, static_cast<WParam>(what), value);
    }
    // The connection did not come about, by this computer's fault.
    void TellFailed() const {
        if (*abort == 0) {
            TryStep("CSendSoundDlg::Notify", [this] { Notify(dialog, TalkingNotify::SendFailed, 0); });
        }
    }
    bool IsEnded() { return sendDone && soundIn.IsEnded(); }

    const std::shared_ptr<CBaseCamera> camera;
    const WindowHandle dialog;
    const std::shared_ptr<FlagWord> abort = std::make_shared<FlagWord>(0);
    CSoundIn soundIn;
    std::atomic<bool> sendDone{false};

    // A block of the microphone's, on the recording's thread.
    bool OnBlock(const WindowHandle& hWnd, std::span<const std::int16_t> block) const {
        if (*abort != 0) {
            return false;
        }
        if (!camera->SendTalkingData(hWnd, block)) {
            Notify(hWnd, TalkingNotify::SendFailed, 0);
            return false;
        }
        Notify(hWnd, TalkingNotify::Level, TalkLevel(block));
        return true;
    }

    static void SendSoundFunc(const std::shared_ptr<State>& self, const std::shared_ptr<State>& before) {
        for (int i = 0; before && i < kEndLooks && !before->IsEnded() && *self->abort == 0; ++i) {
            SystemClock().Sleep(kEndLook);
        }
        if (before && !before->IsEnded()) {
            Trace("CSendSoundDlg::StartSend: TerminateThread(0x%x, -8);...\n", 1u);
        }
        const WindowHandle hWnd(self);
        CBaseCamera& camera = *self->camera;
        if (*self->abort != 0 || !camera.PrepareTalking(hWnd, self->abort)) {
            return;
        }
        self->soundIn.SetBufferSamples(camera.GetTalkingBufferSamples());
        self->soundIn.SetSampleBits(camera.GetTalkingSampleBits());
        self->soundIn.SetCallback([weak = std::weak_ptr(self), hWnd](std::span<const std::int16_t> block) {
            const auto state = weak.lock();
            return state && state->OnBlock(hWnd, block);
        });
        self->soundIn.SetFailed([weak = std::weak_ptr(self), hWnd] {
            if (const auto state = weak.lock()) {
                state->Notify(hWnd, TalkingNotify::NoMicrophone, kMicrophoneSilent);
            }
        });
        if (!self->soundIn.Start()) {
            Trace("CSendSoundDlg::SendSoundFunc: m_uCHInMainDlg=%u, m_SoundIn.Start() failed...\n",
                  camera.GetCHInMainDlg());
            self->Notify(hWnd, TalkingNotify::NoMicrophone, 0);
        }
    }
};

TalkSession::TalkSession(std::shared_ptr<CBaseCamera> camera, const WindowHandle& dialog,
                         MicrophoneFactory factory)
    : m_state(std::make_shared<State>(std::move(camera), dialog, std::move(factory))) {}

TalkSession::~TalkSession() {
    End();
    for (Milliseconds waited{0}; waited < kEndWait && !IsEnded(); waited += kShortLook) {
        SystemClock().Sleep(kShortLook);
    }
}

void TalkSession::Begin(const TalkSession* before) {
    const bool bStarted =
        m_thread.Start("talk", [self = m_state, last = before != nullptr ? before->m_state : nullptr]() {
            if (!TryStep("CSendSoundDlg::SendSoundFunc", [&] { State::SendSoundFunc(self, last); })) {
                self->TellFailed();
            }
            self->sendDone = true;
        });
    if (!bStarted) {
        m_state->sendDone = true;
        m_state->TellFailed();
    }
}

void TalkSession::End() {
    *m_state->abort = 1;
    m_state->soundIn.Stop();
}

bool TalkSession::IsEnded() {
    return m_thread.Wait(Milliseconds(0)) && m_state->IsEnded();
}

}  // namespace kvmon
