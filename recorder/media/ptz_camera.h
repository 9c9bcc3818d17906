// A camera that can be steered: where it looks, and how it gets there.
#pragma once

#include <array>
#include <mutex>
#include <vector>

#include "media/media_clock.h"
#include "media/scene.h"

namespace kvrecorder {

// What a camera tells when it can go no further, by the numbers of the wire.
enum class EndStop {
    None = 0,
    Right = 1,
    Left = 2,
    Up = 3,
    Down = 4,
    Wide = 5,
    Tele = 6,
    Locked = 7,
    Error = 8,
    Far = 9,
    Near = 10,
    UpLeft = 11,
    UpRight = 12,
    DownLeft = 13,
    DownRight = 14,
};

struct CameraPose {
    SceneView view;
    double blur = 0;  // 0: sharp, 1: nothing can be made out
};

enum class PictureShape { Normal, Wide };  // 4:3 or 16:9

// Orders change the aim at once and the picture follows with inertia, as time goes on in Pose. All
// operations may be called from any thread.
class PtzCamera {
public:
    static constexpr double kWidest = 0.8;
    static constexpr double kNarrowest = 8;

    explicit PtzCamera(PictureShape shape) : m_shape(shape) {}

    // Steps of -1, 0 or 1, right and down; up and left are negative.
    EndStop Move(int right, int down);
    EndStop Zoom(int in);
    EndStop Focus(int farther);
    // A place in the picture, in parts of its width and height, becomes its middle.
    EndStop Centre(double right, double down);
    // Focuses too, as a camera does that knows the place.
    void GoTo(const SceneView& view);
    void Home() { GoTo(SceneView{}); }
    // Looks at one after the other, over and over, until the next order.
    void Tour(std::vector<SceneView> stops);
    void Halt();

    // The view at which it comes to rest.
    SceneView Aim() const;
    // `now` of an earlier call gives the pose of the latest.
    CameraPose Pose(MediaTime now);
    // The picture's content moves by itself.
    bool Moving() const;

private:
    // What follows an aim like a mass on a damped spring.
    struct Axis {
        double at = 0;
        double speed = 0;
        double aim = 0;

        void Step(double seconds);
        void Jump();
        bool Rests(double tolerance) const;
    };
    enum AxisNumber { kX, kY, kZoom, kFocus, kAxisCount };

    double AimZoom() const;
    // Keeps the view inside the world; tells the ends that it was held at.
    EndStop Hold();
    void Aim(const SceneView& view);
    void FollowTour(double seconds);

    const PictureShape m_shape;
    mutable std::mutex m_mutex;
    // The zoom's as a logarithm, so that each step looks alike.
    std::array<Axis, kAxisCount> m_axes = {
        {{kWorldWidth / 2, 0, kWorldWidth / 2}, {kWorldHeight / 2, 0, kWorldHeight / 2}, {}, {}}};
    std::vector<SceneView> m_tour;
    std::size_t m_tourNext = 0;
    double m_tourWait = 0;
    bool m_begun = false;
    MediaTime m_last{};
};

}  // namespace kvrecorder
