// Skin buttons for screen readers and other assistive tools.
#pragma once

namespace kvmon {

// From here on skin buttons are told as buttons, check boxes and radio buttons with their press action.
// Again is nothing.
void InstallButtonAccessibility();

}  // namespace kvmon
