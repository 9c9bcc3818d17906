// Command 1757: the panel follows the active camera, and looks at all cameras for it.
#include <gmock/gmock.h>

#include <QtCore/QMetaObject>
#include <filesystem>
#include <fstream>

#include "channel/base/cam_commands.h"
#include "channel/base/channel_messages.h"
#include "console_fixture.h"
#include "skin/skin_messages.h"

using namespace kvmon;
using kvtest::Pump;
using kvtest::PumpUntil;

namespace {

class RefreshControls : public kvtest::ConsoleTest {
protected:
    RefreshControls() {
        console = std::make_unique<CMainDlg>(site, nullptr, 0x0409, clock);
        console->OnInitDialog();
        CameraSettings settings;
        settings.m_bMonitorRight = 1;
        settings.m_NetworkSetting[0].szAddress = "10.0.0.1";
        camera = CreateCamera(&settings);
        *camera = settings;
        console->Parts().cells.CreateVideoWnd(*console, 1);
        Cell(0).SetCamera(camera);
        console->Parts().cells.Activate(&Cell(0), PlaySound::No);
        // A refresh sets what the record button says. Pressed again behind its back it tells of each.
        Controls().SetListener([this](int id, const ConsoleControls::State& state) {
            if (id == kCtlRecord && !state.pressed) {
                ++walks;
                Controls().SetPressed(kCtlRecord, true);
            }
        });
        Controls().SetPressed(kCtlRecord, true);
    }
    ~RefreshControls() override { Close(); }

    ConsoleControls& Controls() { return console->Parts().controls; }
    void Ask(int times) {
        for (int n = 0; n < times; ++n) {
            console->Handle().Post(WM_COMMAND, kCmdRefreshControls, 0);
        }
    }
    // The first refresh asks for the machine's sound, whose answer may be a refresh, too.
    static bool IsSoundLookedFor() {
        for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
            std::string name;
            std::getline(std::ifstream(task.path() / "comm"), name);
            if (name == "sound-probe") {
                return true;
            }
        }
        return false;
    }

    int walks = 0;
    std::shared_ptr<CBaseCamera> camera;
};

}  // namespace

TEST_F(RefreshControls, OfManyInOneTurnTwoAreFollowedAndTheLastChangeShows) {
    Ask(1);
    Pump();
    ASSERT_TRUE(PumpUntil([] { return !IsSoundLookedFor(); }));
    Pump();
    ASSERT_GE(walks, 1);
    walks = 0;
    ASSERT_FALSE(Controls().Get(kCmdZoomIn).shown);
    Ask(20);
    QMetaObject::invokeMethod(
        console.get(), [this] { camera->SetDigitalZoom(true); }, Qt::QueuedConnection);
    Ask(20);
    Pump();
    EXPECT_EQ(walks, 2);
    EXPECT_TRUE(Controls().Get(kCmdZoomIn).shown);
    Ask(1);
    Pump();
    EXPECT_EQ(walks, 3) << "one that comes alone is followed at once, and once";
}
