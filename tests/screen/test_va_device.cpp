// Decoding on a device by libva and libavcodec, with a driver of the test's that can fail at each of its
// calls.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <QtGui/QGuiApplication>
#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "codec/hardware_decoder.h"
#include "codec/libav_device.h"
#include "content/coded_pictures.h"
#include "platform/diagnostics.h"
#include "support/must_run.h"
#include "va_driver/va_driver.h"

namespace kvmon {
namespace {

constexpr int kWidth = 178;  // no whole blocks
constexpr int kHeight = 98;
constexpr int kPictures = 9;
constexpr int kInterval = 4;

// A picture's brightness, row by row without what stands behind them.
struct Seen {
    int status = kDecodeOk;
    std::vector<std::uint8_t> luma;

    // The grey of a device's picture; -1 for any other.
    int Grey() const {
        const bool bEven = !luma.empty() && std::all_of(luma.begin(), luma.end(),
                                                        [this](int sample) { return sample == luma[0]; });
        return bEven ? luma[0] : -1;
    }
    friend bool operator==(const Seen&, const Seen&) = default;
};

class VaDevice : public testing::TestWithParam<kvtest::Coding> {
protected:
    void SetUp() override {
        if (QGuiApplication::platformName() != QLatin1String("xcb")) {
            KV_SKIP("there is no Xvfb");
        }
        qputenv("LIBVA_DRIVERS_PATH", KV_VA_DRIVERS);
        qputenv("LIBVA_DRIVER_NAME", "kvtest");
        library = ::dlopen(KV_VA_DRIVERS "/kvtest_drv_video.so", RTLD_NOW | RTLD_GLOBAL);
        ASSERT_NE(library, nullptr) << ::dlerror();
        fail = reinterpret_cast<kvtest::SetVaFailure>(::dlsym(library, kvtest::kSetVaFailure));
        getCounts = reinterpret_cast<kvtest::GetVaCounts>(::dlsym(library, kvtest::kGetVaCounts));
        ASSERT_TRUE(fail != nullptr && getCounts != nullptr);
        fail(nullptr, 0);
        kvtest::CodingOptions options;
        options.frames = kPictures;
        options.keyInterval = kInterval;
        for (auto& unit : kvtest::EncodeMovingPictures(GetParam(), kWidth, kHeight, options)) {
            units.push_back(std::move(unit.bytes));
            units.back().resize(units.back().size() + kInputPadding);
        }
    }
    void TearDown() override {
        if (library != nullptr) {
            fail(nullptr, 0);
            ::dlclose(library);
        }
    }

    std::vector<Seen> Play(VideoDecoder& decoder) const {
        const int type = GetParam() == kvtest::Coding::H264 ? kStreamTypeH264 : kStreamTypeH265;
        EXPECT_EQ(decoder.Init({type, kWidth, kHeight, 1}), kDecodeOk);
        std::vector<Seen> all;
        for (const auto& unit : units) {
            DecodedPicture picture;
            Seen seen;
            seen.status = decoder.GetFrame(std::span(unit).first(unit.size() - kInputPadding), picture);
            const PictureView view = picture.View();
            if (!view.IsEmpty()) {
                EXPECT_EQ(view.width, kWidth);
                EXPECT_EQ(view.height, kHeight);
                for (int y = 0; y < view.height; ++y) {
                    const std::uint8_t* const row = view.data[0] + y * view.stride[0];
                    seen.luma.insert(seen.luma.end(), row, row + view.width);
                }
            }
            all.push_back(std::move(seen));
        }
        return all;
    }
    kvtest::VaCounts Counts() const {
        kvtest::VaCounts counts;
        getCounts(&counts);
        return counts;
    }
    static HardwareSource Always(std::shared_ptr<HardwareDevice> device) {
        return [device = std::move(device)] { return device; };
    }

    void* library = nullptr;
    kvtest::SetVaFailure fail = nullptr;
    kvtest::GetVaCounts getCounts = nullptr;
    std::vector<std::vector<std::uint8_t>> units;
};

INSTANTIATE_TEST_SUITE_P(Codes, VaDevice, testing::Values(kvtest::Coding::H264, kvtest::Coding::H265),
                         [](const auto& of) { return of.param == kvtest::Coding::H264 ? "H264" : "H265"; });

TEST_P(VaDevice, ItsPicturesAreReadBackInOrderAndNothingIsLeft) {
    {
        const auto device = OpenLibavDevice("vaapi");
        ASSERT_NE(device, nullptr);
        const auto seen = Play(*CreateHardwareDecoder(Always(device)));
        for (std::size_t i = 0; i < seen.size(); ++i) {
            EXPECT_EQ(seen[i].Grey(), kvtest::kFirstVaLuma + static_cast<int>(i)) << i;
        }
        EXPECT_EQ(Counts().pictures, kPictures);
    }
    EXPECT_EQ(Counts().alive, 0);
}

TEST_P(VaDevice, WhereverItFailsNoPictureIsMissingAndNoneIsBroken) {
    const auto software = Play(*CreateVideoDecoder());
    constexpr const char* kCalls[] = {"QueryImageFormats",
                                      "QueryConfigProfiles",
                                      "CreateConfig",
                                      "DestroyConfig",
                                      "QuerySurfaceAttributes",
                                      "CreateSurfaces",
                                      "DestroySurfaces",
                                      "CreateContext",
                                      "DestroyContext",
                                      "CreateBuffer",
                                      "DestroyBuffer",
                                      "BeginPicture",
                                      "RenderPicture",
                                      "EndPicture",
                                      "SyncSurface",
                                      "CreateImage",
                                      "DestroyImage",
                                      "GetImage",
                                      "MapBuffer",
                                      "UnmapBuffer"};
    for (const char* const call : kCalls) {
        for (const int successes : {0, 1, 2, 5, 11}) {
            SCOPED_TRACE(std::string(call) + " after " + std::to_string(successes));
            fail(call, successes);
            {
                // A device that does not open is none; the decoder has software then.
                const auto seen = Play(*CreateHardwareDecoder(Always(OpenLibavDevice("vaapi"))));
                ASSERT_EQ(seen.size(), software.size());
                for (std::size_t i = 0; i < seen.size(); ++i) {
                    EXPECT_TRUE(seen[i].Grey() >= kvtest::kFirstVaLuma || seen[i] == software[i])
                        << i << ": " << seen[i].status;
                }
            }
            EXPECT_EQ(Counts().alive, 0);
            EXPECT_TRUE(successes > 0 || Counts().failures > 0);
        }
    }
}

}  // namespace
}  // namespace kvmon
