// What the view and the displays tell to those who stand above them.
#pragma once

#include <string>

namespace kvmon {

// User interface thread only.
class WallEvents {
public:
    virtual ~WallEvents() = default;

    // Cells are about to get other places.
    virtual void OnPlacesChange() = 0;
    // The layout or the cameras are others: what is written about them must follow.
    virtual void OnWallChanged() = 0;
    virtual void OnActiveCellChanged() = 0;
    // The user has chosen a style, a page or a camera, or has given cells other cameras.
    virtual void OnUserChose(bool bOtherCells) = 0;
    // All cells are about to be as at first.
    virtual void OnOrderReset() = 0;
    // The orders are about to have room for more or fewer cells, and may lose what stands in them.
    virtual void OnCellCountChanges() = 0;
    // The view has been read from the settings, or written there, under this key.
    virtual void OnViewLoaded(const std::string& key) = 0;
    virtual void OnViewSaved(const std::string& key) = 0;
    // The view has taken its windows from the second display.
    virtual void OnSecondPanelUnused() = 0;
    // The wall is on another window, or that window has another size: what lies over it must move, too.
    virtual void OnWallMoved() = 0;
    // A panel covers another display, or one that covered one has gone.
    virtual void OnDisplaysChanged() = 0;
    // A panel is about to go, with what stands on it.
    virtual void OnPanelGoes() = 0;
};

}  // namespace kvmon
