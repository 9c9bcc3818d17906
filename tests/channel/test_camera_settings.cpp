#include <gmock/gmock.h>

#include "channel/picture/frame_rate.h"
#include "channel/source/stream_choice.h"
#include "support/camera_maker.h"
#include "support/own_settings.h"

namespace kvmon {
namespace {

CameraSettings Settings() {
    CameraSettings settings = kvtest::SettingsOf(4);
    settings.m_dwVendorId = 3;
    settings.m_dwModelId = 7;
    return settings;
}

class StoredCamera : public testing::Test {
protected:
    static std::shared_ptr<CBaseCamera> Make(const CameraSettings& settings) {
        auto camera = kvtest::MakeCamera(settings);
        camera->SetRegFolder("Hall");
        camera->Picture().SetBitmapInfo(MakeBitmapInfo(640, 480));
        return camera;
    }

    const kvtest::OwnSettings stored;
};

TEST_F(StoredCamera, ComesBackForItselfAndForNoOther) {
    CameraSettings settings = Settings();
    settings.m_NetworkSetting[1].szAddress = "camera.example.org";  // longer than the first
    const auto before = Make(settings);
    before->Picture().SetDisplayMode(DisplayMode::OwnSize);
    before->Picture().SetDeinterlace(true);
    before->SetFixSizeServer(320, 240);
    before->SetDigitalZoom(true);
    before->DZZoomAt({0, 0, 640, 480}, {100, 100}, 20);
    before->SaveCameraSettings();
    const std::string key = "Hall\\Ch04";
    EXPECT_EQ(Registry().GetProfileBinarySize(key, "CameraIp2"), 11u);  // of the first's length
    EXPECT_EQ(Registry().GetProfileBinarySize(key, "DigitalZoomRect"), 16u);

    const auto after = Make(settings);
    after->LoadCameraSettings();
    EXPECT_TRUE(after->IsDigitalZoom());
    EXPECT_EQ(after->GetDigitalZoomLevel(), 20);
    EXPECT_EQ(after->Picture().GetZoomRect(), before->Picture().GetZoomRect());
    EXPECT_EQ(after->Picture().GetDisplayMode(), DisplayMode::OwnSize);
    EXPECT_TRUE(after->Picture().IsDeinterlace());
    EXPECT_EQ(after->Picture().GetSubString(SubString::FixSize), "Fix Size: 320 x 240");

    settings.m_dwModelId = 8;
    const auto other = Make(settings);
    other->LoadCameraSettings();
    EXPECT_FALSE(other->IsDigitalZoom());
    EXPECT_EQ(other->Picture().GetDisplayMode(), DisplayMode::Natural);
}

TEST_F(StoredCamera, TakesTheOldSwitchAndNoNonsense) {
    const std::string key = "Hall\\Ch04";
    const auto camera = Make(Settings());
    Registry().WriteProfileInt(key, "KeepAspectRatio", 1);
    Registry().WriteProfileInt(key, "DigitalZoom", 1);
    Registry().WriteProfileInt(key, "DigitalZoomInMultiple", 0x7FFFFFFF);
    Registry().WriteProfileBinary(key, "DigitalZoomRect", std::array<std::uint8_t, 3>{1, 2, 3});
    camera->LoadCameraSettings();
    EXPECT_EQ(camera->Picture().GetDisplayMode(), DisplayMode::KeepAspect);
    EXPECT_TRUE(camera->IsDigitalZoom());
    const PixelRect rect = camera->Picture().GetZoomRect();
    EXPECT_TRUE(rect.left >= 0 && rect.right <= 640 && rect.top >= 0 && rect.bottom <= 480);

    Registry().WriteProfileInt(key, "RegVersion", 1);
    Registry().WriteProfileInt(key, "DisplayMode", 77);
    camera->LoadCameraSettings();
    EXPECT_EQ(camera->Picture().GetDisplayMode(), DisplayMode::KeepAspect);
}

// A new installation does not distort; what an old one has stored stays.
TEST_F(StoredCamera, ANewOneKeepsItsShapeAndAnOldOneWhatItHad) {
    const std::string key = "Hall\\Ch04";
    const auto mode = [] {
        const auto camera = Make(Settings());
        camera->LoadCameraSettings();
        return camera->Picture().GetDisplayMode();
    };
    EXPECT_EQ(mode(), DisplayMode::Natural);
    Registry().WriteProfileInt(key, "KeepAspectRatio", 0);
    EXPECT_EQ(mode(), DisplayMode::Fill);
    Registry().WriteProfileInt(key, "RegVersion", 1);
    Registry().WriteProfileInt(key, "DisplayMode", 0);
    EXPECT_EQ(mode(), DisplayMode::Fill);
    const auto camera = Make(Settings());
    camera->Picture().SetDisplayMode(DisplayMode::Natural);
    camera->SaveCameraSettings();
    EXPECT_EQ(mode(), DisplayMode::Natural);
}

TEST(CBaseCamera, NeedsARecord) {
    EXPECT_EQ(CreateCamera(nullptr), nullptr);
}

TEST(CBaseCamera, IsUsableWithSettingsAddressAndRight) {
    CameraSettings settings = Settings();
    const auto camera = CreateCamera(&settings);
    EXPECT_FALSE(camera->IsCameraUsable());
    EXPECT_FALSE(camera->IsSettingsAssigned());
    *camera = settings;
    EXPECT_TRUE(camera->IsCameraUsable());
    EXPECT_EQ(camera->GetCHInKelvara(), 4u);

    settings.m_bMonitorRight = 0;
    *camera = settings;
    EXPECT_FALSE(camera->IsCameraUsable());
    EXPECT_TRUE(camera->HasAddress());
    EXPECT_FALSE(camera->HasMonitorRight());

    settings = Settings();
    settings.m_NetworkSetting[0].szAddress.Clear();
    *camera = settings;
    EXPECT_FALSE(camera->IsCameraUsable());
    settings.m_NetworkSetting[1].szAddress = "camera.example";
    *camera = settings;
    EXPECT_TRUE(camera->IsCameraUsable());
}

TEST(CBaseCamera, ComparesWhatMakesItAnotherChannel) {
    using Change = void (*)(CameraSettings&);
    const struct {
        std::uint32_t vendor;
        Change change;
        bool equal;
    } cases[] = {
        {3, [](CameraSettings&) {}, true},
        {3, [](CameraSettings& s) { s.m_bMonitorRight = 0; }, false},
        {3, [](CameraSettings& s) { s.m_bMonitorRight = 2; }, true},
        {3, [](CameraSettings& s) { s.m_nCh = 5; }, false},
        {3, [](CameraSettings& s) { s.m_dwVendorId = 8; }, false},
        {3, [](CameraSettings& s) { s.m_dwModelId = 8; }, false},
        {3, [](CameraSettings& s) { s.m_NetworkSetting[0].nPort = 1; }, false},
        {3, [](CameraSettings& s) { s.m_NetworkSetting[1].nRtspPort = 1; }, false},
        {3, [](CameraSettings& s) { s.m_lpszCamUserName = "x"; }, false},
        {3, [](CameraSettings& s) { s.m_lpszCamPasswd = "x"; }, false},
        {3, [](CameraSettings& s) { s.m_lpszAdminPasswd = "x"; }, true},
        {8, [](CameraSettings& s) { s.m_lpszAdminPasswd = "x"; }, false},
        {3, [](CameraSettings& s) { s.m_lpszGuestPasswd = "x"; }, true},
        {8, [](CameraSettings& s) { s.m_lpszGuestPasswd = "x"; }, false},
        {3, [](CameraSettings& s) { s.m_lpszVideoURL = "x"; }, true},
        {0, [](CameraSettings& s) { s.m_lpszVideoURL = "x"; }, false},
        {3, [](CameraSettings& s) { s.m_lpszSvrIP = "x"; }, false},
        {3, [](CameraSettings& s) { s.m_nSvrPort = 81; }, false},
        {3, [](CameraSettings& s) { s.m_lpszSvrBase64Auth = "x"; }, false},
        {3, [](CameraSettings& s) { s.m_lpszSvrUserName = "x"; }, false},
        {3, [](CameraSettings& s) { s.m_lpszSvrPasswd = "x"; }, false},
    };
    for (const auto& test : cases) {
        CameraSettings settings = Settings();
        settings.m_dwVendorId = test.vendor;
        const auto camera = kvtest::MakeCamera(settings);
        test.change(settings);
        EXPECT_EQ(*camera == settings, test.equal) << "case " << &test - cases;
    }
}

TEST(CBaseCamera, WithoutTheRightAllRecordsAreOne) {
    CameraSettings settings = Settings();
    settings.m_bMonitorRight = 0;
    const auto camera = kvtest::MakeCamera(settings);
    settings.m_nCh = 9;
    settings.m_lpszSvrIP = "other";
    EXPECT_TRUE(*camera == settings);
}

TEST(CBaseCamera, TellsWhetherAStatusWordChanged) {
    const CameraSettings settings = Settings();
    const auto camera = CreateCamera(&settings);
    EXPECT_TRUE(camera->SetStatusFlags({0, 0, 0, 0, 0, 0, 1}));
    EXPECT_FALSE(camera->SetStatusFlags({0, 0, 0, 0, 0, 0, 1}));
    EXPECT_EQ(camera->GetStatusFlags()[6], 1u);
}

TEST(VendorNames, HaveTheirGaps) {
    EXPECT_STREQ(GetVendorName(0), "Generic");
    EXPECT_STREQ(GetVendorName(1), "Vivotek");
    EXPECT_STREQ(GetVendorName(10), "Generic");
    EXPECT_STREQ(GetVendorName(11), "Panasonic iPro");
    EXPECT_STREQ(GetVendorName(33), "CNB");
    EXPECT_STREQ(GetVendorName(34), "");
    EXPECT_STREQ(GetVendorName(45), "Samsung");
    EXPECT_STREQ(GetVendorName(46), "Generic");
    EXPECT_STREQ(GetVendorName(0xFFFFFFFF), "Generic");
}

TEST(StreamChoice, TakesTheFirstClassThatHoldsTheView) {
    const std::vector<StreamProfile> profiles = {{"q", 0, 10}, {"v", 2, 12}, {"l", 4, 14}};
    const auto at = [&](std::uint64_t pixels) {
        return SelectStreamId(profiles, StreamUse::WholePicture, pixels);
    };
    EXPECT_EQ(at(0), 10);
    EXPECT_EQ(at(25344), 10);
    EXPECT_EQ(at(25345), 12);
    EXPECT_EQ(at(307200), 12);
    EXPECT_EQ(at(307201), 14);
    EXPECT_EQ(at(1228802), 14) << "none is large enough: the last";
    EXPECT_EQ(SelectStreamId(profiles, StreamUse::DigitalZoom, 0), 14);
}

TEST(StreamChoice, HasNoneBelowTwoAndPassesUnknownClasses) {
    const std::vector<StreamProfile> one = {{"v", 2, 12}};
    EXPECT_EQ(SelectStreamId(one, StreamUse::DigitalZoom, 0), 0);
    EXPECT_EQ(SelectStreamId({}, StreamUse::WholePicture, 0), 0);
    const std::vector<StreamProfile> odd = {{"x", 5, 1}, {"y", -1, 2}, {"z", 1, 3}, {"u", 7, 4}};
    EXPECT_EQ(SelectStreamId(odd, StreamUse::WholePicture, 100), 3);
    EXPECT_EQ(SelectStreamId(odd, StreamUse::WholePicture, 200'000), 4);
}

TEST(FrameRate, IsAnAverageSinceTheStart) {
    FrameRate rate;
    EXPECT_FLOAT_EQ(rate.Count(1000), 0.0F);
    EXPECT_FLOAT_EQ(rate.Count(1500), 4.0F);
    EXPECT_FLOAT_EQ(rate.Count(3000), 1.5F);
    EXPECT_FLOAT_EQ(rate.Count(900), 0.0F) << "the counter stepped back: all begins anew";
    EXPECT_FLOAT_EQ(rate.Count(1000), 0.0F);
    EXPECT_FLOAT_EQ(rate.Count(2000), 2.0F);
    rate.Clear();
    EXPECT_FLOAT_EQ(rate.Count(5000), 0.0F);
}

}  // namespace
}  // namespace kvmon
