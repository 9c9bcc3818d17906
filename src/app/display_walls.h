// The walls on the displays that the program's first console does not cover.
#pragma once

#include <QtCore/QObject>
#include <QtCore/QString>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "app/display_wall.h"

namespace kvmon {

class CTR450ClientImpl;

// What the command line says of them.
struct WallWishes {
    bool bAll = false;                 // on every display
    std::map<int, std::string> views;  // by the display's number, from 1; these displays in any case
    WallStart start = WallStart::Window;
    bool bRemember = true;  // what the user has turned, from one start to the next
};

// Each display that is to have a wall has one while neither the first console nor its second display is
// there. A wall has the first console's session. One that its user leaves stays away until all are turned on
// again; one whose display goes comes back with it. Where walls are locked they stand and fall together: the
// password that leads out of one leads out of all. User interface thread only.
class DisplayWalls final : private DisplayWall::Owner {
public:
    // All must outlive this object.
    DisplayWalls(CTR450ClientImpl& first, BrowserPort& browser, const WallWishes& wishes, Clock& clock);
    ~DisplayWalls() override;

    // There is a display for one.
    bool IsOffered() const;
    bool AreAllOn() const override;
    // By the user, who is asked no more: on all displays, or off where they are.
    void Turn();

    // When the first console is there.
    void Begin();
    // Later, once for all calls until then: opens and closes walls, as the displays and the session are now.
    void Update();
    // The first console's session has begun or ended, or its language is another one.
    void OnSession();
    // The first console has changed this.
    void OnFirstTells(SharedThing thing);
    // Pictures are live on one of them.
    bool IsLive() const;
    // The program ends: all is saved and told to stop. Nothing opens any more.
    void BeginEnd();

private:
    void OnWallTells(DisplayWall& wall, SharedThing thing) override;
    bool RunAtFirst(int command) override;
    BrowserPort& Browser() override { return m_browser; }

    void TakeViews(const std::map<int, std::string>& views);
    bool IsWanted(const QScreen& display) const;
    std::vector<QScreen*> FreeDisplays() const;
    DisplayWall* Find(const QString& display) const;
    void UpdateNow();
    void UpdateWall(const QScreen& display);
    void OnLeft(DisplayWall& wall);
    bool MayBeOpen() const;

    CTR450ClientImpl& m_first;
    BrowserPort& m_browser;
    Clock& m_clock;
    const WallStart m_start;
    std::vector<std::unique_ptr<DisplayWall>> m_walls;
    std::map<QString, std::string> m_views;  // what is to be opened where a wall is made
    std::set<QString> m_wanted;              // besides all
    std::set<QString> m_left;                // by the user
    std::set<QString> m_gone;                // displays
    const bool m_bRemember;
    bool m_bAll = false;
    bool m_bBegun = false;
    bool m_bPending = false;  // an update
    bool m_bWorking = false;  // what walls tell now is this object's doing
    bool m_bEnding = false;
    QObject m_life;  // last: ends the connections first
};

}  // namespace kvmon
