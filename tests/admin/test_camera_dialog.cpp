// A camera that is found, tried and accepted before it is added.
#include <QtCore/QBuffer>
#include <QtWidgets/QCheckBox>
#include <atomic>

#include "cameras_window.h"
#include "onvif/onvif_control.h"
#include "support/onvif_device/onvif_beacon.h"
#include "support/onvif_device/onvif_device.h"

namespace kvtest {

using testing::HasSubstr;

TEST_F(CamerasWindow, OneIsFoundTestedAndAdded) {
    std::atomic<int> tests{0};
    std::atomic<int> ended{0};
    tools.search = [](std::chrono::milliseconds, const kvrecorder::CameraTools::Ended&) {
        return std::vector<kvrecorder::SeenCamera>{
            {"onvif://192.0.2.9", "192.0.2.9", "Maker", "Dome", "", {}}};
    };
    tools.test = [&](const kvrecorder::NetworkCamera& camera, std::chrono::milliseconds,
                     const kvrecorder::CameraTools::Ended& stop) {
        kvrecorder::TestedCamera found;
        if (++tests == 1) {
            while (!stop()) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
            ++ended;
            return found;
        }
        if (camera.password.View() != "right") {
            found.faults = {"the password was refused"};
            return found;
        }
        found.codec = "H.264";
        found.width = 1280;
        found.height = 720;
        found.firstPicture = std::chrono::milliseconds(210);
        QImage image(640, 360, QImage::Format_RGB32);
        image.fill(qRgb(200, 40, 40));
        QByteArray jpeg;
        QBuffer buffer(&jpeg);
        image.save(&buffer, "JPEG");
        found.picture.assign(jpeg.begin(), jpeg.end());
        return found;
    };
    Begin();
    OpenWindow();
    QDialog* const entry = AddTheFound();
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry->findChild<QLineEdit*>("address")->text(), "onvif://192.0.2.9");
    EXPECT_EQ(entry->findChild<QLineEdit*>("name")->text(), "Maker Dome");

    Click(*entry, "test");
    ASSERT_TRUE(PumpUntil([&] { return tests == 1; }));
    Click(*entry, "test");
    EXPECT_EQ(Said(*entry), "The test was stopped.");
    EXPECT_TRUE(PumpUntil([&] { return ended == 1; })) << "at the recorder, too";
    Click(*entry, "test");
    EXPECT_TRUE(PumpUntil([&] { return Said(*entry) == "No picture has come.\nthe password was refused"; }))
        << Said(*entry);
    EXPECT_FALSE(entry->findChild<QLabel*>("picture")->isVisible());
    Type(*entry, "password", "right");
    Click(*entry, "test");
    EXPECT_TRUE(PumpUntil([&] { return entry->findChild<QLabel*>("picture")->isVisible(); }));
    EXPECT_EQ(Said(*entry), "The camera works: H.264, 1280 x 720, first picture after 210 ms.");
    auto* const picture = entry->findChild<QLabel*>("picture");
    const QImage shown = picture->grab().toImage();
    const QRgb middle = shown.pixel(shown.width() / 2, shown.height() / 2);
    EXPECT_GT(qRed(middle), 150);
    EXPECT_LT(qGreen(middle), 90);
    PressKey(*entry, Qt::Key_Return);
    EXPECT_TRUE(Lists({"Gate/Ready", "Yard/Ready", "Maker Dome/Ready"}));
}

TEST_F(CamerasWindow, ACertificateIsAcceptedWithATick) {
    std::string first = "sha256:";
    for (int i = 0; i < 32; ++i) {
        first += "a7";
    }
    std::string shown = first;
    tools.test = [&](const kvrecorder::NetworkCamera& camera, std::chrono::milliseconds,
                     const kvrecorder::CameraTools::Ended&) {
        kvrecorder::TestedCamera found;
        if (camera.certificate == shown) {
            found.codec = "H.264";
            found.width = 640;
            found.height = 360;
            return found;
        }
        found.faults.emplace_back(camera.certificate.empty() ? kvrecorder::FaultCode::CertificateNotTrusted
                                                             : kvrecorder::FaultCode::CertificateChanged,
                                  std::vector<kvrecorder::FaultValue>{{"certificate", shown}});
        return found;
    };
    Begin();
    OpenWindow();
    Click(*window, "add");
    QDialog* entry = Await("cameraDialog");
    auto* tick = entry->findChild<QCheckBox*>("certificate");
    EXPECT_FALSE(tick->isVisible()) << "most cameras have none";
    Type(*entry, "name", "Porch");
    Type(*entry, "address", "rtsps://192.0.2.7/main");
    Click(*entry, "test");
    ASSERT_TRUE(PumpUntil([&] { return tick->isVisible(); }));
    EXPECT_EQ(
        Said(*entry),
        "No picture has come.\nThe camera's certificate is signed by nobody whom the recorder "
        "trusts.\nCompare the fingerprint with the camera's own, and accept it only if they are the same.");
    EXPECT_TRUE(entry->findChild<QLabel*>("fingerprint")->text().startsWith("A7:A7:A7:"));
    EXPECT_FALSE(tick->isChecked());
    ClickAt(*tick, QPoint(8, tick->height() / 2));
    ASSERT_TRUE(tick->isChecked());
    Click(*entry, "test");
    EXPECT_TRUE(PumpUntil([&] { return Said(*entry).starts_with("The camera works: "); })) << Said(*entry);
    PressKey(*entry, Qt::Key_Return);
    EXPECT_TRUE(Lists({"Gate/Ready", "Yard/Ready", "Porch/Ready"}));
    EXPECT_THAT(FileText(), HasSubstr("certificate = \"" + first + "\""));

    // The camera shows another one.
    shown[10] = 'b';
    Key(Qt::Key_F2);
    entry = Await("cameraDialog");
    tick = entry->findChild<QCheckBox*>("certificate");
    EXPECT_TRUE(tick->isVisible() && tick->isChecked()) << "what is accepted is on show";
    Click(*entry, "test");
    EXPECT_TRUE(PumpUntil([&] { return Said(*entry).find("but another one") != std::string::npos; }));
    EXPECT_FALSE(tick->isChecked()) << "nobody has accepted this";
    ClickAt(*tick, QPoint(8, tick->height() / 2));
    PressKey(*entry, Qt::Key_Return);
    EXPECT_TRUE(PumpUntil([&] { return FileText().find(shown) != std::string::npos; }));
    EXPECT_EQ(FileText().find(first), std::string::npos);
}

// By a real search, and a camera that really answers: it is listed, steered and kept.
TEST_F(CamerasWindow, OneThatAnswersOnTheNetworkIsAdded) {
    OnvifDevice device;
    const OnvifBeacon beacon({{"urn:uuid:9b1c0001", device.Address(), "onvif://www.onvif.org/name/Yard"}});
    kvrecorder::SearchSetup search;
    search.from = {"127.0.0.1"};
    search.at = "127.0.0.1";
    search.port = beacon.Port();
    tools = kvrecorder::MakeCameraTools(search);
    model = std::make_shared<kvrecorder::RecorderModel>(hub, kvrecorder::CreateOnvifControlMaker());
    Begin();
    OpenWindow();
    QDialog* const entry = AddTheFound();
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry->findChild<QLineEdit*>("address")->text().toStdString(), device.Url());
    EXPECT_EQ(entry->findChild<QLineEdit*>("name")->text(), "Yard");
    Type(*entry, "user", "guard");
    Type(*entry, "password", "sesame");
    PressKey(*entry, Qt::Key_Return);
    EXPECT_TRUE(Lists({"Gate/Ready", "Yard/Ready", "Yard/Ready"}));
    EXPECT_THAT(FileText(), HasSubstr("source = { url = \"" + device.Url() + "\", user = \"guard\""));
    EXPECT_TRUE(PumpUntil([&] { return model->Current()->channels.at(2).control->Abilities().has_value(); }))
        << "with the login that was typed";
}

}  // namespace kvtest
