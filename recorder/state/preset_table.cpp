#include "state/preset_table.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <sstream>
#include <stdexcept>

#include "media/plain_file.h"
#include "media/private_file.h"
#include "state/text.h"

namespace kvrecorder {
namespace {

constexpr std::size_t kMaxTableBytes = 65536;
constexpr const char* kFirstLine = "kvrecorder presets 1";

// Different parts of the scene, so that a change of place is seen.
SceneView PlaceOf(std::size_t index) {
    static constexpr std::array<SceneView, kMaxPresets> kPlaces = {{
        {800, 700, 1.2},
        {2400, 900, 1.6},
        {1600, 800, 2.5},
        {600, 1000, 3},
        {2700, 500, 2},
        {1100, 500, 4},
        {2100, 1100, 3},
        {400, 600, 2},
        {3000, 1200, 5},
        {1600, 1300, 4},
    }};
    return kPlaces[index];
}

bool Sound(const SceneView& view) {
    return std::isfinite(view.centreX) && std::isfinite(view.centreY) && std::isfinite(view.zoom) &&
           std::abs(view.centreX) < 1e6 && std::abs(view.centreY) < 1e6 && view.zoom > 0 && view.zoom < 100;
}

std::string ReadTable(const std::string& path) {
    try {
        return ReadPlainFile(path, kMaxTableBytes);
    } catch (const std::runtime_error&) {
        return "";
    }
}

}  // namespace

PresetTable::PresetTable(std::string file, const std::vector<std::string>& names) : m_file(std::move(file)) {
    if (!m_file.empty() && Load()) {
        return;
    }
    for (std::size_t i = 0; i < std::min(names.size(), m_slots.size()); ++i) {
        if (!names[i].empty()) {
            m_slots[i] = Preset{names[i], PlaceOf(i)};
        }
    }
}

PresetSlots PresetTable::Slots() const {
    const std::lock_guard lock(m_mutex);
    return m_slots;
}

bool PresetTable::Set(std::size_t index, std::optional<Preset> preset) {
    const std::lock_guard saving(m_saving);
    PresetSlots slots;
    {
        const std::lock_guard lock(m_mutex);
        m_slots.at(index) = std::move(preset);
        slots = m_slots;
    }
    return m_file.empty() || Save(slots);
}

// A line is number, place, zoom and, behind one blank, the name.
bool PresetTable::Load() {
    std::istringstream file(ReadTable(m_file));
    std::string line;
    if (!std::getline(file, line) || line != kFirstLine) {
        return false;
    }
    while (std::getline(file, line)) {
        std::istringstream words(line);
        words.imbue(std::locale::classic());
        std::size_t index = 0;
        Preset preset;
        if (!(words >> index >> preset.view.centreX >> preset.view.centreY >> preset.view.zoom) ||
            index >= m_slots.size() || !Sound(preset.view)) {
            continue;
        }
        words.get();
        std::getline(words, preset.name);
        if (preset.name.size() <= kMaxPresetBytes && IsDisplayText(preset.name)) {
            m_slots[index] = std::move(preset);
        }
    }
    return true;
}

bool PresetTable::Save(const PresetSlots& slots) const {
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << kFirstLine << '\n';
    for (std::size_t i = 0; i < slots.size(); ++i) {
        if (slots[i]) {
            text << i << ' ' << slots[i]->view.centreX << ' ' << slots[i]->view.centreY << ' '
                 << slots[i]->view.zoom << ' ' << slots[i]->name << '\n';
        }
    }
    const std::string bytes = text.str();
    const std::string fresh = m_file + ".new";
    std::error_code error;
    std::filesystem::remove(fresh, error);  // what a crash left
    bool saved = false;
    try {
        const Descriptor file = MakePrivateFile(fresh, {});
        saved = ::write(file.Get(), bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
    } catch (const std::runtime_error&) {
        return false;
    }
    if (saved) {
        std::filesystem::rename(fresh, m_file, error);
        saved = !error;
    }
    if (!saved) {
        std::filesystem::remove(fresh, error);
    }
    return saved;
}

}  // namespace kvrecorder
