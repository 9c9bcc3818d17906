#include "console/views/absent_cameras.h"

#include <algorithm>

namespace kvmon {

std::vector<int> AbsentPlaces(const NamedView& view, const std::vector<ViewCamera>& there) {
    std::vector<int> places;
    for (std::size_t i = 0; i < view.cameras.size(); ++i) {
        const bool bThere = std::any_of(there.begin(), there.end(),
                                        [&](const ViewCamera& each) { return each.IsSame(view.cameras[i]); });
        if (!bThere) {
            places.push_back(static_cast<int>(i));
        }
    }
    return places;
}

void TakeOut(NamedView& view, int place) {
    const auto leave = [place](int& other) { other = other == place ? -1 : other - (other > place ? 1 : 0); };
    for (ViewPages& pages : view.pages) {
        std::for_each(pages.cells.begin(), pages.cells.end(), leave);
    }
    std::for_each(view.pip.begin(), view.pip.end(), leave);
    leave(view.single);
    std::erase_if(view.zooms, [place](const ViewZoom& zoom) { return zoom.camera == place; });
    for (ViewZoom& zoom : view.zooms) {
        leave(zoom.camera);
    }
    view.cameras.erase(view.cameras.begin() + place);
}

}  // namespace kvmon
