// From the wall to a view.
#include <algorithm>
#include <utility>

#include "channel/camera/base_camera.h"
#include "console/views/view_on_wall.h"
#include "console/wall/camera_list.h"
#include "console/wall/view_controller.h"
#include "server/recorder_list.h"

namespace kvmon {

namespace {

// Makes the list of a view's cameras while the wall is read. The numbers of absent cameras come behind those
// of the listed.
class Collector {
public:
    Collector(std::vector<ViewCamera> listed, const std::vector<ViewCamera>& absent,
              std::vector<ViewCamera>& cameras)
        : m_numbered(std::move(listed)), m_cameras(cameras) {
        m_numbered.insert(m_numbered.end(), absent.begin(), absent.end());
        m_places.assign(m_numbered.size(), -1);
    }

    // The channel's place in the view's list; -1 for a number that is no camera's.
    int PlaceOf(int channel) {
        if (channel < 0 || channel >= static_cast<int>(m_numbered.size())) {
            return -1;
        }
        int& place = m_places[static_cast<std::size_t>(channel)];
        if (place < 0) {
            place = static_cast<int>(m_cameras.size());
            m_cameras.push_back(m_numbered[static_cast<std::size_t>(channel)]);
        }
        return place;
    }

private:
    std::vector<ViewCamera> m_numbered;
    std::vector<ViewCamera>& m_cameras;
    std::vector<int> m_places;
};

}  // namespace

std::vector<NamedOrder> AllOrders(ChannelOrders& orders) {
    std::vector<NamedOrder> all;
    for (int style = VIEW_STYLE_4CH; style < VIEW_STYLE_CUSTOM; ++style) {
        CChannelArray* const array = orders.Find(static_cast<ViewStyle>(style));
        all.push_back({std::to_string(array->GetPageSize()), array});
    }
    for (std::uint32_t grid = 0; grid < CCustomChannelStyle::kStyleCount; ++grid) {
        std::string name = CCustomChannelStyle::MenuText(grid);  // "4 x 4"
        std::erase(name, ' ');
        all.push_back({name, &orders.Custom().Get(grid)});
    }
    return all;
}

std::vector<ViewCamera> ViewOnWall::ListedCameras() const {
    std::vector<ViewCamera> listed;
    for (int n = 0; n < m_cameras.GetCount(); ++n) {
        const CKelvaraInfo* const server = m_recorders.GetServer(m_cameras.Get(n).server);
        const auto camera = m_cameras.GetCameraByChannel(n);
        ViewCamera entry;
        if (server != nullptr && camera) {
            entry = {server->GetHost(), server->GetPort(), static_cast<int>(camera->GetCHInKelvara()),
                     camera->GetCameraName()};
        }
        listed.push_back(std::move(entry));
    }
    return listed;
}

NamedView ViewOnWall::Read(const std::string& name) const {
    NamedView view = m_before ? *m_before : ReadCells();
    view.name = name;
    return view;
}

NamedView ViewOnWall::ReadCells() const {
    NamedView view;
    view.style = m_view.CheckedStyle();
    view.customStyle = std::min(m_view.Orders().Custom().GetStyle(), CCustomChannelStyle::kStyleCount - 1);
    view.bMaxView = m_view.IsMaxViewMode();
    view.bFullScreen = m_view.IsFullScreen();
    view.bSecondDisplay = m_view.HasSecondPanel();
    Collector collect(m_bKnown ? m_listed : ListedCameras(), m_absent, view.cameras);
    for (const NamedOrder& order : AllOrders(m_view.Orders())) {
        ViewPages pages{order.name, order.array->GetCurPage(), {}};
        const std::uint32_t count = std::min<std::uint32_t>(order.array->GetTotalCount(), kMaxViewCells);
        for (std::uint32_t i = 0; i < count; ++i) {
            pages.cells.push_back(collect.PlaceOf(static_cast<int>(order.array->GetIdx(i))));
        }
        while (!pages.cells.empty() && pages.cells.back() < 0) {
            pages.cells.pop_back();
        }
        view.pages.push_back(std::move(pages));
    }
    for (std::size_t i = 0; i < view.pip.size(); ++i) {
        view.pip[i] = collect.PlaceOf(static_cast<int>(m_view.Orders().PipList()[i]));
    }
    view.pipChildren = m_view.PipChildren();
    view.single = collect.PlaceOf(m_view.GetSelectedChannel());
    ReadZooms(view);
    return view;
}

// Those of cameras that are not there as the view had them.
void ViewOnWall::ReadZooms(NamedView& view) const {
    const std::vector<ViewCamera> listed = ListedCameras();
    for (std::size_t i = 0; i < view.cameras.size(); ++i) {
        const auto isSame = [&](const auto& each) { return each.IsSame(view.cameras[i]); };
        const auto there = std::find_if(listed.begin(), listed.end(), isSame);
        if (there != listed.end()) {
            const auto camera = m_cameras.GetCameraByChannel(static_cast<int>(there - listed.begin()));
            if (camera && camera->IsDigitalZoom()) {
                view.zooms.push_back({static_cast<int>(i), camera->GetZoom()});
            }
            continue;
        }
        const auto had = std::find_if(m_zooms.begin(), m_zooms.end(),
                                      [&](const CameraZoom& each) { return isSame(each.camera); });
        if (had != m_zooms.end()) {
            view.zooms.push_back({static_cast<int>(i), had->state});
        }
    }
}

}  // namespace kvmon
