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
    {4006, "Channel %u"},
    {4009, "No Permission"},
    {4010, "No Settings"},
    {4013, "Loading E-map failed."},
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
    {5025, "Information"},
    {5026, "Warning"},
    {5027, "Error"},
    {5028, "Debug"},
    {5036, "The recorder %s:%u (%s) refused the user name or the password. Its channels are not shown."},
    {5037, "The recorder %s:%u (%s) refused the user name or the password. Please log in again."},
    {6000, "PTZ"},
    {6001, "Preset"},
    {6005, "Enable live tracking"},
    {6006, "Disable live tracking"},
    {6007, "Auto Cruising"},
    {6100, "Options"},
    {6101, "Notify of events"},
    {6102, "Show the browser's tool bar"},
    {6103, "Reset display order"},
    {6104, "Source of the pictures"},
    {6105, "Directly from the camera, where it can"},
    {6106, "Through the recorder"},
    {6107, "Video windows"},
    {6108, "Flash on events"},
    {6109, "Show channels without the right to watch"},
    {6110, "Show channels without a camera"},
    {6111, "Ask for the name of every snapshot"},
    {6112, "Folder:"},
    {6113, "Browse..."},
    {6114, "Format:"},
    {6115, "Windows bitmap (BMP)"},
    {6116, "JPEG"},
    {6117, "Write date and time into the snapshot"},
    {6118, "Save the picture as it is shown"},
    {6120, "OK"},
    {6121, "Cancel"},
    {6122, "Language"},
    {6123, "Language:"},
    {6124, "Recorders"},
    {6125, "Settings..."},
    {6126, "Recorders..."},
    {6127, "Language..."},
    {6128, "Menu"},
    {6130, "Name"},
    {6131, "Address"},
    {6132, "User"},
    {6133, "Channels"},
    {6134, "Recorders shown together with %s:"},
    {6135, "Add..."},
    {6136, "Change..."},
    {6137, "Remove"},
    {6138, "Add recorder"},
    {6139, "Change recorder"},
    {6140, "Name:"},
    {6141, "Address:"},
    {6142, "Port:"},
    {6143, "User:"},
    {6144, "Password:"},
    {6145, "Test connection"},
    {6146, "Stop test"},
    {6147, "as the recorder is named"},
    {6150, "Connecting to %s:%s..."},
    {6151, "The connection works. The recorder %s has %s channels."},
    {6152, "No computer has this name."},
    {6153, "The address cannot be reached from here."},
    {6154, "The computer is there, but it refuses connections at this port."},
    {6155, "The recorder refuses the user name or the password."},
    {6156, "What answers at this address is not a recorder."},
    {6157, "There was no answer in time."},
    {6158, "The test was stopped."},
    {6160, "Please enter an address."},
    {6161, "The address holds a character that no address has."},
    {6162, "Please enter a user name."},
    {6163, "A user name can hold no colon."},
    {6164, "%s is too long."},
    {6165, "This recorder is in the list already."},
    {6166, "This password cannot be kept together with this user name. Please choose another one of them."},
    {6167, "There can be no more than %s recorders."},
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
    {6302, "Look in:"},
    {6303, "File name:"},
    {6304, "Files of type:"},
    {6305, "Size"},
    {6306, "Type"},
    {6307, "Date modified"},
    {6310, "Not connected"},
    {6311, "Connecting to %s..."},
    {6312, "Connected to %s"},
    {6317, "%s refused the user name or the password"},
    {6318, "%d of %d channels live"},
    {6319, "Connected to %d recorders"},
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
    {6414, "Name:"},
    {6420, "As large as the picture on the screen"},
    {6421, "Stream size"},
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
    {6700, "This camera's format needs its maker's library, which is not on this computer."},
    {6701, "The sound of this camera needs its maker's library, which is not on this computer."},
    {6750, "This control can't be run under inactivate mode."},
    {6751, "The connection to the console is lost. Connecting again..."},
    {6752, "The console cannot be reached. Still trying..."},
    {6760, "Camera settings"},
    {6800, "Signs in the cells"},
    {6801, "Camera can be steered"},
    {6802, "No permission to steer the camera"},
    {6803, "Sound"},
    {6804, "No permission to hear the sound"},
    {6805, "Camera connected"},
    {6806, "Camera not connected"},
    {6807, "Recording"},
    {6808, "Event"},
    {6809, "Motion"},
    {6810, "Signal loss"},
    {6811, "Input"},
    {6812, "Alarm"},
    {6813, "No picture for %d s"},
    {6814, "Manual recording"},
    {6815, "The picture stands still"},
    {6830, "Picture"},
    {6831, "Fill the cell"},
    {6832, "Keep the aspect ratio"},
    {6833, "Original size"},
    {6834, "Smaller by halves"},
    {6835, "Deinterlace"},
    {6836, "Information lines"},
    {6837, "Frame rate"},
    {6838, "Frame count"},
    {6839, "View size"},
    {6840, "Picture size"},
    {6841, "Drawn size"},
    {6842, "Fixed size"},
    {6843, "Source of the stream"},
    {6844, "Source of the information"},
    {6845, "Receiver of commands"},
    {6846, "Frame type"},
    {6847, "All lines of all cameras"},
    {6848, "Caption colour"},
    {6849, "Orange"},
    {6850, "White"},
    {6851, "Yellow"},
    {6852, "Green"},
    {6853, "Light blue"},
    {6860, "You are not logged in."},
    {6861, "The recorder %s has no channels."},
    {6862, "There is no channel to show."},
    {6863, "%s does not have a recorder's documents (404)"},
    {6864, "%s answers with error %d"},
    {6865, "No recorder at %s"},
    {6866, "No route to %s"},
    {6867, "No answer from %s in time"},
    {6868, "The address %s is not known"},
    {6869, "What answers at %s is not a recorder"},
    {6870, "trying again in %d s"},
    {6871, "trying again..."},
    {6872, "Connection to %s lost"},
    {6873, "%s does not answer"},
    {6874, "%d of %d channels on this page live"},
    {6875, "Name the recorder in the captions"},
    {6890, "Picture cannot be decoded"},
    {6891, "The camera does not answer, picture from the recorder"},
    {6892, "Picture directly from the camera"},
    {6910, "Store name"},
    {6911, "The camera goes to the preset. Click \"%s\" when it is there; anything else keeps the old name."},
    {6912, "No microphone was found."},
    {6913, "The microphone gives no sound."},
    {6914, "The camera did not go to the preset. It keeps its name."},
    {6950, "Monitoring console"},
    {6951, "This computer has no desktop service through which the shared folder can be read."},
    {6952, "The shared folder could not be connected."},
    {6980, "Next camera"},
    {6981, "Previous camera"},
    {7000, "Sign in to a recorder"},
    {7001, "Sign in"},
    {7002, "Remember on this computer"},
    {7003, "Sign in at the start"},
    {57349, "Error sequential interval. (The interval must be %d - %d sec.)"},
    {57350, "Invalid channel numbers. (The number must be %d - %d)"},
    {57397, "Server disconnected"},
    {57411, "Connecting"},
    {57412, "Disconnected"},
    {57421, "Unauthorized"},
    {57423, "Disconnected(%d:%d)"},
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
    constexpr std::string_view kConversions = "sdu%";
    std::string places;
    for (std::size_t i = text.find('%'); i != std::string_view::npos; i = text.find('%', i)) {
        std::size_t end = std::min(text.find_first_not_of("0123456789", i + 1), text.size());
        if (end < text.size() && kConversions.find(text[end]) != std::string_view::npos) {
            ++end;
        }
        // A sign with nothing to fill counts too: it must stay what it is.
        places.append(text.substr(i, end - i));
        i = end;
    }
    return places;
}

}  // namespace kvmon
