// Recorders that lie in the sizes of what they send: the memory of all channels stays under one figure.
#include <gmock/gmock.h>
#include <unistd.h>

#include <fstream>

#include "codec/jpeg_codec.h"
#include "platform/sanitized.h"
#include "stream_maker.h"
#include "support/camera_maker.h"
#include "support/fake_clock.h"
#include "support/scripted_server.h"
#include "support/wait_until.h"

namespace kvmon {
namespace {

using kvtest::Head;
using kvtest::Peer;
using kvtest::ScriptedServer;
using kvtest::VideoRecord;
using kvtest::WaitUntil;

constexpr std::uint64_t kMiB = 1u << 20;

std::uint64_t ResidentBytes() {
    std::ifstream file("/proc/self/statm");
    std::uint64_t all = 0;
    std::uint64_t resident = 0;
    file >> all >> resident;
    return resident * static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
}

// A small file that tells of a huge picture.
std::string HugeJpeg() {
    const BITMAPINFOHEADER info = MakeBitmapInfo(64, 48);
    std::vector<std::uint8_t> jpeg;
    SaveJpegMemory(jpeg, info, std::vector<std::uint8_t>(info.biSizeImage), 80, true);
    std::string text(jpeg.begin(), jpeg.end());
    const std::size_t size = text.find("\xFF\xC0") + 5;  // height and width, two bytes each
    text.replace(size, 4, std::string("\x18\x00\x18\x00", 4));
    return text;
}

// Sends without end; the record is the caller's.
ScriptedServer::Script Flood(const std::string& record) {
    return [&record](Peer& peer) {
        peer.ReadHead();
        peer.Write(kvtest::HttpReply(200, "OK", ""));
        while (peer.Write(record)) {
        }
    };
}

TEST(HostileSizes, StayUnderOneFigureAndLeaveTheOthersTheirs) {
    const auto budget = std::make_shared<FrameBudget>(64 * kMiB);
    const std::string huge = HugeJpeg();
    const std::string noise(3 * kMiB, '\x55');
    const std::string lies[] = {
        Head(wire::kZ264, true, 4000, 4000, 48 * kMiB) + std::string(48 * kMiB, '\x55'),
        VideoRecord(wire::kZ264, true, 2000, 2000, noise) + VideoRecord(wire::kZ264, false, 0, 0, noise),
        VideoRecord(wire::kZXPG, true, 6144, 6144, huge),
        VideoRecord(wire::kZIVG, true, 64, 48, huge),
        VideoRecord(wire::kZIVG, true, 0, 0, noise),
    };
    kvtest::StreamMaker maker("mjpeg", 64, 48);
    const std::string good = VideoRecord(wire::kZIVG, true, 64, 48, maker.Next().bytes);
    std::atomic<bool> bGood{false};
    kvtest::FakeClock clock{Milliseconds(1)};
    std::vector<std::unique_ptr<ScriptedServer>> recorders;
    std::vector<std::shared_ptr<CBaseCamera>> cameras;
    const auto add = [&](ScriptedServer::Script script) {
        recorders.push_back(std::make_unique<ScriptedServer>(std::move(script), "getstream.cgi"));
        const CameraSettings settings = kvtest::SettingsOf(0, recorders.back()->Port());
        cameras.push_back(CreateCamera(&settings, clock, budget));
        *cameras.back() = settings;
        cameras.back()->StartCameraThreads();
        cameras.back()->StartPlaying(PlaySound::No);
    };
    const std::uint64_t before = ResidentBytes();
    std::uint64_t most = 0;
    for (const std::string& lie : lies) {
        for (int i = 0; i < 2; ++i) {
            add([&, flood = Flood(lie)](Peer& peer) { bGood ? Flood(good)(peer) : flood(peer); });
        }
    }
    add(Flood(good));
    for (int i = 0; i < 150; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        EXPECT_LE(budget->Held(), budget->Most());
        most = std::max(most, ResidentBytes());
    }
    // The peers of this program hold their own records, and each allocator's arena something.
    std::uint64_t slack = 96 * kMiB;
#if defined(KV_SANITIZED_ADDRESS) || defined(KV_SANITIZED_THREAD)  // which keep what was given back
    slack += 512 * kMiB;
#endif
    EXPECT_LT(most - std::min(most, before), budget->Most() + slack);
    EXPECT_GT(cameras.back()->GetStatistics().shown, 10u);

    // The liars are welcome when they tell the truth.
    bGood = true;
    for (const auto& camera : cameras) {
        camera->RestartPlaying();
    }
    for (const auto& camera : cameras) {
        const std::uint64_t shown = camera->GetStatistics().shown;
        EXPECT_TRUE(WaitUntil([&] { return camera->GetStatistics().shown > shown + 1; }));
    }
    for (const auto& camera : cameras) {
        EXPECT_TRUE(camera->StopCameraThreads(StopWait::ToTheEnd));
    }
    cameras.clear();
    EXPECT_EQ(budget->Held(), 0u);
}

}  // namespace
}  // namespace kvmon
