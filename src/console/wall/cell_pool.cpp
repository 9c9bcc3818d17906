#include "console/wall/cell_pool.h"

#include <QtWidgets/QApplication>
#include <algorithm>
#include <new>

#include "channel/camera/base_camera.h"
#include "channel/cell/video_wnd.h"
#include "persist/log_file.h"
#include "skin/window_base.h"

namespace kvmon {

CellPool::CellPool() = default;

CellPool::~CellPool() = default;

void CellPool::CreateVideoWnd(WindowBase& console, int count) {
    for (int n = 0; n < count; ++n) {
        if (Get(n) != nullptr) {
            continue;
        }
        std::unique_ptr<CVideoWnd> window;
        try {
            window = std::make_unique<CVideoWnd>(&console);
        } catch (const std::bad_alloc&) {
            Trace("CMainDlg::CreateVideoWnd: new VideoWnd[%02d] Failed...\n", n);
        }
        if (window) {
            window->SetControlId(kFirstVideoWndId + n);
            window->setWindowTitle(QStringLiteral("Video Window"));
            window->setGeometry(0, 0, 702, 480);
            window->SetIdx(static_cast<std::uint32_t>(n));
            window->SetOwner(console.Handle());
            window->SetParentWnd(&console);
            window->hide();
        }
        if (n < GetCount()) {
            m_windows[static_cast<std::size_t>(n)] = std::move(window);
        } else {
            m_windows.push_back(std::move(window));
        }
    }
}

bool CellPool::HasEmptySlot() const {
    return std::find(m_windows.begin(), m_windows.end(), nullptr) != m_windows.end();
}

void CellPool::DestroyAll() {
    m_active = nullptr;
    m_windows.clear();
}

CVideoWnd* CellPool::Get(int index) const {
    return index >= 0 && index < GetCount() ? m_windows[static_cast<std::size_t>(index)].get() : nullptr;
}

int CellPool::IndexOf(const CVideoWnd* window) const {
    const auto found = std::find_if(m_windows.begin(), m_windows.end(), [window](const auto& candidate) {
        return window != nullptr && candidate.get() == window;
    });
    return found != m_windows.end() ? static_cast<int>(found - m_windows.begin()) : -1;
}

CVideoWnd* CellPool::FindByCamera(const CBaseCamera* camera) const {
    for (const auto& window : m_windows) {
        if (window && camera != nullptr && window->GetCamera().get() == camera && !window->isHidden()) {
            return window.get();
        }
    }
    return nullptr;
}

CVideoWnd* CellPool::FindAt(const QPoint& screen) const {
    for (QWidget* widget = QApplication::widgetAt(screen); widget != nullptr;
         widget = widget->parentWidget()) {
        if (auto* const window = Get(IndexOf(dynamic_cast<CVideoWnd*>(widget)))) {
            return window;
        }
    }
    return nullptr;
}

std::shared_ptr<CBaseCamera> CellPool::GetActiveCamera() const {
    return m_active != nullptr ? m_active->GetCamera() : nullptr;
}

bool CellPool::Activate(CVideoWnd* window, PlaySound sound) {
    if (window == m_active) {
        return false;
    }
    if (m_active != nullptr) {
        m_active->SetWindowActive(false, PlaySound::No);
    }
    m_active = window;
    if (m_active != nullptr) {
        m_active->SetWindowActive(true, sound);
    }
    return true;
}

void CellPool::SetEventBlink(bool bOn) {
    for (const auto& window : m_windows) {
        if (window) {
            window->SetEventBlink(bOn);
        }
    }
}

void CellPool::DetachAll() {
    for (const auto& window : m_windows) {
        if (window) {
            window->SetCamera(nullptr);
        }
    }
}

void CellPool::Detach(const CBaseCamera* camera) {
    for (const auto& window : m_windows) {
        if (window && camera != nullptr && window->GetCamera().get() == camera) {
            window->SetCamera(nullptr);
        }
    }
}

}  // namespace kvmon
