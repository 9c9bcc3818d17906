#include "state/state_causes.h"

namespace kvrecorder {
namespace {

const StatusFlag& FlagOf(std::size_t cause) {
    static constexpr std::array<StatusFlag, kCauses> kFlags = {wire::kLoss,   wire::kLoss,  wire::kMotion,
                                                               wire::kMotion, wire::kInput, wire::kAlarm};
    return kFlags[cause];
}

bool SameFlag(const StatusFlag& a, const StatusFlag& b) {
    return a.section == b.section && a.bit == b.bit;
}

}  // namespace

void StateCauses::Set(int channel, Cause cause, bool on, StatusDigits& status) {
    const auto number = static_cast<std::size_t>(channel);
    const auto set = static_cast<std::size_t>(cause);
    m_on[set].set(number, on);
    bool any = false;
    for (std::size_t i = 0; i < kCauses; ++i) {
        any = any || (m_on[i][number] && SameFlag(FlagOf(i), FlagOf(set)));
    }
    Mark(status, FlagOf(set), any);
}

void StateCauses::Show(int channel, StatusDigits& status) const {
    for (std::size_t i = 0; i < kCauses; ++i) {
        if (m_on[i][static_cast<std::size_t>(channel)]) {
            Mark(status, FlagOf(i), true);
        }
    }
}

void StateCauses::Forget(int channel) {
    for (ChannelSet& on : m_on) {
        on.reset(static_cast<std::size_t>(channel));
    }
}

void Mark(StatusDigits& digits, const StatusFlag& flag, bool on) {
    std::uint8_t& digit = digits[flag.section];
    digit = static_cast<std::uint8_t>(on ? digit | flag.bit : digit & ~flag.bit);
}

}  // namespace kvrecorder
