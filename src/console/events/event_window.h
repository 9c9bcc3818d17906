// The event window: what the recorders report, newest first.
#pragma once

#include <functional>

#include "console/events/event_list.h"
#include "skin/window_base.h"

class QComboBox;
class QLabel;
class QPushButton;
class QTreeWidget;

namespace kvmon {

class EmptyHint;

// Shows a list that somebody else keeps. User interface thread only. Closing hides it.
class CEventWindow : public WindowBase {
public:
    CEventWindow(QWidget* owner, EventList& events);

    void Open();
    // The list has changed.
    void Refresh();
    // Called for "Clear".
    void SetOnClear(std::function<void()> call) { m_onClear = std::move(call); }

protected:
    void closeEvent(QCloseEvent* event) override;
    void changeEvent(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    void MakeControls();
    void MakeRows();
    void Arrange();
    void FillServers();
    void FillRows();
    void ShowCount();
    void MarkSelected();
    EventFilter Filter() const;

    EventList& m_events;
    QComboBox* m_servers = nullptr;
    QComboBox* m_levels = nullptr;
    EmptyHint* m_hint = nullptr;
    QTreeWidget* m_rows = nullptr;
    QLabel* m_count = nullptr;
    QPushButton* m_markAll = nullptr;
    QPushButton* m_clear = nullptr;
    std::vector<CNvrEvent> m_shown;  // by row
    std::function<void()> m_onClear;
};

}  // namespace kvmon
