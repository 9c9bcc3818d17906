// Cameras, and networks, that fail in every way.
#include <malloc.h>
#include <sys/prctl.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "camera_fixture.h"
#include "http_camera.h"
#include "recorder_client.h"
#include "recorder_program.h"
#include "rtsp_peer.h"
#include "scripted_rtsp.h"
#include "support/faulty_proxy.h"
#include "support/fork_alone.h"
#include "support/temp_folder.h"
#include "support/tls_peer/made_certificate.h"
#include "support/tls_peer/tls_front.h"
#include "wire/frame_header.h"

namespace kvtest {
namespace {

using std::chrono::seconds;
using Clock = std::chrono::steady_clock;

std::string RtspAt(std::uint16_t port) {
    return "rtsp://127.0.0.1:" + std::to_string(port) + "/live";
}

TEST_F(Cameras, GoOnAfterStallsCutsAndGarbageOnTheWay) {
    const RtspPeer peer({"/live", kH264});
    FaultyProxy proxy(peer.Port());
    m_hub->AddChannel("Door", Camera(RtspAt(proxy.Port())));
    Collector watcher;
    const auto subscription = m_hub->Subscribe(0, 0, watcher.Sink());
    ASSERT_GE(watcher.WaitFor(3).size(), 3u);
    const auto goesOn = [&] { return watcher.WaitFor(watcher.Packets().size() + 25).size() >= 25; };

    proxy.Set(FaultyProxy::Mode::Stall);
    EXPECT_TRUE(WaitLost("the camera sends no pictures any more")) << testing::PrintToString(Lost());
    proxy.Set(FaultyProxy::Mode::Pass);
    EXPECT_TRUE(WaitLost("back")) << testing::PrintToString(Lost());

    proxy.Cut();
    EXPECT_TRUE(goesOn());
    EXPECT_THAT(Lost(), testing::Contains(testing::StartsWith("the camera closed the connection")));

    proxy.Set(FaultyProxy::Mode::Garble);
    std::this_thread::sleep_for(milliseconds(700));
    proxy.Set(FaultyProxy::Mode::Pass);
    EXPECT_TRUE(goesOn());
    EXPECT_TRUE(WaitUntil([&] { return Lost().back() == "back"; }));
    // What comes after it all is whole.
    auto packets = watcher.Packets();
    std::size_t last = packets.size() - 1;
    while (!packets[last]->key) {
        --last;
    }
    packets.erase(packets.begin(), packets.begin() + static_cast<std::ptrdiff_t>(last));
    EXPECT_EQ(Decode(packets).size(), packets.size());
}

TEST_F(Cameras, LosePacketsByUdpAndGoOn) {
    const RtspPeer peer({"/live", Pictures("x264enc tune=zerolatency key-int-max=12 speed-preset=ultrafast ! "
                                           "identity name=lossy ! rtph264pay mtu=400 name=pay0")});
    SourceConfig source = Camera(peer.Url("/live"));
    source.network.overUdp = true;
    m_hub->AddChannel("Door", source);
    Collector watcher;
    const auto subscription = m_hub->Subscribe(0, 0, watcher.Sink());
    const auto packets = watcher.WaitFor(50);
    ASSERT_GE(packets.size(), 50u) << testing::PrintToString(Lost());
    EXPECT_LT(packets[49]->timeMs - packets[0]->timeMs, 8'000) << "a part of them is lost, not most";
    EXPECT_THAT(Lost(), testing::IsEmpty());
}

// Within a session, and as another camera at the same place.
TEST_F(Cameras, MayChangeTheSizeAndTheCodecOfTheirPictures) {
    RtspPeer first({"/live",
                    "videotestsrc is-live=true ! videoscale ! capsfilter name=size "
                    "caps=video/x-raw,width=320,height=240 ! video/x-raw,format=I420,framerate=25/1 ! "
                    "x264enc tune=zerolatency key-int-max=12 speed-preset=ultrafast ! "
                    "rtph264pay name=pay0"});
    const RtspPeer second({"/live", kH265});
    FaultyProxy proxy(first.Port());
    m_hub->AddChannel("Door", Camera(RtspAt(proxy.Port())));
    Collector watcher;
    const auto subscription = m_hub->Subscribe(0, 0, watcher.Sink());
    const auto last = [&] { return watcher.WaitFor(1).empty() ? PacketPtr() : watcher.Packets().back(); };
    ASSERT_TRUE(WaitUntil([&] { return last() && last()->width == 320; }));
    first.ChangeSize();
    EXPECT_TRUE(WaitUntil([&] { return last()->width == 160; }));
    EXPECT_THAT(Lost(), testing::IsEmpty());
    proxy.Redirect(second.Port());
    proxy.Cut();
    EXPECT_TRUE(WaitUntil([&] { return last()->fourcc == wire::kZ265; }));
    EXPECT_TRUE(WaitUntil([&] { return m_hub->Streams(0)[0].codec == kvrecorder::Codec::H265; }));
    // The first picture of each kind is one that a decoder can begin with.
    const auto packets = watcher.Packets();
    for (std::size_t i = 1; i < packets.size(); ++i) {
        const bool same =
            packets[i]->width == packets[i - 1]->width && packets[i]->fourcc == packets[i - 1]->fourcc;
        EXPECT_TRUE(same || packets[i]->key) << i;
    }
    const std::lock_guard lock(m_mutex);
    EXPECT_THAT(m_words, testing::ElementsAre("pictures of 320x240 in H.264", "pictures of 160x120 in H.264",
                                              "pictures of 320x240 in H.265"));
}

// Which reader a camera is for is known from the session before, until the camera has something else.
TEST_F(Cameras, AreComeBackToByOneConnection) {
    const RtspPeer other({"/live", kJpeg + " audiotestsrc is-live=true ! opusenc ! rtpopuspay name=pay1"});
    const RtspPeer usual({"/live", kH264});
    FaultyProxy proxy(other.Port());
    m_hub->AddChannel("Door", Camera(RtspAt(proxy.Port())));
    Collector watcher;
    Collector listener;
    const auto sound = m_hub->SubscribeSound(0, listener.Sink());
    const auto subscription = m_hub->Subscribe(0, 0, watcher.Sink());
    const auto comesBack = [&](std::uint32_t fourcc) {
        const int before = proxy.Connections();
        proxy.Cut();
        return WaitUntil([&] { return proxy.Connections() > before; }) && WaitUntil([&] {
                   const auto packets = watcher.WaitFor(watcher.Packets().size() + 10);
                   return packets.back()->fourcc == fourcc;
               })
                   ? proxy.Connections() - before
                   : -1;
    };
    ASSERT_GE(watcher.WaitFor(10).size(), 10u) << testing::PrintToString(Lost());
    EXPECT_EQ(proxy.Connections(), 2) << "the first session shows which it is";
    EXPECT_EQ(comesBack(wire::kZIVG), 1);
    EXPECT_EQ(comesBack(wire::kZIVG), 1);
    proxy.Redirect(usual.Port());
    EXPECT_EQ(comesBack(wire::kZ264), 1);
    EXPECT_EQ(comesBack(wire::kZ264), 1);
    proxy.Redirect(other.Port());
    EXPECT_EQ(comesBack(wire::kZIVG), 2) << "the usual reader was at it again";
    EXPECT_EQ(comesBack(wire::kZIVG), 1);
}

// What is wrong with a session by RTSP that is right up to there.
enum class Lie { NoAnswer, Login, Description, Packets, SilentPlay, CutPlay };

void SendGarbage(Peer& camera) {
    for (int i = 0; i < 40; ++i) {
        std::string payload;
        for (int k = 0; k < 188; ++k) {
            payload += static_cast<char>(std::rand());
        }
        camera.Write(FramedPacket(kRtspChannel, false, 0, payload));
    }
}

void PlayWith(Peer& camera, Lie lie) {
    const std::string description = lie == Lie::Description
                                        ? "v=0\r\nm=video \xFF RTP/AVP \r\na=rtpmap:\r\nm=audio 0 x"
                                        : "v=0\r\nm=video 0 RTP/AVP 96\r\na=control:track1\r\na=rtpmap:96 " +
                                              std::string(camera.Number() / 10 % 2 == 0 ? "H264" : "JPEG") +
                                              "/90000\r\n";
    const auto play = [lie](Peer& playing) {
        return lie == Lie::Packets      ? SendGarbage(playing)
               : lie == Lie::SilentPlay ? playing.Hold()
                                        : playing.Reset();
    };
    ServeRtsp(camera, description, play, [lie](Peer& odd, const std::string& request) {
        const bool isAsked = request.starts_with("DESCRIBE");
        if (isAsked && lie == Lie::NoAnswer) {
            odd.Hold();
        } else if (isAsked && lie == Lie::Login) {
            odd.Write(RtspAnswer(
                request, 401,
                "WWW-Authenticate: Digest realm=\"x\", nonce=\"" + std::to_string(odd.Number()) + "\"\r\n"));
        } else {
            return request.find("CSeq: ") == std::string::npos;
        }
        return true;
    });
}

std::size_t CountOf(const char* folder) {
    const std::filesystem::directory_iterator entries(folder);
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

// What all threads together have of the heap.
std::int64_t HeapBytes() {
    char* text = nullptr;
    std::size_t size = 0;
    std::FILE* const file = ::open_memstream(&text, &size);
    ::malloc_info(0, file);
    std::fclose(file);
    const std::string told(text, size);
    std::free(text);
    // The last lines of each kind are the sums.
    const auto last = [&](const std::string& mark) {
        const std::size_t at = told.rfind(mark);
        return at == std::string::npos ? 0 : std::atoll(told.c_str() + told.find("size=\"", at) + 6);
    };
    return last("<system type=\"current\"") - last("<total type=\"fast\"") - last("<total type=\"rest\"");
}

// Each connection gets the next one of ten lies.
void TellLie(Peer& camera) {
    constexpr Lie kInSession[] = {Lie::NoAnswer, Lie::Login,      Lie::Description,
                                  Lie::Packets,  Lie::SilentPlay, Lie::CutPlay};
    constexpr auto kSessions = static_cast<int>(std::size(kInSession));
    const int turn = camera.Number() % (kSessions + 4);
    if (turn < kSessions) {
        PlayWith(camera, kInSession[turn]);
        return;
    }
    camera.ReadHead();
    switch (turn - kSessions) {
        case 0:
            camera.Reset();
            break;
        case 1:
            camera.Write("$\1\xFF\xFF" + std::string(3000, '\x47'));
            break;
        case 2:
            camera.Hold();
            break;
        default:
            camera.Write("HTTP/1.1 200 OK\r\nContent-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n\r\n" +
                         TestJpeg(0) + "\r\n--b\r\n");
    }
}

// In a process of its own, so that what this one holds is the cameras' alone.
class Liar {
public:
    // Behind a certificate where one is told.
    explicit Liar(const std::string& certificate = "") {
        TestJpegs();
        int pipe[2];
        EXPECT_EQ(::pipe2(pipe, O_CLOEXEC | O_NONBLOCK), 0);
        m_process = kvtest::ForkAlone();
        EXPECT_GE(m_process, 0);
        if (m_process == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            const ScriptedServer server([&](Peer& camera) {
                static_cast<void>(!::write(pipe[1], "x", 1));
                TellLie(camera);
            });
            const auto front =
                certificate.empty() ? nullptr : std::make_unique<TlsFront>(server.Port(), certificate);
            const std::uint16_t port = front ? front->Port() : server.Port();
            static_cast<void>(!::write(pipe[1], &port, sizeof port));
            ::pause();
        }
        ::close(pipe[1]);
        m_pipe = pipe[0];
        EXPECT_TRUE(WaitUntil([&] { return ::read(m_pipe, &m_port, sizeof m_port) == sizeof m_port; }));
    }
    ~Liar() {
        ::kill(m_process, SIGKILL);
        ::waitpid(m_process, nullptr, 0);
        ::close(m_pipe);
    }
    Liar(const Liar&) = delete;
    Liar& operator=(const Liar&) = delete;

    std::string At(const char* scheme) const {
        return std::string(scheme) + "://127.0.0.1:" + std::to_string(m_port) + "/live";
    }
    int Connections() {
        char bytes[64];
        for (ssize_t got = 0; (got = ::read(m_pipe, bytes, sizeof bytes)) > 0;) {
            m_connections += static_cast<int>(got);
        }
        return m_connections;
    }

private:
    pid_t m_process = -1;
    int m_pipe = -1;
    std::uint16_t m_port = 0;
    int m_connections = 0;
};

// KV_RECONNECTS=1000 does it so many times with each.
TEST(CameraEnds, LeaveNeitherThreadsNorDescriptorsNorMemory) {
    const char* const told = std::getenv("KV_RECONNECTS");
    const int wanted = told ? std::atoi(told) : 20;
    const TempFolder folder;
    CertificateMaker maker(folder.Path());
    const std::string certificate = maker.Make().file;
    Liar plain;
    Liar encrypted(certificate);
    Liar handshake;
    Liar http;
    Liar https(certificate);
    Liar* const liars[] = {&plain, &encrypted, &handshake, &http, &https};
    const RtspPeer digest({"--digest", "guard", "sesame", "/live", kH264});
    const auto threads = CountOf("/proc/self/task");
    const auto files = CountOf("/proc/self/fd");
    // What is left of the heap when all sessions have ended, once each liar was connected to so often.
    const auto round = [&](int count) {
        {
            CameraTiming timing = Quick();
            timing.connect = milliseconds(150);
            timing.stall = milliseconds(100);
            timing.pauses.fill(milliseconds(1));
            const auto hub = CreateMediaHub(nullptr, 2, CreateCameraSourceMaker(timing));
            std::vector<std::unique_ptr<Subscription>> watchers;
            for (const std::string& url :
                 {plain.At("rtsp"), encrypted.At("rtsps"), handshake.At("rtsps"), http.At("http"),
                  https.At("https"), RtspAt(digest.Port()), std::string("rtsp://127.0.0.1:1/")}) {
                SourceConfig source = Camera(url);
                source.network.user = "guard";
                source.network.password = "wrong";
                source.network.certificate = "any";
                const int channel = hub->AddChannel("Door", source);
                watchers.push_back(hub->Subscribe(channel, 0, [](const PacketPtr&) {}));
            }
            EXPECT_TRUE(WaitUntil(
                [&] {
                    return std::all_of(std::begin(liars), std::end(liars),
                                       [&](Liar* liar) { return liar->Connections() >= count; });
                },
                seconds(600)));
        }
        EXPECT_TRUE(WaitUntil(
            [&] { return CountOf("/proc/self/task") <= threads && CountOf("/proc/self/fd") <= files; }));
        return HeapBytes();
    };
    const std::int64_t memory = round(wanted / 2);
    const std::int64_t grown = round(wanted);
    RecordProperty("heap", std::to_string(memory) + " to " + std::to_string(grown) + " bytes");
    std::string connections;
    for (Liar* const liar : liars) {
        connections += std::to_string(liar->Connections()) + " ";
    }
    RecordProperty("connections", connections);
    EXPECT_LT(grown, memory + (128 << 10));
}

// The whole program, with cameras in every state of their lives.
TEST(CameraEnds, NeverHoldTheProgramUp) {
    const TempFolder folder;
    const std::string password = folder.File("password");
    std::ofstream(password) << "secret\n";
    std::filesystem::permissions(password, std::filesystem::perms::owner_read);
    RtspPeer playing({"/live", kH264});
    const ScriptedServer silent([](Peer& camera) { camera.Hold(); });
    const ScriptedServer single([](Peer& camera) {
        camera.ReadHead();
        camera.Write("HTTP/1.1 200 OK\r\nContent-Type: image/jpeg\r\nContent-Length: " +
                     std::to_string(TestJpeg(0).size()) + "\r\n\r\n" + TestJpeg(0));
        camera.Hold();
    });
    const ScriptedServer trickling([](Peer& camera) {
        camera.ReadHead();
        while (camera.Write("X: y\r\n")) {
            std::this_thread::sleep_for(milliseconds(20));
        }
    });
    const std::string http = "http://127.0.0.1:";
    for (const std::string& url :
         {playing.Url("/live"), RtspAt(silent.Port()), RtspAt(1), std::string("rtsp://no-such-host.invalid/"),
          http + std::to_string(silent.Port()) + "/", http + std::to_string(single.Port()) + "/",
          http + std::to_string(trickling.Port()) + "/"}) {
        for (const int afterMs : {0, 40, 400}) {
            Program program(
                {"--listen", "127.0.0.1:0", "--user", "admin", "--password-file", password, "--camera", url});
            RecorderClient stream(program.Port());
            stream.Send(Get("/cgi-bin/getstream.cgi?ch=0&stream_id=0 "));
            std::this_thread::sleep_for(milliseconds(afterMs));
            const auto begin = Clock::now();
            program.Signal(SIGTERM);
            EXPECT_EQ(program.Wait().status, 0) << url;
            EXPECT_LT(Clock::now() - begin, seconds(2)) << url << " after " << afterMs << " ms";
        }
    }
}

}  // namespace
}  // namespace kvtest
