// How many cameras have come, while a session begins.
#pragma once

#include "console/wall/progress_box.h"

namespace kvmon {

class CellPool;
class Commands;
class Desk;
class ViewController;

// Looks once a second. A few cameras are there before anybody could read it; those that do not come are the
// status line's to tell. User interface thread only.
class ConnectProgress {
public:
    ConnectProgress(Desk& desk, Commands& commands, const ViewController& view, const CellPool& cells)
        : m_desk(desk), m_commands(commands), m_cells(cells), m_box(desk, view) {}

    void OnSecond();
    // The wall has another place.
    void Place() { m_box.Place(); }
    // The session ends.
    void Stop();

private:
    void End();

    Desk& m_desk;
    Commands& m_commands;
    const CellPool& m_cells;
    ProgressBox m_box;
    bool m_bOver = false;  // of this session
    int m_seconds = 0;
    int m_live = 0;
    int m_still = 0;  // seconds without another one
};

}  // namespace kvmon
