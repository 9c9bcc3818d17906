// Whom a connection serves.
#pragma once

#include <string>

#include "state/recorder_model.h"

namespace kvrecorder {

struct Login {
    std::string user;
    Secret password;

    // The right as it is now, on a channel that has a camera.
    bool Has(const Snapshot& state, Right right, int channel) const;
};

}  // namespace kvrecorder
