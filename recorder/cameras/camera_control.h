// A camera on the network beside its pictures: steering it, and what it tells of itself.
#pragma once

#include <array>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "cameras/camera_offer.h"
#include "media/stream_config.h"

namespace kvrecorder {

inline constexpr std::size_t kControlPresets = 10;

// An order by its number on the wire, 0 to 22, with its argument where it has one.
struct PtzOrder {
    int command = 0;
    std::size_t preset = 0;           // its place among the presets
    std::optional<std::string> name;  // of a preset that is kept; nothing: the one that it has
    double right = 0;                 // a place in the picture, in parts of its width and height
    double down = 0;
};

// What a camera can be asked for.
struct ControlAbilities {
    bool pan = false;
    bool tilt = false;
    bool zoom = false;
    bool focus = false;
    bool presets = false;
    bool home = false;
    bool centre = false;

    bool Any() const { return pan || tilt || zoom || focus || presets || home || centre; }
};

using ControlPresets = std::array<std::optional<std::string>, kControlPresets>;

// Any thread; nothing here waits for the camera.
class CameraControl {
public:
    virtual ~CameraControl() = default;
    // Nothing while they are not known.
    virtual std::optional<ControlAbilities> Abilities() const = 0;
    // The names of its presets as they were told last.
    virtual ControlPresets Presets() const = 0;
    // `done` is called once, on any thread, with the words for whoever gave the order: the number of the end
    // that the camera is at, "-1" for what it cannot do, "OK" for a preset that was kept or forgotten.
    virtual void Give(PtzOrder order, std::function<void(std::string)> done) = 0;
    // Asks for the presets anew; `done` is called once, whatever comes of it.
    virtual void ReadPresets(std::function<void()> done) = 0;
};

// What a camera tells.
struct CameraNews {
    enum class Kind { Motion, Input, SignalLost, Tampering, Trouble, Word, Offer };
    Kind kind = Kind::Word;
    bool on = false;
    std::string words;       // of trouble, also at its end, and of a word
    CameraOffer offer = {};  // what it has, as it says now
};

// Null for a camera that can be neither steered nor asked. `tell` is called on a thread that waits for the
// camera, and never after the control's end but for a call that is under way.
using CameraControlMaker = std::function<std::shared_ptr<CameraControl>(
    const NetworkCamera& camera, std::function<void(const CameraNews&)> tell)>;

}  // namespace kvrecorder
