#include <gtest/gtest.h>

extern "C" {
#include <libavutil/frame.h>
}

#include <algorithm>
#include <cstring>
#include <utility>

#include "codec/hardware_decoder.h"
#include "codec/hardware_search.h"
#include "codec/libav_device.h"
#include "content/coded_pictures.h"
#include "platform/diagnostics.h"

using namespace kvmon;
using kvtest::Coding;
using Step = HardwareSession::Step;

namespace {

constexpr int kFilmWidth = 178;  // no whole blocks
constexpr int kFilmHeight = 98;

enum class DeviceCall { Open, Send, Receive, ReadBack, Silent, None };

// Decodes in software and hands out frames as they are read back from devices: colours interleaved, ten
// bits in the upper ones of sixteen. The call that is chosen succeeds a number of times, then never.
struct StandIn final : HardwareDevice, std::enable_shared_from_this<StandIn> {
    struct Session final : HardwareSession {
        Session(std::shared_ptr<StandIn> owner, const VideoDecoderParams& params)
            : device(std::move(owner)), bDeep(params.width == 0) {
            ++device->open;
            decoder->Init(params);
        }
        ~Session() override { --device->open; }

        bool Send(std::span<const std::uint8_t> unit) override {
            if (device->Fails(DeviceCall::Send)) {
                return false;
            }
            if (device->bInstant) {
                bWaiting = true;
                return true;
            }
            status = decoder->GetFrame(unit, picture);
            return status == kDecodeOk || status == kDecodeNeedMoreData;
        }
        Step Receive() override {
            if (device->Fails(DeviceCall::Receive)) {
                return Step::Failed;
            }
            if (device->bInstant) {
                return std::exchange(bWaiting, false) ? Step::Picture : Step::None;
            }
            return picture.IsEmpty() || device->Fails(DeviceCall::Silent) ? Step::None : Step::Picture;
        }
        bool ReadBack(AVFrame& out) override {
            if (device->Fails(DeviceCall::ReadBack)) {
                return false;
            }
            if (device->bInstant) {
                out.format = AV_PIX_FMT_NV12;
                out.width = out.height = 16;
                return av_frame_get_buffer(&out, 0) == 0;
            }
            const PictureView view = picture.View();
            out.format = bDeep ? AV_PIX_FMT_P010LE : AV_PIX_FMT_NV12;
            out.width = view.width;
            out.height = view.height;
            if (av_frame_get_buffer(&out, 0) < 0 || av_frame_copy_props(&out, picture.Frame()) < 0) {
                return false;
            }
            const auto put = [&](int plane, int row, int column, std::uint8_t sample) {
                std::uint8_t* const line = out.data[plane] + std::ptrdiff_t{row} * out.linesize[plane];
                if (bDeep) {
                    const auto wide = static_cast<std::uint16_t>(sample << 8);
                    std::memcpy(line + 2 * column, &wide, 2);
                } else {
                    line[column] = sample;
                }
            };
            for (int y = 0; y < view.height; ++y) {
                for (int x = 0; x < view.width; ++x) {
                    put(0, y, x, view.data[0][y * view.stride[0] + x]);
                }
            }
            for (int y = 0; y < (view.height + 1) / 2; ++y) {
                for (int x = 0; x < (view.width + 1) / 2; ++x) {
                    put(1, y, 2 * x, view.data[1][y * view.stride[1] + x]);
                    put(1, y, 2 * x + 1, view.data[2][y * view.stride[2] + x]);
                }
            }
            picture.Clear();
            ++device->pictures;
            return true;
        }
        PictureSize Size() const override { return picture.Size(); }
        void SetLeavesOut(bool bLeavesOut) override { decoder->SetLeavesOut(bLeavesOut); }

        const std::shared_ptr<StandIn> device;
        const bool bDeep;
        const std::unique_ptr<VideoDecoder> decoder = CreateVideoDecoder();
        DecodedPicture picture;
        int status = kDecodeOk;
        bool bWaiting = false;
    };

    std::string Name() const override { return "stand-in"; }
    std::unique_ptr<HardwareSession> Open(const VideoDecoderParams& params) override {
        if (Fails(DeviceCall::Open) || open == places) {
            return nullptr;
        }
        return std::make_unique<Session>(shared_from_this(), params);
    }
    bool Fails(DeviceCall call) { return call == failing && successes-- <= 0; }

    DeviceCall failing = DeviceCall::None;
    int successes = 0;
    int places = 1000;
    int open = 0;
    int pictures = 0;
    bool bInstant = false;  // small grey pictures, for nothing
};

struct HardwareFilm {
    Coding coding;
    int streamType;
    std::vector<std::vector<std::uint8_t>> units;  // padded
};

HardwareFilm MakeHardwareFilm(Coding coding, int frames = 12, int keyInterval = 4, int reordered = 0) {
    kvtest::CodingOptions options;
    options.frames = frames;
    options.keyInterval = keyInterval;
    options.reordered = reordered;
    HardwareFilm film{coding, coding == Coding::H264 ? kStreamTypeH264 : kStreamTypeH265, {}};
    for (auto& unit : kvtest::EncodeMovingPictures(coding, kFilmWidth, kFilmHeight, options)) {
        film.units.push_back(std::move(unit.bytes));
        film.units.back().resize(film.units.back().size() + kInputPadding);
    }
    return film;
}

// What each unit gave: its status, and its samples if it gave a picture.
struct UnitShown {
    int status = kDecodeOk;
    std::vector<std::uint8_t> samples;
    friend bool operator==(const UnitShown&, const UnitShown&) = default;
};

UnitShown DecodePadded(VideoDecoder& decoder, const std::vector<std::uint8_t>& padded) {
    DecodedPicture picture;
    UnitShown shown;
    shown.status = decoder.GetFrame(std::span(padded).first(padded.size() - kInputPadding), picture);
    const PictureView view = picture.View();
    for (int plane = 0; plane < 3 && !view.IsEmpty(); ++plane) {
        const int width = plane == 0 ? view.width : (view.width + 1) / 2;
        for (int y = 0; y < (plane == 0 ? view.height : (view.height + 1) / 2); ++y) {
            const std::uint8_t* const row = view.data[plane] + y * view.stride[plane];
            shown.samples.insert(shown.samples.end(), row, row + width);
        }
    }
    return shown;
}

std::vector<UnitShown> PlayFilm(VideoDecoder& decoder, const HardwareFilm& film, bool bSizeTold = true) {
    const VideoDecoderParams params{film.streamType, bSizeTold ? kFilmWidth : 0, bSizeTold ? kFilmHeight : 0,
                                    1};
    EXPECT_EQ(decoder.Init(params), kDecodeOk);
    std::vector<UnitShown> shown;
    for (const auto& unit : film.units) {
        shown.push_back(DecodePadded(decoder, unit));
    }
    return shown;
}

HardwareSource Always(std::shared_ptr<HardwareDevice> device) {
    return [device = std::move(device)] { return device; };
}

std::string g_hardwareTold;
struct HardwareLines {
    HardwareLines() {
        g_hardwareTold.clear();
        SetDiagnosticSink([](const char* text) { g_hardwareTold += text; });
    }
    ~HardwareLines() { SetDiagnosticSink(nullptr); }
};

class Hardware : public testing::TestWithParam<Coding> {};
INSTANTIATE_TEST_SUITE_P(Codes, Hardware, testing::Values(Coding::H264, Coding::H265),
                         [](const auto& of) { return of.param == Coding::H264 ? "H264" : "H265"; });

TEST_P(Hardware, EachPictureIsThatOfSoftware) {
    for (const bool bSizeTold : {true, false}) {  // the stand-in gives the latter in ten bits
        const HardwareFilm film = MakeHardwareFilm(GetParam());
        const auto device = std::make_shared<StandIn>();
        EXPECT_EQ(PlayFilm(*CreateHardwareDecoder(Always(device)), film, bSizeTold),
                  PlayFilm(*CreateVideoDecoder(), film, bSizeTold));
        EXPECT_EQ(device->pictures, 12);
        EXPECT_EQ(device->open, 0);
    }
}

// Wherever it fails, no picture is missing and none is another.
TEST_P(Hardware, FailureOfAnyCallAtAnyTimeLosesNoPicture) {
    const HardwareFilm film = MakeHardwareFilm(GetParam());
    const auto expected = PlayFilm(*CreateVideoDecoder(), film);
    for (const DeviceCall call :
         {DeviceCall::Open, DeviceCall::Send, DeviceCall::Receive, DeviceCall::ReadBack}) {
        for (int successes = 0; successes < 12; ++successes) {
            const auto device = std::make_shared<StandIn>();
            device->failing = call;
            device->successes = successes;
            const HardwareLines lines;
            EXPECT_EQ(PlayFilm(*CreateHardwareDecoder(Always(device)), film), expected)
                << static_cast<int>(call) << " " << successes;
            EXPECT_EQ(g_hardwareTold.empty(), call == DeviceCall::Open && successes > 0);
        }
    }
}

TEST_P(Hardware, DeviceThatFallsSilentIsLeft) {
    const HardwareFilm film = MakeHardwareFilm(GetParam(), 60, 10);
    const auto expected = PlayFilm(*CreateVideoDecoder(), film);
    const auto device = std::make_shared<StandIn>();
    device->failing = DeviceCall::Silent;
    device->successes = 5;
    const auto shown = PlayFilm(*CreateHardwareDecoder(Always(device)), film);
    EXPECT_TRUE(std::equal(shown.begin() + 30, shown.end(), expected.begin() + 30));
    EXPECT_EQ(shown[10].status, kDecodeNeedMoreData);
}

// More than is kept: nothing broken is shown, and the next key picture is there.
TEST_P(Hardware, GroupTooLargeToKeepIsWaitedOut) {
    const HardwareFilm film = MakeHardwareFilm(GetParam(), 330, 320);
    const auto expected = PlayFilm(*CreateVideoDecoder(), film);
    const auto device = std::make_shared<StandIn>();
    device->failing = DeviceCall::Send;
    device->successes = 310;
    const auto shown = PlayFilm(*CreateHardwareDecoder(Always(device)), film);
    for (std::size_t i = 0; i < shown.size(); ++i) {
        if (i >= 310 && i < 320) {
            EXPECT_EQ(shown[i].status, kDecodeNeedMoreData) << i;
        } else {
            EXPECT_EQ(shown[i], expected[i]) << i;
        }
    }
}

TEST_P(Hardware, BadUnitIsNoFaultOfTheDevice) {
    HardwareFilm film = MakeHardwareFilm(GetParam());
    film.units[5] = std::vector<std::uint8_t>(40 + kInputPadding, 0x5a);
    const auto expected = PlayFilm(*CreateVideoDecoder(), film);
    const auto device = std::make_shared<StandIn>();
    EXPECT_EQ(PlayFilm(*CreateHardwareDecoder(Always(device)), film), expected);
    EXPECT_EQ(device->pictures, 9) << "five before, and the last group of four";
}

TEST_P(Hardware, DecodersBeyondTheDevicesPlacesAreSoftware) {
    const HardwareFilm film = MakeHardwareFilm(GetParam(), 3, 3);
    const auto expected = PlayFilm(*CreateVideoDecoder(), film);
    const auto device = std::make_shared<StandIn>();
    device->places = 16;
    std::vector<std::unique_ptr<VideoDecoder>> decoders;
    for (int i = 0; i < 84; ++i) {
        decoders.push_back(CreateHardwareDecoder(Always(device)));
        EXPECT_EQ(PlayFilm(*decoders.back(), film), expected) << i;
    }
    EXPECT_EQ(device->open, 16);
    EXPECT_EQ(device->pictures, 16 * 3);
    decoders.clear();
    EXPECT_EQ(device->open, 0);
}

// Found while pictures already come: taken at a key picture.
TEST_P(Hardware, DeviceFoundLateIsTakenAtAKeyPicture) {
    const HardwareFilm film = MakeHardwareFilm(GetParam());
    const auto device = std::make_shared<StandIn>();
    int asked = 0;
    const auto decoder = CreateHardwareDecoder(
        [&]() -> std::shared_ptr<HardwareDevice> { return ++asked > 1 ? device : nullptr; });
    EXPECT_EQ(PlayFilm(*decoder, film), PlayFilm(*CreateVideoDecoder(), film));
    EXPECT_EQ(asked, 2);
    EXPECT_EQ(device->pictures, 8);
}

TEST(HardwareSearch, AutoTakesOnlyWhatDecodesFasterThanSoftware) {
    struct Case {
        DeviceCall failing;
        bool bInstant;
    };
    // Else the stand-in's decoding is software's, and what it adds comes on top.
    for (const Case& each :
         {Case{DeviceCall::None, true}, Case{DeviceCall::None, false}, Case{DeviceCall::ReadBack, true}}) {
        const HardwareLines lines;
        HardwareSearch search("auto", [&each](const std::string&) {
            auto device = std::make_shared<StandIn>();
            device->failing = each.failing;
            device->bInstant = each.bInstant;
            return device;
        });
        ASSERT_TRUE(search.Wait(Milliseconds(60000)));
        const bool bTaken = each.bInstant && each.failing == DeviceCall::None;
        EXPECT_EQ(search.Source()() != nullptr, bTaken) << g_hardwareTold;
        EXPECT_EQ(g_hardwareTold.find("no device is faster than software") == std::string::npos, bTaken)
            << g_hardwareTold;
    }
}

TEST(HardwareSearch, NamedDeviceIsTakenAndOffAsksNothing) {
    const HardwareLines lines;
    HardwareSearch named("vaapi", [](const std::string&) { return std::make_shared<StandIn>(); });
    ASSERT_TRUE(named.Wait(Milliseconds(60000)));
    EXPECT_TRUE(named.IsOn() && named.Source()() != nullptr);
    HardwareSearch off("off", OpenLibavDevice);
    EXPECT_FALSE(off.IsOn() || off.Source()() != nullptr);
    HardwareSearch missing("vdpau", OpenLibavDevice);  // has no display to open here
    ASSERT_TRUE(missing.Wait(Milliseconds(60000)));
    EXPECT_EQ(g_hardwareTold.find("vdpau decodes") == std::string::npos, missing.Source()() == nullptr)
        << g_hardwareTold;
}

}  // namespace
