// Sequential mode: the pages, or the cameras of the single view, follow each other by themselves.
#pragma once

#include <cstdint>

namespace kvmon {

class ConsoleControls;
struct ConsoleSettings;
class Desk;
class MenuSpots;
class Timers;
class ViewController;

// User interface thread only.
class SequentialMode {
public:
    SequentialMode(Desk& desk, Timers& timers, const MenuSpots& spots, ConsoleControls& controls,
                   ViewController& view, const ConsoleSettings& settings)
        : m_desk(desk),
          m_timers(timers),
          m_spots(spots),
          m_controls(controls),
          m_view(view),
          m_settings(settings) {}

    bool IsOn() const { return m_bOn; }
    // Milliseconds. While the mode is on, a change counts from the next switch.
    std::uint32_t GetInterval() const { return m_dwInterval; }
    void SetInterval(std::uint32_t milliseconds);

    // The button kCtlSequential follows.
    void SetSequentialMode(bool on);
    // Ends the mode when the present style does not rotate; after each change of style.
    void EndIfNotAllowed();

    void OnSwitchTimer();
    void OnPrepareTimer();
    void OnBtnSequential();
    void OnBtnSequentialPage();  // the pages as a menu
    void OpenIntervalDialog();

private:
    void OnIntervalChosen(int seconds);

    Desk& m_desk;
    Timers& m_timers;
    const MenuSpots& m_spots;
    ConsoleControls& m_controls;
    ViewController& m_view;
    const ConsoleSettings& m_settings;
    bool m_bOn = false;
    std::uint32_t m_dwInterval = 5000;
    std::uint32_t m_dwLead = 0;
};

}  // namespace kvmon
