// The choice of a style, and what it means for sequential mode.
#pragma once

#include <cstdint>

#include "console/layout/view_style.h"

namespace kvmon {

class ConsoleControls;
class SequentialMode;
class ViewController;

// User interface thread only.
class StyleCommand {
public:
    StyleCommand(ViewController& view, SequentialMode& sequential, ConsoleControls& controls)
        : m_view(view), m_sequential(sequential), m_controls(controls) {}

    // Commands kCtlFirstStyle to kCtl12Channels.
    void SelectStyle(ViewStyle style);
    // An item of the menu of kCtlLastStyle.
    void SelectCustomStyle(std::uint32_t customStyle);

private:
    ViewController& m_view;
    SequentialMode& m_sequential;
    ConsoleControls& m_controls;
};

}  // namespace kvmon
