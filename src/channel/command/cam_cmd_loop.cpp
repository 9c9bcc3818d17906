#include "channel/command/cam_cmd_loop.h"

#include <new>

#include "channel/base/channel_thread.h"
#include "channel/command/cam_command.h"
#include "channel/source/stream_source.h"
#include "persist/log_file.h"

namespace kvmon {

void DoCamCmdLoop(const CommandParts& parts) {
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
            } catch (const std::bad_alloc&) {
                Trace("CBaseCamera::DoCamCmdLoop: m_uCHInMainDlg=%u, out of memory....\n",
                      parts.source.m_uCHInMainDlg.load());
            }
        }
        // One that came together with the word to leave the present one.
        if (parts.queue.GetCount() != 0) {
            control.run.Set();
        }
    }
}

}  // namespace kvmon
