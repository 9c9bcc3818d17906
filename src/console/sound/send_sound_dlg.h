// The talk dialog: the microphone's level while its sound goes to a camera.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "audio/microphone.h"
#include "skin/window_base.h"

class QLabel;

namespace kvmon {

class CBaseCamera;
class CWaitDlg;
class LevelMeter;
class TalkSession;

inline constexpr int kTalkDialog = 1100;
inline constexpr int kTalkMeter = 1101;

// Modal to the whole program, and waits for nobody: Open returns at once. While there is no connection a
// wait dialog stands in its place, and a try that failed is made again every 3 seconds until the user gives
// up. User interface thread only, but for WM_TALKING_NOTIFY posted to its Handle().
class CSendSoundDlg : public WindowBase {
public:
    // The owner is the window above which it stands.
    CSendSoundDlg(QWidget* owner, std::shared_ptr<CBaseCamera> camera,
                  MicrophoneFactory factory = CreateMicrophone);
    // Waits up to half a second for threads that have not left yet.
    ~CSendSoundDlg() override;

    // Called when the desktop's mixer is about to open its window.
    void SetMixerStarted(std::function<void()> started) { m_mixerStarted = std::move(started); }

    // Called when the user ends a talk that had begun.
    void SetTalkEnded(std::function<void()> ended) { m_talkEnded = std::move(ended); }

    void Open();
    // The user sees it gone at once; the dialog deletes itself when its threads have left.
    void Cancel();
    bool IsOver() const { return m_bOver; }

    // What it shows now, for tests and assistive tools.
    CWaitDlg* WaitDialog() const { return m_wait.get(); }
    const LevelMeter& Meter() const { return *m_meter; }

protected:
    void OnTimer(std::uint32_t id) override;
    LParam OnMessage(std::uint32_t message, WParam wParam, LParam lParam) override;
    void closeEvent(QCloseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    void OnTalkTimer();
    void OnTalkingNotify(WParam wParam, LParam lParam);
    void OnWaitClosed(int result);
    void StartSend();
    enum class Tone { Plain, Fault };
    void ShowState(const std::string& text, Tone tone);
    void ShowDialog();
    void DropEnded();

    const std::shared_ptr<CBaseCamera> m_camera;
    const MicrophoneFactory m_factory;
    std::function<void()> m_mixerStarted;
    std::function<void()> m_talkEnded;
    bool m_bTalked = false;
    QLabel* m_state;
    LevelMeter* m_meter;
    std::unique_ptr<CWaitDlg> m_wait;
    std::string m_fault;  // of the present try; empty while it works
    std::unique_ptr<TalkSession> m_session;
    std::vector<std::unique_ptr<TalkSession>> m_ending;  // told to end, not ended yet
    bool m_bOver = false;
};

}  // namespace kvmon
