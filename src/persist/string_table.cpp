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
    // The odd marks stand in the recorder's own text.
    {1103, "The talking function is being used by another user. Please wait or click ¡§Cancel¡¨ to quit."},
    {1104, "Please wait for connecting..."},
    {1105, "Talk"},
    {1106, "Camera device is disabled."},
    {1107, "Cannot receive the audio data currently, please wait."},
    {1108, "Please wait..."},
    {1109, "Please select the folder for snapshots."},
    {1110, "Reset display order successful."},
    {1957, "Disk Status"},
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
    {3541, "Status: %s, Used: %d %%"},
    {3542, "Normal"},
    {3543, "Abnormal"},
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
    {4000, "Used"},
    {4001, "Free"},
    {4002, "Login"},
    {4003, "Logout"},
    {4004, "Page"},
    {4005, "Error"},
    {4009, "No Permission"},
    {4010, "No Settings"},
    {4013, "Loading E-map failed."},
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
    {5025, "Information"},
    {5026, "Warning"},
    {5027, "Error"},
    {5028, "Debug"},
    {5036, "The recorder %s:%u (%s) refused the user name or the password. Its channels are not shown."},
    {5037, "The recorder %s:%u (%s) refused the user name or the password. Please log in again."},
    {6000, "PTZ"},
    {6001, "Preset"},
    {6500, "Talking to %s"},
    {6501, "Volume..."},
    {6502, "Close"},
    {6503, "No volume control was found on this computer."},
    {6504, "Microphone level"},
    {6600, "Events"},
    {6601, "E-map"},
    {6602, "Disk Status"},
    {6603, "Time"},
    {6604, "Level"},
    {6605, "Server"},
    {6606, "Event"},
    {6607, "All servers"},
    {6608, "All levels"},
    {6609, "Clear"},
    {6610, "Mark all as read"},
    {6611, "Total size"},
    {6612, "unread"},
    {6613, "No events"},
    {6614, "and %1 more"},
    {57397, "Server disconnected"},
    {57411, "Connecting"},
    {57412, "Disconnected"},
    {57421, "Unauthorized"},
    {57423, "Disconnected(%d:%d)"},
    {57426, "Take snapshot failed(%d.%d)."},
};

}  // namespace

std::string LoadString(std::uint32_t id) {
    const auto row = std::lower_bound(std::begin(kEnglish), std::end(kEnglish), id,
                                      [](const Row& a, std::uint32_t b) { return a.id < b; });
    return row != std::end(kEnglish) && row->id == id ? row->text : "";
}

}  // namespace kvmon
