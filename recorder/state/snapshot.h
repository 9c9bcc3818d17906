// The recorder's state at one moment: who may do what, which channels there are and how they are.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cameras/camera_control.h"
#include "cameras/camera_offer.h"
#include "cameras/camera_talk.h"
#include "state/ptz_unit.h"
#include "state/recorder_config.h"

namespace kvrecorder {

struct Channel {
    ChannelConfig config;
    std::vector<StreamDescription> streams;
    std::shared_ptr<PtzUnit> ptz;  // of a generated scene; null: it cannot be steered
    // Of a camera on the network; null: there is nothing beside its pictures.
    std::shared_ptr<CameraControl> control;
    std::shared_ptr<CameraTalk> talk;  // null: nothing that is said goes to a camera
    std::optional<CameraOffer> offer;  // of a camera on the network; nothing: not known yet
    int sourceNumber = 0;              // another one with each new source
    Fault trouble;                     // why no pictures come

    // What clients are told. A camera's own word counts, but for what the configuration switches off.
    bool HasSound() const;
    bool TakesTalk() const;
    // Also while a camera has not said what it has: its sound must be asked for with its pictures.
    bool MayHaveSound() const;
};

// Where clients find the cameras that are to be had directly.
struct CameraPlace {
    std::string address;
    int port = 0;  // 0: nowhere
};

// Never changed once it was given out.
struct Snapshot {
    ServerConfig server;
    std::vector<User> users;
    std::vector<Channel> channels;
    CameraPlace cameras;

    // Takes as long for a wrong name as for a wrong password. Null if there is no such user.
    const User* Authorize(std::string_view name, std::string_view password) const;
    // Null if out of range or without a camera.
    const Channel* Configured(int channel) const;
    // Null if out of range.
    Channel* Find(int channel);
    // For texts that users read. `channel` is in range.
    std::string NameOf(int channel) const;
};
using SnapshotPtr = std::shared_ptr<const Snapshot>;

}  // namespace kvrecorder
