#include <new>

#include "channel/cam_command.h"
#include "persist/log_file.h"

namespace kvmon {

void DoCamCmdLoop(const std::shared_ptr<ChannelCore>& core, ThreadControl& control) {
    while (WaitForRun("DoCamCmdLoop", *core, control)) {
        // Reset first: a command that comes from here on sets the event again.
        control.run.Reset();
        while (control.abort == 0) {
            const auto command = core->m_CamCmdQueue.Pop();
            if (!command) {
                break;
            }
            try {
                ExecuteCamCmd(*core, *command, control);
            } catch (const std::bad_alloc&) {
                Trace("CBaseCamera::DoCamCmdLoop: m_uCHInMainDlg=%u, out of memory....\n",
                      core->m_uCHInMainDlg.load());
            }
        }
        // One that came together with the word to leave the present one.
        if (core->m_CamCmdQueue.GetCount() != 0) {
            control.run.Set();
        }
    }
}

}  // namespace kvmon
