// The whole program with a wall of films on a display, and the recorder behind it.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "child_process.h"
#include "content/coded_pictures.h"
#include "display.h"
#include "started_program.h"

namespace kvbench {

// A grid of cells that all show one kind of film.
struct WallKind {
    kvtest::Coding coding;
    int width;
    int height;
    int bitrate;
    int columns;
    int rows;
    int cellWidth;
    int cellHeight;
    std::uint32_t style;  // of kvmon, as it is stored
    std::uint32_t customStyle;
    int reordered = 0;  // pictures between two that others refer to
    int channels = 0;   // of the recorder; 0: one for each cell

    int Cells() const { return columns * rows; }
    std::string Name() const;
};

inline constexpr std::uint32_t kStyleFour = 2;
inline constexpr std::uint32_t kStyleCustom = 8;

struct Programs {
    std::string monitor = "build/bin/kvmon";
    std::string recorder = "build/bin/kvrecorder";
};

// For this object's life.
class LiveWall {
public:
    // Files go to the folder. `front` is told the recorder's port and gives the one to connect to.
    LiveWall(const Programs& programs, const WallKind& kind, const std::string& film,
             const std::string& folder, const Display& display, const std::function<int(int)>& front = {});

    pid_t Monitor() const { return m_monitor->Process(); }

private:
    std::unique_ptr<ChildProcess> m_recorder;
    std::unique_ptr<StartedProgram> m_monitor;
};

}  // namespace kvbench
