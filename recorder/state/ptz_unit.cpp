#include "state/ptz_unit.h"

#include <algorithm>

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

std::string GoToPreset(PtzUnit& unit, std::string_view argument) {
    const auto index = ParseNumber<std::size_t>(argument, 0, kMaxPresets - 1);
    const auto slots = unit.presets.Slots();
    if (!index || !slots[*index]) {
        return kRefused;
    }
    unit.camera->GoTo(slots[*index]->view);
    return Told(EndStop::None);
}

// "X Y"
std::string Centre(PtzUnit& unit, std::string_view argument) {
    const auto words = Words(argument);
    if (words.size() != 2) {
        return kRefused;
    }
    const auto x = ParseNumber<int>(words[0], 0, kCoordinateWidth);
    const auto y = ParseNumber<int>(words[1], 0, kCoordinateHeight);
    if (!x || !y) {
        return kRefused;
    }
    return Told(unit.camera->Centre(static_cast<double>(*x) / kCoordinateWidth,
                                    static_cast<double>(*y) / kCoordinateHeight));
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

// Number and name as clients write them: three digits, and "xx" for no name or the name's length in two
// digits and its bytes in hexadecimal ones. The length counts characters, and the bytes may end early.
struct PresetArgument {
    std::size_t index = 0;
    std::optional<std::string> name;
};

std::optional<PresetArgument> ParsePreset(std::string_view argument) {
    if (argument.size() < 5) {
        return std::nullopt;
    }
    const auto index = ParseNumber<std::size_t>(argument.substr(0, 3), 0, kMaxPresets - 1);
    if (!index) {
        return std::nullopt;
    }
    PresetArgument preset{*index, std::nullopt};
    if (argument.substr(3) == "xx") {
        return preset;
    }
    const std::string_view digits = argument.substr(5);
    if (!ParseNumber<int>(argument.substr(3, 2), 0, 99) || digits.size() > 2 * kMaxPresetBytes) {
        return std::nullopt;
    }
    preset.name = HexDecode(digits.substr(0, digits.size() & ~std::size_t{1}));
    if (!preset.name || !IsDisplayText(*preset.name)) {
        return std::nullopt;
    }
    return preset;
}

// The present place under a number; without a name the number keeps the one that it has.
std::string StorePreset(PtzUnit& unit, std::string_view argument) {
    const auto wanted = ParsePreset(argument);
    if (!wanted) {
        return kRefused;
    }
    const auto known = unit.presets.Slots()[wanted->index];
    const std::string name = wanted->name ? *wanted->name : known ? known->name : "";
    unit.presets.Set(wanted->index, Preset{name, unit.camera->Aim()});
    return "OK";
}

std::string ErasePreset(PtzUnit& unit, std::string_view argument) {
    const auto wanted = ParsePreset(argument);
    if (!wanted) {
        return kRefused;
    }
    unit.presets.Set(wanted->index, std::nullopt);
    return "OK";
}

struct Order {
    int command;
    std::string (*run)(PtzUnit&, std::string_view argument);
};
constexpr std::array<Order, 8> kOrders = {{
    {kGoToPreset, GoToPreset},
    {kHome,
     [](PtzUnit& unit, std::string_view) {
         unit.camera->Home();
         return Told(EndStop::None);
     }},
    {kCentre, Centre},
    {kLookAround, [](PtzUnit& unit, std::string_view) { return LookAround(unit); }},
    {kHalt,
     [](PtzUnit& unit, std::string_view) {
         unit.camera->Halt();
         return Told(EndStop::None);
     }},
    {kTourPresets, [](PtzUnit& unit, std::string_view) { return TourPresets(unit); }},
    {kStorePreset, StorePreset},
    {kErasePreset, ErasePreset},
}};

}  // namespace

std::string RunPtzOrder(PtzUnit& unit, int command, std::string_view argument) {
    if (command >= 0 && command < static_cast<int>(kSteps.size())) {
        return TakeStep(unit, command);
    }
    for (const Order& order : kOrders) {
        if (order.command == command) {
            return order.run(unit, argument);
        }
    }
    return kRefused;
}

}  // namespace kvrecorder
