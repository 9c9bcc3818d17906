// The pool of video windows, which only grows, and which of them is the active one.
#pragma once

#include <QtCore/QPoint>
#include <memory>
#include <vector>

namespace kvmon {

class CBaseCamera;
class CVideoWnd;
class WindowBase;
enum class PlaySound;

inline constexpr int kFirstVideoWndId = 20100;

class CellPool {
public:
    CellPool();
    ~CellPool();
    CellPool(const CellPool&) = delete;
    CellPool& operator=(const CellPool&) = delete;

    // Makes hidden children of the console until there are this many. One that cannot be made leaves an empty
    // slot, which the next call fills.
    void CreateVideoWnd(WindowBase& console, int count);
    bool HasEmptySlot() const;
    void DestroyAll();

    int GetCount() const { return static_cast<int>(m_windows.size()); }
    // Null for a slot that is empty or out of range.
    CVideoWnd* Get(int index) const;
    int IndexOf(const CVideoWnd* window) const;
    // The window that shows this camera on screen; null for none.
    CVideoWnd* FindByCamera(const CBaseCamera* camera) const;
    // The visible window under a point of the screen; null for none.
    CVideoWnd* FindAt(const QPoint& screen) const;

    // --- the active window
    CVideoWnd* GetActive() const { return m_active; }
    std::shared_ptr<CBaseCamera> GetActiveCamera() const;
    // False when the window is the active one already. Null deactivates.
    bool Activate(CVideoWnd* window, PlaySound sound);

    // Lets all windows know whether they flash on events.
    void SetEventBlink(bool bOn);

    // Takes cameras out of their windows.
    void DetachAll();
    void Detach(const CBaseCamera* camera);

private:
    std::vector<std::unique_ptr<CVideoWnd>> m_windows;
    CVideoWnd* m_active = nullptr;
};

}  // namespace kvmon
