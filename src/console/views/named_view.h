// A view that has a name: what the wall shows, in a form that outlives the channels' numbers.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "channel/picture/digital_zoom.h"
#include "console/layout/view_style.h"

namespace kvmon {

// A camera as its recorder has it. The name is told when it is not there any more.
struct ViewCamera {
    std::string host;
    std::uint32_t port = 80;
    int channel = 0;
    std::string name;

    bool IsSame(const ViewCamera& other) const {
        return channel == other.channel && port == other.port && host == other.host;
    }
};

// One order: the page that it shows and the cameras by position, over all pages. Cameras are places in the
// view's list, -1 is an empty cell.
struct ViewPages {
    std::string style;  // as ViewPagesName gives it
    std::uint32_t page = 0;
    std::vector<int> cells;
};

struct ViewZoom {
    int camera = 0;  // place in the view's list
    DigitalZoom::State state;
};

// One view of a sequence.
struct ViewStep {
    std::string view;
    int seconds = 30;
};

// A view, or with steps a sequence of views.
struct NamedView {
    std::string name;
    int style = VIEW_STYLE_4CH;
    std::uint32_t customStyle = 0;
    bool bMaxView = false;
    bool bFullScreen = false;
    bool bSecondDisplay = false;
    std::vector<ViewCamera> cameras;
    std::vector<ViewPages> pages;
    std::array<int, 4> pip{-1, -1, -1, -1};  // places in the list
    int pipChildren = 0;
    int single = -1;  // the single style's camera
    std::vector<ViewZoom> zooms;
    std::vector<ViewStep> steps;

    bool IsSequence() const { return !steps.empty(); }
};

inline constexpr std::size_t kMaxViews = 99;
inline constexpr std::size_t kMaxViewSteps = 99;
inline constexpr std::size_t kMaxViewName = 60;  // characters
inline constexpr int kMinStepSeconds = 1;
inline constexpr int kMaxStepSeconds = 86400;
inline constexpr std::size_t kMaxViewCells = 1024;  // positions of one order, cameras of one view

}  // namespace kvmon
