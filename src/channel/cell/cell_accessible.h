// A cell as assistive tools see it.
#pragma once

namespace kvmon {

class CVideoWnd;

// From here on cells are told as pictures that can be chosen. A second call does nothing.
void InstallCellAccessibility();
// The cell became the active one, or is it no longer.
void TellSelected(CVideoWnd& cell);

}  // namespace kvmon
