// What a skin button tells and asks its dialog.
#pragma once

#include <string>

#include "platform/window_handle.h"

namespace kvmon {

class CXSkinODButton;

// Codes of OnSkinODButtonNotify.
inline constexpr int kClicked = 0;

class SkinButtonOwner {
public:
    // A button was clicked. Returns 0 when that is the end of it; else PostCommand follows, as after 1.
    virtual int OnSkinODButtonNotify(int nId, int nCode, LParam lParam) = 0;
    // The tool tip of a button is about to show. The text is that of the table and may be changed; false
    // shows none.
    virtual bool OnSkinToolTipNeedTextNotify(CXSkinODButton& button, std::string& text) = 0;
    // The command of the identifier was chosen, and comes to the owner in its turn.
    virtual void PostCommand(int nId) = 0;

protected:
    ~SkinButtonOwner() = default;
};

}  // namespace kvmon
