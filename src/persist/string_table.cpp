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
    {3566,
     "The number of IP cameras that can be displayed has reached the upper limit. Extra IP cameras will not "
     "be displayed."},
    {4002, "Login"},
    {4003, "Logout"},
    {4004, "Page"},
    {4005, "Error"},
    {4009, "No Permission"},
    {4010, "No Settings"},
    {5026, "Warning"},
    {5027, "Error"},
    {5036, "The recorder %s:%u (%s) refused the user name or the password. Its channels are not shown."},
    {5037, "The recorder %s:%u (%s) refused the user name or the password. Please log in again."},
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
