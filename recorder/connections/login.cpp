#include "connections/login.h"

namespace kvrecorder {

bool Login::Has(const Snapshot& state, Right right, int channel) const {
    const User* known = state.Authorize(user, password.View());
    return known && known->Has(right, channel) && state.Configured(channel);
}

}  // namespace kvrecorder
