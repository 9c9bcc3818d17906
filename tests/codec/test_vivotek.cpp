// The Vivotek formats, over a library that stands for the maker's and checks what it is given.
#include <gmock/gmock.h>

#include <filesystem>

#include "codec/video_decoder.h"
#include "codec/vivotek_adapter.h"
#include "maker_library/maker_shim.h"
#include "support/temp_folder.h"
#include "wire/frame_header.h"

using namespace kvmon;
using kvtest::MakerPacket;
using kvtest::MakerPicture;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr int kWrappedWidth = 8;
constexpr int kWrappedHeight = 4;
constexpr std::size_t kPixels = 54;

const VivotekLibrary& Library() {
    static const VivotekLibrary library = [] {
        const std::string folders[] = {"/nonexistent", KV_MAKER_LIBRARIES};
        return LoadVivotekLibrary(folders);
    }();
    return library;
}

struct Vivotek : testing::Test {
    Vivotek() { shim.Reset(); }
    ~Vivotek() override {
        decoder->Close();
        EXPECT_THAT(shim.faults, IsEmpty());
        shim.Reset();
    }
    bool Init(std::uint32_t fourcc, int bits = 32, bool bLineDouble = false) {
        return decoder->VideoInit(fourcc, kWrappedWidth, kWrappedHeight, bits, bLineDouble);
    }
    // The value of the picture's last byte; -1 without a picture.
    int Decode(std::string bytes, std::size_t room = 4096) {
        const std::size_t size = bytes.size();
        bytes.resize(size + kInputPadding);
        output.assign(room, 0);
        const auto length =
            decoder->VideoDecode({reinterpret_cast<const std::uint8_t*>(bytes.data()), size}, output);
        EXPECT_LE(length.value_or(0), room);
        output.resize(length.value_or(0));
        return output.empty() ? -1 : output.back();
    }
    std::optional<VivotekSound> DecodeSound(std::string bytes, std::size_t room = 64) {
        const std::size_t size = bytes.size();
        bytes.resize(size + kInputPadding);
        output.assign(room, 0);
        return decoder->AudioDecode({reinterpret_cast<const std::uint8_t*>(bytes.data()), size}, output);
    }
    std::vector<std::string> TakeCalls() {
        const std::lock_guard lock(shim.cs);
        return std::exchange(shim.calls, {});
    }

    kvtest::MakerShim& shim = *kvtest::FindMakerShim(KV_MAKER_LIBRARIES);
    int asked = 0;
    int patience = 1000;  // how often the adapter may ask before it has to give up
    std::unique_ptr<VivotekDecoder> decoder =
        CreateVivotekDecoder(Library(), [this] { return ++asked > patience; });
    std::vector<std::uint8_t> output;
};

}  // namespace

TEST_F(Vivotek, EachSeriesIsDecodedByItsOwnCallsAndClosedInOrder) {
    ASSERT_TRUE(Init(wire::kZV3K));
    EXPECT_EQ(decoder->GetOutputSize(), 8u * 4 * 4 + 1000);
    EXPECT_EQ(Decode(MakerPacket(1, MakerPicture(kWrappedWidth, kWrappedHeight, 7))), 7);
    EXPECT_EQ(output.size(), kPixels + 8 * 4 * 4);
    decoder->Close();
    EXPECT_THAT(TakeCalls(),
                ElementsAre("InitialEx", "CreateDecoderChannel", "DataBroker_Initial", "CreateInputEx",
                            "SetInputOptions", "InputPacketEx", "DecodeVideo", "DeleteDecoderChannel",
                            "AvSynchronizer_Release", "DeleteInputEx", "DataBroker_Release"));

    ASSERT_TRUE(Init(wire::kZV6K));
    for (const std::uint16_t mediaType : {1, 2, 4}) {
        EXPECT_EQ(Decode(MakerPacket(mediaType, MakerPicture(kWrappedWidth, kWrappedHeight, 8))), 8);
    }
    EXPECT_THAT(TakeCalls(), ElementsAre("InitialEx", "CreateDecoderChannel", "DecodeVideo", "DecodeVideo",
                                         "DecodeVideo"));
    EXPECT_EQ(Decode(MakerPacket(3, MakerPicture(kWrappedWidth, kWrappedHeight, 8))), -1);
    EXPECT_EQ(Decode(MakerPacket(1024, MakerPicture(kWrappedWidth, kWrappedHeight, 8))), -1);
    EXPECT_THAT(TakeCalls(), IsEmpty()) << "another media type is none of the decoder's";

    ASSERT_TRUE(Init(wire::kZV7K));
    EXPECT_EQ(Decode(MakerPicture(kWrappedWidth, kWrappedHeight, 9)), 9);
    EXPECT_EQ(shim.searched, 3) << "from 0 on";
    EXPECT_EQ(Decode(MakerPicture(kWrappedWidth, kWrappedHeight, 10)), 10);
    EXPECT_EQ(shim.searched, 6) << "and again with each frame";
    shim.acceptedByte = 254;
    EXPECT_EQ(Decode(MakerPicture(kWrappedWidth, kWrappedHeight, 11)), 11);
    shim.acceptedByte = 255;
    EXPECT_EQ(Decode(MakerPicture(kWrappedWidth, kWrappedHeight, 12)), -1);
}

TEST_F(Vivotek, RowsOf24BitsAreTurnedAndDoubled) {
    const auto rows = [this](std::size_t count) {
        std::vector<int> values;
        for (std::size_t y = 0; y < count; ++y) {
            values.push_back(output[y * kWrappedWidth * 3]);
        }
        return values;
    };
    ASSERT_TRUE(Init(wire::kZV6K, 24));
    EXPECT_EQ(Decode(MakerPacket(1, MakerPicture(kWrappedWidth, kWrappedHeight, 5))), 5)
        << "the first row comes last";
    EXPECT_EQ(output.size(), 8u * 3 * 4);
    EXPECT_THAT(rows(4), ElementsAre(35, 25, 15, 5));
    ASSERT_TRUE(Init(wire::kZV6K, 24, true));
    Decode(MakerPacket(1, MakerPicture(kWrappedWidth, kWrappedHeight, 5)));
    ASSERT_EQ(output.size(), 2u * 8 * 3 * 4);
    EXPECT_THAT(rows(8), ElementsAre(35, 30, 25, 20, 15, 10, 5, 5));
    EXPECT_EQ(Decode(MakerPacket(1, MakerPicture(kWrappedWidth, kWrappedHeight, 5)), 2 * 8 * 3 * 4 - 1), -1);
}

TEST_F(Vivotek, SizesAreBounded) {
    ASSERT_TRUE(decoder->VideoInit(wire::kZV6K, 0, 480, 32, false));
    EXPECT_EQ(decoder->GetOutputSize(), 1623016u);
    EXPECT_EQ(Decode(MakerPacket(1, MakerPicture(kWrappedWidth, kWrappedHeight, 7))), 7);
    EXPECT_FALSE(decoder->VideoInit(wire::kZV6K, -1, 480, 32, false));
    EXPECT_FALSE(decoder->VideoInit(wire::kZV6K, 16384, 16384, 32, false)) << "more than a picture may take";
    EXPECT_FALSE(decoder->VideoInit(wire::kZ264, kWrappedWidth, kWrappedHeight, 32, false));

    ASSERT_TRUE(Init(wire::kZV7K));
    EXPECT_EQ(Decode(MakerPicture(kWrappedWidth, kWrappedHeight, 7) + std::string(8 * 4 * 4 + 1000 - 4, 'x')),
              7);
    TakeCalls();
    EXPECT_EQ(Decode(MakerPicture(kWrappedWidth, kWrappedHeight, 7) + std::string(8 * 4 * 4 + 1000 - 3, 'x')),
              -1)
        << "a packet that the work buffer does not hold";
    ASSERT_TRUE(Init(wire::kZV6K));
    std::string lying = MakerPacket(1, MakerPicture(kWrappedWidth, kWrappedHeight, 7));
    ++lying[0];
    TakeCalls();
    EXPECT_EQ(Decode(lying), -1);
    EXPECT_EQ(Decode(""), -1);
    EXPECT_THAT(TakeCalls(), IsEmpty()) << "a packet that tells of more than came";
    EXPECT_EQ(Decode(MakerPacket(1, MakerPicture(kWrappedWidth, kWrappedHeight, 7)), 100), -1) << "no room";
    decoder->Close();
    EXPECT_EQ(Decode(MakerPacket(1, MakerPicture(kWrappedWidth, kWrappedHeight, 7))), -1);
}

TEST_F(Vivotek, AFailedStepLeavesWhatStandsToClose) {
    const std::vector<std::string> steps = {"InitialEx", "CreateDecoderChannel", "DataBroker_Initial",
                                            "CreateInputEx", "SetInputOptions"};
    const std::vector<std::vector<std::string>> released = {
        {},
        {"AvSynchronizer_Release"},
        {"DeleteDecoderChannel", "AvSynchronizer_Release"},
        {"DeleteDecoderChannel", "AvSynchronizer_Release", "DataBroker_Release"},
        {"DeleteDecoderChannel", "AvSynchronizer_Release", "DeleteInputEx", "DataBroker_Release"}};
    for (std::size_t i = 0; i < steps.size(); ++i) {
        shim.failing = steps[i];
        EXPECT_FALSE(Init(wire::kZV3K)) << steps[i];
        EXPECT_EQ(Decode(MakerPacket(1, MakerPicture(kWrappedWidth, kWrappedHeight, 7))), -1);
        EXPECT_EQ(TakeCalls(),
                  std::vector(steps.begin(), steps.begin() + static_cast<std::ptrdiff_t>(i) + 1));
        decoder->Close();
        EXPECT_EQ(TakeCalls(), released[i]) << steps[i];
    }
    shim.failing = "InputPacketEx";
    ASSERT_TRUE(Init(wire::kZV3K));
    EXPECT_EQ(Decode(MakerPacket(1, MakerPicture(kWrappedWidth, kWrappedHeight, 7))), -1);
    EXPECT_EQ(asked, 0) << "nothing to wait for";
    shim.failing.clear();
    EXPECT_EQ(Decode(MakerPacket(1, MakerPicture(kWrappedWidth, kWrappedHeight, 7))), 7)
        << "one frame is lost, no more";
}

TEST_F(Vivotek, TheBrokerMayHaveNoPictureForAPacket) {
    ASSERT_TRUE(Init(wire::kZV3K));
    EXPECT_EQ(Decode(MakerPacket(kvtest::kMakerNoPicture, "x")), -1) << "its status says so";
    EXPECT_EQ(Decode(MakerPacket(2, MakerPicture(kWrappedWidth, kWrappedHeight, 7))), 7);
    EXPECT_EQ(Decode(MakerPacket(2, "damaged")), -1);
    TakeCalls();
    EXPECT_EQ(Decode(MakerPacket(8, "sound")), 0) << "the buffer as it is";
    EXPECT_THAT(TakeCalls(), ElementsAre("InputPacketEx"));
}

TEST_F(Vivotek, ASilentBrokerIsGivenUpAndItsLateAnswersFindNothing) {
    shim.silent = true;
    patience = 2;
    ASSERT_TRUE(Init(wire::kZV3K));
    EXPECT_EQ(Decode(MakerPacket(1, MakerPicture(kWrappedWidth, kWrappedHeight, 7))), -1);
    EXPECT_EQ(asked, 3);
    decoder->Close();
    decoder.reset();
    TakeCalls();
    shim.answerLate();
    EXPECT_THAT(TakeCalls(), IsEmpty());

    // Nor do they answer for a decoder that came after.
    decoder = CreateVivotekDecoder(Library(), [this] { return ++asked > patience; });
    ASSERT_TRUE(Init(wire::kZV3K));
    EXPECT_EQ(Decode(MakerPacket(1, MakerPicture(kWrappedWidth, kWrappedHeight, 7))), -1);
    ASSERT_TRUE(Init(wire::kZV3K));
    shim.silent = false;
    EXPECT_EQ(Decode(MakerPacket(1, MakerPicture(kWrappedWidth, kWrappedHeight, 9))), 9);
}

TEST_F(Vivotek, SoundLosesItsExtraBytes) {
    ASSERT_TRUE(decoder->AudioInit());
    const std::string plain = MakerPacket(8, "sound");
    const auto sound = DecodeSound(plain);
    ASSERT_TRUE(sound);
    EXPECT_EQ(sound->length, 5u);
    EXPECT_EQ(sound->channels, 2u);
    EXPECT_EQ(sound->samplesPerSecond, 16000u);
    EXPECT_EQ(std::string(output.begin(), output.begin() + 5), "sound");
    EXPECT_THAT(shim.sound, ElementsAre(plain));

    ASSERT_TRUE(DecodeSound(MakerPacket(1024, "sound", 4)));
    EXPECT_EQ(std::string(output.begin(), output.begin() + 5), "sound");
    EXPECT_EQ(shim.sound.back(), MakerPacket(1024, "sound"));
    ASSERT_TRUE(DecodeSound(MakerPacket(1024, "sound"))) << "the extra bytes are missing";
    EXPECT_EQ(std::string(output.begin(), output.begin() + 5), std::string("d\0\0\0\0", 5));

    TakeCalls();
    EXPECT_FALSE(DecodeSound("a packet that is too short for what it says"));
    shim.failing = "Parse";
    EXPECT_FALSE(DecodeSound(plain));
    EXPECT_THAT(TakeCalls(), IsEmpty());
    shim.failing.clear();
    EXPECT_FALSE(DecodeSound(plain, 4)) << "no room";
    EXPECT_TRUE(DecodeSound(plain));
    shim.failing = "CreateDecoderChannel";
    EXPECT_FALSE(decoder->AudioInit());
}

TEST(VivotekLibraries, EachFormatNeedsItsOwn) {
    const auto supported = [](std::initializer_list<const char*> names) {
        const kvtest::TempFolder folder;
        for (const char* name : names) {
            std::filesystem::create_symlink(KV_MAKER_LIBRARIES "/libAVSynchronizer.so", folder.File(name));
        }
        const std::string folders[] = {folder.Path()};
        const VivotekLibrary library = LoadVivotekLibrary(folders);
        const auto decoder = CreateVivotekDecoder(library, {});
        std::string text;
        for (const std::uint32_t code : {wire::kZV3K, wire::kZV6K, wire::kZV7K, wire::kFAAC, wire::kF729}) {
            text += decoder->Supports(code) ? '1' : '0';
            EXPECT_TRUE(decoder->Supports(code) || !decoder->VideoInit(code, 8, 8, 32, false));
        }
        EXPECT_EQ(decoder->AudioInit(), decoder->Supports(wire::kFAAC));
        return text;
    };
    EXPECT_EQ(supported({}), "00000");
    EXPECT_EQ(supported({"libAVSynchronizer.so"}), "00100");
    EXPECT_EQ(supported({"libAVSynchronizer.so", "libDataBroker.so"}), "10100");
    EXPECT_EQ(supported({"libAVSynchronizer.so", "libparsedatapacket.so"}), "01111");
    EXPECT_EQ(supported({"libDataBroker.so", "libparsedatapacket.so"}), "00000");

    // A library without the calls counts as missing.
    const kvtest::TempFolder folder;
    std::filesystem::create_symlink("/lib/x86_64-linux-gnu/libm.so.6", folder.File("libAVSynchronizer.so"));
    const std::string folders[] = {folder.Path()};
    EXPECT_FALSE(LoadVivotekLibrary(folders).HasSynchronizer());
}
