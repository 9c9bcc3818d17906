// The places that a camera knows by number and name.
#pragma once

#include <array>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "media/scene.h"
#include "state/recorder_config.h"

namespace kvrecorder {

struct Preset {
    std::string name;  // UTF-8; may be empty
    SceneView view;
};
using PresetSlots = std::array<std::optional<Preset>, kMaxPresets>;

// Keeps them in a file when it is given one; any thread.
class PresetTable {
public:
    // What the file holds goes before `names`, which stand for places spread over the scene; an empty name
    // is an empty place. A file that cannot be read counts as none.
    PresetTable(std::string file, const std::vector<std::string>& names);

    PresetSlots Slots() const;
    // False if the file could not be written; the change holds then until the recorder's end.
    bool Set(std::size_t index, std::optional<Preset> preset);

private:
    bool Load();
    bool Save(const PresetSlots& slots) const;

    const std::string m_file;
    std::mutex m_saving;  // one writer of the file at a time, and in order
    mutable std::mutex m_mutex;
    PresetSlots m_slots;
};

}  // namespace kvrecorder
