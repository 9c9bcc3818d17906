#include "onvif/onvif_steering.h"

#include <algorithm>
#include <cmath>

#include "onvif/onvif_moves.h"

namespace kvrecorder {
namespace {

using std::chrono::milliseconds;

constexpr const char* kDone = "OK";

// A fifth of the picture's width, which is 2 wide from side to side.
constexpr double kViewStep = 0.4;
// Of all that a head can turn, seen wide; less when the picture is nearer.
constexpr double kTurnStep = 0.05;
constexpr double kNearest = 0.15;
constexpr double kZoomStep = 0.1;

// The orders behind the twelve steps, by their numbers on the wire.
enum Command {
    kGoToPreset = 12,
    kHome,
    kCentre,
    kTrack = 17,
    kHalt,
    kStorePreset = 21,
    kErasePreset,
};

struct StepParts {
    int right;
    int down;
    int in;
    int farther;
};
constexpr std::array<StepParts, 12> kSteps = {{
    {0, -1, 0, 0},
    {0, 1, 0, 0},
    {-1, 0, 0, 0},
    {1, 0, 0, 0},
    {-1, -1, 0, 0},
    {1, -1, 0, 0},
    {-1, 1, 0, 0},
    {1, 1, 0, 0},
    {0, 0, 1, 0},
    {0, 0, -1, 0},
    {0, 0, 0, 1},
    {0, 0, 0, -1},
}};

bool IsNoPreset(const SoapFault& fault) {
    return fault.Has("NoToken") || fault.Has("NoEntity") || fault.Has("NoSuchPreset");
}

}  // namespace

OnvifSteering::OnvifSteering(OnvifDevice& device, const std::vector<OnvifProfile>& profiles,
                             PresetPlaces& places, MoveWait wait)
    : m_device(device), m_profile(profiles.front()), m_places(places), m_wait(std::move(wait)) {
    const auto steered = std::find_if(profiles.begin(), profiles.end(),
                                      [](const OnvifProfile& profile) { return !profile.ptzNode.empty(); });
    if (!device.Services().ptz.empty() && steered != profiles.end()) {
        m_profile = *steered;
        try {
            m_node = ReadPtzNode(device.Ask(device.Services().ptz, kPtzSpace, "GetNodes", "")->Body(),
                                 m_profile.ptzNode);
            m_abilities.pan =
                m_node.relativeInView || m_node.relative || m_node.continuous || m_node.absolute;
            m_abilities.tilt = m_abilities.pan;
            m_abilities.zoom = m_node.relativeZoom || m_node.continuousZoom || m_node.absoluteZoom;
            m_abilities.home = m_node.home;
            m_abilities.centre = m_node.relativeInView.has_value();
            ReadPresets();
            const ControlPresets names = m_places.Names();
            m_abilities.presets =
                m_node.mostPresets > 0 ||
                std::any_of(names.begin(), names.end(), [](const auto& name) { return name.has_value(); });
        } catch (const SoapFault&) {
            // It says that it can be steered and knows nothing of how.
        }
    }
    m_lens.emplace(device, m_profile.source);
    m_abilities.focus = m_lens->HasFocus();
}

std::unique_ptr<SoapDocument> OnvifSteering::AskPtz(const std::string& name, const std::string& inner) {
    return m_device.Ask(m_device.Services().ptz, kPtzSpace, name,
                        "<ProfileToken>" + EscapeXml(m_profile.token) + "</ProfileToken>" + inner,
                        milliseconds(4'000));
}

void OnvifSteering::ReadPresets() {
    try {
        m_places.Take(kvrecorder::ReadPresets(AskPtz("GetPresets")->Body()));
    } catch (const SoapFault&) {
        m_places.Take({});
    }
}

void OnvifSteering::GoTo(std::size_t preset) {
    const auto known = m_places.At(preset);
    if (known) {
        AskPtz("GotoPreset", "<PresetToken>" + EscapeXml(known->token) + "</PresetToken>");
    }
}

PtzStatus OnvifSteering::Status() {
    try {
        return ReadPtzStatus(AskPtz("GetStatus")->Body());
    } catch (const SoapFault&) {
        return {};
    }
}

// Where it is when it has come to rest, or at the latest after a while.
PtzStatus OnvifSteering::Rest() {
    const auto until = std::chrono::steady_clock::now() + kLongestMove;
    while (true) {
        const PtzStatus status = Status();
        if (!status.moving.value_or(false) || std::chrono::steady_clock::now() >= until ||
            !m_wait(kLookPause)) {
            return status;
        }
    }
}

// The end that it was sent to and is at.
std::string OnvifSteering::EndOf(const Ends& wanted, const PtzStatus& status) const {
    const auto limits = m_profile.panTiltLimits ? m_profile.panTiltLimits : m_node.absolute;
    const auto zoomLimits = m_profile.zoomLimits ? m_profile.zoomLimits : m_node.absoluteZoom;
    const int x = limits ? EndIn(status.x, limits->x) : 0;
    const int y = limits ? EndIn(status.y, limits->y) : 0;
    const int zoom = zoomLimits ? EndIn(status.zoom, zoomLimits->x) : 0;
    if (wanted.in != 0) {
        return Told(zoom != wanted.in ? EndStop::None : zoom > 0 ? EndStop::Tele : EndStop::Wide);
    }
    const int right = wanted.right != 0 && x == wanted.right ? x : 0;
    const int up = wanted.down != 0 && y == -wanted.down ? y : 0;
    if (right != 0 && up != 0) {
        return Told(up > 0 ? (right > 0 ? EndStop::UpRight : EndStop::UpLeft)
                           : (right > 0 ? EndStop::DownRight : EndStop::DownLeft));
    }
    return Told(right > 0   ? EndStop::Right
                : right < 0 ? EndStop::Left
                : up > 0    ? EndStop::Up
                : up < 0    ? EndStop::Down
                            : EndStop::None);
}

void OnvifSteering::Halt() {
    AskPtz("Stop", "<PanTilt>true</PanTilt><Zoom>true</Zoom>");
}

// Not every camera looks at the time that it is to run for.
void OnvifSteering::RunOn(const std::string& velocity) {
    AskPtz("ContinuousMove", "<Velocity>" + velocity + "</Velocity><Timeout>PT1S</Timeout>");
    m_wait(kRunTime);
    Halt();
}

void OnvifSteering::Move(int right, int down) {
    if (m_node.relativeInView) {
        AskPtz("RelativeMove", "<Translation>" +
                                   PanTilt(*m_node.relativeInView, kViewStep * right, -kViewStep * down) +
                                   "</Translation>");
        return;
    }
    if (!m_node.relative && m_node.continuous) {
        const PtzSpace& space = *m_node.continuous;
        RunOn(PanTilt(space, kSpeed * SpanOf(space.x) * right, -kSpeed * SpanOf(space.y) * down));
        return;
    }
    const PtzStatus status = Status();
    double part = kTurnStep;
    if (status.zoom && m_node.absoluteZoom) {
        const Range& range = m_node.absoluteZoom->x;
        const double near = (*status.zoom - range.low) / (range.high - range.low);
        part *= std::isfinite(near) ? std::max(kNearest, 1 - near) : 1;
    }
    if (m_node.relative) {
        const PtzSpace& space = *m_node.relative;
        AskPtz("RelativeMove",
               "<Translation>" +
                   PanTilt(space, part * SpanOf(space.x) * 2 * right, -part * SpanOf(space.y) * 2 * down) +
                   "</Translation>");
    } else if (status.x && status.y) {
        const PtzSpace& space = *m_node.absolute;
        AskPtz("AbsoluteMove", "<Position>" +
                                   PanTilt(space, *status.x + part * SpanOf(space.x) * 2 * right,
                                           *status.y - part * SpanOf(space.y) * 2 * down) +
                                   "</Position>");
    }
}

void OnvifSteering::Zoom(int in) {
    if (m_node.relativeZoom) {
        AskPtz("RelativeMove",
               "<Translation>" + ZoomTo(*m_node.relativeZoom, kZoomStep * m_node.relativeZoom->x.high * in) +
                   "</Translation>");
    } else if (m_node.continuousZoom) {
        RunOn(ZoomTo(*m_node.continuousZoom, kSpeed * m_node.continuousZoom->x.high * in));
    } else if (const PtzStatus status = Status(); status.zoom) {
        const PtzSpace& space = *m_node.absoluteZoom;
        AskPtz("AbsoluteMove", "<Position>" +
                                   ZoomTo(space, *status.zoom + kZoomStep * SpanOf(space.x) * 2 * in) +
                                   "</Position>");
    }
}

std::string OnvifSteering::Step(int command) {
    const StepParts& step = kSteps[static_cast<std::size_t>(command)];
    if (step.farther != 0) {
        return m_lens->Focus(step.farther, m_wait);
    }
    const bool zooms = step.in != 0;
    if (zooms ? !m_abilities.zoom : !m_abilities.pan) {
        return kRefused;
    }
    const Ends wanted{step.right, step.down, step.in};
    try {
        if (zooms) {
            Zoom(step.in);
        } else {
            Move(step.right, step.down);
        }
    } catch (const SoapFault& fault) {
        // Some cameras refuse a step beyond their end.
        std::string end = fault.Has("InvalidPosition") ? EndOf(wanted, Status()) : "0";
        if (end == "0") {
            throw;
        }
        return end;
    }
    return EndOf(wanted, Rest());
}

std::string OnvifSteering::Centre(const PtzOrder& order) {
    if (!m_abilities.centre) {
        return kRefused;
    }
    AskPtz("RelativeMove", "<Translation>" +
                               PanTilt(*m_node.relativeInView, 2 * order.right - 1, 1 - 2 * order.down) +
                               "</Translation>");
    Rest();
    return Told(EndStop::None);
}

std::string OnvifSteering::Store(const PtzOrder& order) {
    const auto known = m_places.At(order.preset);
    OnvifPreset preset;
    preset.token = known ? known->token : "";
    preset.name = order.name ? *order.name : known ? known->name : "";
    // Not every camera takes one without a name.
    const std::string name = preset.name.empty() ? "Preset " + std::to_string(order.preset + 1) : preset.name;
    const auto document =
        AskPtz("SetPreset", "<PresetName>" + EscapeXml(name) + "</PresetName>" +
                                (known ? "<PresetToken>" + EscapeXml(known->token) + "</PresetToken>" : ""));
    if (const std::string token = TextOf(Find(document->Body(), "PresetToken")); !token.empty()) {
        preset.token = token;
    }
    if (preset.token.empty()) {
        ReadPresets();
    } else {
        m_places.Set(order.preset, preset);
    }
    return kDone;
}

// Following what moves is no part of ONVIF but one of the orders of their own that cameras tell.
std::string OnvifSteering::Track(bool on) {
    for (const std::string& command : m_node.auxiliary) {
        if (command.find("rack") != std::string::npos && command.ends_with(on ? "On" : "Off")) {
            AskPtz("SendAuxiliaryCommand", "<AuxiliaryData>" + EscapeXml(command) + "</AuxiliaryData>");
            return Told(EndStop::None);
        }
    }
    return kRefused;
}

std::string OnvifSteering::Obey(const PtzOrder& order) {
    if (order.command < static_cast<int>(kSteps.size())) {
        return Step(order.command);
    }
    const auto known = m_places.At(order.preset);
    switch (order.command) {
        case kGoToPreset:
            if (!known) {
                return kRefused;
            }
            GoTo(order.preset);
            return Told(EndStop::None);
        case kHome:
            if (!m_abilities.home) {
                return kRefused;
            }
            AskPtz("GotoHomePosition");
            return Told(EndStop::None);
        case kCentre:
            return Centre(order);
        case kTrack:
            return Track(true);
        case kHalt:
            Track(false);
            if (m_abilities.pan || m_abilities.zoom) {
                Halt();
            }
            return Told(EndStop::None);
        case kStorePreset:
            return m_abilities.presets ? Store(order) : kRefused;
        case kErasePreset:
            if (!known) {
                return kRefused;
            }
            AskPtz("RemovePreset", "<PresetToken>" + EscapeXml(known->token) + "</PresetToken>");
            m_places.Forget(order.preset);
            return kDone;
        default:
            return kRefused;
    }
}

std::string OnvifSteering::Run(const PtzOrder& order) {
    try {
        return Obey(order);
    } catch (const SoapFault& fault) {
        return fault.IsUnknown() || IsNoPreset(fault) ? kRefused : Told(EndStop::Error);
    }
}

}  // namespace kvrecorder
