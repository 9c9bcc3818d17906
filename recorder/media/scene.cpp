#include "media/scene.h"

#include <stdexcept>
#include <string>

namespace kvrecorder {
namespace {

// Neighbours differ in colour and light, so that a wall of them is told apart at a glance.
const Scene kScenes[] = {
    {"harbour", HarbourStill, HarbourMoving},    {"highway", HighwayStill, HighwayMoving},
    {"aquarium", AquariumStill, AquariumMoving}, {"warehouse", WarehouseStill, WarehouseMoving},
    {"airfield", AirfieldStill, AirfieldMoving}, {"servers", ServersStill, ServersMoving},
    {"railway", RailwayStill, RailwayMoving},    {"parking", ParkingStill, ParkingMoving},
    {"ski lift", SkiLiftStill, SkiLiftMoving},   {"wind farm", WindFarmStill, WindFarmMoving},
};

}  // namespace

std::span<const Scene> Scenes() {
    return kScenes;
}

const Scene* FindScene(std::string_view name) {
    for (const Scene& scene : kScenes) {
        if (scene.name == name) {
            return &scene;
        }
    }
    return nullptr;
}

const Scene& SceneOf(int channel, std::string_view name) {
    const Scene* const scene =
        name.empty() ? &kScenes[static_cast<std::size_t>(channel) % std::size(kScenes)] : FindScene(name);
    if (!scene) {
        throw std::runtime_error("there is no scene \"" + std::string(name) + "\"");
    }
    return *scene;
}

}  // namespace kvrecorder
