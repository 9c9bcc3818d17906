// The controls of the console's panel, as states: what is pressed, shown and enabled.
#pragma once

#include <functional>
#include <map>
#include <span>

#include "skin/skin_table.h"

namespace kvmon {

// The panel's rows, in the order of creation. Positions are those of a console of 1000 x 680.
std::span<const SkinControlRow> ControlTable();
// Buttons of the commands that the panel has no place for, created after it: more arrangements, recording,
// menus and the tools below.
std::span<const SkinControlRow> ToolTable();

// Control identifiers that the logic names.
enum ControlId : int {
    kCtlServerName = 239,
    kCtlServerModel = 240,
    kCtlMultiScreens = 1600,
    kCtlMultiServers = 1601,
    kCtlLanguage = 1602,
    kCtlGotoPage1 = 1604,
    kCtlOptions = 1605,
    kCtlGotoPage2 = 1606,
    kCtlHelp = 1607,
    kCtlLogout = 1608,
    kCtlOrderReset = 1609,
    kCtlCameraSettings = 1610,
    kCtlMainMenu = 1612,
    kCtlRecorders = 1613,
    kCtlCameraList = 1614,
    kCtlPipSettings = 1650,
    kCtlFirstStyle = 1651,
    kCtlPip = 1652,
    kCtl4Channels = 1653,
    kCtl6Channels = 1654,
    kCtl8Channels = 1655,
    kCtl9Channels = 1656,
    kCtl10Channels = 1657,
    kCtl12Channels = 1658,
    kCtlLastStyle = 1659,
    kCtlViewSize = 1660,
    kCtlFullScreen = 1661,
    kCtlSequential = 1662,
    kCtlSequentialInterval = 1663,
    kCtlPageMenu = 1664,
    kCtlSnapshot = 1750,
    kCtlRecord = 1751,
    kCtlAudio = 1752,
    kCtlTalk = 1753,
    kCtlCameraHome = 1754,
    kCtlFirstPtz = 1800,
    kCtlLastPtz = 1820,
    kCtlPresetMenu = 1953,
    kCtlPageCombo = 2529,
};

// The states of the rows of both tables. One listener, the window, is told of each change. An id without a
// row is never pressed, and setting it does nothing.
class ConsoleControls {
public:
    struct State {
        bool pressed = false;
        bool shown = false;
        bool enabled = true;
        bool busy = false;
        friend bool operator==(const State&, const State&) = default;
    };

    ConsoleControls();

    bool Exists(int id) const { return m_states.contains(id); }
    State Get(int id) const;
    bool IsPressed(int id) const { return Get(id).pressed; }
    void SetPressed(int id, bool on);
    void SetShown(int id, bool on);
    void SetEnabled(int id, bool on);
    void SetBusy(int id, bool on);

    void SetListener(std::function<void(int id, const State&)> listener) { m_listener = std::move(listener); }

private:
    void Change(int id, bool State::*member, bool value);

    std::map<int, State> m_states;
    std::function<void(int, const State&)> m_listener;
};

}  // namespace kvmon
