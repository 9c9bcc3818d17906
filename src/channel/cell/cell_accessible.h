// A cell as assistive tools see it.
#pragma once

class QWidget;

namespace kvmon {

// What assistive tools can ask of a cell, which is a widget.
class AccessibleCell {
public:
    virtual bool IsWindowActive() const = 0;
    // Its menu; and the camera alone, or back.
    virtual void AskForMenu() = 0;
    virtual void AskForAlone() = 0;

protected:
    ~AccessibleCell() = default;
};

// From here on cells are told as pictures that can be chosen. A second call does nothing.
void InstallCellAccessibility();
// The cell became the active one, or is it no longer.
void TellSelected(QWidget& cell);

}  // namespace kvmon
