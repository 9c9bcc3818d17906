// Opens named views, saves the wall as one, and runs sequences of them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "console/views/view_list.h"
#include "console/views/view_on_wall.h"
#include "persist/orvo_registry.h"

namespace kvmon {

class CameraList;
class ClientSite;
class Commands;
class ConsoleControls;
class Desk;
class RecorderList;
class ScreenController;
class SequentialMode;
class Timers;
class ViewController;

// User interface thread only.
class ViewSwitch {
public:
    ViewSwitch(Desk& desk, ClientSite& site, Commands& commands, Timers& timers, ConsoleControls& controls,
               ViewController& view, SequentialMode& sequential, ScreenController& screens,
               const CameraList& cameras, const RecorderList& recorders);

    ViewList& List() { return m_list; }
    const ViewList& List() const { return m_list; }
    // Once: reads the stored views, and tells if they cannot be read.
    void Start();

    // Another console has stored them anew.
    void Reload();

    // The wall as it is now. Nothing before there is one.
    std::optional<NamedView> Capture(const std::string& name) const;
    // In the order of their numbers. Nothing before there is a wall.
    std::optional<std::vector<ViewCamera>> CamerasThere() const;
    // The views as the user has edited them. The one on the wall follows when cameras were taken out of it.
    void Change(std::vector<NamedView> views);
    // True if there is a view or a sequence of this name. Before there is a wall it is opened with it.
    bool Open(const std::string& name);
    // By its place in the list. Nothing when there is none.
    void OpenAt(std::size_t place);
    // The present wall under this name, in place of what has it. False when there is no wall, for a name that
    // is none, and when there are as many views as may be.
    bool Save(const std::string& name);

    // The view that was opened last, as long as its cells stand as it has them; empty for none.
    const std::string& Current() const { return m_current; }
    // The sequence that runs; empty for none.
    const std::string& Sequence() const { return m_sequence; }
    // What the status line says of the present view; empty for nothing.
    std::string Note() const;

    // Timer kTimerViewStep.
    void OnStepTimer();
    // The session has begun, or what is known of it is more.
    void OnLoginChanged();
    // Once a second: a list of cameras that has changed gives them their cells anew.
    void OnSecond();
    // The user has chosen a style, a page or a camera by himself; with other cells the view is another, too.
    void OnUserChose(bool bOtherCells);
    // What the wall tells of its cells.
    void OnOrderReset();
    void OnCellCountChanges();
    void OnViewLoaded(const std::string& key);
    void OnViewSaved(const std::string& key);
    // The session ends.
    void Stop();

private:
    bool IsWall() const;
    void Show(const NamedView& view);
    void EndSequence();

    Desk& m_desk;
    ClientSite& m_site;
    Commands& m_commands;
    Timers& m_timers;
    ConsoleControls& m_controls;
    ViewController& m_view;
    SequentialMode& m_sequential;
    ScreenController& m_screens;
    const CameraList& m_cameras;
    ViewOnWall m_wall;
    COrvoRegistry& m_settings = Registry();
    ViewList m_list{m_settings};
    std::string m_wanted;  // to be opened when there is a wall
    std::string m_current;
    std::string m_sequence;
    std::size_t m_step = 0;
    bool m_bShowing = false;  // what the view does now is no user's choice
};

}  // namespace kvmon
