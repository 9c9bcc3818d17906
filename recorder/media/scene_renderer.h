// A channel's picture of its scene, with caption and running clock.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "media/scene.h"

namespace kvrecorder {

// 32-bit pixels, blue first; valid until the renderer's next call.
struct PixelView {
    const std::uint8_t* pixels = nullptr;
    int stride = 0;
    int width = 0;
    int height = 0;
};

// What a picture shows beside its scene.
struct SceneMoment {
    double seconds = 0;                          // of the scene's own time
    std::chrono::system_clock::time_point wall;  // drawn in local time, to a tenth of a second
    std::string name;                            // UTF-8; what is not is replaced
    SceneView view;
    double blur = 0;  // 0: sharp, 1: nothing can be made out; not of caption and clock

    bool operator==(const SceneMoment&) const = default;
};

// Height of the strips with caption (upper edge) and clock (lower edge) in a picture of `height` rows.
int StripHeight(int height);

// Keeps what does not move for each size that it was asked for. One thread at a time.
class SceneRenderer {
public:
    SceneRenderer(const Scene& scene, int channel);
    ~SceneRenderer();
    SceneRenderer(const SceneRenderer&) = delete;
    SceneRenderer& operator=(const SceneRenderer&) = delete;

    // The same size and moment again costs nothing. Empty when memory is short.
    PixelView Draw(int width, int height, const SceneMoment& moment);
    // Frees the pictures.
    void Clear();

private:
    struct Canvas;

    Canvas& CanvasFor(int width, int height);
    static void Blur(Canvas& canvas, double blur);
    void DrawStrips(Canvas& canvas, const SceneMoment& moment) const;

    const Scene& m_scene;
    const int m_channel;
    std::vector<std::unique_ptr<Canvas>> m_canvases;
};

}  // namespace kvrecorder
