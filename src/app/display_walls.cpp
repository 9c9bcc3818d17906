#include "app/display_walls.h"

#include <QtCore/QScopedValueRollback>
#include <QtGui/QGuiApplication>
#include <QtGui/QScreen>
#include <algorithm>
#include <cstdio>
#include <utility>

#include "console/main_dlg.h"
#include "console/panel/console_keys.h"
#include "control/client_impl.h"
#include "persist/orvo_registry.h"
#include "platform/secret_memory.h"

namespace kvmon {

namespace {

constexpr const char* kWallsSection = "Walls";
constexpr const char* kEntry = "AllDisplays";

}  // namespace

DisplayWalls::DisplayWalls(CTR450ClientImpl& first, BrowserPort& browser, const WallWishes& wishes,
                           Clock& clock)
    : m_first(first),
      m_browser(browser),
      m_clock(clock),
      m_start(wishes.start),
      m_bRemember(wishes.bRemember) {
    TakeViews(wishes.views);
    m_bAll = wishes.bAll || (m_bRemember && Registry().GetProfileInt(kWallsSection, kEntry, 0) == 1);
    m_bBegun = wishes.bAll || !m_wanted.empty();
    QObject::connect(qGuiApp, &QGuiApplication::screenAdded, &m_life, [this](const QScreen* display) {
        m_gone.erase(display->name());
        Update();
    });
    // At once: what stands there goes while the display is known.
    QObject::connect(qGuiApp, &QGuiApplication::screenRemoved, &m_life, [this](const QScreen* display) {
        m_gone.insert(display->name());
        UpdateNow();
    });
}

DisplayWalls::~DisplayWalls() {
    BeginEnd();
}

void DisplayWalls::TakeViews(const std::map<int, std::string>& views) {
    const QList<QScreen*> displays = QGuiApplication::screens();
    for (const auto& [number, view] : views) {
        const QScreen* const display = displays.value(number - 1);
        if (display == nullptr) {
            std::fprintf(stderr, "kvmon: there is no display %d; %d are there\n", number,
                         static_cast<int>(displays.size()));
            continue;
        }
        m_wanted.insert(display->name());
        m_views[display->name()] = view;
    }
}

// --- which displays

bool DisplayWalls::IsOffered() const {
    return QGuiApplication::screens().size() > 1;
}

// The first console's own displays are not free.
std::vector<QScreen*> DisplayWalls::FreeDisplays() const {
    std::vector<QScreen*> free;
    CMainDlg* const first = m_first.MainDlg();
    for (QScreen* const display : QGuiApplication::screens()) {
        if (first != nullptr && !first->IsOn(*display) && !m_gone.contains(display->name())) {
            free.push_back(display);
        }
    }
    return free;
}

bool DisplayWalls::IsWanted(const QScreen& display) const {
    return (m_bAll || m_wanted.contains(display.name())) && !m_left.contains(display.name());
}

// A locked wall is not to be left by way of another one that is not.
bool DisplayWalls::MayBeOpen() const {
    CMainDlg* const first = m_first.MainDlg();
    return m_bBegun && !m_bEnding && first != nullptr &&
           (m_start != WallStart::Locked || first->IsFullScreen());
}

bool DisplayWalls::AreAllOn() const {
    const std::vector<QScreen*> free = FreeDisplays();
    return m_bAll && m_bBegun && std::all_of(free.begin(), free.end(), [this](const QScreen* display) {
               return IsWanted(*display);
           });
}

void DisplayWalls::Turn() {
    const bool on = !AreAllOn();
    m_bAll = on;
    m_bBegun = true;
    m_left.clear();
    m_wanted.clear();
    if (m_bRemember) {
        Registry().WriteProfileInt(kWallsSection, kEntry, on ? 1 : 0);
    }
    Update();
}

// --- opening and closing

DisplayWall* DisplayWalls::Find(const QString& display) const {
    const auto found = std::find_if(m_walls.begin(), m_walls.end(),
                                    [&display](const auto& wall) { return wall->Display() == display; });
    return found != m_walls.end() ? found->get() : nullptr;
}

void DisplayWalls::Begin() {
    CMainDlg* const first = m_first.MainDlg();
    const QList<QScreen*> displays = QGuiApplication::screens();
    for (int i = 0; i < displays.size(); ++i) {
        if (first != nullptr && m_views.contains(displays[i]->name()) && first->IsOn(*displays[i])) {
            std::fprintf(stderr, "kvmon: display %d is the window's own; --view opens a view there\n", i + 1);
        }
    }
    Update();
}

void DisplayWalls::Update() {
    if (!m_bPending) {
        m_bPending = true;
        QMetaObject::invokeMethod(
            &m_life, [this] { UpdateNow(); }, Qt::QueuedConnection);
    }
}

void DisplayWalls::UpdateNow() {
    m_bPending = false;
    if (m_bEnding) {
        return;
    }
    const QScopedValueRollback working(m_bWorking, true);
    const std::vector<QScreen*> free = FreeDisplays();
    for (const auto& wall : m_walls) {
        const bool bStays = MayBeOpen() && std::any_of(free.begin(), free.end(), [&](const QScreen* display) {
                                return display->name() == wall->Display() && IsWanted(*display);
                            });
        if (!bStays && wall->IsOpen()) {
            wall->Close();
        }
    }
    for (const QScreen* const display : free) {
        if (MayBeOpen() && IsWanted(*display)) {
            UpdateWall(*display);
        }
    }
}

void DisplayWalls::UpdateWall(const QScreen& display) {
    DisplayWall* wall = Find(display.name());
    if (wall != nullptr && wall->Language() != m_first.GetLanguageId()) {
        wall->Close();
        m_views.try_emplace(display.name(), wall->View());
        std::erase_if(m_walls, [wall](const auto& each) { return each.get() == wall; });
        wall = nullptr;
    }
    if (wall == nullptr) {
        DisplayWall::Owner& owner = *this;
        m_walls.push_back(std::make_unique<DisplayWall>(display, m_first.GetLanguageId(), owner, m_clock));
        wall = m_walls.back().get();
        if (const auto view = m_views.extract(display.name())) {
            wall->SetView(view.mapped(), true);
        }
    }
    if (!wall->IsOpen()) {
        wall->Open(display);
    }
    CMainDlg& first = *m_first.MainDlg();
    auto login = first.Login();
    if (login) {
        wall->Follow(login, first.IsLocked());
        Wipe(login->password);
    }
}

void DisplayWalls::OnSession() {
    CMainDlg* const first = m_first.MainDlg();
    if (first == nullptr || m_bEnding) {
        return;
    }
    if (first->IsLoggedIn()) {
        m_bBegun = m_bBegun || m_bAll;
    } else {
        for (const auto& wall : m_walls) {
            wall->Follow({});
        }
    }
    Update();
}

// --- what walls tell

void DisplayWalls::OnFirstTells(SharedThing thing) {
    if (thing == SharedThing::Displays) {
        Update();
        return;
    }
    for (const auto& wall : m_walls) {
        wall->OnShared(thing);
    }
}

void DisplayWalls::OnWallTells(DisplayWall& wall, SharedThing thing) {
    if (thing == SharedThing::Displays) {
        if (!m_bWorking && !m_bEnding && !wall.IsOpen()) {
            OnLeft(wall);
        }
        return;
    }
    if (CMainDlg* const first = m_first.MainDlg()) {
        first->OnShared(thing);
    }
    for (const auto& each : m_walls) {
        if (each.get() != &wall) {
            each->OnShared(thing);
        }
    }
}

// Its session ends later: the wall is the caller.
void DisplayWalls::OnLeft(DisplayWall& wall) {
    const QString& display = wall.Display();
    if (m_start != WallStart::Locked) {
        m_left.insert(display);
    }
    QMetaObject::invokeMethod(
        &m_life,
        [this, display] {
            DisplayWall* const left = Find(display);
            if (left != nullptr && !left->IsOpen()) {
                const QScopedValueRollback working(m_bWorking, true);
                left->Close();
            }
            CMainDlg* const first = m_first.MainDlg();
            if (m_start == WallStart::Locked && first != nullptr) {
                first->UncoverDisplay();
            }
            if (first != nullptr) {
                first->DialogHost()->window()->activateWindow();
            }
            Update();
        },
        Qt::QueuedConnection);
}

bool DisplayWalls::RunAtFirst(int command) {
    CMainDlg* const first = m_first.MainDlg();
    if (first != nullptr && IsOfKeysAlone(command)) {
        first->Run(command);
    } else if (first != nullptr) {
        first->Press(command);
    }
    return true;
}

bool DisplayWalls::IsLive() const {
    return std::any_of(m_walls.begin(), m_walls.end(), [](const auto& wall) { return wall->IsLive(); });
}

void DisplayWalls::BeginEnd() {
    m_bEnding = true;
    for (const auto& wall : m_walls) {
        wall->Close();
    }
}

}  // namespace kvmon
