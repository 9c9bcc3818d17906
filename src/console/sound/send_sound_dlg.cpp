#include "console/sound/send_sound_dlg.h"

#include <QtGui/QCloseEvent>
#include <QtGui/QKeyEvent>
#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QVBoxLayout>
#include <algorithm>

#include "channel/base/channel_messages.h"
#include "channel/camera/base_camera.h"
#include "channel/picture/captions.h"
#include "channel/sound/talk_back.h"
#include "console/dialogs/dialog_parts.h"
#include "console/dialogs/message_box.h"
#include "console/settings/fill_pattern.h"
#include "console/sound/level_meter.h"
#include "console/sound/talk_session.h"
#include "console/sound/volume_control.h"
#include "persist/string_table.h"
#include "persist/utilities.h"
#include "skin/dialog_style.h"
#include "skin/wait_dlg.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kTimerTalk = 1100;
constexpr std::uint32_t kTimerEnding = 1101;
constexpr int kRetryMs = 3000;
constexpr int kEndingMs = 50;

constexpr std::uint32_t kTextConnecting = 1104;
constexpr std::uint32_t kTextTitle = 1105;
constexpr std::uint32_t kTextTalkingTo = 6500;
constexpr std::uint32_t kTextVolume = 6501;
constexpr std::uint32_t kTextClose = 6502;
constexpr std::uint32_t kTextNoVolume = 6503;
constexpr std::uint32_t kTextMeter = 6504;
constexpr std::uint32_t kTextNoMicrophone = 6912;
constexpr std::uint32_t kTextSilentMicrophone = 6913;
constexpr std::uint32_t kTextDisconnected = 57423;

// What a recorder tells of itself, by the second number of the message.
std::uint32_t StateText(LParam state) {
    switch (state) {
        case 1:
            return 1103;
        case 2:
            return 1106;
        default:
            return 1107;
    }
}

// What a try has failed by: its numbers, and words where the fault is the user's own to mend.
std::string FailureText(WParam wParam, LParam lParam) {
    std::string text =
        FillPattern(LoadString(kTextDisconnected), {std::to_string(wParam), std::to_string(lParam)});
    if (wParam == static_cast<WParam>(TalkingNotify::NoMicrophone)) {
        text += " - " + LoadString(lParam == kMicrophoneSilent ? kTextSilentMicrophone : kTextNoMicrophone);
    }
    return text;
}

}  // namespace

CSendSoundDlg::CSendSoundDlg(QWidget* owner, std::shared_ptr<CBaseCamera> camera, MicrophoneFactory factory)
    : WindowBase(owner),
      m_camera(std::move(camera)),
      m_factory(std::move(factory)),
      m_state(MakeMessageLabel(this, 1)),
      m_meter(new LevelMeter(this)) {
    setWindowFlags(Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowCloseButtonHint);
    setAttribute(Qt::WA_StyledBackground);
    setWindowModality(Qt::ApplicationModal);
    setObjectName(QStringLiteral("talkDialog"));
    setWindowTitle(Text(kTextTitle));
    SetControlId(kTalkDialog);
    m_meter->SetControlId(kTalkMeter);
    m_meter->setAccessibleName(Text(kTextMeter));
    auto* const volume = new QPushButton(Text(kTextVolume), this);
    auto* const close = new QPushButton(Text(kTextClose), this);
    connect(volume, &QPushButton::clicked, this, [this] {
        if (!OpenVolumeControl()) {
            ShowState(LoadString(kTextNoVolume), Tone::Fault);
        } else if (m_mixerStarted) {
            m_mixerStarted();
        }
    });
    connect(close, &QPushButton::clicked, this, [this] { Cancel(); });

    auto* const buttons = new QHBoxLayout;
    buttons->setSpacing(8);
    buttons->addWidget(volume);
    buttons->addStretch();
    buttons->addWidget(close);
    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(20, 18, 20, 16);
    layout->setSpacing(12);
    layout->addWidget(m_state);
    layout->addWidget(m_meter);
    layout->addSpacing(6);
    layout->addLayout(buttons);
    close->setFocus();
}

CSendSoundDlg::~CSendSoundDlg() = default;

void CSendSoundDlg::Open() {
    if (!m_camera) {
        Cancel();
        return;
    }
    SetTimer(kTimerTalk, 0);
}

void CSendSoundDlg::Cancel() {
    if (m_bOver) {
        return;
    }
    m_bOver = true;
    KillTimer(kTimerTalk);
    if (m_session) {
        m_session->End();
        m_ending.push_back(std::move(m_session));
    }
    if (m_wait) {
        m_wait->Close(IDCANCEL);
    }
    hide();
    GiveKeyboardBack(*this);
    SetTimer(kTimerEnding, kEndingMs);
    if (m_bTalked && m_talkEnded) {
        m_talkEnded();
    }
}

void CSendSoundDlg::OnTimer(std::uint32_t id) {
    switch (id) {
        case kTimerTalk:
            OnTalkTimer();
            break;
        case kTimerEnding:
            DropEnded();
            if (m_bOver && m_ending.empty()) {
                KillTimer(kTimerEnding);
                deleteLater();
            }
            break;
        default:
            WindowBase::OnTimer(id);
    }
}

void CSendSoundDlg::DropEnded() {
    std::erase_if(m_ending, [](const auto& session) { return session->IsEnded(); });
}

void CSendSoundDlg::OnTalkTimer() {
    KillTimer(kTimerTalk);
    if (!m_wait) {
        m_wait = std::make_unique<CWaitDlg>(parentWidget());
        m_wait->SetCloseText(LoadString(kTextClose));
        m_wait->SetClosed([this](int result) { OnWaitClosed(result); });
    }
    StartSend();
}

void CSendSoundDlg::StartSend() {
    if (m_session) {
        m_session->End();
        m_ending.push_back(std::move(m_session));
    }
    DropEnded();
    m_fault.clear();
    m_session = std::make_unique<TalkSession>(m_camera, Handle(), m_factory);
    m_session->Begin(m_ending.empty() ? nullptr : m_ending.back().get());
    if (!m_wait->IsOpen()) {
        hide();
        m_meter->SetPos(0);
        m_wait->SetText(LoadString(kTextConnecting));
        m_wait->Open(CWaitDlg::Input::Blocked);
    }
}

void CSendSoundDlg::OnWaitClosed(int result) {
    if (m_bOver) {
        return;
    }
    if (result == IDCANCEL) {
        Cancel();
    } else {
        ShowDialog();
    }
}

void CSendSoundDlg::ShowDialog() {
    // The link may have broken between the word that it works and the end of the wait.
    if (m_fault.empty()) {
        ShowState(FillPattern(LoadString(kTextTalkingTo), {DisplayLine(m_camera->GetCameraName())}),
                  Tone::Plain);
        m_bTalked = true;
    } else {
        ShowState(m_fault, Tone::Fault);
    }
    adjustSize();
    if (parentWidget() != nullptr) {
        move(parentWidget()->window()->frameGeometry().center() - rect().center());
    }
    show();
}

void CSendSoundDlg::ShowState(const std::string& text, Tone tone) {
    m_state->setForegroundRole(tone == Tone::Fault ? kFaultText : QPalette::BrightText);
    m_state->setText(QString::fromStdString(text));
}

void CSendSoundDlg::OnTalkingNotify(WParam wParam, LParam lParam) {
    if (m_bOver) {
        return;
    }
    const bool bWaitOpen = m_wait && m_wait->IsOpen();
    if (wParam == static_cast<WParam>(TalkingNotify::Level)) {
        if (bWaitOpen) {
            m_wait->PostMessage(kMsgCloseWait, IDOK, 0);
        } else {
            m_wait.reset();
        }
        m_fault.clear();
        // A level far below 0 stands for silence.
        m_meter->SetPos(static_cast<int>(std::clamp<LParam>(lParam, 0, 100)));
        return;
    }
    m_fault = wParam == static_cast<WParam>(TalkingNotify::State) ? LoadString(StateText(lParam))
                                                                  : FailureText(wParam, lParam);
    m_meter->SetPos(0);
    if (bWaitOpen) {
        m_wait->SetText(m_fault);
    } else {
        ShowState(m_fault, Tone::Fault);
    }
    SetTimer(kTimerTalk, kRetryMs);
}

LParam CSendSoundDlg::OnMessage(std::uint32_t message, WParam wParam, LParam lParam) {
    if (message == WM_TALKING_NOTIFY) {
        OnTalkingNotify(wParam, lParam);
        return 0;
    }
    return WindowBase::OnMessage(message, wParam, lParam);
}

void CSendSoundDlg::closeEvent(QCloseEvent* event) {
    event->accept();
    Cancel();
}

void CSendSoundDlg::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape) {
        Cancel();
        return;
    }
    WindowBase::keyPressEvent(event);
}

}  // namespace kvmon
