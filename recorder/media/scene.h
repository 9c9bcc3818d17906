// The generated scenes: what can be seen at a moment of a world that is larger than a picture.
#pragma once

#include <span>
#include <string_view>

namespace kvrecorder {

class Painter;

// Every scene fills this world. A view at home shows the middle of it.
inline constexpr double kWorldWidth = 3200;
inline constexpr double kWorldHeight = 1600;
// What a picture of 4:3 shows at home; one of 16:9 is as wide, and lower.
inline constexpr double kHomeWidth = 1600;

// The part of the world that is in the picture.
struct SceneView {
    double centreX = kWorldWidth / 2;
    double centreY = kWorldHeight / 2;
    double zoom = 1;  // 2: half as wide

    bool operator==(const SceneView&) const = default;
};

struct Scene {
    std::string_view name;
    // All that never moves; painted once for each size and view.
    void (*paintStill)(Painter&);
    // All that moves, on top of it, at a time in seconds.
    void (*paintMoving)(Painter&, double seconds);
};

std::span<const Scene> Scenes();
// Null if there is none of that name.
const Scene* FindScene(std::string_view name);
// By name, or by the channel's number when there is none. Throws std::runtime_error for an unknown name.
const Scene& SceneOf(int channel, std::string_view name);

void HarbourStill(Painter&);
void HarbourMoving(Painter&, double seconds);
void AquariumStill(Painter&);
void AquariumMoving(Painter&, double seconds);
void HighwayStill(Painter&);
void HighwayMoving(Painter&, double seconds);
void ParkingStill(Painter&);
void ParkingMoving(Painter&, double seconds);
void RailwayStill(Painter&);
void RailwayMoving(Painter&, double seconds);
void WarehouseStill(Painter&);
void WarehouseMoving(Painter&, double seconds);
void ServersStill(Painter&);
void ServersMoving(Painter&, double seconds);
void AirfieldStill(Painter&);
void AirfieldMoving(Painter&, double seconds);
void WindFarmStill(Painter&);
void WindFarmMoving(Painter&, double seconds);
void SkiLiftStill(Painter&);
void SkiLiftMoving(Painter&, double seconds);

}  // namespace kvrecorder
