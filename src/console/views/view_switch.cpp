#include "console/views/view_switch.h"

#include <algorithm>
#include <utility>

#include "console/panel/console_controls.h"
#include "console/ports/client_site.h"
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

namespace kvmon {

namespace {

constexpr std::uint32_t kStrWarning = 5026;
constexpr std::uint32_t kStrAbsent = 7110;
constexpr std::uint32_t kStrUnreadable = 7111;
constexpr std::size_t kAbsentTold = 3;
// Of a wall whose cells are no view's any more.
constexpr const char* kNoName = "\\";

}  // namespace

ViewSwitch::ViewSwitch(Desk& desk, ClientSite& site, Commands& commands, Timers& timers,
                       ConsoleControls& controls, ViewController& view, SequentialMode& sequential,
                       ScreenController& screens, const CameraList& cameras, const RecorderList& recorders)
    : m_desk(desk),
      m_site(site),
      m_commands(commands),
      m_timers(timers),
      m_controls(controls),
      m_view(view),
      m_sequential(sequential),
      m_screens(screens),
      m_cameras(cameras),
      m_wall(controls, view, cameras, recorders) {}

void ViewSwitch::Start() {
    if (!m_list.Load()) {
        m_desk.ShowMessage(LoadString(kStrUnreadable), LoadString(kStrWarning));
    }
}

void ViewSwitch::Reload() {
    m_list.Load();
    if (m_list.Find(m_current) == nullptr) {
        m_current.clear();
    }
}

bool ViewSwitch::IsWall() const {
    return m_desk.IsLoggedIn() && m_view.GetStyle() < kViewStyleCount;
}

std::optional<NamedView> ViewSwitch::Capture(const std::string& name) const {
    return IsWall() ? std::optional(m_wall.Read(name)) : std::nullopt;
}

std::optional<std::vector<ViewCamera>> ViewSwitch::CamerasThere() const {
    return IsWall() ? std::optional(m_wall.ListedCameras()) : std::nullopt;
}

void ViewSwitch::Change(std::vector<NamedView> views) {
    const NamedView* const before = m_list.Find(m_current);
    const std::size_t had = before != nullptr ? before->cameras.size() : 0;
    m_list.Set(std::move(views));
    m_site.TellOthers(SharedThing::Views);
    const NamedView* const now = m_list.Find(m_current);
    if (now != nullptr && now->cameras.size() < had && IsWall()) {
        Show(*now);
    }
}

bool ViewSwitch::Save(const std::string& name) {
    const std::string clean = CleanViewName(name);
    auto view = clean.empty() ? std::nullopt : Capture(clean);
    if (!view) {
        return false;
    }
    if (!m_list.Put(*view)) {
        return false;
    }
    m_current = clean;
    m_wall.NotePlaces();
    m_site.TellOthers(SharedThing::Views);
    return true;
}

void ViewSwitch::Show(const NamedView& view) {
    m_bShowing = true;
    if (m_sequential.IsOn() || m_controls.IsPressed(kCtlSequential)) {
        m_sequential.SetSequentialMode(false);
    }
    if (m_view.HasSecondPanel() && (!view.bSecondDisplay || view.style == VIEW_STYLE_PIP)) {
        m_screens.LeaveSecondDisplay();
    }
    m_wall.PlaceCameras(view);
    m_wall.ShowPages(view);
    m_wall.ApplyZooms(view);
    m_commands.RefreshControls();
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
    const std::vector<std::string> absent = m_wall.AbsentNames();
    if (absent.empty()) {
        return {};
    }
    std::string names;
    for (std::size_t i = 0; i < std::min(absent.size(), kAbsentTold); ++i) {
        names += (i > 0 ? ", " : "") + absent[i];
    }
    return FillPattern(LoadString(kStrAbsent), {names + (absent.size() > kAbsentTold ? ", ..." : "")});
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
    if (!IsWall() || m_cameras.GetCount() == 0 || !m_wall.HasChanged()) {
        return;
    }
    m_bShowing = true;
    const NamedView view = m_wall.Read(m_current);
    m_wall.PlaceCameras(view);
    m_view.ViewStyleChanged(m_view.GetStyle(), {.bForce = true});
    m_wall.ApplyZooms(view);
    m_bShowing = false;
}

void ViewSwitch::OnOrderReset() {
    m_wall.Forget();
}

void ViewSwitch::OnCellCountChanges() {
    m_wall.BeforeCountChanges();
}

// The numbers that the view itself stores mean nothing to cameras that are not there.
void ViewSwitch::OnViewSaved(const std::string& key) {
    const NamedView view = m_wall.Read(m_current.empty() ? kNoName : m_current);
    StoreWall(m_settings, key, m_wall.IsKnown() ? std::optional(view) : std::nullopt);
}

void ViewSwitch::OnViewLoaded(const std::string& key) {
    const std::optional<NamedView> view = LoadWall(m_settings, key);
    m_wall.Forget();
    m_current.clear();
    if (!view) {
        return;
    }
    m_bShowing = true;
    m_wall.PlaceCameras(*view);
    m_view.ViewStyleChanged(m_view.GetStyle(), {.bForce = true});
    m_current = view->name != kNoName && m_list.Find(view->name) != nullptr ? view->name : std::string();
    m_bShowing = false;
}

// What is still to be opened waits for the next session.
void ViewSwitch::Stop() {
    EndSequence();
    m_current.clear();
    m_wall.Forget();
}

}  // namespace kvmon
