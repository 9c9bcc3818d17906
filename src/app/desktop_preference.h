// What the desktop says about colours.
#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "skin/skin_colours.h"

namespace kvmon {

// The look for the values of org.freedesktop.appearance: color-scheme 1 prefers dark and 2 light, contrast 1
// more of it; nothing when they say nothing.
std::optional<SkinLook> LookOfAppearance(unsigned colorScheme, unsigned contrast);

// The look of the toolkit's colours, where the desktop gave it colours of its own. Before the skin is set.
std::optional<SkinLook> LookOfToolkit();

// Asks the desktop's portal on a thread of its own, and is told of each change. User interface thread only.
class DesktopPreference {
public:
    virtual ~DesktopPreference() = default;
};

// `told` is called in the event loop, for the first time when there is an answer: without a session bus or a
// portal never.
std::unique_ptr<DesktopPreference> WatchDesktopPreference(std::function<void(std::optional<SkinLook>)> told);

}  // namespace kvmon
