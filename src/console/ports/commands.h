// What a subject asks of the console's table of commands.
#pragma once

#include <cstdint>

namespace kvmon {

// User interface thread only. All but Run, Hold and Release come later than the caller.
class Commands {
public:
    virtual ~Commands() = default;

    // Toggles the control's press, when there is one, and has its command run. One that is disabled takes
    // none.
    virtual void Press(int id) = 0;
    // The same for the choice from a camera's menu.
    virtual void PressMenuEntry(int id) = 0;
    // At once.
    virtual void Run(int id) = 0;
    // A command of the head is held from here on.
    virtual void Hold(int id) = 0;
    // It is not held any more.
    virtual void Release(int id) = 0;
    // The panel shows what the active camera can do now; many calls together are one.
    virtual void RefreshControls() = 0;
    // Acts as if this recorder had told of a change: a code of WM_UPDATEVSINFO.
    virtual void AskFor(std::uint32_t code, int server) = 0;
};

}  // namespace kvmon
