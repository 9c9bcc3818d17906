// A camera of ONVIF steered in the window, through the recorder's program.
#include <gmock/gmock.h>

#include <fstream>

#include "channel/base/cam_commands.h"
#include "console/panel/console_controls.h"
#include "console_fixture.h"
#include "recorder_program.h"
#include "rtsp_peer.h"
#include "support/onvif_device/onvif_device.h"
#include "support/qt_user_input.h"

using kvtest::OnvifHead;
using kvtest::Pump;
using kvtest::PumpUntil;

namespace {

class Steering : public kvtest::ConsoleTest {
protected:
    ~Steering() override { Close(); }
    QWidget* Control(int id) {
        for (const kvmon::SkinControlRow& row : kvmon::ControlTable()) {
            if (row.id == id) {
                return console->childAt(QRect(row.x, row.y, row.width, row.height).center());
            }
        }
        return nullptr;
    }
    void ClickControl(int id) {
        ASSERT_TRUE(PumpUntil([&] { return Control(id) != nullptr && Control(id)->isEnabled(); })) << id;
        QWidget* const button = Control(id);
        kvtest::ClickAt(*button, button->rect().center());
        Pump();
    }
};

}  // namespace

TEST_F(Steering, ButtonsAndAClickOnTheWallMoveTheCamera) {
    const kvtest::RtspPeer pictures({"/main", kvtest::kH264});
    kvtest::OnvifDeviceSetup setup;
    setup.rtspMain = pictures.Url("/main");
    kvtest::OnvifDevice device(setup);
    std::ofstream(folder.File("recorder.toml"))
        << "listen = \"127.0.0.1:0\"\n[[users]]\nname = \"admin\"\npassword = \"secret\"\nadmin = true\nptz "
           "= \"all\"\n"
           "[[channels]]\nname = \"Gate\"\nsource = { url = \"" +
               device.Url() + "\", user = \"guard\", password = \"sesame\" }\n";
    kvtest::Program recorder({"--config", folder.File("recorder.toml")});
    Open(recorder.Port());
    OnvifHead& head = device.Head();
    ClickControl(kvmon::kCmdRight);
    EXPECT_TRUE(PumpUntil([&] { return head.Place(OnvifHead::kPan) > 0.02; })) << "right is right";
    ClickControl(kvmon::kCmdUp);
    EXPECT_TRUE(PumpUntil([&] { return head.Place(OnvifHead::kTilt) > 0.02; })) << "up is up";

    // A place in the lower left of the picture comes into its middle.
    const auto camera = Cell(0).GetCamera();
    ASSERT_TRUE(PumpUntil([&] {
        return camera->GetAbilities().bClickToCentre && camera->Picture().GetDrawRect().Width() > 0;
    }));
    head.MoveTo(OnvifHead::kPan, 0.5);
    head.MoveTo(OnvifHead::kTilt, 0.5);
    const auto stands = [&](double pan, double tilt) {
        return head.Place(OnvifHead::kPan) < pan && head.Place(OnvifHead::kTilt) < tilt;
    };
    ASSERT_TRUE(
        PumpUntil([&] { return head.Place(OnvifHead::kPan) > 0.49 && head.Place(OnvifHead::kTilt) > 0.49; }));
    const QRect picture = Cell(0).rect();
    const QPoint place(picture.width() / 5, picture.height() * 3 / 4);
    QWidget* const view = Cell(0).childAt(place);
    ASSERT_NE(view, nullptr);
    kvtest::ClickAt(*view, view->mapFrom(&Cell(0), QPointF(place)));
    EXPECT_TRUE(PumpUntil([&] { return stands(0.48, 0.48); })) << head.Place(OnvifHead::kPan);
}
