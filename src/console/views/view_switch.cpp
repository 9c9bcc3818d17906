#include "console/views/view_switch.h"

#include <QtWidgets/QComboBox>
#include <algorithm>
#include <utility>

#include "channel/camera/base_camera.h"
#include "console/panel/console_controls.h"
#include "console/ports/commands.h"
#include "console/ports/console_messages.h"
#include "console/ports/desk.h"
#include "console/ports/timers.h"
#include "console/settings/fill_pattern.h"
#include "console/views/view_file.h"
#include "console/wall/camera_list.h"
#include "console/wall/screen_controller.h"
#include "console/wall/sequential_mode.h"
#include "console/wall/view_controller.h"
#include "persist/string_table.h"
#include "server/recorder_list.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kStrWarning = 5026;
constexpr std::uint32_t kStrMissing = 7110;
constexpr std::uint32_t kStrUnreadable = 7111;
constexpr std::size_t kMissingTold = 3;

// All orders: those of the styles with pages, and those of the custom grids.
struct NamedOrder {
    std::string name;
    CChannelArray* array;
};

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

}  // namespace

class ViewSwitch::Collector {
public:
    Collector(const std::vector<ViewCamera>& listed, std::vector<ViewCamera>& cameras)
        : m_listed(listed), m_cameras(cameras), m_places(listed.size(), -1) {}

    // The channel's place in the view's list; -1 for a number that is no camera's.
    int PlaceOf(int channel) {
        if (channel < 0 || channel >= static_cast<int>(m_listed.size())) {
            return -1;
        }
        int& place = m_places[static_cast<std::size_t>(channel)];
        if (place < 0) {
            place = static_cast<int>(m_cameras.size());
            m_cameras.push_back(m_listed[static_cast<std::size_t>(channel)]);
        }
        return place;
    }

private:
    const std::vector<ViewCamera>& m_listed;
    std::vector<ViewCamera>& m_cameras;
    std::vector<int> m_places;
};

// The channels of the view's cameras, -1 for those that are not there, and the channels that it does not
// name.
struct ViewSwitch::Resolved {
    std::vector<int> channels;
    std::vector<int> others;
};

ViewSwitch::ViewSwitch(Desk& desk, Commands& commands, Timers& timers, ConsoleControls& controls,
                       ViewController& view, SequentialMode& sequential, ScreenController& screens,
                       const CameraList& cameras, const RecorderList& recorders)
    : m_desk(desk),
      m_commands(commands),
      m_timers(timers),
      m_controls(controls),
      m_view(view),
      m_sequential(sequential),
      m_screens(screens),
      m_cameras(cameras),
      m_recorders(recorders) {}

void ViewSwitch::Start() {
    if (!m_list.Load()) {
        m_desk.ShowMessage(LoadString(kStrUnreadable), LoadString(kStrWarning));
    }
}

bool ViewSwitch::IsWall() const {
    return m_desk.IsLoggedIn() && m_view.GetStyle() < kViewStyleCount;
}

// In the order of their channel numbers.
std::vector<ViewCamera> ViewSwitch::ListedCameras() const {
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

// --- from the wall

std::optional<NamedView> ViewSwitch::Capture(const std::string& name) const {
    if (!IsWall()) {
        return std::nullopt;
    }
    NamedView view;
    view.name = name;
    view.style = m_view.CheckedStyle();
    view.customStyle = std::min(m_view.Orders().Custom().GetStyle(), CCustomChannelStyle::kStyleCount - 1);
    view.bMaxView = m_view.IsMaxViewMode();
    view.bFullScreen = m_view.IsFullScreen();
    view.bSecondDisplay = m_view.HasSecondPanel();
    const std::vector<ViewCamera> listed = ListedCameras();
    Collector collect(listed, view.cameras);
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
    return view;
}

bool ViewSwitch::Save(const std::string& name) {
    const std::string clean = CleanViewName(name);
    auto view = clean.empty() ? std::nullopt : Capture(clean);
    if (!view || !m_list.Put(std::move(*view))) {
        return false;
    }
    m_current = clean;
    m_missing.clear();  // it has no such cells any more
    m_listed = ListedCameras();
    return true;
}

// --- to the wall

ViewSwitch::Resolved ViewSwitch::Resolve(const NamedView& view) const {
    const std::vector<ViewCamera> listed = ListedCameras();
    Resolved resolved;
    std::vector<bool> named(listed.size());
    for (const ViewCamera& camera : view.cameras) {
        const auto found = std::find_if(listed.begin(), listed.end(),
                                        [&camera](const ViewCamera& each) { return each.IsSame(camera); });
        const auto channel = static_cast<int>(found - listed.begin());
        resolved.channels.push_back(found != listed.end() ? channel : -1);
        if (found != listed.end()) {
            named[static_cast<std::size_t>(channel)] = true;
        }
    }
    for (std::size_t n = 0; n < named.size(); ++n) {
        if (!named[n]) {
            resolved.others.push_back(static_cast<int>(n));
        }
    }
    return resolved;
}

// The orders are permutations: a cell that is to be empty gets a number that no camera has, and there are as
// many of these as the emptiest order needs. Cameras that the view does not name stand behind its own.
void ViewSwitch::PlaceCameras(const NamedView& view) {
    m_listed = ListedCameras();
    const Resolved resolved = Resolve(view);
    const int cameras = m_cameras.GetCount();
    m_missing.clear();
    for (std::size_t i = 0; i < view.cameras.size(); ++i) {
        if (resolved.channels[i] < 0) {
            m_missing.push_back(view.cameras[i].name.empty() ? view.cameras[i].host : view.cameras[i].name);
        }
    }
    const auto channelOf = [&resolved](int place) {
        return place >= 0 && place < static_cast<int>(resolved.channels.size())
                   ? resolved.channels[static_cast<std::size_t>(place)]
                   : -1;
    };
    int blanks = 0;
    for (const ViewPages& pages : view.pages) {
        blanks = std::max(blanks,
                          static_cast<int>(std::count_if(pages.cells.begin(), pages.cells.end(),
                                                         [&](int place) { return channelOf(place) < 0; })));
    }
    m_view.SetEmptyCells(blanks);
    for (const NamedOrder& order : AllOrders(m_view.Orders())) {
        const auto pages = std::find_if(view.pages.begin(), view.pages.end(),
                                        [&order](const ViewPages& each) { return each.style == order.name; });
        if (pages == view.pages.end()) {
            continue;
        }
        std::vector<int> wanted;
        for (const int place : pages->cells) {
            wanted.push_back(channelOf(place));
        }
        PlaceOrder(*order.array, wanted, cameras);
    }
    int nextBlank = cameras;
    std::array<std::uint32_t, 4>& pip = m_view.Orders().PipList();
    const std::array<std::uint32_t, 4> before = pip;
    for (std::size_t i = 0; i < pip.size(); ++i) {
        const int channel = channelOf(view.pip[i]);
        pip[i] = static_cast<std::uint32_t>(channel >= 0 ? channel : nextBlank++);
    }
    if (std::all_of(view.pip.begin(), view.pip.end(), [](int place) { return place < 0; })) {
        pip = before;  // a file need not name them
    }
}

void ViewSwitch::ShowPages(const NamedView& view) {
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
        const int channel = Resolve(view).channels[static_cast<std::size_t>(view.single)];
        const int item = channel >= 0 ? m_view.Combo().findData(channel) : -1;
        if (item >= 0) {
            m_view.Combo().setCurrentIndex(item);
            m_view.OnSelchangePage();
        }
    }
}

void ViewSwitch::ApplyZooms(const NamedView& view) {
    const Resolved resolved = Resolve(view);
    for (std::size_t i = 0; i < view.cameras.size(); ++i) {
        const auto camera = m_cameras.GetCameraByChannel(resolved.channels[i]);
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
    m_commands.RefreshControls();
}

void ViewSwitch::Show(const NamedView& view) {
    m_bShowing = true;
    if (m_sequential.IsOn() || m_controls.IsPressed(kCtlSequential)) {
        m_sequential.SetSequentialMode(false);
    }
    if (m_view.HasSecondPanel() && (!view.bSecondDisplay || view.style == VIEW_STYLE_PIP)) {
        m_screens.LeaveSecondDisplay();
    }
    PlaceCameras(view);
    ShowPages(view);
    ApplyZooms(view);
    if (view.bSecondDisplay && !m_view.HasSecondPanel() && m_screens.IsMultiDisplayAvailable() &&
        view.style != VIEW_STYLE_PIP) {
        m_screens.OnBtnMultiScreens();
    }
    // A view never ends full screen: it may be a wall that nobody is to leave.
    if (view.bFullScreen) {
        m_screens.SetFullScreen(true);
    }
    m_current = view.name;
    m_bShowing = false;
}

bool ViewSwitch::Open(const std::string& name) {
    const NamedView* const view = m_list.Find(CleanViewName(name));
    if (view == nullptr) {
        return false;
    }
    EndSequence();
    if (!IsWall()) {
        m_wanted = view->name;
        return true;
    }
    m_wanted.clear();
    if (view->IsSequence()) {
        m_sequence = view->name;
        m_step = view->steps.size() - 1;
        OnStepTimer();
    } else {
        Show(*view);
    }
    return true;
}

void ViewSwitch::OpenAt(std::size_t place) {
    if (place < m_list.All().size()) {
        Open(m_list.All()[place].name);
    }
}

std::string ViewSwitch::Note() const {
    if (m_missing.empty() || m_current.empty()) {
        return {};
    }
    std::string names;
    for (std::size_t i = 0; i < std::min(m_missing.size(), kMissingTold); ++i) {
        names += (i > 0 ? ", " : "") + m_missing[i];
    }
    return FillPattern(LoadString(kStrMissing), {names + (m_missing.size() > kMissingTold ? ", ..." : "")});
}

// --- sequences

// The step that comes next, around the end; those whose view is gone are left out.
void ViewSwitch::OnStepTimer() {
    m_timers.KillTimer(kTimerViewStep);
    const NamedView* const sequence = m_list.Find(m_sequence);
    const std::size_t count = sequence != nullptr ? sequence->steps.size() : 0;
    for (std::size_t n = 1; n <= count; ++n) {
        const std::size_t step = (m_step + n) % count;
        const NamedView* const view = m_list.Find(sequence->steps[step].view);
        if (view != nullptr && !view->IsSequence()) {
            m_step = step;
            const int seconds = sequence->steps[step].seconds;
            if (m_current != view->name) {
                Show(*view);
            }
            m_timers.SetTimer(kTimerViewStep, seconds * 1000);
            return;
        }
    }
    m_sequence.clear();
}

void ViewSwitch::EndSequence() {
    m_timers.KillTimer(kTimerViewStep);
    m_sequence.clear();
}

void ViewSwitch::OnUserChose(bool bOtherCells) {
    if (m_bShowing) {
        return;
    }
    EndSequence();
    if (bOtherCells) {
        m_current.clear();
        m_missing.clear();
    }
}

// --- the session

void ViewSwitch::OnLoginChanged() {
    if (!m_wanted.empty() && IsWall() && m_cameras.GetCount() > 0) {
        Open(std::exchange(m_wanted, {}));
    }
}

void ViewSwitch::OnSecond() {
    OnLoginChanged();
    const NamedView* const view = m_current.empty() || !IsWall() ? nullptr : m_list.Find(m_current);
    if (view == nullptr || m_cameras.GetCount() == 0) {
        return;
    }
    const std::vector<ViewCamera> listed = ListedCameras();
    if (std::equal(listed.begin(), listed.end(), m_listed.begin(), m_listed.end(),
                   [](const ViewCamera& a, const ViewCamera& b) { return a.IsSame(b); })) {
        return;
    }
    m_bShowing = true;
    PlaceCameras(*view);
    m_view.ViewStyleChanged(m_view.GetStyle(), {.bForce = true});
    m_bShowing = false;
}

// What is still to be opened waits for the next session.
void ViewSwitch::Stop() {
    EndSequence();
    m_current.clear();
    m_missing.clear();
}

}  // namespace kvmon
