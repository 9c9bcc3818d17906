// A file of named views as a user imports it: it is taken whole or not at all, and what is taken can be
// written, read again, and shown.
#include <cstdint>
#include <set>
#include <string>

#include "console/views/view_file.h"
#include "console/views/view_list.h"
#include "fuzz_input.h"

using namespace kvmon;
using kvfuzz::Check;

namespace {

bool IsPlace(int place, const NamedView& view, int least) {
    return place >= least && place < static_cast<int>(view.cameras.size());
}

void CheckView(const NamedView& view) {
    Check(!view.name.empty() && view.name == CleanViewName(view.name));
    Check(view.steps.size() <= kMaxViewSteps && view.cameras.size() <= kMaxViewCells);
    for (const ViewStep& step : view.steps) {
        Check(!step.view.empty() && step.seconds >= kMinStepSeconds && step.seconds <= kMaxStepSeconds);
    }
    Check(view.style >= 0 && view.style < kViewStyleCount);
    for (const ViewCamera& camera : view.cameras) {
        Check(!camera.host.empty() && camera.port >= 1 && camera.port <= 65535 && camera.channel >= 0);
    }
    for (const ViewPages& pages : view.pages) {
        Check(pages.cells.size() <= kMaxViewCells);
        for (const int cell : pages.cells) {
            Check(IsPlace(cell, view, -1));
        }
    }
    for (const int place : view.pip) {
        Check(IsPlace(place, view, -1));
    }
    Check(IsPlace(view.single, view, -1));
    for (const ViewZoom& zoom : view.zooms) {
        Check(IsPlace(zoom.camera, view, 0));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray text(static_cast<const char*>(static_cast<const void*>(data)),
                          static_cast<qsizetype>(size));
    ParsedViews parsed = ReadViews(text);
    Check(parsed.fault == ViewFileFault::None || parsed.views.empty());
    Check(parsed.views.size() <= kMaxViews);
    std::set<std::string> names;
    for (const NamedView& view : parsed.views) {
        Check(names.insert(view.name).second);
        CheckView(view);
    }
    const QByteArray written = WriteViews(parsed.views);
    const ParsedViews again = ReadViews(written);
    Check(again.fault == ViewFileFault::None && WriteViews(again.views) == written);
    // Behind themselves: half of them have names that are taken.
    std::vector<NamedView> twice = parsed.views;
    if (AddViews(twice, parsed.views)) {
        names.clear();
        for (const NamedView& view : twice) {
            Check(names.insert(view.name).second);
            CheckView(view);
        }
    }
    return 0;
}
