// The cameras of a view that are not there.
#pragma once

#include <vector>

#include "console/views/named_view.h"

namespace kvmon {

// Their places in the view's list.
std::vector<int> AbsentPlaces(const NamedView& view, const std::vector<ViewCamera>& there);
// The camera at this place leaves the view; its cells stay empty.
void TakeOut(NamedView& view, int place);

}  // namespace kvmon
