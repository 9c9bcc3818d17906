// What a named view and the wall have in common: reads the one from the other, and brings it back.
#pragma once

#include <string>
#include <vector>

#include "console/views/named_view.h"

namespace kvmon {

class CChannelArray;
class CameraList;
class ChannelOrders;
class ConsoleControls;
class RecorderList;
class ViewController;

// Cameras of a view that are not there have cells that stay empty. These are known by numbers beyond those of
// the cameras, so that the next view that is read from the wall has the cameras still, wherever the user has
// brought their cells meanwhile. User interface thread only.
class ViewOnWall {
public:
    ViewOnWall(ConsoleControls& controls, ViewController& view, const CameraList& cameras,
               const RecorderList& recorders);

    // The wall as it is now.
    NamedView Read(const std::string& name) const;
    // The view of this name as it was stored before: where its cells have stayed empty, for cameras that are
    // not there now, they keep them. True if there are any.
    bool KeepAbsent(NamedView& view, const NamedView& before) const;
    // What was read stands for the wall from now on.
    void NotePlaces();

    // The cells of all pages.
    void PlaceCameras(const NamedView& view);
    // The style with its page, after that.
    void ShowPages(const NamedView& view);
    void ApplyZooms(const NamedView& view) const;

    // The cameras are not those any more for which the cells were placed.
    bool HasListChanged() const;
    // Names of the placed view's cameras that are not there.
    std::vector<std::string> AbsentNames() const;
    // The session ends.
    void Forget();

private:
    struct Resolved;

    std::vector<ViewCamera> ListedCameras() const;
    // As long as their cells are there.
    std::vector<ViewCamera> AbsentCameras() const;
    Resolved Resolve(const NamedView& view) const;

    ConsoleControls& m_controls;
    ViewController& m_view;
    const CameraList& m_cameras;
    const RecorderList& m_recorders;
    std::vector<ViewCamera> m_listed;  // the cameras for which the cells were placed
    std::vector<ViewCamera> m_absent;  // their numbers come behind those of the listed
    std::vector<ViewZoom> m_absentZooms;
};

// All orders: those of the styles with pages, and those of the custom grids.
struct NamedOrder {
    std::string name;
    CChannelArray* array;
};
std::vector<NamedOrder> AllOrders(ChannelOrders& orders);

}  // namespace kvmon
