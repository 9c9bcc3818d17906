#include "channel/command/cam_cmd_loop.h"

#include <optional>
#include <utility>

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

// Is tried again. A move that comes late would surprise whoever wanted it.
bool IsReading(const CamCmd& command) {
    return command.dwCmd == kCmdReadCameraInfo || command.dwCmd == kCmdReadPresetFormat;
}

// The user's commands go first.
void WaitBeforeReading(const CommandParts& parts, std::uint32_t nFailures) {
    constexpr Milliseconds kRound{500};
    for (Milliseconds left = RetryPause(nFailures);
         left > Milliseconds(0) && parts.control.abort == 0 && parts.queue.GetCount() == 0; left -= kRound) {
        if (parts.clock.Wait(parts.control.exit, kRound)) {
            return;
        }
    }
}

}  // namespace

void DoCamCmdLoop(const CommandParts& parts) {
    std::uint32_t nFailures = 0;
    std::optional<CamCmd> unread;  // not in the queue, which may have no memory for it
    ThreadControl& control = parts.control;
    while (WaitForRun("DoCamCmdLoop", parts.clock, parts.source.m_uCHInMainDlg, control)) {
        // Reset first: a command that comes from here on sets the event again.
        control.run.Reset();
        while (control.abort == 0) {
            auto command = parts.queue.Pop();
            if (!command) {
                command = std::exchange(unread, std::nullopt);
            }
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
                if (IsReading(*command)) {
                    unread = command;
                    WaitBeforeReading(parts, ++nFailures);
                }
            }
        }
        // One that came together with the word to leave the present one.
        if (parts.queue.GetCount() != 0 || unread) {
            control.run.Set();
        }
    }
}

}  // namespace kvmon
