#include "persist/string_table.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <mutex>
#include <utility>

namespace kvmon {

namespace {

struct Row {
    std::uint32_t id;
    const char* text;
};

// Ascending, for the search.
constexpr Row kEnglish[] = {
    {1105, "Talk"},
    {1108, "Please wait..."},
    {1109, "Please select the folder for snapshots."},
    {1110, "Reset display order successful."},
    {2603, "Digital zoom"},
    {2606, "Enable digital zoom"},
    {2607, "Disable digital zoom"},
    {2610, "General"},
    {2613, "Video Window"},
    {2614, "Snapshot"},
    {3011, "Spanish (Spain)"},
    {3016, "Portuguese (Portugal)"},
    {3017, "Portuguese (Brazil)"},
    {3500, "Single channel"},
    {3501, "4 channels"},
    {3502, "Picture in picture"},
    {3503, "Sequential mode"},
    {3504, "Picture-in-picture settings"},
    {3505, "Sequential interval"},
    {3506, "Full screen"},
    {3507, "Camera home page"},
    {3510, "View size"},
    {3514, "Snapshot"},
    {3515, "Up"},
    {3516, "Down"},
    {3517, "Left"},
    {3518, "Right"},
    {3519, "Up-left"},
    {3520, "Up-right"},
    {3521, "Down-left"},
    {3522, "Down-right"},
    {3523, "Zoom in"},
    {3524, "Zoom out"},
    {3525, "Focus near"},
    {3526, "Focus far"},
    {3527, "Home"},
    {3528, "Start manual recording"},
    {3529, "Stop manual recording"},
    {3530, "Turn audio on"},
    {3531, "Turn audio off"},
    {3544, "Preset 1"},
    {3545, "Preset 2"},
    {3546, "Preset 3"},
    {3547, "Preset 4"},
    {3548, "Preset 5"},
    {3549, "Preset 6"},
    {3550, "Preset 7"},
    {3551, "Preset 8"},
    {3552, "Preset 9"},
    {3553, "Preset 10"},
    {3566,
     "The number of IP cameras that can be displayed has reached the upper limit. Extra IP cameras will not "
     "be displayed."},
    {4002, "Login"},
    {4003, "Logout"},
    {4004, "Page"},
    {4005, "Error"},
    {4006, "Channel %u"},
    {4009, "No Permission"},
    {4010, "No Settings"},
    {4016, "The second display card cannot be detected."},
    {5000, "Right End"},
    {5001, "Left End"},
    {5002, "Up End"},
    {5003, "Down End"},
    {5004, "Wide End"},
    {5005, "Tele End"},
    {5006, "Locked"},
    {5007, "PTZ error"},
    {5008, "Far End"},
    {5009, "Near End"},
    {5010, "Up, Left End"},
    {5011, "Up, Right End"},
    {5012, "Down, Left End"},
    {5013, "Down, Right End"},
    {5026, "Warning"},
    {5027, "Error"},
    {5036, "The recorder %s:%u (%s) refused the user name or the password. Its channels are not shown."},
    {5037, "The recorder %s:%u (%s) refused the user name or the password. Please log in again."},
    {6000, "PTZ"},
    {6001, "Preset"},
    {6200, "Time for each page:"},
    {6201, "seconds"},
    {6202, "Reset the order of the channels"},
    {6203, "Menu"},
    {6204, "Second display"},
    {6205, "Language"},
    {6206, "Options"},
    {6207, "Help"},
    {6210, "Number of small pictures:"},
    {6211, "Large picture:"},
    {6212, "First small picture:"},
    {6213, "Second small picture:"},
    {6214, "Third small picture:"},
    {6220, "6 channels"},
    {6221, "8 channels"},
    {6222, "9 channels"},
    {6223, "10 channels"},
    {6224, "12 channels"},
    {6225, "More channels"},
    {6226, "List of pages"},
    {6227, "List of presets"},
    {6230, "Keys"},
    {6231, "Next page"},
    {6232, "Previous page"},
    {6233, "This list of keys"},
    {6234, "Pad %1"},
    {6241, "Playback"},
    {6242, "Multiple servers"},
    {6243, "Recorders"},
    {6300,
     "The snapshot is opened in another program, because this one may not save it to a folder of yours. Use "
     "that "
     "program to save it."},
    {6301, "Do not show this again"},
    {6400, "Edit presets..."},
    {6401, "Presets"},
    {6402, "No."},
    {6403, "Name"},
    {6404, "Go to"},
    {6405, "Store"},
    {6406, "Rename"},
    {6407, "Delete"},
    {6408, "Close"},
    {6409, "This camera keeps presets without names."},
    {6410, "(free)"},
    {6411, "The camera's present position is being stored..."},
    {6412, "The preset is being deleted..."},
    {6413, "The camera goes to the preset to store it under its new name..."},
    {6414, "Name:"},
    {6750, "This control can't be run under inactivate mode."},
    {57349, "Error sequential interval. (The interval must be %d - %d sec.)"},
    {57350, "Invalid channel numbers. (The number must be %d - %d)"},
    {57397, "Server disconnected"},
    {57411, "Connecting"},
    {57412, "Disconnected"},
    {57421, "Unauthorized"},
    {57426, "Take snapshot failed(%d.%d)."},
};

const Row* FindRow(std::uint32_t id) {
    const auto row = std::lower_bound(std::begin(kEnglish), std::end(kEnglish), id,
                                      [](const Row& a, std::uint32_t b) { return a.id < b; });
    return row != std::end(kEnglish) && row->id == id ? row : nullptr;
}

class LoadedModule {
public:
    std::shared_ptr<const LanguageModule> Get() const {
        const std::lock_guard lock(m_mutex);
        return m_module;
    }
    void Set(std::shared_ptr<const LanguageModule> module) {
        const std::lock_guard lock(m_mutex);
        m_module = std::move(module);
    }

private:
    mutable std::mutex m_mutex;
    std::shared_ptr<const LanguageModule> m_module;
};

LoadedModule& Loaded() {
    static LoadedModule loaded;
    return loaded;
}

}  // namespace

std::string LoadString(std::uint32_t id) {
    const Row* const row = FindRow(id);
    if (row == nullptr) {
        return {};
    }
    const auto module = Loaded().Get();
    if (module == nullptr) {
        return row->text;
    }
    const auto found = module->texts.find(id);
    return found != module->texts.end() ? found->second : row->text;
}

void UseLanguageModule(std::shared_ptr<const LanguageModule> module) {
    if (module == nullptr) {
        Loaded().Set(nullptr);
        return;
    }
    auto usable = std::make_shared<LanguageModule>(*module);
    std::erase_if(usable->texts, [](const auto& entry) {
        const Row* const row = FindRow(entry.first);
        return row == nullptr || FormatPlaces(row->text) != FormatPlaces(entry.second);
    });
    Loaded().Set(std::move(usable));
}

std::vector<std::uint32_t> StringIds() {
    std::vector<std::uint32_t> ids;
    std::transform(std::begin(kEnglish), std::end(kEnglish), std::back_inserter(ids),
                   [](const Row& row) { return row.id; });
    return ids;
}

std::string EnglishString(std::uint32_t id) {
    const Row* const row = FindRow(id);
    return row != nullptr ? row->text : "";
}

std::string FormatPlaces(std::string_view text) {
    std::string places;
    for (std::size_t i = text.find('%'); i != std::string_view::npos; i = text.find('%', i)) {
        // A per cent sign with nothing to fill ("100 %") counts too: it must stay what it is.
        const std::size_t end = text.find_first_not_of("0123456789.-+#", i + 1);
        if (end == std::string_view::npos) {
            return places + '%';
        }
        places.append(text.substr(i, end + 1 - i));
        i = end + 1;
    }
    return places;
}

}  // namespace kvmon
