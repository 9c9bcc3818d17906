#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "media/picture_encoder.h"
#include "media_tools.h"
#include "wire/frame_header.h"

using namespace kvrecorder;
using kvtest::Decode;
using kvtest::EncodeTestPictures;

namespace {

struct EncoderCase {
    const char* name;
    StreamConfig stream;
    std::uint32_t fourcc;
};

class MediaEncoder : public testing::TestWithParam<EncoderCase> {};

bool OpensWith(const Packet& packet, std::initializer_list<int> bytes) {
    return packet.data.size() > bytes.size() && std::equal(bytes.begin(), bytes.end(), packet.data.begin());
}

}  // namespace

TEST_P(MediaEncoder, GivesOneDecodablePacketForEachPictureWithKeysAtTheirDistance) {
    const StreamConfig& stream = GetParam().stream;
    const int count = 2 * stream.gop + 2;
    const auto packets = EncodeTestPictures(stream, count);
    for (int i = 0; i < count; ++i) {
        const auto& packet = packets[static_cast<std::size_t>(i)];
        ASSERT_TRUE(packet) << i;
        EXPECT_EQ(packet->fourcc, GetParam().fourcc);
        EXPECT_EQ(packet->width, stream.width);
        EXPECT_EQ(packet->height, stream.height);
        const bool key = stream.codec == Codec::Mjpeg || i % stream.gop == 0;
        EXPECT_EQ(packet->key, key) << i;
        // The flag tells the truth: what it marks can be decoded alone, and in H.264 and MPEG-4 only that.
        const auto alone = key ? Decode({packet}) : std::vector<kvtest::Luma>{};
        EXPECT_EQ(alone.size(), key ? 1u : 0u) << i;
    }
    const auto pictures = Decode(packets);
    ASSERT_EQ(pictures.size(), packets.size());
    EXPECT_EQ(pictures[0].width, stream.width);
    EXPECT_EQ(pictures[0].height, stream.height);
    EXPECT_GT(pictures[0].Differs(pictures[1], 0, stream.height), 1.0);
}

INSTANTIATE_TEST_SUITE_P(AllCodecs, MediaEncoder,
                         testing::Values(EncoderCase{"H264", {Codec::H264, 352, 240, 15, 5}, wire::kZ264},
                                         EncoderCase{
                                             "H264OddBlocks", {Codec::H264, 202, 118, 25, 3}, wire::kZ264},
                                         EncoderCase{"Mpeg4", {Codec::Mpeg4, 352, 240, 15, 5}, wire::kZMP4},
                                         EncoderCase{"Mjpeg", {Codec::Mjpeg, 352, 240, 15, 2}, wire::kZIVG}),
                         [](const auto& kind) { return kind.param.name; });

TEST(MediaEncoderFormat, EachKeyPictureCarriesItsHeaders) {
    for (const auto& packet : EncodeTestPictures({Codec::H264, 64, 48, 15, 2}, 6)) {
        EXPECT_TRUE(OpensWith(*packet, {0, 0, 0, 1}));
        std::vector<int> types;
        for (const auto& unit : kvtest::NalUnits(packet->data)) {
            types.push_back(unit[0] & 31);
        }
        if (packet->key) {
            EXPECT_THAT(types, testing::IsSupersetOf({5, 7, 8}));
        } else {
            EXPECT_THAT(types, testing::ElementsAre(1));
        }
    }
    for (const auto& packet : EncodeTestPictures({Codec::Mpeg4, 64, 48, 15, 2}, 6)) {
        // Either a visual object sequence with its video object layer, or a picture alone.
        EXPECT_TRUE(packet->key ? OpensWith(*packet, {0, 0, 1, 0xB0}) : OpensWith(*packet, {0, 0, 1, 0xB6}));
        const std::vector<std::uint8_t> layer = {0, 0, 1, 0x20};
        const bool hasLayer = std::search(packet->data.begin(), packet->data.end(), layer.begin(),
                                          layer.end()) != packet->data.end();
        EXPECT_EQ(hasLayer, packet->key);
    }
    const auto jpeg = EncodeTestPictures({Codec::Mjpeg, 64, 48, 15, 1}, 1)[0];
    EXPECT_TRUE(OpensWith(*jpeg, {0xFF, 0xD8, 0xFF}));
    const std::vector<std::uint8_t> baseline = {0xFF, 0xC0, 0, 17, 8, 0, 48, 0, 64, 3};
    EXPECT_NE(std::search(jpeg->data.begin(), jpeg->data.end(), baseline.begin(), baseline.end()),
              jpeg->data.end());
}

TEST(MediaEncoderFormat, SkippedPicturesLeaveTheKeyDistanceAlone) {
    for (const Codec codec : {Codec::H264, Codec::Mpeg4}) {
        PictureEncoder encoder({codec, 64, 48, 30, 4});
        for (int i = 0; i < 12; ++i) {
            ASSERT_TRUE(encoder.Picture());
            const auto packet = encoder.Encode(i * 7, i * 7 * 33);
            ASSERT_TRUE(packet);
            EXPECT_EQ(packet->key, i % 4 == 0) << i;
        }
    }
}
