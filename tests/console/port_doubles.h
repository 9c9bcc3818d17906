// The console's ports, as a test answers them: subjects stand alone with these.
#pragma once

#include <QtCore/QRect>
#include <QtCore/QString>
#include <algorithm>
#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "console/ports/commands.h"
#include "console/ports/desk.h"
#include "console/ports/panel_buttons.h"
#include "console/ports/timers.h"
#include "console/ports/wall_events.h"
#include "skin/window_base.h"

namespace kvtest {

// A bare window that hands its messages on.
class BareWindow final : public kvmon::WindowBase {
public:
    std::function<void(std::uint32_t message, kvmon::WParam wParam, kvmon::LParam lParam)> onMessage;

protected:
    kvmon::LParam OnMessage(std::uint32_t message, kvmon::WParam wParam, kvmon::LParam lParam) override {
        if (onMessage) {
            onMessage(message, wParam, lParam);
        }
        return 0;
    }
};

class FakeDesk final : public kvmon::Desk {
public:
    BareWindow& Window() override { return window; }
    kvmon::WindowHandle Handle() const override { return window.Handle(); }
    QWidget* DialogHost() const override { return &window; }
    QWidget* HostOf(const QWidget&) const override { return &window; }
    void BringHere(QWidget&) override {}
    void MakeRoom() override { ++roomsMade; }
    QDialog* ShowMessage(const std::string& text, const std::string& title) override {
        messages.push_back(title + ": " + text);
        return nullptr;
    }
    void ShowWait() override { waitShown = true; }
    void HideWait() override { waitShown = false; }
    bool IsWaitShown() const override { return waitShown; }
    void RefreshCursor() override { ++cursorRefreshes; }
    bool IsLoggedIn() const override { return loggedIn; }
    bool IsLocked() const override { return locked; }
    bool IsClosing() const override { return false; }

    mutable BareWindow window;
    bool loggedIn = true;
    bool locked = false;
    bool waitShown = false;
    int roomsMade = 0;
    int cursorRefreshes = 0;
    std::vector<std::string> messages;
};

class FakeCommands final : public kvmon::Commands {
public:
    void Press(int id) override { pressed.push_back(id); }
    void PressMenuEntry(int id) override { chosen.push_back(id); }
    void Run(int id) override { pressed.push_back(id); }
    void Hold(int id) override { pressed.push_back(id); }
    void Release(int) override {}
    void RefreshControls() override { ++refreshes; }
    void AskFor(std::uint32_t, int) override {}

    std::vector<int> pressed;
    std::vector<int> chosen;  // from a camera's menu
    int refreshes = 0;
};

class FakeTimers final : public kvmon::Timers {
public:
    void SetTimer(std::uint32_t id, int ms) override {
        running[id] = ms;
        m_due[id] = m_now + ms;
    }
    void KillTimer(std::uint32_t id) override {
        running.erase(id);
        m_due.erase(id);
    }
    bool IsTimerSet(std::uint32_t id) const override { return running.contains(id); }
    // The period of a timer that runs; -1 for one that does not.
    int Period(std::uint32_t id) const {
        const auto found = running.find(id);
        return found != running.end() ? found->second : -1;
    }

    // Time passes: what becomes due fires, in its order, and again after its period until it is killed.
    void Elapse(std::int64_t ms, const std::function<void(std::uint32_t id)>& fire) {
        const std::int64_t end = m_now + ms;
        while (true) {
            const auto next = std::min_element(
                m_due.begin(), m_due.end(), [](const auto& a, const auto& b) { return a.second < b.second; });
            if (next == m_due.end() || next->second > end) {
                break;
            }
            const std::uint32_t id = next->first;
            m_now = next->second;
            next->second += running[id];
            fire(id);
        }
        m_now = end;
    }

    std::map<std::uint32_t, int> running;

private:
    std::int64_t m_now = 0;
    std::map<std::uint32_t, std::int64_t> m_due;
};

class FakePanelButtons final : public kvmon::PanelButtons {
public:
    QRect Place(int) const override { return {}; }
    bool IsHeld(int id) const override { return held.contains(id); }
    QString TipText(int) const override { return {}; }
    void TellPresses(std::span<const int> ids) override { told.insert(ids.begin(), ids.end()); }
    void FocusStyle() override {}
    void ShowLock() override {}
    void OrderTabs(const std::vector<QWidget*>&) override {}

    std::set<int> held;
    std::set<int> told;
};

class DeafWallEvents final : public kvmon::WallEvents {
public:
    void OnPlacesChange() override {}
    void OnWallChanged() override {}
    void OnActiveCellChanged() override {}
    void OnUserChose(bool) override {}
    void OnOrderReset() override {}
    void OnCellCountChanges() override {}
    void OnViewLoaded(const std::string&) override {}
    void OnViewSaved(const std::string&) override {}
    void OnSecondPanelUnused() override {}
    void OnWallMoved() override {}
    void OnPanelGoes() override {}
    void OnDisplaysChanged() override {}
};

}  // namespace kvtest
