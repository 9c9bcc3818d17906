#include "persist/string_table.h"

#include <algorithm>
#include <iterator>

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
    {4009, "No Permission"},
    {4010, "No Settings"},
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
    {6750, "This control can't be run under inactivate mode."},
    {57397, "Server disconnected"},
    {57411, "Connecting"},
    {57412, "Disconnected"},
    {57421, "Unauthorized"},
    {57426, "Take snapshot failed(%d.%d)."},
};

}  // namespace

std::string LoadString(std::uint32_t id) {
    const auto row = std::lower_bound(std::begin(kEnglish), std::end(kEnglish), id,
                                      [](const Row& a, std::uint32_t b) { return a.id < b; });
    return row != std::end(kEnglish) && row->id == id ? row->text : "";
}

}  // namespace kvmon
