// A channel whose decoder's device makes pictures as small as their cell: what the user gets to see of both.
#include <gtest/gtest.h>

extern "C" {
#include <libavutil/frame.h>
}

#include <QtGui/QImage>
#include <QtWidgets/QWidget>
#include <atomic>
#include <cstring>
#include <memory>

#include "channel/base/channel_globals.h"
#include "channel/camera/base_camera.h"
#include "channel/camera/default_factories.h"
#include "channel/cell/channel_view.h"
#include "channel/cell/video_wnd.h"
#include "channel/picture/channel_picture.h"
#include "codec/hardware_decoder.h"
#include "film.h"
#include "stream_maker.h"
#include "support/camera_maker.h"
#include "support/qt_pump.h"
#include "support/temp_folder.h"

namespace kvmon {
namespace {

using kvtest::PumpUntil;

constexpr int kDeviceWidth = 320;
constexpr int kDeviceHeight = 240;
constexpr QRgb kWhite = qRgb(255, 255, 255);
constexpr int kDeviceFilm = 40;

struct DeviceCounts {
    std::atomic<int> held{0};
    std::atomic<int> read{0};  // whole ones, later
    std::atomic<bool> fails{false};
    std::atomic<int> width{0};  // of the last small one
    std::atomic<int> height{0};
};

// Decodes in software. What it makes smaller is all white, so that one sees which of both is shown.
class WhiteningDevice final : public HardwareDevice {
public:
    explicit WhiteningDevice(std::shared_ptr<DeviceCounts> counts) : m_counts(std::move(counts)) {}

    std::string Name() const override { return "whitening"; }
    std::unique_ptr<HardwareSession> Open(const VideoDecoderParams& params) override {
        return std::make_unique<Session>(m_counts, params);
    }

private:
    struct Held final : HeldPicture {
        Held(std::shared_ptr<DeviceCounts> its, DecodedPicture&& taken)
            : counts(std::move(its)), picture(std::move(taken)) {
            ++counts->held;
        }
        ~Held() override { --counts->held; }
        PictureSize Size() const override { return picture.Size(); }
        bool ReadBack(AVFrame& out) override {
            ++counts->read;
            return !counts->fails && av_frame_ref(&out, picture.Frame()) == 0;
        }

        const std::shared_ptr<DeviceCounts> counts;
        DecodedPicture picture;
    };

    struct Session final : HardwareSession {
        Session(std::shared_ptr<DeviceCounts> its, const VideoDecoderParams& params)
            : counts(std::move(its)) {
            decoder->Init(params);
        }
        bool Send(std::span<const std::uint8_t> unit) override {
            bWaiting = decoder->GetFrame(unit, picture) == kDecodeOk;
            return true;
        }
        Step Receive() override { return std::exchange(bWaiting, false) ? Step::Picture : Step::None; }
        bool ReadBack(AVFrame& out) override { return av_frame_ref(&out, picture.Frame()) == 0; }
        bool ReadScaled(PictureSize size, AVFrame& out) override {
            counts->width = size.width;
            counts->height = size.height;
            out.format = AV_PIX_FMT_YUV420P;
            out.width = size.width;
            out.height = size.height;
            if (av_frame_get_buffer(&out, 0) < 0) {
                return false;
            }
            for (int plane = 0; plane < 3; ++plane) {
                const int rows = plane == 0 ? size.height : (size.height + 1) / 2;
                std::memset(out.data[plane], plane == 0 ? 235 : 128,
                            static_cast<std::size_t>(out.linesize[plane] * rows));
            }
            return true;
        }
        PictureSize Size() const override { return picture.Size(); }
        std::unique_ptr<HeldPicture> Hold() override {
            return std::make_unique<Held>(counts, std::move(picture));
        }
        void SetLeavesOut(bool) override {}

        const std::shared_ptr<DeviceCounts> counts;
        const std::unique_ptr<VideoDecoder> decoder = CreateVideoDecoder();
        DecodedPicture picture;
        bool bWaiting = false;
    };

    const std::shared_ptr<DeviceCounts> m_counts;
};

class DevicePictures : public testing::Test {
protected:
    DevicePictures() {
        Factories().videoDecoder = [device = std::make_shared<WhiteningDevice>(counts)] {
            return CreateHardwareDecoder([device] { return device; });
        };
        camera = kvtest::MakeCamera(kvtest::SettingsOf(5, film.Port()));
        Factories() = m_before;
        window.resize(200, 160);
        cell.resize(200, 160);
        window.show();
        cell.SetCamera(camera);
        camera->StartCameraThreads();
        camera->StartPlaying(PlaySound::No);
    }
    ~DevicePictures() override {
        Globals().scalesOnDevice = true;
        cell.SetCamera(nullptr);
        camera.reset();
        EXPECT_EQ(counts->held, 0);
    }
    static std::vector<std::string> Records() {
        kvtest::StreamMaker maker("libx264", kDeviceWidth, kDeviceHeight);
        return kvtest::RecordList(wire::kZ264, maker, kDeviceWidth, kDeviceHeight, kDeviceFilm);
    }
    void Play(std::size_t count) {
        for (; m_sent < count; ++m_sent) {
            film.SendTo(m_sent + 1);
            ASSERT_TRUE(PumpUntil([&] { return camera->GetStatistics().shown == m_sent + 1; }));
        }
    }
    void Resize(int width, int height) {
        window.resize(width, height);
        cell.resize(width, height);
    }
    QRgb Seen() {
        const QImage image = window.grab().toImage();
        const QRect view = cell.View().geometry();
        return image.pixel(view.left() + view.width() / 2, view.top() + view.height() / 4);
    }
    bool ShowsSmall() {
        return PumpUntil([&] { return Seen() == kWhite; });
    }
    // The newest picture of the film itself.
    bool ShowsWhole() {
        const int luma = kvtest::StreamMaker::Luma(static_cast<int>(m_sent) - 1, kDeviceWidth / 2,
                                                   kDeviceHeight / 4, kDeviceWidth, kDeviceHeight);
        return PumpUntil([&] { return std::abs(qGreen(Seen()) - (luma - 16) * 255 / 219) < 3; });
    }

    const std::shared_ptr<DeviceCounts> counts = std::make_shared<DeviceCounts>();
    kvtest::Film film{Records()};
    std::shared_ptr<CBaseCamera> camera;
    QWidget window;
    CVideoWnd cell{&window};

private:
    const ChannelFactories m_before = Factories();
    std::size_t m_sent = 0;
};

TEST_F(DevicePictures, ACellGetsThemAsSmallAsItDrawsThem) {
    Play(3);
    EXPECT_TRUE(ShowsSmall());
    EXPECT_EQ(QSize(counts->width, counts->height), cell.View().size());
    EXPECT_EQ(camera->Picture().GetSubString(SubString::Stream), "Stream: 320 x 240");
    EXPECT_TRUE(PumpUntil([&] { return counts->held == 1; })) << "the one on show";
    Resize(100, 90);
    Play(6);
    EXPECT_EQ(QSize(counts->width, counts->height), cell.View().size());
    Globals().scalesOnDevice = false;
    Play(8);
    EXPECT_TRUE(ShowsWhole());
    EXPECT_EQ(counts->read, 0);
}

TEST_F(DevicePictures, AStalledPictureIsReadInFullWhenMoreOfItIsToBeSeen) {
    Play(3);
    ASSERT_TRUE(ShowsSmall());
    Resize(150, 120);
    EXPECT_TRUE(ShowsSmall()) << "it is large enough for that";
    Resize(400, 320);
    EXPECT_TRUE(ShowsWhole());
    EXPECT_EQ(counts->read, 1);
    EXPECT_TRUE(PumpUntil([&] { return counts->held == 0; }));
    Play(5);
    EXPECT_TRUE(ShowsWhole()) << "no smaller one would do";
    Resize(200, 160);
    Play(7);
    ASSERT_TRUE(ShowsSmall());
    cell.SetDigitalZoom(true);
    EXPECT_TRUE(ShowsWhole());
    Play(9);
    EXPECT_TRUE(ShowsWhole());
    cell.SetDigitalZoom(false);
    Play(11);
    ASSERT_TRUE(ShowsSmall());
    camera->Picture().SetDeinterlace(true);
    EXPECT_TRUE(ShowsWhole());
}

TEST_F(DevicePictures, WhatTheDeviceHasLostStaysAsItIs) {
    Play(3);
    ASSERT_TRUE(ShowsSmall());
    counts->fails = true;
    Resize(400, 320);
    ASSERT_TRUE(PumpUntil([&] { return counts->read == 1 && counts->held == 0; }))
        << counts->read << " read, " << counts->held << " held";
    EXPECT_TRUE(ShowsSmall());
    Play(5);
    EXPECT_TRUE(ShowsWhole());
}

TEST_F(DevicePictures, ASnapshotIsOfTheWhole) {
    const kvtest::TempFolder folder;
    const std::string path = folder.File("shot.bmp");
    const auto save = [&] {
        EXPECT_EQ(camera->Picture().SaveSnapshot(path, SnapshotFormat::Bmp, "Gate"), SnapshotResult::Saved);
        return QImage(QString::fromStdString(path));
    };
    Play(3);
    ASSERT_TRUE(ShowsSmall());
    QImage image = save();
    EXPECT_EQ(image.size(), QSize(kDeviceWidth, kDeviceHeight));
    EXPECT_NE(image.pixel(200, 100), kWhite);
    EXPECT_NE(image.pixel(1, 1), image.pixel(200, 1)) << "the stamp's plate";
    EXPECT_TRUE(ShowsSmall()) << "nothing changes on the screen";
    counts->fails = true;
    image = save();
    EXPECT_EQ(image.size(), cell.View().size()) << "rather a small one than none";
    EXPECT_EQ(image.pixel(100, 100), kWhite);
}

// What is out of sight keeps no place on the device.
TEST_F(DevicePictures, AChannelThatLeavesTheWallGivesTheDeviceBack) {
    Play(3);
    ASSERT_TRUE(ShowsSmall());
    cell.SetCamera(nullptr);
    camera->PausePlaying();
    EXPECT_TRUE(PumpUntil([&] { return counts->held == 0; }));
    EXPECT_TRUE(camera->Picture().HasPicture());
}

}  // namespace
}  // namespace kvmon
