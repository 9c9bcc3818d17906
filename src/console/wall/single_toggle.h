// One camera alone, and back to the arrangement that it was chosen from.
#pragma once

#include <optional>

#include "console/layout/view_style.h"

namespace kvmon {

class CameraList;
class CellPool;
class Commands;
class Desk;
class StyleCommand;
class ViewController;

// User interface thread only.
class SingleToggle {
public:
    SingleToggle(const Desk& desk, Commands& commands, const CellPool& cells, const CameraList& cameras,
                 ViewController& view, StyleCommand& styles)
        : m_desk(desk),
          m_commands(commands),
          m_cells(cells),
          m_cameras(cameras),
          m_view(view),
          m_styles(styles) {}

    // By a double click or by Enter. Nothing before there is a wall.
    void Toggle();
    // The wall was laid out: what it shows is what one comes back to.
    void OnWallChanged();

private:
    void GoBack();

    const Desk& m_desk;
    Commands& m_commands;
    const CellPool& m_cells;
    const CameraList& m_cameras;
    ViewController& m_view;
    StyleCommand& m_styles;
    std::optional<ViewStyle> m_before;
};

}  // namespace kvmon
