#include "onvif/preset_places.h"

#include <algorithm>

#include "media/utf8.h"

namespace kvrecorder {
namespace {

// As many as the wire can tell in bytes.
constexpr std::size_t kMostNameBytes = 99;

std::optional<std::size_t> NumberAtEnd(const std::string& token) {
    const std::size_t last = token.find_last_not_of("0123456789");
    const std::string digits = token.substr(last == std::string::npos ? 0 : last + 1);
    const auto number = digits.size() <= 3 ? NumberOf(digits) : std::nullopt;
    return number ? std::optional(static_cast<std::size_t>(*number)) : std::nullopt;
}

OnvifPreset WithName(OnvifPreset preset) {
    preset.name = PrintableUtf8(preset.name, kMostNameBytes);
    while (preset.name.size() > kMostNameBytes) {
        DropLastCharacter(preset.name);
    }
    return preset;
}

}  // namespace

void PresetPlaces::Take(const std::vector<OnvifPreset>& listed) {
    // Some cameras count from 0.
    const bool fromZero = std::any_of(listed.begin(), listed.end(), [](const OnvifPreset& preset) {
        return NumberAtEnd(preset.token) == std::size_t{0};
    });
    const std::lock_guard lock(m_mutex);
    const auto before = m_places;
    m_places.fill(std::nullopt);
    std::vector<OnvifPreset> rest;
    for (const OnvifPreset& preset : listed) {
        const auto known = std::find_if(before.begin(), before.end(), [&](const auto& place) {
            return place && place->token == preset.token;
        });
        if (known != before.end()) {
            m_places[static_cast<std::size_t>(known - before.begin())] = WithName(preset);
        } else {
            rest.push_back(preset);
        }
    }
    std::vector<OnvifPreset> unnumbered;
    for (const OnvifPreset& preset : rest) {
        const auto number = NumberAtEnd(preset.token);
        const std::size_t place = number ? *number + (fromZero ? 1 : 0) - 1 : kControlPresets;
        if (place < kControlPresets && !m_places[place]) {
            m_places[place] = WithName(preset);
        } else if (!number || place < kControlPresets) {
            unnumbered.push_back(preset);
        }
    }
    for (const OnvifPreset& preset : unnumbered) {
        const auto free = std::find(m_places.begin(), m_places.end(), std::nullopt);
        if (free != m_places.end()) {
            *free = WithName(preset);
        }
    }
}

void PresetPlaces::Set(std::size_t place, const OnvifPreset& preset) {
    const std::lock_guard lock(m_mutex);
    for (auto& known : m_places) {
        if (known && known->token == preset.token) {
            known.reset();
        }
    }
    m_places.at(place) = WithName(preset);
}

void PresetPlaces::Forget(std::size_t place) {
    const std::lock_guard lock(m_mutex);
    m_places.at(place).reset();
}

std::optional<OnvifPreset> PresetPlaces::At(std::size_t place) const {
    const std::lock_guard lock(m_mutex);
    return m_places.at(place);
}

ControlPresets PresetPlaces::Names() const {
    const std::lock_guard lock(m_mutex);
    ControlPresets names;
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (m_places[i]) {
            names[i] = m_places[i]->name;
        }
    }
    return names;
}

}  // namespace kvrecorder
