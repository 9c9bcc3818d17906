#include "onvif/onvif_lens.h"

#include <utility>

namespace kvrecorder {
namespace {

using std::chrono::milliseconds;

constexpr double kFocusStep = 0.1;

}  // namespace

OnvifLens::OnvifLens(OnvifDevice& device, std::string source)
    : m_device(device), m_source(std::move(source)) {
    if (device.Services().imaging.empty() || m_source.empty()) {
        return;
    }
    try {
        m_focus = ReadFocusAbility(Ask("GetMoveOptions")->Body());
    } catch (const SoapFault&) {
        // Its lens is not moved, then.
    }
}

std::unique_ptr<SoapDocument> OnvifLens::Ask(const std::string& name, const std::string& inner) {
    return m_device.Ask(m_device.Services().imaging, kImagingSpace, name,
                        "<VideoSourceToken>" + EscapeXml(m_source) + "</VideoSourceToken>" + inner,
                        milliseconds(4'000));
}

FocusStatus OnvifLens::Status() {
    try {
        return ReadFocusStatus(Ask("GetStatus")->Body());
    } catch (const SoapFault&) {
        return {};
    }
}

// False if it does not tell from where it would move.
bool OnvifLens::Move(int farther, const MoveWait& wait) {
    const auto move = [&](const std::string& how) { Ask("Move", "<Focus>" + how + "</Focus>"); };
    if (m_focus.relative) {
        move("<tt:Relative><tt:Distance>" +
             Decimal(m_focus.relative->Clamp(kFocusStep * SpanOf(*m_focus.relative) * farther)) +
             "</tt:Distance></tt:Relative>");
    } else if (m_focus.continuous) {
        move("<tt:Continuous><tt:Speed>" +
             Decimal(m_focus.continuous->Clamp(kSpeed * SpanOf(*m_focus.continuous) * farther)) +
             "</tt:Speed></tt:Continuous>");
        wait(kRunTime);
        Ask("Stop");
    } else {
        const FocusStatus status = Status();
        if (!status.position) {
            return false;
        }
        move("<tt:Absolute><tt:Position>" +
             Decimal(m_focus.absolute->Clamp(*status.position +
                                             kFocusStep * SpanOf(*m_focus.absolute) * farther)) +
             "</tt:Position></tt:Absolute>");
    }
    return true;
}

std::string OnvifLens::Focus(int farther, const MoveWait& wait) {
    if (!HasFocus() || !Move(farther, wait)) {
        return kRefused;
    }
    const auto until = std::chrono::steady_clock::now() + kLongestMove;
    FocusStatus status;
    do {
        status = Status();
    } while (status.moving.value_or(false) && std::chrono::steady_clock::now() < until && wait(kLookPause));
    if (!m_focus.absolute || EndIn(status.position, *m_focus.absolute) != farther) {
        return Told(EndStop::None);
    }
    return Told(farther > 0 ? EndStop::Far : EndStop::Near);
}

}  // namespace kvrecorder
