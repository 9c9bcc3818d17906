// What stands where and what runs: the rules of a view style, without a window.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "console/layout/view_geometry.h"
#include "console/layout/view_style.h"

namespace kvmon {

class CChannelArray;

// Who holds a cell.
enum class CellHost {
    Console,  // given back; not on show
    Main,     // the full-screen panel while there is one, else the console
    Second,   // the panel on the second display
};

enum class CellOrder { Keep, Top, Bottom };

// What happens to one window of the pool.
struct CellPlan {
    int window = 0;
    CellHost host = CellHost::Console;
    bool shown = false;
    bool placed = false;  // `rect` counts; else the window stays where it is
    PixelRect rect;
    int channel = -1;  // -1: no camera
    CellOrder order = CellOrder::Keep;
};

// What happens to the stream of one channel.
enum class StreamPlan { Keep, Start, StartWithAudio, Stop };

struct LayoutPlan {
    std::vector<CellPlan> cells;      // in the order to apply them
    std::vector<StreamPlan> streams;  // by channel
    int activeWindow = -1;            // -1: the active window stays
    int restartChannel = -1;          // stops and forgets its picture's size before the cells get it
};

struct LayoutInput {
    ViewStyle style = VIEW_STYLE_4CH;
    int windowCount = 0;
    int cameraCount = 0;  // length of the camera list
    bool bMaxViewMode = true;
    bool bAudio = false;                  // the audio button is on
    bool bStopInvisible = true;           // StopGetDataWhenViewInvisible
    PixelRect area;                       // of all styles but the single one
    PixelRect singleArea;                 // of the single one
    std::optional<PixelRect> secondArea;  // the client area of a live second display
    CChannelArray* array = nullptr;       // of a page style
    int rows = 0, columns = 0;            // of the custom style
    std::span<const int> comboChannels;   // single style: what the page combo lists
    int comboSelection = -1;
    std::array<std::uint32_t, 4> pipList{0, 1, 2, 3};
    int pipChildren = kMaxPipChildren;
};

LayoutPlan ComputeLayout(const LayoutInput& input);

// --- the page combo

// The number of pages to choose from; 0 when all cameras fit on one.
int PageItemCount(int showable, int perPage, int displays);

// Which cameras the single style's combo lists.
struct ComboCandidate {
    bool named = false;
    bool right = false;
    bool configured = false;
    bool monitorable = false;
};
// `listMode` is ShowViewTypeInSequentialMode: 0 all that have a name, 2 the monitorable ones, any other value
// those with the right and a configuration.
bool IsListedInCombo(const ComboCandidate& camera, std::uint32_t listMode);

// The count of small windows, 1 to 3; any other stored number counts as the default.
int PipChildCount(std::uint32_t stored, int showable);
constexpr int DefaultPipChildren(int showable) {
    return showable < 4 ? 1 : 3;
}

// --- drag and drop of cells

struct CellSwap {
    std::uint32_t page = 0;
    int from = -1;
    int to = -1;
};

// The positions that a drop exchanges. `dropsOn` tells if the point lies in the cell that shows a channel.
std::optional<CellSwap> FindGridSwap(CChannelArray& array, int dragged, bool bSecondDisplay,
                                     const std::function<bool(int channel)>& dropsOn);
std::optional<CellSwap> FindPipSwap(const std::array<std::uint32_t, 4>& list, int dragged,
                                    const std::function<bool(int channel)>& dropsOn);
// Exchanges two cells of a page. The values are read from that page but written to the first page's slots, as
// users' stored orders rely on it. False for one position twice or a position outside the page.
bool SwapCells(CChannelArray& array, const CellSwap& swap);

}  // namespace kvmon
