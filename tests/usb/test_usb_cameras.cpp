// Cameras of this computer.
#include <linux/videodev2.h>

#include <gmock/gmock.h>

#include <mutex>

#include "cameras/camera_probe.h"
#include "cameras/camera_source.h"
#include "fake_video_device.h"
#include "media/jpeg_writer.h"
#include "media/media_hub.h"
#include "media/packet_decoder.h"
#include "media/picture_encoder.h"
#include "support/wait_until.h"
#include "wire/frame_header.h"

namespace kvtest {
namespace {

using namespace kvrecorder;
using std::chrono::milliseconds;

constexpr const char* kPath = "/dev/video77";
const std::string kUrl = std::string("usb:") + kPath;

// Half of it dark.
std::string Yuyv() {
    std::string picture(320 * 240 * 2, '\x80');
    for (std::size_t i = 0; i < picture.size(); i += 2) {
        picture[i] = static_cast<char>(i < picture.size() / 2 ? 30 : 200);
    }
    return picture;
}

std::vector<std::string> H264() {
    PictureEncoder encoder({kvrecorder::Codec::H264, 320, 240, 25, 5});
    std::vector<std::string> pictures;
    for (int i = 0; i < 10; ++i) {
        encoder.Picture();
        const PacketPtr coded = encoder.Encode(i, 40 * i);
        pictures.emplace_back(coded->data.begin(), coded->data.end());
    }
    return pictures;
}

// As such cameras send it: without the tables.
std::string BareJpeg() {
    std::vector<std::uint8_t> pixels(320 * 240 * 3, 90);
    std::vector<std::uint8_t> jpeg;
    CompressRgb({320, 240, 80}, pixels.data(), jpeg);
    std::string text(jpeg.begin(), jpeg.end());
    for (std::size_t at = text.find("\xFF\xC4"); at != std::string::npos; at = text.find("\xFF\xC4")) {
        text.erase(
            at, 2 + (static_cast<std::uint8_t>(text[at + 2]) << 8 | static_cast<std::uint8_t>(text[at + 3])));
    }
    return text;
}

const FakeVideoDevice::Offer kRaw{V4L2_PIX_FMT_YUYV, {Yuyv()}};
const FakeVideoDevice::Offer kJpeg{V4L2_PIX_FMT_MJPEG, {BareJpeg()}};

CameraReport ProbeUrl(const std::string& url) {
    NetworkCamera camera;
    camera.url = url;
    return ProbeCamera(camera, milliseconds(8000), [] { return false; });
}

TEST(UsbCameras, AreWatchedInTheBestThatTheyGive) {
    const struct {
        std::vector<FakeVideoDevice::Offer> offers;
        const char* codec;
    } cases[] = {
        {{kRaw, kJpeg, {V4L2_PIX_FMT_H264, H264()}}, "H.264"}, {{kRaw, kJpeg}, "MJPEG"}, {{kRaw}, "H.264"}};
    for (const auto& test : cases) {
        const FakeVideoDevice device(kPath, 320, 240, test.offers);
        const CameraReport report = ProbeUrl(kUrl);
        EXPECT_THAT(report.faults, testing::IsEmpty());
        EXPECT_EQ(report.codec, test.codec);
        EXPECT_EQ(report.width, 320);
        EXPECT_EQ(report.height, 240);
        EXPECT_GT(report.fps, 5) << "25, less what the machine is late";
        EXPECT_LT(report.fps, 26);
        EXPECT_FALSE(report.picture.empty());
    }
}

TEST(UsbCameras, WhatIsWrongIsToldInWords) {
    EXPECT_THAT(ProbeUrl("usb:/dev/video78").faults, testing::ElementsAre(Fault(FaultCode::DeviceMissing)));
    EXPECT_THAT(ProbeUrl("usb:/dev/null").faults, testing::ElementsAre(Fault(FaultCode::DeviceOther)));
}

class Watched : public testing::Test {
protected:
    Watched() {
        CameraTiming timing;
        timing.stall = milliseconds(400);
        timing.pauses.fill(milliseconds(20));
        m_hub = CreateMediaHub(nullptr, 2, CreateCameraSourceMaker(timing));
        m_hub->SetListener([this](int channel, MediaEvent event, bool on) {
            const std::string words = m_hub->Words(channel);
            const std::lock_guard lock(m_mutex);
            if (event == MediaEvent::Lost) {
                m_told.push_back(on ? words : "back");
            }
        });
        SourceConfig source;
        source.network.url = kUrl;
        source.network.linger = std::chrono::seconds(0);
        m_hub->AddChannel("Desk", source);
        m_subscription = m_hub->Subscribe(0, 0, [this](const PacketPtr& packet) {
            const std::lock_guard lock(m_mutex);
            m_packets.push_back(packet);
        });
    }
    ~Watched() override {
        m_subscription.reset();
        m_hub->SetListener(nullptr);
    }
    std::size_t Count() {
        const std::lock_guard lock(m_mutex);
        return m_packets.size();
    }
    bool WaitTold(const std::string& words) {
        return WaitUntil([&] {
            const std::lock_guard lock(m_mutex);
            return !m_told.empty() && m_told.back().starts_with(words);
        });
    }

    FakeVideoDevice m_device{kPath, 320, 240, {kRaw, kJpeg}};
    std::unique_ptr<MediaHub> m_hub;
    std::unique_ptr<Subscription> m_subscription;
    std::mutex m_mutex;
    std::vector<std::string> m_told;
    std::vector<PacketPtr> m_packets;
};

TEST_F(Watched, ComesBackAfterAStallAndIsMissedWhenItIsPulledOut) {
    ASSERT_TRUE(WaitUntil([&] { return Count() >= 3; }));
    EXPECT_EQ(m_packets[0]->fourcc, wire::kZIVG);
    const std::string jpeg(m_packets[0]->data.begin(), m_packets[0]->data.end());
    EXPECT_THAT(jpeg, testing::HasSubstr("\xFF\xC4")) << "a decoder wants its tables";
    m_device.Stall(true);
    EXPECT_TRUE(WaitTold("the camera sends no pictures any more"));
    m_device.Stall(false);
    EXPECT_TRUE(WaitTold("back"));
    m_device.Pull();
    EXPECT_TRUE(WaitTold("there is no such device"));
}

}  // namespace
}  // namespace kvtest
