// The view: style, page and windows on show. Applies what the layout rules decide.
#pragma once

#include <QtCore/QPointer>
#include <QtWidgets/QWidget>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "console/layout/channel_orders.h"
#include "console/layout/layout.h"
#include "console/wall/cell_pool.h"

class QComboBox;

namespace kvmon {

class CameraList;
class CellPool;
class Commands;
class ConsoleControls;
struct ConsoleSettings;
class Desk;
class HeardCamera;
class RecorderList;
class WallEvents;

// What else a change of style is to do.
struct StyleChange {
    bool bUpdateButtons = false;
    bool bForce = false;  // the pages are listed anew, also when the style stays
};

class ViewController {
public:
    ViewController(Desk& desk, Commands& commands, WallEvents& events, CellPool& cells,
                   ConsoleControls& controls, const CameraList& cameras, const ConsoleSettings& settings,
                   HeardCamera& heard, const RecorderList& recorders);
    ~ViewController();

    ChannelOrders& Orders() { return m_orders; }
    QComboBox& Combo() { return *m_combo; }
    // kViewStyleCount until the first style is chosen.
    int GetStyle() const { return m_nStyle; }
    ViewStyle CheckedStyle() const { return CheckedViewStyle(m_nStyle); }
    // The style to return to after a wait.
    int GetSavedStyle() const { return m_nSavedStyle; }
    void SetSavedStyle(int style) { m_nSavedStyle = style; }
    int GetShowableCount() const { return static_cast<int>(m_uShowableCameraCount); }

    // 42 windows, 84 with more than one display; those that are there already stay.
    void CreateVideoWnd();
    // Makes the cells that there was no memory for, and lays the wall out again; true if there were any.
    bool FillEmptySlots();
    // How many displays there are for windows; both together show more.
    void SetDisplaysAvailable(int displays);
    void UpdateChannelArray();
    // The cameras in the list, and for a recorder whose list has not come yet the channels that it is known
    // to have.
    int CountShowable() const;
    // So many cells beyond the cameras' are there to stay empty; counted like cameras.
    void SetEmptyCells(int count);
    int EmptyCells() const { return m_emptyCells; }
    // Nothing is shown any more; the orders and their pages stay for the next session.
    void OnSessionEnd();

    void ViewStyleChanged(int style, StyleChange change = {});
    void RearrangeVideoWindowLocation();
    void InitPageComboBox(ViewStyle style);
    // Shows or hides the choice of a page, with the button of its menu.
    void ShowCombo(bool bShow);
    void OnSelchangePage();
    // One step of sequential mode: the combo's next item, around its end.
    void StepPage();
    // As a user turns pages, around both ends; nothing when there is one page.
    void TurnPage(int by);
    // Starts the cameras of the page that comes next, without a window.
    void PrepareNextPage();

    void SetMaxViewMode(bool on);
    // The same before there is a view.
    void LoadMaxViewMode(bool on) { m_bMaxViewMode = on; }
    bool IsMonitorable(int channel) const;
    bool IsMaxViewMode() const { return m_bMaxViewMode; }
    void ResetDisplayOrder();

    // Messages from cells, and the page's call for a camera.
    void OnVideoSizeChange(int channel);
    void OnVideoWndMove(int channel, const QPoint& drop);
    // The cell that the channel would change places with if it were dropped there, or the empty one that it
    // would go to; null for none.
    CVideoWnd* FindDropTarget(int channel, const QPoint& drop);
    void GoToCamera(int channel);
    // The camera's place and the cell's change, or in the single style the cell shows it. False for a cell
    // that is not on show or has the camera already.
    bool PutCamera(int channel, const CVideoWnd* target);
    void RepaintNeighbours(int window);
    // A channel's name changed.
    void RepaintCaptions();

    // Tells that the user chose what is shown.
    void NoteChoice();

    // --- the active window
    void ActivateWindow(CVideoWnd* window);
    // By the user: the cell's channel also becomes its page's active one.
    void ChooseWindow(CVideoWnd* window);
    // The same by a press of the mouse.
    void ActivateWindowAt(const QPoint& screen);

    // The channel list changed: rebuilds the combo and says if the view has to be laid out again.
    bool OnCameraListChanged();
    // The camera selected in the single style's combo; -1 for none.
    int GetSelectedChannel() const;

    // --- other places for windows; none of the panels is owned
    void SetFullScreenPanel(QWidget* panel) { m_fullScreen = panel; }
    bool IsFullScreen() const { return m_fullScreen != nullptr; }
    void SetSecondPanel(QWidget* panel);
    bool HasSecondPanel() const { return m_second != nullptr; }
    QWidget* SecondPanel() const { return m_second; }
    int GetDisplayCount() const { return HasSecondPanel() ? 2 : 1; }
    // Brings the windows of the second display home; the controller of the displays takes the panel away.
    void LeaveMultiDisplay();
    // Windows without a camera, hidden on the console, until the next layout.
    void BringHome(QWidget& panel);
    // The console or a panel changed its size: only places change.
    void PlaceCells();

    // The console's size changed.
    void SetConsoleSize(int width, int height);
    // What stands at the left of the wall takes this much of it.
    void SetLeftMargin(int width);
    // Where the wall is in the window that has it: the console, or a panel.
    QRect WallIn(const QWidget& host) const;

    // Picture-in-picture's small windows, as they are stored.
    int PipChildren();
    void SetPipChildren(int children);

    void SaveViewState(const std::string& key);
    void LoadViewState(const std::string& key);

private:
    LayoutInput MakeLayoutInput();
    void Apply(const LayoutPlan& plan);
    void ApplyCell(const CellPlan& cell);
    void ApplyStreams(const std::vector<StreamPlan>& streams);
    void ForgetFrameSize(int channel);
    void ShowStyleButtons();
    void FillWithCameras();
    void FillWithPages(ViewStyle style);
    void LeaveEmptyPage(CChannelArray& array) const;
    int SelectedItem() const;
    std::optional<CellSwap> FindSwap(int channel, const QPoint& drop);
    CVideoWnd* FindEmptyCell(int channel, const QPoint& drop) const;
    bool MoveToEmpty(int channel, const CVideoWnd* target);
    void PrepareCamera(int channel, int window);

    Desk& m_desk;
    Commands& m_commands;
    WallEvents& m_events;
    CellPool& m_cells;
    ConsoleControls& m_controls;
    const CameraList& m_cameras;
    const ConsoleSettings& m_settings;
    HeardCamera& m_heard;
    const RecorderList& m_recorders;
    ChannelOrders m_orders;
    std::unique_ptr<QComboBox> m_combo;
    int m_nStyle = kViewStyleCount;
    int m_nSavedStyle = 0;
    bool m_bStateInPart = false;  // its reading was broken off
    PixelRect m_rcView;
    int m_leftMargin = 0;
    int m_displays = 1;
    std::optional<std::string> m_pipKey;  // where the next one was read
    std::uint32_t m_pipChildren = 0;
    bool m_bMaxViewMode = false;
    std::uint32_t m_uShowableCameraCount = 0;
    int m_emptyCells = 0;
    bool m_bUpperLimitWarned = false;
    QPointer<QWidget> m_fullScreen;
    QPointer<QWidget> m_second;
    std::vector<int> m_comboChannels;  // for the time of one layout
};

}  // namespace kvmon
