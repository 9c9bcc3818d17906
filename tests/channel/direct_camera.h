// A channel that takes its pictures from the camera itself, with a camera and a recorder of a test's own.
#pragma once

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "channel/base/channel_globals.h"
#include "codec/jpeg_codec.h"
#include "stream_maker.h"
#include "support/camera_maker.h"
#include "support/fake_clock.h"
#include "support/scripted_server.h"
#include "support/wait_until.h"

namespace kvtest {

// A picture of one colour.
inline std::string Jpeg(int width, int height, std::uint8_t grey) {
    const kvmon::BITMAPINFOHEADER info = kvmon::MakeBitmapInfo(width, height);
    const std::vector<std::uint8_t> bitmap(info.biSizeImage, grey);
    std::vector<std::uint8_t> jpeg;
    EXPECT_EQ(kvmon::SaveJpegMemory(jpeg, info, bitmap, 90, true), nullptr);
    return {jpeg.begin(), jpeg.end()};
}

inline std::string Part(const std::string& jpeg) {
    return "--edge\r\nContent-Type: image/jpeg\r\nContent-Length: " + std::to_string(jpeg.size()) +
           "\r\n\r\n" + jpeg + "\r\n\r\n";
}

inline const std::string kGood =
    "HTTP/1.0 200 OK\r\nContent-Type: multipart/x-mixed-replace; boundary=--edge\r\n\r\n";

// Sends the same over and over, for as long as it is taken.
inline void Repeat(Peer& peer, const std::string& bytes) {
    while (peer.Write(bytes)) {
        std::this_thread::sleep_for(milliseconds(5));
    }
}

// What a round of 250 ms takes in a test: short where a silence is to end, long where none is to be seen.
inline constexpr milliseconds kHurried(30);
inline constexpr milliseconds kAtEase(1000);

// The recorder's stream, all key frames.
inline std::string KeyRecords() {
    StreamMaker maker("libx264", 64, 48, 1);
    return Records(wire::kZ264, maker, 64, 48, 4);
}

// A recorder that has these records for whoever asks for a stream.
inline auto Streams(std::string records) {
    return [records = std::move(records)](Peer& peer) {
        peer.ReadHead();
        peer.Write(HttpReply(200, "OK", ""));
        Repeat(peer, records);
    };
}

class DirectCamera : public testing::Test {
protected:
    ~DirectCamera() override {
        if (camera) {
            EXPECT_TRUE(camera->StopCameraThreads(kvmon::StopWait::ToTheEnd));
        }
        kvmon::Globals().streamFromCamera = true;
        EXPECT_EQ(kvmon::Worker::AbandonedCount(), 0);
    }
    static kvmon::CameraSettings SettingsFor(std::uint16_t cameraPort, std::uint16_t recorderPort) {
        kvmon::CameraSettings settings = SettingsOf(0, recorderPort);
        settings.m_dwVendorId = 0;
        settings.m_NetworkSetting[0].szAddress = "127.0.0.1";
        settings.m_NetworkSetting[0].nPort = cameraPort;
        settings.m_lpszCamUserName = "viewer";
        settings.m_lpszCamPasswd = "pass";
        settings.m_lpszVideoURL = "/video.mjpg?a b\r\nEvil: 1";
        return settings;
    }
    // Without a recorder to stand in the camera is tried for ever.
    static kvmon::CameraSettings Alone(kvmon::CameraSettings settings) {
        settings.m_lpszSvrIP = std::string_view();
        return settings;
    }
    void Play(const kvmon::CameraSettings& settings, kvmon::Clock& clock = kvmon::SystemClock()) {
        camera = MakeCamera(settings, clock);
        camera->SetRegFolder(regFolder);
        camera->LoadCameraSettings();
        camera->StartCameraThreads();
        camera->StartPlaying(kvmon::PlaySound::No);
    }
    bool Shown(std::uint64_t count) {
        return WaitUntil([&] { return camera->GetStatistics().shown >= count; });
    }
    std::string Line(kvmon::SubString line) const { return camera->Picture().GetSubString(line); }

    FakeClock fakeClock;         // stands still; outlives the channel
    FakeClock selfMoving{true};  // passes over every wait
    std::shared_ptr<kvmon::CBaseCamera> camera;
    std::string regFolder;  // nothing is stored without one
};

}  // namespace kvtest
