#include "console/layout/layout.h"

#include <algorithm>

#include "console/layout/channel_array.h"

namespace kvmon {

namespace {

class Planner {
public:
    explicit Planner(const LayoutInput& input) : in_(input) {
        plan_.streams.assign(static_cast<std::size_t>(std::max(in_.cameraCount, 0)), StreamPlan::Keep);
    }

    LayoutPlan Run() {
        if (in_.windowCount <= 0) {
            return {};
        }
        switch (in_.style) {
            case VIEW_STYLE_SINGLE_1CH:
                PlanSingle();
                break;
            case VIEW_STYLE_PIP:
                PlanPip();
                break;
            default:
                PlanPages();
        }
        return std::move(plan_);
    }

private:
    bool IsCamera(int channel) const { return channel >= 0 && channel < in_.cameraCount; }

    void Place(int window, CellHost host, const PixelRect& rect, int channel, CellOrder order) {
        if (window < in_.windowCount) {
            plan_.cells.push_back({window, host, true, true, rect, IsCamera(channel) ? channel : -1, order});
        }
    }

    void GiveBackFrom(int window, CellOrder order = CellOrder::Keep) {
        for (; window < in_.windowCount; ++window) {
            plan_.cells.push_back({window, CellHost::Console, false, false, {}, -1, order});
        }
    }

    StreamPlan Heard() const { return in_.bAudio ? StreamPlan::StartWithAudio : StreamPlan::Start; }

    void Start(int channel, StreamPlan plan) {
        if (IsCamera(channel)) {
            plan_.streams[static_cast<std::size_t>(channel)] = plan;
        }
    }

    // Everything that was not started; to be called last.
    void StopTheRest() {
        if (in_.bStopInvisible) {
            std::replace(plan_.streams.begin(), plan_.streams.end(), StreamPlan::Keep, StreamPlan::Stop);
        }
    }

    int ComboChannel(int item) const {
        const int count = static_cast<int>(in_.comboChannels.size());
        return item >= 0 && count > 0 ? in_.comboChannels[static_cast<std::size_t>(item % count)] : -1;
    }

    void PlanSingle() {
        const int channel = ComboChannel(in_.comboSelection);
        Place(0, CellHost::Main, in_.singleArea, channel, CellOrder::Keep);
        int used = 1;
        if (in_.secondArea) {
            const int next = ComboChannel(in_.comboSelection < 0 ? -1 : in_.comboSelection + 1);
            Place(used++, CellHost::Second, *in_.secondArea, next, CellOrder::Keep);
            Start(next, StreamPlan::Start);
        }
        Start(channel, Heard());
        if (!in_.bMaxViewMode && IsCamera(channel)) {
            plan_.restartChannel = channel;
        }
        GiveBackFrom(used);
        plan_.activeWindow = 0;
        StopTheRest();
    }

    void PlanPip() {
        const int children = std::clamp(in_.pipChildren, 1, kMaxPipChildren);
        const std::vector<PixelRect> rects = PipRects(in_.area, children);
        const auto entry = [&](int i) { return static_cast<int>(in_.pipList[static_cast<std::size_t>(i)]); };
        Place(0, CellHost::Main, rects[0], entry(0), CellOrder::Bottom);
        for (int i = children; i >= 1; --i) {
            Place(i, CellHost::Main, rects[static_cast<std::size_t>(i)], entry(i), CellOrder::Top);
        }
        GiveBackFrom(children + 1, CellOrder::Bottom);
        for (int i = 3; i >= 0; --i) {
            Start(entry(i), i == 0 ? Heard() : StreamPlan::Start);
        }
        plan_.activeWindow = 0;
        StopTheRest();
    }

    void PlanPages() {
        const int perPage = static_cast<int>(in_.array->GetPageSize());
        const std::uint32_t page = in_.array->GetCurPage();
        const int active = static_cast<int>(in_.array->GetCurAct());
        const bool bGrid = in_.style == VIEW_STYLE_4CH || in_.style == VIEW_STYLE_9CH ||
                           in_.style == VIEW_STYLE_12CH || in_.style == VIEW_STYLE_CUSTOM;
        const CellOrder order = bGrid ? CellOrder::Keep : CellOrder::Top;

        PlacePage(0, CellHost::Main, in_.area, page, order);
        int used = perPage;
        if (in_.secondArea) {
            PlacePage(perPage, CellHost::Second, *in_.secondArea, page + 1, order);
            used += perPage;
        }
        GiveBackFrom(used);
        // A camera may stand on both pages after a swap: the current page decides about its sound.
        if (in_.secondArea) {
            StartPage(page + 1, active);
        }
        StartPage(page, active);
        StopTheRest();
        for (const CellPlan& cell : plan_.cells) {
            if (cell.channel >= 0 && cell.channel == active) {
                plan_.activeWindow = cell.window;
            }
        }
    }

    void PlacePage(int firstWindow, CellHost host, const PixelRect& area, std::uint32_t page,
                   CellOrder order) {
        const std::vector<PixelRect> cells = DivideArea(in_.style, area, in_.rows, in_.columns);
        for (std::size_t i = 0; i < cells.size(); ++i) {
            Place(firstWindow + static_cast<int>(i), host, cells[i],
                  in_.array->GetAt(page, static_cast<std::uint32_t>(i)), order);
        }
    }

    void StartPage(std::uint32_t page, int active) {
        for (std::uint32_t i = 0; i < in_.array->GetPageSize(); ++i) {
            const int channel = in_.array->GetAt(page, i);
            Start(channel, channel == active ? Heard() : StreamPlan::Start);
        }
    }

    const LayoutInput& in_;
    LayoutPlan plan_;
};

// One walk over cells: which holds the dragged channel and which lies under the drop.
struct SwapSearch {
    int dragged;
    const std::function<bool(int)>& dropsOn;
    int from = -1;
    int to = -1;

    // True when both are known.
    bool Look(int position, int channel) {
        if (channel == dragged) {
            from = position;
        } else if (channel >= 0 && dropsOn(channel)) {
            to = position;
        }
        return from >= 0 && to >= 0;
    }
};

}  // namespace

LayoutPlan ComputeLayout(const LayoutInput& input) {
    return Planner(input).Run();
}

int PageItemCount(int showable, int perPage, int displays) {
    const int total = perPage * displays;
    return total > 0 && showable > total ? (showable + total - 1) / total : 0;
}

bool IsListedInCombo(const ComboCandidate& camera, std::uint32_t listMode) {
    if (!camera.named) {
        return false;
    }
    switch (listMode) {
        case 0:
            return true;
        case 2:
            return camera.monitorable;
        default:
            return camera.right && camera.configured;
    }
}

int PipChildCount(std::uint32_t stored, int showable) {
    return stored >= 1 && stored <= kMaxPipChildren ? static_cast<int>(stored) : DefaultPipChildren(showable);
}

std::optional<CellSwap> FindGridSwap(CChannelArray& array, int dragged, bool bSecondDisplay,
                                     const std::function<bool(int channel)>& dropsOn) {
    const std::uint32_t page = array.GetCurPage();
    const int perPage = static_cast<int>(array.GetPageSize());
    SwapSearch here{dragged, dropsOn};
    for (int i = 0; i < perPage; ++i) {
        if (here.Look(i, array.GetAt(page, static_cast<std::uint32_t>(i)))) {
            return CellSwap{page, here.from, here.to};
        }
    }
    if (!bSecondDisplay) {
        return std::nullopt;
    }
    SwapSearch next{dragged, dropsOn};
    for (int i = perPage - 1; i >= 0; --i) {
        if (next.Look(i, array.GetAt(page + 1, static_cast<std::uint32_t>(i)))) {
            return CellSwap{page + 1, next.from, next.to};
        }
    }
    return std::nullopt;
}

std::optional<CellSwap> FindPipSwap(const std::array<std::uint32_t, 4>& list, int dragged,
                                    const std::function<bool(int channel)>& dropsOn) {
    SwapSearch search{dragged, dropsOn};
    for (int i = 0; i < 4; ++i) {
        if (search.Look(i, static_cast<int>(list[static_cast<std::size_t>(i)]))) {
            return CellSwap{0, search.from, search.to};
        }
    }
    return std::nullopt;
}

bool SwapCells(CChannelArray& array, const CellSwap& swap) {
    const int perPage = static_cast<int>(array.GetPageSize());
    const auto inside = [&](int position) { return position >= 0 && position < perPage; };
    if (swap.from == swap.to || !inside(swap.from) || !inside(swap.to)) {
        return false;
    }
    const auto from = static_cast<std::uint32_t>(swap.from);
    const auto to = static_cast<std::uint32_t>(swap.to);
    const int fromValue = array.GetAt(swap.page, from);
    const int toValue = array.GetAt(swap.page, to);
    if (fromValue < 0 || toValue < 0) {
        return false;
    }
    array.SetIdx(from, static_cast<std::uint32_t>(toValue));
    array.SetIdx(to, static_cast<std::uint32_t>(fromValue));
    return true;
}

}  // namespace kvmon
