#include "channel/command/cam_cmd_loop.h"

#include "channel/base/cam_commands.h"
#include "channel/base/channel_thread.h"
#include "channel/base/channel_windows.h"
#include "channel/base/own_fault_texts.h"
#include "channel/command/cam_command.h"
#include "channel/source/stream_source.h"
#include "persist/log_file.h"
#include "platform/retry_pause.h"

namespace kvmon {

namespace {

// What is to be read of a camera is read a little later. A move that comes late would surprise whoever wanted
// it.
void RepeatReading(const CommandParts& parts, const CamCmd& command, std::uint32_t nFailures) {
    constexpr Milliseconds kRound{500};
    if (command.dwCmd != kCmdReadCameraInfo && command.dwCmd != kCmdReadPresetFormat) {
        return;
    }
    ThreadControl& control = parts.control;
    for (Milliseconds left = RetryPause(nFailures); left > Milliseconds(0) && control.abort == 0;
         left -= kRound) {
        if (parts.clock.Wait(control.exit, kRound) || parts.queue.GetCount() != 0) {
            break;  // the user's command goes first
        }
    }
    TryStep("CBaseCamera::AddCamCmd", [&] { parts.queue.Push(command); });
    control.run.Set();
}

}  // namespace

void DoCamCmdLoop(const CommandParts& parts) {
    std::uint32_t nFailures = 0;
    ThreadControl& control = parts.control;
    while (WaitForRun("DoCamCmdLoop", parts.clock, parts.source.m_uCHInMainDlg, control)) {
        // Reset first: a command that comes from here on sets the event again.
        control.run.Reset();
        while (control.abort == 0) {
            const auto command = parts.queue.Pop();
            if (!command) {
                break;
            }
            try {
                ExecuteCamCmd(parts, *command);
                nFailures = 0;
            } catch (...) {
                const Caught caught = TakeCaught();
                Trace("CBaseCamera::DoCamCmdLoop: m_uCHInMainDlg=%u, an exception: %s....\n",
                      parts.source.m_uCHInMainDlg.load(), caught.what.data());
                TryStep("CBaseCamera::ShowText", [&] { parts.windows.ShowText(TextOf(caught.fault)); });
                RepeatReading(parts, *command, ++nFailures);
            }
        }
        // One that came together with the word to leave the present one.
        if (parts.queue.GetCount() != 0) {
            control.run.Set();
        }
    }
}

}  // namespace kvmon
