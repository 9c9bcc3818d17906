#include "state/ptz_unit.h"

#include <algorithm>

#include "media/base64.h"
#include "state/text.h"

namespace kvrecorder {
namespace {

constexpr const char* kRefused = "-1";

// Clients tell places in a picture of this size, whatever its own.
constexpr int kCoordinateWidth = 640;
constexpr int kCoordinateHeight = 480;

std::string Told(EndStop end) {
    return std::to_string(static_cast<int>(end));
}

// The orders behind the twelve steps, by their numbers on the wire.
enum Command {
    kGoToPreset = 12,
    kHome,
    kCentre,
    kLookAround = 17,
    kHalt,
    kTourPresets,
    kStorePreset = 21,
    kErasePreset,
};

// A step that an order moves the camera by. The position of each is its number on the wire.
struct Step {
    int right;
    int down;
    int in;
    int farther;
};
constexpr std::array<Step, 12> kSteps = {{
    {0, -1, 0, 0},   // up
    {0, 1, 0, 0},    // down
    {-1, 0, 0, 0},   // left
    {1, 0, 0, 0},    // right
    {-1, -1, 0, 0},  // and between them
    {1, -1, 0, 0},
    {-1, 1, 0, 0},
    {1, 1, 0, 0},
    {0, 0, 1, 0},   // zoom in
    {0, 0, -1, 0},  // zoom out
    {0, 0, 0, 1},   // focus far
    {0, 0, 0, -1},  // focus near
}};

std::string TakeStep(PtzUnit& unit, int command) {
    const Step& step = kSteps[static_cast<std::size_t>(command)];
    if (step.in != 0) {
        return Told(unit.camera->Zoom(step.in));
    }
    return Told(step.farther != 0 ? unit.camera->Focus(step.farther)
                                  : unit.camera->Move(step.right, step.down));
}

std::string GoToPreset(PtzUnit& unit, const PtzOrder& order) {
    const auto slots = unit.presets.Slots();
    if (!slots[order.preset]) {
        return kRefused;
    }
    unit.camera->GoTo(slots[order.preset]->view);
    return Told(EndStop::None);
}

// No scene tells what is worth following, so it looks around.
std::string LookAround(PtzUnit& unit) {
    SceneView left = unit.camera->Aim();
    SceneView right = left;
    left.centreX = kWorldWidth / 4;
    right.centreX = kWorldWidth * 3 / 4;
    unit.camera->Tour({left, right});
    return Told(EndStop::None);
}

std::string TourPresets(PtzUnit& unit) {
    std::vector<SceneView> stops;
    for (const auto& preset : unit.presets.Slots()) {
        if (preset) {
            stops.push_back(preset->view);
        }
    }
    if (stops.empty()) {
        return kRefused;
    }
    unit.camera->Tour(std::move(stops));
    return Told(EndStop::None);
}

// The present place under a number; without a name the number keeps the one that it has.
std::string StorePreset(PtzUnit& unit, const PtzOrder& order) {
    const auto known = unit.presets.Slots()[order.preset];
    const std::string name = order.name ? *order.name : known ? known->name : "";
    unit.presets.Set(order.preset, Preset{name, unit.camera->Aim()});
    return "OK";
}

std::string ErasePreset(PtzUnit& unit, const PtzOrder& order) {
    unit.presets.Set(order.preset, std::nullopt);
    return "OK";
}

struct Run {
    int command;
    std::string (*run)(PtzUnit&, const PtzOrder&);
};
constexpr std::array<Run, 8> kRuns = {{
    {kGoToPreset, GoToPreset},
    {kHome,
     [](PtzUnit& unit, const PtzOrder&) {
         unit.camera->Home();
         return Told(EndStop::None);
     }},
    {kCentre,
     [](PtzUnit& unit, const PtzOrder& order) { return Told(unit.camera->Centre(order.right, order.down)); }},
    {kLookAround, [](PtzUnit& unit, const PtzOrder&) { return LookAround(unit); }},
    {kHalt,
     [](PtzUnit& unit, const PtzOrder&) {
         unit.camera->Halt();
         return Told(EndStop::None);
     }},
    {kTourPresets, [](PtzUnit& unit, const PtzOrder&) { return TourPresets(unit); }},
    {kStorePreset, StorePreset},
    {kErasePreset, ErasePreset},
}};

// "X Y"
bool ReadPlace(std::string_view argument, PtzOrder& order) {
    const auto words = Words(argument);
    if (words.size() != 2) {
        return false;
    }
    const auto x = ParseNumber<int>(words[0], 0, kCoordinateWidth);
    const auto y = ParseNumber<int>(words[1], 0, kCoordinateHeight);
    if (!x || !y) {
        return false;
    }
    order.right = static_cast<double>(*x) / kCoordinateWidth;
    order.down = static_cast<double>(*y) / kCoordinateHeight;
    return true;
}

// Number and name as clients write them: three digits, and "xx" for no name or the name's length in two
// digits and its bytes in hexadecimal ones. The length counts characters, and the bytes may end early.
bool ReadPreset(std::string_view argument, PtzOrder& order) {
    if (argument.size() < 5) {
        return false;
    }
    const auto index = ParseNumber<std::size_t>(argument.substr(0, 3), 0, kMaxPresets - 1);
    if (!index) {
        return false;
    }
    order.preset = *index;
    if (argument.substr(3) == "xx") {
        return true;
    }
    const std::string_view digits = argument.substr(5);
    if (!ParseNumber<int>(argument.substr(3, 2), 0, 99) || digits.size() > 2 * kMaxPresetBytes) {
        return false;
    }
    order.name = HexDecode(digits.substr(0, digits.size() & ~std::size_t{1}));
    return order.name && IsDisplayText(*order.name);
}

}  // namespace

std::optional<PtzOrder> ReadPtzOrder(int command, std::string_view argument) {
    PtzOrder order;
    order.command = command;
    bool good = true;
    if (command == kGoToPreset) {
        const auto index = ParseNumber<std::size_t>(argument, 0, kMaxPresets - 1);
        order.preset = index.value_or(0);
        good = index.has_value();
    } else if (command == kCentre) {
        good = ReadPlace(argument, order);
    } else if (command == kStorePreset || command == kErasePreset) {
        good = ReadPreset(argument, order);
    }
    return good ? std::optional(std::move(order)) : std::nullopt;
}

std::string RunPtzOrder(PtzUnit& unit, const PtzOrder& order) {
    if (order.command >= 0 && order.command < static_cast<int>(kSteps.size())) {
        return TakeStep(unit, order.command);
    }
    for (const Run& known : kRuns) {
        if (known.command == order.command) {
            return known.run(unit, order);
        }
    }
    return kRefused;
}

}  // namespace kvrecorder
