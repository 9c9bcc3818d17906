// Decoding on a device by libva and libavcodec, with a driver of the test's that can fail at each of its
// calls.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <QtGui/QGuiApplication>
#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
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
constexpr PictureSize kPictureSize{kWidth, kHeight};
constexpr int kPictures = 9;
constexpr int kInterval = 4;

// A picture's brightness, row by row without what stands behind them.
struct Seen {
    int status = kDecodeOk;
    std::vector<std::uint8_t> luma;

    void Take(const PictureView& view) {
        for (int y = 0; y < view.height; ++y) {
            const std::uint8_t* const row = view.data[0] + y * view.stride[0];
            luma.insert(luma.end(), row, row + view.width);
        }
    }

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

    std::vector<Seen> Play(
        VideoDecoder& decoder, const ShownSize& shown = [] { return PictureSize{}; }) {
        const int type = GetParam() == kvtest::Coding::H264 ? kStreamTypeH264 : kStreamTypeH265;
        EXPECT_EQ(decoder.Init({type, kWidth, kHeight, 1}), kDecodeOk);
        decoder.SetShownSize(shown);
        std::vector<Seen> all;
        for (const auto& unit : units) {
            at = all.size();
            // As many are held meanwhile as by a channel.
            DecodedPicture& picture = held[at % held.size()];
            Seen seen;
            seen.status = decoder.GetFrame(std::span(unit).first(unit.size() - kInputPadding), picture);
            const PictureView view = picture.View();
            if (!view.IsEmpty()) {
                EXPECT_EQ(picture.Size(), kPictureSize);
                EXPECT_EQ((PictureSize{view.width, view.height}), picture.Whole() ? shown() : kPictureSize);
                seen.Take(view);
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
    std::array<DecodedPicture, 4> held;
    std::size_t at = 0;  // of the units, the one that is decoded
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

TEST_P(VaDevice, WhatIsReadBackIsAsSmallAsItIsShownAndTheWholeCanBeHadLater) {
    constexpr PictureSize kCell{91, 67};  // colours come in pairs: the device makes one more of each
    const auto decoder = CreateHardwareDecoder(Always(OpenLibavDevice("vaapi")));
    const auto seen = Play(*decoder, [&] { return kCell; });
    decoder->Close();
    for (std::size_t i = 0; i < seen.size(); ++i) {
        EXPECT_EQ(seen[i].Grey(), kvtest::kFirstVaLuma + static_cast<int>(i)) << i;
        EXPECT_EQ(seen[i].luma.size(), std::size_t(kCell.width * kCell.height));
    }
    const kvtest::VaCounts counts = Counts();
    EXPECT_EQ(counts.scaled, kPictures);
    EXPECT_EQ((PictureSize{counts.fromWidth, counts.fromHeight}), kPictureSize);
    EXPECT_EQ((PictureSize{counts.toWidth, counts.toHeight}), (PictureSize{92, 68}));
    EXPECT_EQ(counts.read, kPictures * 92 * 68);
    for (const DecodedPicture& small : held) {
        Seen whole;
        DecodedPicture picture;
        ASSERT_TRUE(small.Whole() && small.Whole()->Read(picture));
        whole.Take(picture.View());
        EXPECT_EQ(whole.Grey(), small.View().data[0][0]);
        EXPECT_EQ(whole.luma.size(), std::size_t(kWidth * kHeight));
    }
    fail("GetImage", 0);
    DecodedPicture none;
    EXPECT_FALSE(held[0].Whole()->Read(none));
    EXPECT_TRUE(none.IsEmpty());
}

TEST_P(VaDevice, SizesMayChangeWithEachPicture) {
    // A cell that is larger in a direction, or as large, takes it whole.
    constexpr std::pair<PictureSize, bool> kCells[] = {{{64, 48}, true},      {{}, false},
                                                       {{179, 40}, false},    {{kWidth, kHeight}, false},
                                                       {{90, kHeight}, true}, {{2, 2}, true}};
    const auto cell = [&] { return kCells[at % std::size(kCells)]; };
    const auto decoder = CreateHardwareDecoder(Always(OpenLibavDevice("vaapi")));
    const auto seen = Play(*decoder, [&] { return cell().first; });
    for (at = 0; at < seen.size(); ++at) {
        const auto& [size, bSmaller] = cell();
        EXPECT_EQ(seen[at].Grey(), kvtest::kFirstVaLuma + static_cast<int>(at)) << at;
        const PictureSize expected = bSmaller ? size : kPictureSize;
        EXPECT_EQ(seen[at].luma.size(), std::size_t(expected.width * expected.height)) << at;
    }
}

TEST_P(VaDevice, WhereverItFailsNoPictureIsMissingAndNoneIsBroken) {
    const auto software = Play(*CreateVideoDecoder());
    // Pictures come whole, or are made smaller there.
    constexpr std::pair<int, PictureSize> kRounds[] = {{0, {}},       {1, {}},       {2, {}},
                                                       {5, {}},       {11, {}},      {0, {64, 48}},
                                                       {1, {64, 48}}, {3, {64, 48}}, {8, {64, 48}}};
    constexpr const char* kCalls[] = {"QueryImageFormats", "QueryConfigProfiles", "QueryConfigEntrypoints",
                                      "CreateConfig",      "DestroyConfig",       "QuerySurfaceAttributes",
                                      "CreateSurfaces",    "DestroySurfaces",     "CreateContext",
                                      "DestroyContext",    "CreateBuffer",        "DestroyBuffer",
                                      "BeginPicture",      "RenderPicture",       "EndPicture",
                                      "SyncSurface",       "CreateImage",         "DestroyImage",
                                      "GetImage",          "MapBuffer",           "UnmapBuffer"};
    for (const char* const call : kCalls) {
        for (const auto& [successes, shown] : kRounds) {
            SCOPED_TRACE(std::string(call) + " after " + std::to_string(successes));
            fail(call, successes);
            {
                // A device that does not open is none; the decoder has software then.
                const auto seen = Play(*CreateHardwareDecoder(Always(OpenLibavDevice("vaapi"))),
                                       [size = shown] { return size; });
                held = {};
                ASSERT_EQ(seen.size(), software.size());
                for (std::size_t i = 0; i < seen.size(); ++i) {
                    EXPECT_TRUE(seen[i].Grey() >= kvtest::kFirstVaLuma || seen[i] == software[i])
                        << i << ": " << seen[i].status;
                }
            }
            EXPECT_EQ(Counts().alive, 0);
            EXPECT_TRUE(successes > 0 || shown.IsEmpty() || Counts().failures > 0);
        }
    }
}

}  // namespace
}  // namespace kvmon
