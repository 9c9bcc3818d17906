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

bool IsAmong(const std::vector<ViewCamera>& cameras, const ViewCamera& camera) {
    return std::any_of(cameras.begin(), cameras.end(),
                       [&camera](const ViewCamera& each) { return each.IsSame(camera); });
}

// Fills what is free.
class Keeper {
public:
    Keeper(NamedView& view, const NamedView& before, const std::vector<ViewCamera>& listed)
        : m_view(view), m_before(before) {
        for (const ViewCamera& camera : before.cameras) {
            m_places.push_back(IsAmong(listed, camera) || IsAmong(view.cameras, camera) ? kOther : kUnused);
        }
    }

    void Keep(int& cell, int before) {
        int& place = before >= 0 && cell < 0 ? m_places[static_cast<std::size_t>(before)] : m_none;
        if (place == kUnused && m_view.cameras.size() < kMaxViewCells) {
            place = static_cast<int>(m_view.cameras.size());
            m_view.cameras.push_back(m_before.cameras[static_cast<std::size_t>(before)]);
        }
        cell = place >= 0 ? place : cell;
    }
    // -1 for a camera that was not kept.
    int PlaceOf(int before) const { return m_places[static_cast<std::size_t>(before)]; }

private:
    static constexpr int kOther = -1;   // it is there, or is kept already
    static constexpr int kUnused = -2;  // not kept yet

    NamedView& m_view;
    const NamedView& m_before;
    std::vector<int> m_places;
    int m_none = kOther;
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

// In the order of their channel numbers.
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
    NamedView view;
    view.name = name;
    view.style = m_view.CheckedStyle();
    view.customStyle = std::min(m_view.Orders().Custom().GetStyle(), CCustomChannelStyle::kStyleCount - 1);
    view.bMaxView = m_view.IsMaxViewMode();
    view.bFullScreen = m_view.IsFullScreen();
    view.bSecondDisplay = m_view.HasSecondPanel();
    const std::vector<ViewCamera> absent = AbsentCameras();
    Collector collect(ListedCameras(), absent, view.cameras);
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
    for (int n = 0; n < m_cameras.GetCount(); ++n) {
        const auto camera = m_cameras.GetCameraByChannel(n);
        if (camera && camera->IsDigitalZoom()) {
            view.zooms.push_back({collect.PlaceOf(n), camera->GetZoom()});
        }
    }
    for (const ViewZoom& zoom : absent.empty() ? std::vector<ViewZoom>() : m_absentZooms) {
        view.zooms.push_back({collect.PlaceOf(m_cameras.GetCount() + zoom.camera), zoom.state});
    }
    return view;
}

bool ViewOnWall::KeepAbsent(NamedView& view, const NamedView& before) const {
    const std::size_t cameras = view.cameras.size();
    Keeper keeper(view, before, ListedCameras());
    for (const ViewPages& old : before.pages) {
        const auto pages = std::find_if(view.pages.begin(), view.pages.end(),
                                        [&old](const ViewPages& each) { return each.style == old.style; });
        if (pages == view.pages.end()) {
            continue;
        }
        pages->cells.resize(std::max(pages->cells.size(), old.cells.size()), -1);
        for (std::size_t i = 0; i < old.cells.size(); ++i) {
            keeper.Keep(pages->cells[i], old.cells[i]);
        }
        while (!pages->cells.empty() && pages->cells.back() < 0) {
            pages->cells.pop_back();
        }
    }
    for (std::size_t i = 0; i < view.pip.size(); ++i) {
        keeper.Keep(view.pip[i], before.pip[i]);
    }
    for (const ViewZoom& zoom : before.zooms) {
        if (const int place = keeper.PlaceOf(zoom.camera); place >= 0) {
            view.zooms.push_back({place, zoom.state});
        }
    }
    return view.cameras.size() > cameras;
}

}  // namespace kvmon
