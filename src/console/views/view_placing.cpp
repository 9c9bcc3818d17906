// From a view to the wall.
#include <QtWidgets/QComboBox>
#include <algorithm>

#include "channel/camera/base_camera.h"
#include "console/panel/console_controls.h"
#include "console/views/view_on_wall.h"
#include "console/wall/camera_list.h"
#include "console/wall/view_controller.h"
#include "server/recorder_list.h"

namespace kvmon {

namespace {

// Brings the channels into the order, -1 for a cell that stays empty, and the others behind them. A channel
// may stand on two pages, as a swap leaves it, but not twice on one. Numbers from `firstEmpty` on have no
// camera.
void PlaceOrder(CChannelArray& array, const std::vector<int>& wanted, int firstEmpty) {
    const std::size_t total = array.GetTotalCount();
    const std::size_t perPage = std::max<std::size_t>(array.GetPageSize(), 1);
    std::vector<int> placed(total, -1);
    std::vector<bool> used(total);
    int nextEmpty = firstEmpty;
    for (std::size_t i = 0; i < std::min(total, wanted.size()); ++i) {
        const int channel = wanted[i] >= 0 ? wanted[i] : nextEmpty++;
        const auto page = placed.begin() + static_cast<std::ptrdiff_t>(i - i % perPage);
        const auto here = placed.begin() + static_cast<std::ptrdiff_t>(i);
        if (channel < static_cast<int>(total) && std::find(page, here, channel) == here) {
            *here = channel;
            used[static_cast<std::size_t>(channel)] = true;
        }
    }
    std::size_t unused = 0;
    for (std::size_t i = 0; i < total; ++i) {
        if (placed[i] < 0) {
            while (unused < total && used[unused]) {
                ++unused;
            }
            placed[i] = static_cast<int>(unused++);
        }
        array.SetIdx(static_cast<std::uint32_t>(i), static_cast<std::uint32_t>(placed[i]));
    }
}

bool AreSame(const std::vector<ViewCamera>& a, const std::vector<ViewCamera>& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](const ViewCamera& x, const ViewCamera& y) { return x.IsSame(y); });
}

}  // namespace

// The numbers of the view's cameras: those of channels, and behind them those of cameras that are not there.
struct ViewOnWall::Resolved {
    std::vector<int> numbers;
    std::vector<ViewCamera> absent;

    // -1 for a cell that is to be empty.
    int NumberOf(int place) const {
        return place >= 0 && place < static_cast<int>(numbers.size())
                   ? numbers[static_cast<std::size_t>(place)]
                   : -1;
    }
};

ViewOnWall::ViewOnWall(ConsoleControls& controls, ViewController& view, const CameraList& cameras,
                       const RecorderList& recorders)
    : m_controls(controls), m_view(view), m_cameras(cameras), m_recorders(recorders) {}

ViewOnWall::Resolved ViewOnWall::Resolve(const NamedView& view) const {
    const std::vector<ViewCamera> listed = ListedCameras();
    Resolved resolved;
    for (const ViewCamera& camera : view.cameras) {
        const auto found = std::find_if(listed.begin(), listed.end(),
                                        [&camera](const ViewCamera& each) { return each.IsSame(camera); });
        if (found != listed.end()) {
            resolved.numbers.push_back(static_cast<int>(found - listed.begin()));
        } else {
            resolved.numbers.push_back(static_cast<int>(listed.size() + resolved.absent.size()));
            resolved.absent.push_back(camera);
        }
    }
    return resolved;
}

// The orders are permutations: a cell that is to be empty gets a number that no camera has, and there are as
// many of these as the emptiest order needs. Cameras that the view does not name stand behind its own.
void ViewOnWall::PlaceCameras(const NamedView& view) {
    Forget();
    m_listed = ListedCameras();
    const Resolved resolved = Resolve(view);
    const auto listed = static_cast<int>(m_listed.size());
    const auto absent = static_cast<int>(resolved.absent.size());
    int blanks = 0;
    for (const ViewPages& pages : view.pages) {
        const auto isBlank = [&resolved](int place) { return resolved.NumberOf(place) < 0; };
        blanks = std::max(blanks,
                          static_cast<int>(std::count_if(pages.cells.begin(), pages.cells.end(), isBlank)));
    }
    m_view.SetEmptyCells(absent + blanks);
    m_absent = resolved.absent;
    m_bKnown = true;
    for (const ViewZoom& zoom : view.zooms) {
        m_zooms.push_back({view.cameras[static_cast<std::size_t>(zoom.camera)], zoom.state});
    }
    for (const NamedOrder& order : AllOrders(m_view.Orders())) {
        const auto pages = std::find_if(view.pages.begin(), view.pages.end(),
                                        [&order](const ViewPages& each) { return each.style == order.name; });
        if (pages == view.pages.end()) {
            continue;
        }
        std::vector<int> wanted;
        for (const int place : pages->cells) {
            wanted.push_back(resolved.NumberOf(place));
        }
        PlaceOrder(*order.array, wanted, listed + absent);
    }
    if (std::all_of(view.pip.begin(), view.pip.end(), [](int place) { return place < 0; })) {
        return;  // a file need not name them
    }
    int nextBlank = listed + absent;
    for (std::size_t i = 0; i < view.pip.size(); ++i) {
        const int number = resolved.NumberOf(view.pip[i]);
        m_view.Orders().PipList()[i] = static_cast<std::uint32_t>(number >= 0 ? number : nextBlank++);
    }
}

void ViewOnWall::ShowPages(const NamedView& view) {
    const auto style = static_cast<ViewStyle>(view.style);
    m_view.Orders().Custom().SetStyleAndPage(0, view.customStyle);
    for (const NamedOrder& order : AllOrders(m_view.Orders())) {
        for (const ViewPages& pages : view.pages) {
            if (pages.style == order.name) {
                order.array->SetCurPage(pages.page);
            }
        }
    }
    m_view.LoadMaxViewMode(view.bMaxView);
    m_controls.SetPressed(kCtlViewSize, view.bMaxView);
    if (style == VIEW_STYLE_PIP) {
        m_view.SetPipChildren(view.pipChildren);
        m_view.ShowCombo(false);
    }
    m_view.ViewStyleChanged(style, {.bUpdateButtons = true, .bForce = true});
    if (style == VIEW_STYLE_SINGLE_1CH && view.single >= 0) {
        const int item = m_view.Combo().findData(Resolve(view).NumberOf(view.single));
        if (item >= 0) {
            m_view.Combo().setCurrentIndex(item);
            m_view.OnSelchangePage();
        }
    }
}

void ViewOnWall::ApplyZooms(const NamedView& view) const {
    const Resolved resolved = Resolve(view);
    for (std::size_t i = 0; i < view.cameras.size(); ++i) {
        const auto camera = m_cameras.GetCameraByChannel(resolved.numbers[i]);
        if (!camera) {
            continue;
        }
        const auto zoom = std::find_if(view.zooms.begin(), view.zooms.end(), [i](const ViewZoom& each) {
            return static_cast<std::size_t>(each.camera) == i;
        });
        if (zoom != view.zooms.end()) {
            camera->RestoreZoom(zoom->state);
        } else {
            camera->SetDigitalZoom(false);
        }
    }
    m_view.RepaintCaptions();
}

bool ViewOnWall::HasChanged() const {
    return m_bKnown && (m_before || !AreSame(ListedCameras(), m_listed));
}

void ViewOnWall::BeforeCountChanges() {
    if (m_bKnown && !m_before) {
        m_before = ReadCells();
    }
}

std::vector<std::string> ViewOnWall::AbsentNames() const {
    std::vector<std::string> names;
    for (const ViewCamera& camera : m_absent) {
        names.push_back(camera.name.empty() ? camera.host : camera.name);
    }
    return names;
}

void ViewOnWall::NotePlaces() {
    if (!m_bKnown) {
        m_listed = ListedCameras();
        m_bKnown = true;
    }
}

void ViewOnWall::Forget() {
    m_bKnown = false;
    m_listed.clear();
    m_absent.clear();
    m_zooms.clear();
    m_before.reset();
}

}  // namespace kvmon
