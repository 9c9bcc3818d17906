// The client's console, logged in, with the wall of nine channels.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "console/console_parts.h"
#include "console/main_dlg.h"
#include "support/silent_site.h"
#include "support/temp_folder.h"

namespace kvbench {

// The event loop goes on for so long.
void Pass(int ms);

// What came since the last look.
struct NewPictures {
    std::uint64_t pictures = 0;
    int silent = 0;  // channels that showed none
};

// User interface thread only.
class SoakWall {
public:
    // Throws if the recorder shows no channels.
    explicit SoakWall(int port);
    ~SoakWall();
    SoakWall(const SoakWall&) = delete;
    SoakWall& operator=(const SoakWall&) = delete;

    kvmon::CMainDlg& Console() { return m_console; }
    kvmon::ConsoleParts& Parts() { return m_console.Parts(); }
    void ShowNine();
    NewPictures LookAtChannels();

private:
    struct Settings {
        Settings();
        ~Settings();
        const kvtest::TempFolder folder;
    };

    const Settings m_settings;
    kvtest::SilentSite m_site;
    kvmon::CMainDlg m_console;
    std::vector<std::uint64_t> m_shown;  // of each channel, at the last look
};

}  // namespace kvbench
