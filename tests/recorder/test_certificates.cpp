// Cameras that are spoken to encrypted, and the certificates that they show.
#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "camera_fixture.h"
#include "http_camera.h"
#include "onvif/onvif_control.h"
#include "recorder_client.h"
#include "recorder_program.h"
#include "rtsp_peer.h"
#include "scripted_rtsp.h"
#include "service/camera_tests.h"
#include "support/onvif_device/onvif_device.h"
#include "support/scripted_server.h"
#include "support/temp_folder.h"
#include "support/tls_peer/made_certificate.h"
#include "support/tls_peer/tls_front.h"

namespace kvtest {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* kNotTrusted = "the camera's certificate is signed by nobody whom this computer trusts";
constexpr const char* kOtherHost = "the camera's certificate was made for another host";
constexpr const char* kChanged =
    "the camera does not show the certificate that was accepted, but another one";

std::vector<std::string> WordsOf(const CameraReport& report) {
    std::vector<std::string> words;
    for (const Fault& fault : report.faults) {
        words.push_back(fault.words);
    }
    return words;
}

// The certificate that the first fault tells.
std::string ShownIn(const CameraReport& report) {
    for (const FaultValue& value :
         report.faults.empty() ? std::vector<FaultValue>() : report.faults.front().values) {
        if (value.name == "certificate") {
            return std::get<std::string>(value.value);
        }
    }
    return "";
}

void SendPictures(Peer& camera) {
    camera.ReadHead();
    camera.Write("HTTP/1.1 200 OK\r\nContent-Type: multipart/x-mixed-replace; boundary=b\r\n\r\n");
    for (std::size_t i = 0; camera.Write("--b\r\n\r\n" + TestJpeg(i) + "\r\n"); ++i) {
        std::this_thread::sleep_for(milliseconds(20));
    }
}

class Certificates : public Cameras {
protected:
    // This process, and those that it starts, trust the authority.
    Certificates() { ::setenv("SSL_CERT_FILE", m_maker.AuthorityFile().c_str(), 1); }
    ~Certificates() override { ::unsetenv("SSL_CERT_FILE"); }

    CameraReport Probe(const std::string& url, const std::string& certificate = "") {
        NetworkCamera camera;
        camera.url = url;
        camera.user = "guard";
        camera.password = "sesame";
        camera.certificate = certificate;
        return ProbeAnyCamera(camera, milliseconds(8000), [] { return false; });
    }

    bool Watch(const std::string& url, const std::string& certificate = "") {
        SourceConfig source = Camera(url);
        source.network.user = "guard";
        source.network.password = "sesame";
        source.network.certificate = certificate;
        Collector watcher;
        const auto subscription = m_all->Subscribe(m_all->AddChannel("Door", source), 0, watcher.Sink());
        return !watcher.WaitFor(1).empty();
    }

    // Also of those that tell their streams themselves.
    const std::unique_ptr<MediaHub> m_all =
        CreateMediaHub(nullptr, 2, CreateCameraSourceMaker(Quick(), CreateOnvifStreamFinder()));
    TempFolder m_folder;
    CertificateMaker m_maker{m_folder.Path()};
};

std::string At(const char* scheme, std::uint16_t port) {
    return std::string(scheme) + "://127.0.0.1:" + std::to_string(port) + "/";
}

// Each kind of certificate at each kind of camera; what was refused is taken once somebody has accepted it.
TEST_F(Certificates, AreTakenWhenTrustedOrAccepted) {
    const ScriptedServer pictures(SendPictures);
    const RtspPeer session({"/", kH264});
    OnvifDeviceSetup setup;
    setup.rtspMain = session.Url("/");
    const OnvifDevice device(setup);
    const struct {
        const char* name;
        CertificateWish wish;
        const char* fault;  // null: it is taken
    } kinds[] = {{"good", {}, nullptr},
                 {"good for a name", {"DNS:localhost"}, kOtherHost},
                 {"own", {"IP:127.0.0.1", -1, 2, true}, kNotTrusted},
                 {"another host's", {"IP:127.0.0.2"}, kOtherHost},
                 {"old", {"IP:127.0.0.1", -5, 2}, "the camera's certificate has expired"},
                 {"early", {"IP:127.0.0.1", 5, 2}, "the camera's certificate is not valid yet"}};
    const auto first = m_maker.Make();
    const std::pair<const char*, std::uint16_t> cameras[] = {
        {"https", pictures.Port()}, {"rtsps", session.Port()}, {"onvifs", device.Port()}};
    for (const auto& [scheme, behind] : cameras) {
        TlsFront front(behind, first.file);
        const std::string url = At(scheme, front.Port());
        for (const auto& kind : kinds) {
            SCOPED_TRACE(std::string(scheme) + ", " + kind.name);
            const MadeCertificate made = m_maker.Make(kind.wish);
            front.Show(made.file);
            const int taken = front.Taken();
            if (kind.fault) {
                const CameraReport report = Probe(url);
                EXPECT_EQ(front.Taken(), taken) << "nothing was said to it";
                EXPECT_EQ(ShownIn(report), made.shown);
                EXPECT_THAT(WordsOf(report),
                            ElementsAre(testing::AllOf(
                                StartsWith(kind.fault),
                                HasSubstr("to accept it write certificate = \"" + made.shown + "\""))));
            }
            EXPECT_TRUE(Watch(url, kind.fault ? made.shown : ""));
        }
        // A good one of another camera is none of this.
        front.Show(first.file);
        const MadeCertificate other = m_maker.Make();
        EXPECT_THAT(WordsOf(Probe(url, other.shown)), ElementsAre(StartsWith(kChanged)));
        EXPECT_EQ(ShownIn(Probe(url, other.shown)), first.shown);
        EXPECT_TRUE(Watch(url, "any"));
    }
    // By its name.
    const auto named = m_maker.Make({"DNS:localhost"});
    const TlsFront front(pictures.Port(), named.file);
    EXPECT_TRUE(Watch("https://localhost:" + std::to_string(front.Port()) + "/"));
}

// By a camera of another make, and for as long as it is watched.
TEST_F(Certificates, AChangedOneEndsTheSessionsToCome) {
    const auto made = m_maker.Make({"IP:127.0.0.1", -1, 2, true});
    const RtspPeer peer({"--tls", made.file, "--digest", "guard", "sesame", "/live", kH264});
    SourceConfig source = Camera(peer.Url("/live"));
    source.network.user = "guard";
    source.network.password = "sesame";
    source.network.certificate = made.shown;
    source.network.overUdp = true;  // which an encrypted session does not know
    m_hub->AddChannel("Door", source);
    Collector watcher;
    const auto subscription = m_hub->Subscribe(0, 0, watcher.Sink());
    const auto packets = watcher.WaitFor(60);
    ASSERT_GE(packets.size(), 60u) << testing::PrintToString(Lost());
    EXPECT_GE(Decode(packets).size(), 59u);
    EXPECT_THAT(Lost(), testing::IsEmpty());

    RtspPeer plain({"/live", kH264});
    TlsFront front(plain.Port(), made.file);
    SourceConfig fronted = Camera("rtsps://127.0.0.1:" + std::to_string(front.Port()) + "/live");
    fronted.network.certificate = made.shown;
    m_hub->AddChannel("Yard", fronted);
    Collector other;
    const auto second = m_hub->Subscribe(1, 0, other.Sink());
    ASSERT_GE(other.WaitFor(10).size(), 10u);
    front.Show(m_maker.Make().file);
    plain.DropSessions();
    EXPECT_TRUE(WaitLost(kChanged)) << testing::PrintToString(Lost());
    EXPECT_EQ(front.Taken(), 1);
    front.Show(made.file);
    EXPECT_TRUE(WaitLost("back"));
}

// From a camera of another make. Its coder for MPEG-4 does not work, so that it plays a file.
TEST_F(Certificates, AllCodecsComeEncrypted) {
    const auto made = m_maker.Make();
    const std::string film = m_folder.File("film.mkv");
    EncodeVideoFile(film, "mpeg4", 320, 240, 200, 25);
    const std::string tone = kH264 + " audiotestsrc is-live=true ! audio/x-raw,channels=1,rate=8000 ! ";
    const RtspPeer peer(
        {"--tls", made.file, "/H.264", kH264, "/H.265", kH265, "/MJPEG", kJpeg, "/MPEG-4",
         "filesrc location=" + film + " ! matroskademux ! mpeg4videoparse ! rtpmp4vpay name=pay0", "/opus",
         tone + "opusenc ! rtpopuspay name=pay1", "/g726", tone + "avenc_g726 ! rtpg726pay name=pay1"});
    for (const std::string codec : {"H.264", "H.265", "MPEG-4", "MJPEG"}) {
        const CameraReport report = Probe(peer.Url("/" + codec));
        EXPECT_EQ(report.codec, codec) << testing::PrintToString(WordsOf(report));
        EXPECT_EQ(report.width, 320);
        EXPECT_THAT(report.faults, testing::IsEmpty()) << testing::PrintToString(WordsOf(report));
        EXPECT_FALSE(report.picture.empty());
    }
    const CameraReport report = Probe(peer.Url("/opus"));
    EXPECT_TRUE(report.HasPictures()) << testing::PrintToString(WordsOf(report));
    EXPECT_EQ(report.sound, "");
    EXPECT_EQ(Probe(peer.Url("/g726")).sound, "G.726, 8000 Hz");
}

// A session that only the library of formats could read, which checks nothing.
TEST_F(Certificates, NothingIsReadUnchecked) {
    const ScriptedServer camera([](Peer& peer) {
        ServeRtsp(peer,
                  "m=video 0 RTP/AVP 96\r\na=rtpmap:96 H264/90000\r\na=fmtp:96 packetization-mode=2\r\n",
                  [](Peer& playing) { playing.Hold(); });
    });
    const TlsFront front(camera.Port(), m_maker.Make().file);
    const CameraReport report = Probe(At("rtsps", front.Port()));
    ASSERT_EQ(report.faults.size(), 1u);
    EXPECT_EQ(report.faults[0], Fault(FaultCode::EncryptedNotRead));
    EXPECT_EQ(camera.ConnectionCount(), 1);
}

TEST_F(Certificates, TheProgramTellsWhatToWrite) {
    const auto made = m_maker.Make({"IP:127.0.0.1", -1, 2, true});
    const RtspPeer peer({"--tls", made.file, "/live", kH264});
    Outcome outcome = Program({"--probe", peer.Url("/live")}).Wait();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors, "kvrecorder: " + peer.Url("/live") + ": " + kNotTrusted +
                                  "; to accept it write certificate = \"" + made.shown +
                                  "\" in the camera's source\n");
    outcome = Program({"--probe", peer.Url("/live"), "--camera-certificate", made.shown}).Wait();
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_THAT(outcome.output, HasSubstr("codec: H.264\n"));
    outcome = Program({"--probe", peer.Url("/live"), "--camera-certificate", "sha256:12"}).Wait();
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.errors, HasSubstr("--camera-certificate: \"any\" is wanted, or "));
}

// One that says nothing, one that says something else, and the end of the program meanwhile.
TEST_F(Certificates, AHandshakeThatStallsEndsInTime) {
    const ScriptedServer silent([](Peer& camera) { camera.Hold(); });
    const ScriptedServer plain([](Peer& camera) {
        camera.Write("HTTP/1.1 400 Speak plainly\r\n\r\n");
        camera.Hold();
    });
    for (const char* const scheme : {"https", "rtsps", "onvifs"}) {
        SCOPED_TRACE(scheme);
        const auto begin = std::chrono::steady_clock::now();
        NetworkCamera camera;
        camera.url = At(scheme, silent.Port());
        EXPECT_THAT(WordsOf(ProbeAnyCamera(camera, milliseconds(700), [] { return false; })),
                    ElementsAre(StartsWith("the camera ")));
        camera.url = At(scheme, plain.Port());
        EXPECT_THAT(WordsOf(ProbeAnyCamera(camera, milliseconds(700), [] { return false; })),
                    ElementsAre("no encrypted connection to the camera can be had"));
        EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(3));
        const std::string password = m_folder.File("password");
        std::ofstream(password) << "secret\n";
        std::filesystem::permissions(password, std::filesystem::perms::owner_read);
        Program program({"--listen", "127.0.0.1:0", "--user", "admin", "--password-file", password,
                         "--camera", At(scheme, silent.Port())});
        RecorderClient stream(program.Port());
        stream.Send(Get("/cgi-bin/getstream.cgi?ch=0&stream_id=0 "));
        std::this_thread::sleep_for(milliseconds(300));
        const auto told = std::chrono::steady_clock::now();
        program.Signal(SIGTERM);
        EXPECT_EQ(program.Wait().status, 0);
        EXPECT_LT(std::chrono::steady_clock::now() - told, std::chrono::seconds(2));
    }
}

}  // namespace
}  // namespace kvtest
