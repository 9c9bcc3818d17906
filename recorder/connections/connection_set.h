// The connections of the recorder's own port.
#pragma once

#include "connections/place_book.h"

namespace kvrecorder {

class Connection;
using ConnectionSet = PlaceBook<Connection>;

}  // namespace kvrecorder
