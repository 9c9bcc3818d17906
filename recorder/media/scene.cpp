#include "media/scene.h"

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

}  // namespace kvrecorder
