// Cameras that speak ONVIF, as clients of the recorder see them: steered by ptz.cgi, told of in states, the
// log and notifications.
#include <gmock/gmock.h>

#include <filesystem>
#include <thread>

#include "cameras/camera_source.h"
#include "media_tools.h"
#include "onvif/onvif_control.h"
#include "rtsp_peer.h"
#include "service_fixture.h"
#include "support/onvif_device/onvif_device.h"

namespace kvtest {
namespace {

using MotionWay = OnvifDeviceSetup::Motion;
using Login = OnvifDeviceSetup::Login;

OnvifTiming Quick() {
    OnvifTiming timing;
    timing.camera.pauses.fill(milliseconds(50));
    timing.tour = milliseconds(50);
    timing.pull = milliseconds(1000);
    timing.passing = milliseconds(300);
    return timing;
}

NetworkCamera CameraOf(const OnvifDevice& device, const char* password = "sesame") {
    NetworkCamera camera;
    camera.url = device.Url();
    camera.user = "guard";
    camera.password = password;
    camera.linger = std::chrono::seconds(0);
    return camera;
}

class Onvif : public ServiceTest {
protected:
    // Channel 0 is the camera.
    void Serve(const NetworkCamera& camera) {
        config.channels[0].name = "Door";
        config.channels[0].ptz.steerable = false;
        config.channels[0].source.network = camera;
        model.reset();
        model = std::make_shared<RecorderModel>(hub, CreateOnvifControlMaker(Quick()));
        Start();
    }
    // When the camera was asked what it can do.
    void ServeKnown(const OnvifDevice& device) {
        Serve(CameraOf(device));
        ASSERT_TRUE(WaitUntil([&] { return Ask("/cgi-bin/ptz.cgi?ch=0&command=16").status == 200; }))
            << Log();
    }
    std::string Ptz(int command, const std::string& argument = "") {
        return Ask("/cgi-bin/ptz.cgi?ch=0&command=" + std::to_string(command) +
                   (argument.empty() ? "" : "&arg=" + argument))
            .body;
    }
    // Until the camera tells an end; "0" if it never does.
    std::string Drive(int command) {
        std::string end = "0";
        for (int i = 0; i < 60 && end == "0"; ++i) {
            end = Ptz(command);
        }
        return end;
    }
    std::string Log() { return Ask("/get_log_info.cgi?sec=1000").body; }
    bool WaitLog(const std::string& words) {
        return WaitUntil([&] { return Log().find(words) != std::string::npos; });
    }
    // The fourth digit of the camera's states.
    char States() { return Lines(Ask("/z_status.cgi?user=admin").body)[1].at(3 + 3 * 3); }
    bool WaitStates(char digit) {
        return WaitUntil([&] { return States() == digit; });
    }
};

class OnvifWays : public Onvif, public testing::WithParamInterface<MotionWay> {};

TEST_P(OnvifWays, EachOrderMovesTheCameraAndIsAnsweredWithItsEnd) {
    OnvifDeviceSetup setup;
    setup.motion = GetParam();
    OnvifDevice device(setup);
    OnvifHead& head = device.Head();
    ServeKnown(device);
    const bool inView = GetParam() == MotionWay::InView;
    EXPECT_EQ(Ptz(16), inView ? "127" : "63");
    EXPECT_EQ(Ptz(3), "0");
    EXPECT_GT(head.Place(OnvifHead::kPan), 0.02);
    EXPECT_EQ(Ptz(0), "0");
    EXPECT_GT(head.Place(OnvifHead::kTilt), 0.02) << "up is up";
    EXPECT_EQ(Ptz(8), "0");
    EXPECT_GT(head.Place(OnvifHead::kZoom), 0.02);

    head.MoveTo(OnvifHead::kPan, 0.9);
    head.MoveTo(OnvifHead::kTilt, -0.9);
    EXPECT_EQ(Drive(9), "5") << "wide";
    EXPECT_EQ(Drive(3), "1") << "right";
    EXPECT_EQ(Drive(1), "4") << "down";
    EXPECT_EQ(Ptz(7), "14") << "right and down";
    EXPECT_EQ(Ptz(6), "4") << "down, and no more at the right";
}

std::string NameOf(const testing::TestParamInfo<MotionWay>& way) {
    return std::array<const char*, 4>{"InView", "Relative", "Continuous",
                                      "Absolute"}[static_cast<std::size_t>(way.param)];
}

INSTANTIATE_TEST_SUITE_P(All, OnvifWays,
                         testing::Values(MotionWay::InView, MotionWay::Relative, MotionWay::Continuous,
                                         MotionWay::Absolute),
                         NameOf);

TEST_F(Onvif, PresetsFocusAndTheRestOfTheOrders) {
    OnvifDeviceSetup setup;
    setup.tracking = {"tt:Wiper|On", "acme:Tracking|On", "acme:Tracking|Off"};
    OnvifDevice device(setup);
    OnvifHead& head = device.Head();
    ServeKnown(device);
    // "Gate" and "Yard & Door" at the places of their tokens' numbers.
    EXPECT_EQ(Ptz(15), "0100447617465--1159617264202620446F6F72--------------");
    EXPECT_EQ(Ptz(20), "01011");
    EXPECT_EQ(Ptz(12, "2"), "0");
    EXPECT_TRUE(WaitUntil([&] { return head.Place(OnvifHead::kPan) == -0.5; }));
    EXPECT_EQ(Ptz(12, "1"), "-1") << "an empty place";
    EXPECT_EQ(Ptz(21, "0010457617264"), "OK");
    EXPECT_EQ(device.Presets().at("p-40"), "Ward");
    EXPECT_EQ(Ptz(21, "000xx"), "OK") << "the name stays";
    EXPECT_EQ(device.Presets().at("1"), "Gate");
    EXPECT_EQ(Ptz(22, "002xx"), "OK");
    EXPECT_FALSE(device.Presets().contains("3"));
    EXPECT_EQ(Ptz(13), "0");
    EXPECT_TRUE(WaitUntil([&] { return head.Place(OnvifHead::kPan) == 0; }));
    EXPECT_EQ(Ptz(14, "480%20240"), "0");
    EXPECT_NEAR(head.Place(OnvifHead::kPan), 0.05, 0.001) << "half way to the picture's side";
    EXPECT_EQ(Ptz(17), "0");
    EXPECT_EQ(device.Count("acme:Tracking|On"), 1);
    EXPECT_EQ(Drive(10), "9") << "far";
    EXPECT_EQ(Drive(11), "10") << "near";
    // From preset to preset until the next order.
    EXPECT_EQ(Ptz(19), "0");
    EXPECT_TRUE(WaitUntil([&] { return device.Count("GotoPreset") >= 4; }));
    EXPECT_EQ(Ptz(18), "0");
    EXPECT_EQ(device.Count("acme:Tracking|Off"), 1);
    EXPECT_EQ(device.Orders().back(), "Stop");
    EXPECT_EQ(Ask("/cgi-bin/ptz.cgi?ch=0&command=3", "guard:night").status, 403);
}

TEST_F(Onvif, AStopOvertakesAndFewOrdersWait) {
    OnvifDevice device;
    ServeKnown(device);
    std::vector<RecorderClient> clients;
    const auto order = [&](int command) {
        clients.emplace_back(port);
        clients.back().Send(Get("/cgi-bin/ptz.cgi?ch=0&command=" + std::to_string(command)));
        EXPECT_TRUE(clients.back().ReadHead().starts_with("HTTP/1.0 200 OK\r\n"))
            << "before the camera answers";
    };
    // The camera takes its time with the first of them.
    const auto begin = [&] {
        clients.clear();
        device.Slow("RelativeMove", milliseconds(3'500));
        const int before = device.Count("RelativeMove");
        order(3);
        ASSERT_TRUE(WaitUntil([&] { return device.Count("RelativeMove") > before; }));
    };
    begin();
    order(3);
    order(18);
    EXPECT_EQ(clients[1].ReadToEnd(), "0") << "taken back at once";
    device.Mend();
    EXPECT_EQ(clients[2].ReadToEnd(), "0");
    EXPECT_THAT(device.Orders(), testing::ElementsAre("RelativeMove", "Stop"));

    begin();
    for (int i = 0; i < 14; ++i) {
        order(3);
    }
    EXPECT_EQ(clients[1].ReadToEnd(), "8") << "ten wait";
    EXPECT_EQ(clients[4].ReadToEnd(), "8");
    order(18);
    device.Mend();
    EXPECT_EQ(clients[5].ReadToEnd(), "0") << "kept, and taken back by the stop";
    EXPECT_EQ(clients.back().ReadToEnd(), "0");

    // Nor do many orders behind it push a stop out.
    begin();
    order(18);
    for (int i = 0; i < 12; ++i) {
        order(3);
    }
    device.Mend();
    EXPECT_EQ(clients[1].ReadToEnd(), "0");
    EXPECT_EQ(device.Count("Stop"), 3);
}

TEST_F(Onvif, FaultsAndSilenceAreErrorsAndTheCameraComesBack) {
    OnvifDevice device;
    ServeKnown(device);
    const std::string fault =
        "<e:Envelope xmlns:e='http://www.w3.org/2003/05/soap-envelope'><e:Body><e:Fault><e:Code><e:Value>"
        "e:Receiver</e:Value></e:Code><e:Reason><e:Text>motor fault</e:Text></e:Reason></e:Fault></e:Body>"
        "</e:Envelope>";
    for (const auto& [status, body] : {std::pair<int, std::string>{400, fault},
                                       {200, fault},
                                       {500, "<html>no</html>"},
                                       {200, "<broken"},
                                       {302, ""},
                                       {200, std::string(700'000, ' ') + fault}}) {
        device.Spoil("GotoHomePosition", status, body);
        EXPECT_EQ(Ptz(13), "8") << status << body.substr(0, 20);
    }
    // An order that comes while the one before is still being given up goes down with it, unasked.
    EXPECT_TRUE(WaitUntil([&] {
        return Ptz(13) == "8" && Log().find("Door: the camera's answer is too large") != std::string::npos;
    })) << Log();
    device.Mend();
    EXPECT_TRUE(WaitUntil([&] { return Ptz(13) == "0"; })) << Log();
    EXPECT_TRUE(WaitLog("Door: the camera answers to ONVIF again"));
}

TEST_F(Onvif, LoginsOfBothFormsAndAClockThatIsWrong) {
    for (const Login login : {Login::Token, Login::Digest, Login::None}) {
        OnvifDeviceSetup setup;
        setup.login = login;
        setup.clockAhead = std::chrono::hours(5);
        setup.old = login == Login::None;
        setup.elsewhere = true;
        OnvifDevice device(setup);
        ServeKnown(device);
        EXPECT_EQ(Ptz(3), "0") << static_cast<int>(login);
        EXPECT_THAT(Log(), testing::HasSubstr("Door: Acme PTZ-1 answers to ONVIF"));
        service.reset();
    }
    for (const Login login : {Login::Token, Login::Digest}) {
        OnvifDeviceSetup setup;
        setup.login = login;
        OnvifDevice device(setup);
        Serve(CameraOf(device, "wr0ng"));
        EXPECT_TRUE(WaitLog("Door: the camera refuses the user or the password"));
        EXPECT_EQ(Ask("/cgi-bin/ptz.cgi?ch=0&command=16").status, 504);
        EXPECT_EQ(Ptz(3), "8");
        EXPECT_THAT(Log(), testing::Not(testing::HasSubstr("wr0ng")));
        service.reset();
    }
}

TEST_F(Onvif, EventsBecomeStatesLogAndNotifications) {
    OnvifDeviceSetup setup;
    setup.subscription = std::chrono::seconds(3);
    OnvifDevice device(setup);
    const std::string input = "<tt:SimpleItem Name=\"InputToken\" Value=\"";
    // It goes on already when the recorder comes.
    device.Tell("tns1:Device/Trigger/DigitalInput", "LogicalState", true, input + "1\"/>");
    Serve(CameraOf(device));
    RecorderClient notify = Open("/cgi-bin/notify.cgi");
    EXPECT_TRUE(WaitStates('4')) << Log();
    EXPECT_THAT(Log(), testing::HasSubstr("Door: an input is active"));
    EXPECT_EQ(notify.ReadLine(), "1\n");
    device.Tell("tns1:Device/Trigger/DigitalInput", "LogicalState", true, input + "2\"/>");
    device.Tell("tns1:Device/Trigger/DigitalInput", "LogicalState", false, input + "1\"/>");
    device.Tell("tns1:RuleEngine/CellMotionDetector/Motion", "IsMotion", true);
    EXPECT_TRUE(WaitStates('5')) << "one of two inputs is still active";
    EXPECT_THAT(Log(), testing::HasSubstr("Door: motion"));
    device.Tell("tns1:RuleEngine/CellMotionDetector/Motion", "IsMotion", false,
                "<tt:SimpleItem Name=\"VideoSourceConfigurationToken\" Value=\"another\"/>");
    device.Tell("tns1:VideoSource/SignalLoss", "State", true,
                "<tt:SimpleItem Name=\"Source\" Value=\"source_0\"/>");
    device.Tell("tns1:RuleEngine/TamperDetector/Tamper", "IsTamper", true);
    EXPECT_TRUE(WaitStates('F')) << States();

    // What ended while nothing could be told is over, what goes on stays.
    device.DropSubscriptions();
    device.Tell("tns1:Device/Trigger/DigitalInput", "LogicalState", false, input + "2\"/>");
    device.Tell("tns1:RuleEngine/CellMotionDetector/Motion", "IsMotion", false);
    EXPECT_TRUE(WaitStates('A')) << States() << Log();
    device.Tell("tns1:VideoSource/SignalLoss", "State", false,
                "<tt:SimpleItem Name=\"Source\" Value=\"source_0\"/>");
    device.Tell("tns1:RuleEngine/TamperDetector/Tamper", "IsTamper", false);
    EXPECT_TRUE(WaitStates('0'));

    // MotionWay that the camera tells and motion that is seen here: the end of one is none of the other.
    const std::string motion = "tns1:RuleEngine/CellMotionDetector/Motion";
    device.Tell(motion, "IsMotion", true);
    EXPECT_TRUE(WaitStates('1'));
    hub->Tell(0, MediaEvent::Motion, true);
    hub->Tell(0, MediaEvent::Motion, false);
    EXPECT_TRUE(WaitStates('1')) << States();
    hub->Tell(0, MediaEvent::Motion, true);
    device.Tell(motion, "IsMotion", false);
    device.Tell("tns1:Device/Trigger/DigitalInput", "LogicalState", true, input + "1\"/>");
    EXPECT_TRUE(WaitStates('5')) << States();
    EXPECT_EQ(model->Reload(config), "");
    EXPECT_TRUE(WaitStates('5')) << "a configuration that is read again ends nothing that goes on";
    hub->Tell(0, MediaEvent::Motion, false);
    device.Tell("tns1:Device/Trigger/DigitalInput", "LogicalState", false, input + "1\"/>");
    EXPECT_TRUE(WaitStates('0'));

    device.TellOnce("tns1:VideoSource/MotionAlarm", "State");
    EXPECT_TRUE(WaitStates('1'));
    EXPECT_TRUE(WaitStates('0')) << "nothing tells its end";
    EXPECT_TRUE(WaitUntil([&] { return device.Count("Renew") >= 2; }));
    EXPECT_EQ(device.Count("CreatePullPointSubscription"), 2) << "renewed in time, made anew once";
    service.reset();
    model.reset();
    EXPECT_TRUE(WaitUntil([&] { return device.Subscriptions() == 0; })) << "it takes its leave";
}

std::ptrdiff_t EntriesOf(const char* folder) {
    const std::filesystem::directory_iterator entries(folder);
    return std::distance(begin(entries), end(entries));
}

TEST(OnvifEnds, LeaveNeitherThreadsNorDescriptors) {
    OnvifDeviceSetup setup;
    setup.login = Login::Digest;
    OnvifDevice device(setup);
    ScriptedServer silent([](Peer& peer) { peer.Hold(); });
    ScriptedServer liar([](Peer& peer) {
        peer.ReadHead();
        peer.Write("HTTP/1.1 200 OK\r\nContent-Length: 99999\r\n\r\n<Envelope><Body>");
        peer.Reset();
    });
    NetworkCamera hangs = CameraOf(device);
    hangs.url = "onvif://127.0.0.1:" + std::to_string(silent.Port()) + "/";
    NetworkCamera lies = hangs;
    lies.url = "onvif://127.0.0.1:" + std::to_string(liar.Port());
    const auto threads = EntriesOf("/proc/self/task");
    const auto files = EntriesOf("/proc/self/fd");
    {
        const CameraControlMaker make = CreateOnvifControlMaker(Quick());
        std::atomic<int> answered = 0;
        for (int i = 0; i < 60; ++i) {
            const auto control = make(i % 3 == 0   ? CameraOf(device, i % 2 == 0 ? "sesame" : "wrong")
                                      : i % 3 == 1 ? hangs
                                                   : lies,
                                      [](const CameraNews&) {});
            PtzOrder order;
            order.command = i % 2 == 0 ? 3 : 18;
            control->Give(order, [&](const std::string&) { ++answered; });
            std::this_thread::sleep_for(milliseconds(i % 7));
        }
        EXPECT_TRUE(WaitUntil([&] { return answered == 60; })) << answered;
    }
    EXPECT_TRUE(WaitUntil([&] {
        return EntriesOf("/proc/self/task") <= threads && EntriesOf("/proc/self/fd") <= files;
    })) << EntriesOf("/proc/self/task")
        << " " << threads << " " << EntriesOf("/proc/self/fd") << " " << files;
}

// What has to do with pictures: real sessions.
class OnvifPictures : public testing::Test {
protected:
    void Watch(const OnvifDevice& device, int stream, int width) {
        SourceConfig source;
        source.network = CameraOf(device);
        const auto hub = CreateMediaHub(nullptr, 2, CreateCameraSourceMaker({}, CreateOnvifStreamFinder()));
        hub->AddChannel("Door", source);
        Collector watcher;
        const auto subscription = hub->Subscribe(0, stream, watcher.Sink());
        const auto packets = watcher.WaitFor(3);
        ASSERT_GE(packets.size(), 3u);
        EXPECT_EQ(packets[0]->width, width) << stream;
        EXPECT_TRUE(packets[0]->key);
        // The sub stream's size is known though nobody watches it.
        EXPECT_EQ(hub->Streams(0)[1].width, stream == 0 ? 160 : width);
    }
};

TEST_F(OnvifPictures, TheLargeAndTheSmallProfileAreTheStreams) {
    const RtspPeer peer({"--digest", "guard", "sesame", "/main", kH264, "/sub",
                         Pictures("jpegenc ! rtpjpegpay name=pay0", 160, 120)});
    OnvifDeviceSetup setup;
    const std::string port = peer.Url("").substr(peer.Url("").rfind(':'));
    // It tells its address behind a router.
    setup.rtspMain = "rtsp://192.168.77.7" + port + "/main";
    setup.rtspSub = "rtsp://192.168.77.7" + port + "/sub";
    setup.later = true;
    const OnvifDevice both(setup);
    Watch(both, 0, 320);
    Watch(both, 1, 160);
    setup.rtspSub.clear();
    setup.later = false;
    const OnvifDevice one(setup);
    Watch(one, 1, 640);  // made of the other
}

}  // namespace
}  // namespace kvtest
