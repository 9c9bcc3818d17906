#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "media/matroska_writer.h"
#include "media/media_hub.h"
#include "media_tools.h"
#include "support/temp_folder.h"
#include "wire/frame_header.h"

using namespace kvrecorder;
using kvtest::Collector;
using kvtest::Headers;
using kvtest::SelfMovingClock;
using std::chrono::milliseconds;

namespace {

constexpr int kPictures = 12;
constexpr int kFilmFps = 20;

class MediaFile : public testing::Test {
protected:
    std::string PathOf(const std::string& name) const { return m_folder.Path() + "/" + name; }

    std::vector<PacketPtr> WriteFile(const std::string& name, Codec codec, Headers headers) {
        const auto packets = kvtest::EncodeTestPictures({codec, 176, 144, kFilmFps, 4}, kPictures);
        kvtest::WriteVideoFile(PathOf(name), packets, kFilmFps, headers);
        return packets;
    }

    int AddFile(const std::string& name) {
        SourceConfig source;
        source.file = PathOf(name);
        return m_hub->AddChannel(name, source);
    }

    std::string Refusal(const std::string& name) {
        try {
            AddFile(name);
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        return "";
    }

    const kvtest::TempFolder m_folder;
    const std::shared_ptr<SelfMovingClock> m_clock = std::make_shared<SelfMovingClock>();
    const std::unique_ptr<MediaHub> m_hub = CreateMediaHub(m_clock, 1);
};

struct PassedCase {
    const char* file;
    Codec codec;
    Headers headers;
};

class PassedFile : public MediaFile, public testing::WithParamInterface<PassedCase> {};

}  // namespace

TEST_P(PassedFile, IsLoopedUntouchedAndAtItsPace) {
    const auto written = WriteFile(GetParam().file, GetParam().codec, GetParam().headers);
    const int channel = AddFile(GetParam().file);
    const auto streams = m_hub->Streams(channel);
    ASSERT_EQ(streams.size(), 2u);
    EXPECT_EQ(streams[0].codec, GetParam().codec);
    EXPECT_EQ(streams[0].width, 176);
    EXPECT_EQ(streams[0].height, 144);
    Collector collector;
    const auto subscription = m_hub->Subscribe(channel, 0, collector.Sink());
    m_clock->Allow(milliseconds(1'450));
    const auto packets = collector.WaitFor(2 * kPictures + 2);
    EXPECT_LE(packets.size(), 2u * kPictures + 8);
    for (std::size_t i = 0; i < 2 * kPictures; ++i) {
        const Packet& original = *written[i % kPictures];
        EXPECT_EQ(packets[i]->key, original.key) << i;
        EXPECT_EQ(packets[i]->fourcc, original.fourcc);
        if (GetParam().codec == Codec::H264) {
            EXPECT_EQ(kvtest::NalUnits(packets[i]->data), kvtest::NalUnits(original.data)) << i;
            EXPECT_EQ(packets[i]->data[0] + packets[i]->data[1] + packets[i]->data[2], packets[i]->data[2]);
        } else {
            EXPECT_EQ(packets[i]->data, original.data) << i;
        }
        if (i > 0) {
            EXPECT_NEAR(static_cast<double>(packets[i]->timeMs - packets[i - 1]->timeMs), 1000.0 / kFilmFps,
                        2)
                << i;
        }
    }
    EXPECT_EQ(m_hub->Counters(channel, 0).encoded, 0u);
    EXPECT_EQ(kvtest::Decode(packets).size(), packets.size());
}

INSTANTIATE_TEST_SUITE_P(Kinds, PassedFile,
                         testing::Values(PassedCase{"h264.mp4", Codec::H264, Headers::InHead},
                                         PassedCase{"h264.mkv", Codec::H264, Headers::InHead},
                                         PassedCase{"inband.mp4", Codec::H264, Headers::InPackets},
                                         PassedCase{"h264.avi", Codec::H264, Headers::InPackets},
                                         PassedCase{"mpeg4.mp4", Codec::Mpeg4, Headers::InHead},
                                         PassedCase{"mpeg4.avi", Codec::Mpeg4, Headers::InPackets},
                                         PassedCase{"mjpeg.avi", Codec::Mjpeg, Headers::InPackets},
                                         PassedCase{"mjpeg.mkv", Codec::Mjpeg, Headers::InPackets}),
                         [](const auto& kind) {
                             std::string name = kind.param.file;
                             name[name.find('.')] = '_';
                             return name;
                         });

// Pictures that are coded after those that they stand before: they are passed as they are coded, and each is
// told to be of the time at which it is to be seen.
TEST_F(MediaFile, PicturesOutOfTheirOrderKeepTheirTimes) {
    constexpr int kCount = 10;
    constexpr std::int64_t kStep = 1000 / kFilmFps;
    const struct {
        const char* name;
        const char* encoder;
    } files[] = {{"mpeg4.mp4", "mpeg4"},
                 {"mpeg4.mkv", "mpeg4"},
                 {"mpeg4.avi", "mpeg4"},
                 {"h264.mp4", "libx264"},
                 {"h264.mkv", "libx264"}};
    for (const auto& [name, encoder] : files) {
        SCOPED_TRACE(name);
        kvtest::EncodeVideoFile(PathOf(name), encoder, 176, 144, kCount, kFilmFps, 2);
        const int channel = AddFile(name);
        Collector collector;
        const auto subscription = m_hub->Subscribe(channel, 0, collector.Sink());
        m_clock->Allow(milliseconds(2 * kCount * kStep + kStep));
        auto packets = collector.WaitFor(2 * kCount);
        ASSERT_GE(packets.size(), 2u * kCount);
        packets.resize(2 * kCount);
        const auto pictures = kvtest::Decode(packets);
        ASSERT_EQ(pictures.size(), packets.size());
        std::vector<std::int64_t> times;
        bool inOrder = true;
        for (std::size_t i = 0; i < packets.size(); ++i) {
            EXPECT_EQ(kvtest::NumberOf(pictures[i]), static_cast<int>(i) % kCount);
            inOrder = inOrder && (times.empty() || times.back() < packets[i]->timeMs + packets[i]->delayMs);
            times.push_back(packets[i]->timeMs + packets[i]->delayMs);
            EXPECT_GE(packets[i]->delayMs, 0) << i;
            if (i > 0) {
                EXPECT_NEAR(static_cast<double>(packets[i]->timeMs - packets[i - 1]->timeMs), kStep, 2) << i;
            }
        }
        EXPECT_FALSE(inOrder) << "the file has pictures out of order";
        std::sort(times.begin(), times.end());
        for (std::size_t i = 1; i < times.size(); ++i) {
            EXPECT_NEAR(static_cast<double>(times[i] - times[i - 1]), kStep, 2) << i;
        }

        // A recording of it plays each picture at its time.
        const std::string recording = PathOf(std::string(name) + ".rec.mkv");
        {
            MatroskaWriter writer(recording, packets[0]);
            for (std::size_t i = 1; i < packets.size(); ++i) {
                writer.Write(packets[i]);
            }
        }
        const auto played = kvtest::DecodeFile(recording);
        ASSERT_EQ(played.size(), packets.size());
        for (std::size_t i = 0; i < played.size(); ++i) {
            EXPECT_EQ(kvtest::NumberOf(played[i].picture), static_cast<int>(i) % kCount);
            EXPECT_NEAR(static_cast<double>(played[i].ms - played[0].ms), static_cast<double>(i) * kStep, 2);
        }
    }
}

TEST_F(MediaFile, SmallerStreamIsEncodedOnDemandAlsoInTheMiddle) {
    WriteFile("a.mp4", Codec::H264, Headers::InHead);
    SourceConfig source;
    source.file = PathOf("a.mp4");
    source.streams = {{}, {Codec::Mjpeg, 88, 72, 10, 1}};
    const int channel = m_hub->AddChannel("A", source);
    Collector whole;
    const auto first = m_hub->Subscribe(channel, 0, whole.Sink());
    m_clock->Allow(milliseconds(300));  // in the middle of a group
    whole.WaitFor(7);
    EXPECT_EQ(m_hub->Counters(channel, 1).encoded, 0u);
    Collector small;
    const auto second = m_hub->Subscribe(channel, 1, small.Sink());
    m_clock->Allow(milliseconds(2000));
    const auto packets = small.WaitFor(15);
    EXPECT_LE(packets.size(), 24u);
    EXPECT_EQ(packets[0]->fourcc, wire::kZIVG);
    const auto pictures = kvtest::Decode(packets);
    ASSERT_EQ(pictures.size(), packets.size());
    EXPECT_EQ(pictures[0].width, 88);
    EXPECT_EQ(pictures[0].height, 72);
    // It shows the file's picture: 40 to 200 from the upper left corner, scaled down.
    EXPECT_GT(pictures[0].Differs(pictures[1], 0, 72), 1.0);
}

TEST_F(MediaFile, ALateWatcherOfThePassedStreamBeginsWithAKey) {
    WriteFile("a.mp4", Codec::H264, Headers::InHead);
    const int channel = AddFile("a.mp4");
    Collector small;
    const auto first = m_hub->Subscribe(channel, 1, small.Sink());
    m_clock->Allow(milliseconds(300));
    small.WaitFor(1);
    Collector whole;
    const auto second = m_hub->Subscribe(channel, 0, whole.Sink());
    m_clock->Allow(milliseconds(1000));
    const auto packets = whole.WaitFor(10);
    EXPECT_TRUE(packets[0]->key);
    EXPECT_EQ(kvtest::Decode(packets).size(), packets.size());
}

TEST_F(MediaFile, OtherCodecsAndOddSizesAreEncodedAnew) {
    kvtest::EncodeVideoFile(PathOf("ffv1.mkv"), "ffv1", 95, 61, 8, 10);
    kvtest::EncodeVideoFile(PathOf("mpeg2.ts"), "mpeg2video", 96, 64, 8, 25);
    struct Case {
        const char* file;
        int width, height, fps;
    };
    for (const Case& c : {Case{"ffv1.mkv", 94, 60, 10}, Case{"mpeg2.ts", 96, 64, 25}}) {
        const int channel = AddFile(c.file);
        const auto streams = m_hub->Streams(channel);
        EXPECT_EQ(streams[0].codec, Codec::H264);
        EXPECT_EQ(streams[0].width, c.width);
        EXPECT_EQ(streams[0].height, c.height);
        EXPECT_EQ(streams[0].fps, c.fps);
        Collector collector;
        const auto subscription = m_hub->Subscribe(channel, 0, collector.Sink());
        m_clock->Allow(milliseconds(3000));
        // More than one turn of the file.
        const auto packets = collector.WaitFor(20);
        EXPECT_EQ(packets[0]->fourcc, wire::kZ264);
        EXPECT_TRUE(packets[0]->key);
        const auto pictures = kvtest::Decode(packets);
        ASSERT_EQ(pictures.size(), packets.size());
        EXPECT_EQ(pictures[0].width, c.width);
    }
}

TEST_F(MediaFile, WhatCannotBePlayedIsRefusedInWords) {
    using testing::HasSubstr;
    EXPECT_THAT(Refusal("missing.mp4"), HasSubstr("there is no such file"));
    EXPECT_THAT(Refusal("."), HasSubstr("not a plain file"));
    std::ofstream(PathOf("text.mp4")) << std::string(3000, 'x');
    EXPECT_THAT(Refusal("text.mp4"), HasSubstr("cannot read"));
    std::ofstream(PathOf("empty.avi")).flush();
    EXPECT_THAT(Refusal("empty.avi"), HasSubstr("cannot read"));
    // Sound alone: one tenth of a second of silence.
    std::string wave(
        "RIFF\x64\x06\0\0WAVEfmt \x10\0\0\0\x01\0\x01\0\x40\x1F\0\0\x80\x3E\0\0\x02\0\x10\0data\x40\x06\0\0",
        44);
    std::ofstream(PathOf("sound.wav"), std::ios::binary) << wave << std::string(1600, '\0');
    EXPECT_THAT(Refusal("sound.wav"), HasSubstr("there are no pictures in it"));
    // A play list must not lead elsewhere.
    std::ofstream(PathOf("list.m3u8"))
        << "#EXTM3U\n#EXT-X-TARGETDURATION:1\n#EXTINF:1,\nhttp://127.0.0.1:9/a.ts\n";
    EXPECT_THAT(Refusal("list.m3u8"), HasSubstr("a list of other files"));
}

TEST_F(MediaFile, ADamagedFileIsPlayedAsFarAsItGoesOrRefused) {
    WriteFile("good.avi", Codec::Mpeg4, Headers::InPackets);
    std::ifstream in(PathOf("good.avi"), std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(in), {}};
    for (std::size_t part = 1; part < 12; ++part) {
        std::string damaged = bytes.substr(0, bytes.size() * part / 12);
        for (std::size_t i = part * 37; i < damaged.size(); i += 211) {
            damaged[i] = static_cast<char>(damaged[i] ^ 0x5A);
        }
        const std::string name = "damaged" + std::to_string(part) + ".avi";
        std::ofstream(PathOf(name), std::ios::binary) << damaged;
        if (!Refusal(name).empty()) {
            continue;
        }
        SourceConfig source;
        source.file = PathOf(name);
        const int channel = m_hub->AddChannel(name, source);
        Collector collector;
        const auto subscription = m_hub->Subscribe(channel, 1, collector.Sink());
        Collector whole;
        const auto other = m_hub->Subscribe(channel, 0, whole.Sink());
        m_clock->Allow(milliseconds(1000));
        EXPECT_TRUE(whole.WaitFor(3)[0]->key);
    }
}
