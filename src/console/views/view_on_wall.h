// What a named view and the wall have in common: reads the one from the other, and brings it back.
#pragma once

#include <optional>
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

// Once a view has been placed or saved, the cells are known by their cameras' addresses: cameras that are not
// there have cells that stay empty. These have numbers beyond those of the cameras, so that the next view
// that is read from the wall has the cameras still, wherever the user has brought their cells meanwhile, and
// whichever cameras have come and gone. User interface thread only.
class ViewOnWall {
public:
    ViewOnWall(ConsoleControls& controls, ViewController& view, const CameraList& cameras,
               const RecorderList& recorders);

    // The wall as it is now; while the cameras change, as it was before.
    NamedView Read(const std::string& name) const;
    // What was read stands for the wall from now on.
    void NotePlaces();

    // The cells of all pages.
    void PlaceCameras(const NamedView& view);
    // The style with its page, after that.
    void ShowPages(const NamedView& view);
    void ApplyZooms(const NamedView& view) const;

    // The cells are known by cameras.
    bool IsKnown() const { return m_bKnown; }
    // The orders are about to have room for other numbers than those that stand in them.
    void BeforeCountChanges();
    // The numbers in the cells do not mean the cameras any more for which these were placed.
    bool HasChanged() const;
    // Those that are there, in the order of their channel numbers.
    std::vector<ViewCamera> ListedCameras() const;
    // Names of the view's cameras that are not there.
    std::vector<std::string> AbsentNames() const;
    // The cells mean what their numbers say: the session ends, or the order is reset.
    void Forget();

private:
    struct Resolved;
    struct CameraZoom {
        ViewCamera camera;
        DigitalZoom::State state;
    };

    NamedView ReadCells() const;
    void ReadZooms(NamedView& view) const;
    Resolved Resolve(const NamedView& view) const;

    ConsoleControls& m_controls;
    ViewController& m_view;
    const CameraList& m_cameras;
    const RecorderList& m_recorders;
    bool m_bKnown = false;
    std::vector<ViewCamera> m_listed;   // the cameras for which the cells were placed
    std::vector<ViewCamera> m_absent;   // their numbers come behind those of the listed
    std::vector<CameraZoom> m_zooms;    // as the view had them, for cameras that are not there
    std::optional<NamedView> m_before;  // what the wall was until the count changed
};

// All orders: those of the styles with pages, and those of the custom grids.
struct NamedOrder {
    std::string name;
    CChannelArray* array;
};
std::vector<NamedOrder> AllOrders(ChannelOrders& orders);

}  // namespace kvmon
