// Which look the program has: the user's choice, or what the desktop around it prefers.
#pragma once

#include <cstdint>
#include <optional>

#include "skin/skin_colours.h"

class QApplication;

namespace kvmon {

// As the settings store it.
enum class LookChoice : std::uint8_t { Desktop = 0, Dark = 1, Light = 2, HighContrast = 3 };

// A number that is no choice is the desktop's.
LookChoice LookChoiceOf(std::uint32_t number);

// User interface thread only. The application must outlive it.
class LookKeeper {
public:
    // `system` is the look of the toolkit's own colours, where the desktop gives it some.
    LookKeeper(QApplication& app, LookChoice choice, std::optional<SkinLook> system);

    void Choose(LookChoice choice);
    LookChoice Choice() const { return m_choice; }
    // What the desktop says that its user prefers; nothing if it says nothing.
    void OnDesktop(std::optional<SkinLook> preferred);
    SkinLook Look() const { return m_look; }

private:
    SkinLook Wanted() const;
    void Apply();

    QApplication& m_app;
    LookChoice m_choice;
    const std::optional<SkinLook> m_system;
    std::optional<SkinLook> m_desktop;
    SkinLook m_look;
};

}  // namespace kvmon
