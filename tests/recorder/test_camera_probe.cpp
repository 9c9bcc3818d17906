// What is told of a camera before it is taken in.
#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

#include "cameras/camera_probe.h"
#include "media_tools.h"
#include "recorder_program.h"
#include "rtsp_peer.h"
#include "support/scripted_server.h"
#include "support/temp_folder.h"
#include "wire/frame_header.h"

namespace kvtest {
namespace {

using namespace kvrecorder;
using testing::HasSubstr;

const std::string kTone =
    " audiotestsrc is-live=true ! audio/x-raw,channels=1,rate=8000 ! mulawenc ! rtppcmupay name=pay1";

CameraReport ProbeUrl(const std::string& url) {
    NetworkCamera camera;
    camera.url = url;
    return ProbeCamera(camera, milliseconds(8000), [] { return false; });
}

TEST(CameraProbe, MeasuresWhatComes) {
    const RtspPeer peer({"/live", Pictures("x264enc tune=zerolatency key-int-max=25 speed-preset=ultrafast ! "
                                           "rtph264pay name=pay0",
                                           960, 540) +
                                      kTone});
    const CameraReport report = ProbeUrl(peer.Url("/live"));
    EXPECT_THAT(report.faults, testing::IsEmpty());
    EXPECT_EQ(report.codec, "H.264");
    EXPECT_EQ(report.width, 960);
    EXPECT_EQ(report.height, 540);
    EXPECT_NEAR(report.fps, 25, 5);  // by their coming, which a busy machine delays
    ASSERT_TRUE(report.keyInterval);
    EXPECT_NEAR(static_cast<double>(report.keyInterval->count()), 1000, 200);
    EXPECT_EQ(report.sound, "G.711 mu-law, 8000 Hz");
    EXPECT_GT(report.firstPicture, report.connected);
    EXPECT_LT(report.firstPicture, milliseconds(7000));
    auto picture = std::make_shared<Packet>();
    picture->fourcc = wire::kZIVG;
    picture->data = report.picture;
    const auto decoded = Decode({picture});
    ASSERT_EQ(decoded.size(), 1u);
    EXPECT_EQ(decoded[0].width, 640);
    EXPECT_EQ(decoded[0].height, 360);
}

TEST(CameraProbe, EndsWhenToldAndTellsKeyPicturesThatAreRare) {
    const RtspPeer peer(
        {"/live", Pictures("x264enc tune=zerolatency key-int-max=250 speed-preset=ultrafast ! "
                           "rtph264pay name=pay0")});
    NetworkCamera rare;
    rare.url = peer.Url("/live");
    EXPECT_THAT(ProbeCamera(
                    rare, milliseconds(1500), [] { return false; }, milliseconds(500))
                    .faults,
                testing::ElementsAre(
                    testing::Field(&Fault::words, testing::StartsWith("no second key picture came in "))));
    const ScriptedServer silent([](Peer& camera) { camera.Hold(); });
    NetworkCamera camera;
    camera.url = "rtsp://127.0.0.1:" + std::to_string(silent.Port()) + "/";
    const auto begin = std::chrono::steady_clock::now();
    ProbeCamera(camera, std::chrono::minutes(10),
                [&] { return std::chrono::steady_clock::now() - begin > milliseconds(200); });
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
    EXPECT_THAT(ProbeCamera(camera, milliseconds(300), [] { return false; }).faults,
                testing::ElementsAre(Fault(FaultCode::NoAnswer)));
}

TEST(CameraProbe, TheProgramTellsInWordsAndByItsStatus) {
    const RtspPeer digest({"--digest", "guard", "sesame", "/live", kH264, "/vp8",
                           Pictures("vp8enc deadline=1 ! rtpvp8pay name=pay0")});
    const TempFolder folder;
    const std::string good = folder.Path() + "/good";
    const std::string wrong = folder.Path() + "/wrong";
    for (const auto& [path, text] : {std::pair(good, "sesame\n"), std::pair(wrong, "guess\n")}) {
        std::ofstream(path) << text;
        std::filesystem::permissions(path, std::filesystem::perms::owner_read);
    }
    const struct {
        std::string url;
        std::string passwordFile;
        int status;
        const char* words;
    } cases[] = {
        {digest.Url("/live", "guard@"), good, 0, "codec: H.264\nsize: 320x240\n"},
        {digest.Url("/live", "guard@"), wrong, 1, "/live: the camera refuses the user or the password\n"},
        {digest.Url("/live"), good, 1, "/live: the camera wants a user and a password\n"},
        {digest.Url("/vp8", "guard:sesame@"), good, 1,
         "/vp8: the camera's codec (vp8) is none that can be passed on\n"},
        {"rtsp://127.0.0.1:1/", good, 1, "rtsp://127.0.0.1:1/: nothing listens at the camera's address\n"},
        {"rtsp://no-such-host.invalid/", good, 1, ": the name of the camera's host is not known\n"},
        {"rtsp://guard:sesame@:80/", good, 2, "--probe: this is no address of a camera: "}};
    for (const auto& test : cases) {
        const Outcome outcome =
            Program({"--probe", test.url, "--camera-password-file", test.passwordFile}).Wait();
        EXPECT_EQ(outcome.status, test.status) << test.url << outcome.errors;
        const std::string& text = test.status == 0 ? outcome.output : outcome.errors;
        EXPECT_THAT(text, HasSubstr(test.words));
        EXPECT_THAT(text, testing::Not(HasSubstr("sesame")));
        EXPECT_EQ(test.status == 0 ? 1 : std::count(text.begin(), text.end(), '\n'), 1) << text;
    }
}

}  // namespace
}  // namespace kvtest
