// Replies as odd cameras give them, put in place of the right ones.
#include <gmock/gmock.h>

#include <fstream>

#include "cameras/camera_error.h"
#include "onvif/onvif_control.h"
#include "service_fixture.h"
#include "support/onvif_device/onvif_device.h"

namespace kvtest {
namespace {

std::string ReadOdd(const std::string& name) {
    std::ifstream file(std::string(KV_ODD_REPLIES) + "/" + name + ".xml");
    std::string text{std::istreambuf_iterator<char>(file), {}};
    EXPECT_FALSE(text.empty()) << name;
    return text;
}

NetworkCamera NetworkCameraOf(const OnvifDevice& device) {
    NetworkCamera camera;
    camera.url = device.Url();
    camera.user = "guard";
    camera.password = "sesame";
    return camera;
}

TEST(OddCameras, TellTheirStreamsAllTheSameOrAreRefusedInWords) {
    OnvifDeviceSetup setup;
    setup.clockAhead = std::chrono::seconds(30);  // a login holds without the clock
    setup.snapshot = "http://192.168.77.7:81/snap.jpg?size=1";
    OnvifDevice device(setup);
    std::string deep = "<Envelope><Body>";
    for (int i = 0; i < 20'000; ++i) {
        deep += "<a>";
    }
    const struct {
        const char* request;
        int status;
        std::string reply;
        std::string words;  // the address, or what is wrong
    } cases[] = {
        {"", 0, "", "rtsp://127.0.0.1:1/main"},
        {"GetSystemDateAndTime", 200, ReadOdd("clock_local_only"), "rtsp://127.0.0.1:1/main"},
        {"GetSystemDateAndTime", 500, ReadOdd("fault_soap11"), "rtsp://127.0.0.1:1/main"},
        {"GetServices", 400, ReadOdd("fault_soap11"), "rtsp://127.0.0.1:1/main"},
        {"GetProfiles", 200, ReadOdd("profiles_default_namespace"), "rtsp://127.0.0.1:1/main"},
        {"GetProfiles", 200, ReadOdd("profiles_none"), "the camera tells no profile with pictures"},
        {"GetProfiles", 400, ReadOdd("fault_soap11"), "the camera says: Device? is busy"},
        {"GetProfiles", 400, ReadOdd("fault_not_authorized"), "the camera refuses the user or the password"},
        {"GetProfiles", 404, "gone", "the camera answers to ONVIF with the HTTP status 404"},
        {"GetProfiles", 200, deep, "the camera's answer is no XML, or a damaged one"},
        {"GetStreamUri", 200, ReadOdd("uri_with_login"),
         "rtsp://127.0.0.1:8554/cam/realmonitor?channel=1&subtype=0"},
        {"GetStreamUri", 200, ReadOdd("uri_other_scheme"),
         "the camera tells pictures at an address that is none of RTSP"},
        {"GetStreamUri", 200, ReadOdd("uri_entities"), "rtsp://127.0.0.1/&a;&b;"},
        {"GetStreamUri", 400, ReadOdd("fault_soap11"),
         "http://127.0.0.1:" + std::to_string(device.Port()) + "/snap.jpg?size=1"},
        {"GetStreamUri", 200, ReadOdd("profiles_none"), "the camera tells an address that is none"},
    };
    const StreamFinder find = CreateOnvifStreamFinder();
    for (const auto& test : cases) {
        device.Mend();
        device.Spoil(test.request, test.status, test.reply);
        std::string words;
        try {
            words = find(NetworkCameraOf(device), 0, [] { return false; }).url;
        } catch (const CameraError& failure) {
            words = failure.what();
        }
        EXPECT_EQ(words, test.words) << test.request;
    }
    // An end is an end, also in the middle of an answer.
    device.Mend();
    device.Slow("GetProfiles", milliseconds(60'000));
    const int before = device.Count("GetProfiles");
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_THROW(find(NetworkCameraOf(device), 0, [&] { return device.Count("GetProfiles") > before; }),
                 CameraError);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, milliseconds(8'000));
}

TEST_F(ServiceTest, OddCamerasAreSteeredAndHeard) {
    OnvifDevice device;
    device.Spoil("GetNodes", 200, ReadOdd("nodes_spherical"));
    device.Spoil("GetMoveOptions", 500, ReadOdd("fault_soap11"));
    device.Spoil("GetPresets", 400, ReadOdd("fault_soap11"));
    device.Spoil("GetDeviceInformation", 400, ReadOdd("fault_soap11"));
    device.Spoil("PullMessages", 200, ReadOdd("messages_odd"));
    config.channels[0].ptz.steerable = false;
    config.channels[0].source.network = NetworkCameraOf(device);
    model = std::make_shared<RecorderModel>(hub, CreateOnvifControlMaker());
    Start();
    const auto ask = [&](const std::string& command) {
        return Ask("/cgi-bin/ptz.cgi?ch=0&command=" + command).body;
    };
    EXPECT_TRUE(WaitUntil([&] { return ask("16") == "3"; })) << "it turns, and no more";
    EXPECT_EQ(ask("8"), "-1");
    EXPECT_EQ(ask("10"), "-1");
    EXPECT_EQ(ask("13"), "-1");
    EXPECT_EQ(ask("12&arg=0"), "-1");
    EXPECT_EQ(ask("15"), "010--------------------");
    EXPECT_TRUE(WaitUntil([&] { return Lines(Ask("/z_status.cgi?user=admin").body)[1].at(12) == '1'; }));
    EXPECT_LE(device.Count("PullMessages"), 20) << "one that answers at once is not asked without a pause";
}

}  // namespace
}  // namespace kvtest
