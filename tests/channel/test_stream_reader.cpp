#include <gmock/gmock.h>

#include "channel/stream/stream_reader.h"
#include "memory_source.h"
#include "stream_bench.h"
#include "stream_maker.h"
#include "wave_log.h"

namespace kvmon {
namespace {

using kvtest::AudioRecord;
using kvtest::Head;
using kvtest::MemorySource;
using kvtest::played;
using kvtest::VideoRecord;

constexpr char kNoHeader[] = "\r\n";

class Stream : public kvtest::StreamBench {
protected:
    Stream() { played = {}; }

    // The number of video frames of a stream that is all there.
    std::uint32_t Read(const std::string& bytes, std::size_t step = 1'000'000) {
        MemorySource source(bytes, step);
        const std::uint32_t count = StreamReader(Sinks(&audio), control, source).ParseImageFromKelvara();
        left = source.Left();
        return count;
    }
    void ListenToIt() { switches.m_bPlayAudioUI = switches.m_bSupportAudio = switches.m_bAudioRight = true; }
    // What is reported of this stream.
    std::vector<int> ErrorsOf(const std::string& bytes) {
        reports.errors.clear();
        Read(bytes);
        return reports.errors;
    }

    LiveAudio audio{{.waveOutput = kvtest::WaveLog::Make}, number};
    std::size_t left = 0;
};

TEST_F(Stream, CodedFramesKeepTheirHeadAndJpegsLoseIt) {
    const std::string key = VideoRecord(wire::kZ264, true, 64, 48, "key");
    const std::string inter = VideoRecord(wire::kZ264, false, 0, 0, "inter");
    const std::string jpeg = VideoRecord(wire::kZIVG, false, 64, 48, "\xFF\xD8jpeg");
    for (const std::size_t step : {std::size_t{1}, std::size_t{7}, std::size_t{1000}}) {
        EXPECT_EQ(Read("Server: x\r\nAny: y\r\n\r\n" + key + inter + jpeg, step), 3u);
        EXPECT_THAT(TakeAll(), testing::ElementsAre(key, inter, "\xFF\xD8jpeg"));
    }
    EXPECT_TRUE(decode.run.IsSet());
    EXPECT_EQ(decode.leave, 1u) << "the decoder of the connection before has to go";
    EXPECT_EQ(counters.m_nReceived, 9u);
    EXPECT_EQ(reports.received, 9);
    EXPECT_EQ(counters.m_nBytes, 3 * (key.size() + inter.size() + jpeg.size()));
}

TEST_F(Stream, NothingEntersBeforeAKeyFrameButAllIsCounted) {
    const std::string inter = VideoRecord(wire::kZMP4, false, 0, 0, "inter");
    const std::string key = VideoRecord(wire::kZMP4, true, 64, 48, "key");
    EXPECT_EQ(Read(kNoHeader + inter + inter + inter), 3u);
    EXPECT_THAT(TakeAll(), testing::IsEmpty());
    EXPECT_EQ(Read(kNoHeader + inter + key + inter), 3u);
    EXPECT_THAT(TakeAll(), testing::ElementsAre(key, inter));
}

// Whole pictures need no key frame, but the rule is lifted by the first that it refuses.
TEST_F(Stream, TheFirstPlainPictureLiftsTheWaitForAKeyFrame) {
    const std::string jpegs =
        VideoRecord(wire::kZIVG, false, 0, 0, "first") + VideoRecord(wire::kZIVG, false, 0, 0, "second");
    EXPECT_EQ(Read(kNoHeader + jpegs), 2u);
    EXPECT_THAT(TakeAll(), testing::ElementsAre("second"));
}

TEST_F(Stream, AKeyFrameThrowsAwayWhatWaits) {
    const std::string first = VideoRecord(wire::kZ264, true, 64, 48, "first");
    const std::string inter = VideoRecord(wire::kZ264, false, 0, 0, "inter");
    const std::string second = VideoRecord(wire::kZ264, true, 64, 48, "second");
    EXPECT_EQ(Read(kNoHeader + first + inter + inter + second + inter), 5u);
    EXPECT_THAT(TakeAll(), testing::ElementsAre(second, inter));
    EXPECT_EQ(frames.GetRefused(), 3u);
}

TEST_F(Stream, OnlyTheValueOneIsAKeyFlag) {
    std::string record = VideoRecord(wire::kZ264, true, 64, 48, "x");
    record[wire::kKeyFlagOffset] = 2;
    EXPECT_EQ(Read(kNoHeader + record), 1u);
    EXPECT_THAT(TakeAll(), testing::IsEmpty());
}

TEST_F(Stream, AFrameWithoutPayloadIsItsHead) {
    const std::string empty = VideoRecord(wire::kZ264, true, 64, 48, "");
    EXPECT_EQ(Read(kNoHeader + empty + VideoRecord(wire::kZIVG, true, 0, 0, "")), 2u);
    EXPECT_THAT(TakeAll(), testing::ElementsAre(empty, ""));
}

TEST_F(Stream, CutAnywhereItGivesWhatWasWhole) {
    const std::string whole =
        std::string("A: b\r\n\r\n") + VideoRecord(wire::kZ264, true, 64, 48, "key frame") +
        AudioRecord(wire::kG711, 8000, 8, 1, "sound") + VideoRecord(wire::kZIVG, true, 64, 48, "picture");
    const std::size_t firstEnd = 8 + 56 + 9;
    for (std::size_t length = 0; length < whole.size(); ++length) {
        const std::uint32_t count = Read(whole.substr(0, length));
        EXPECT_EQ(count, length >= firstEnd ? 1u : 0u) << length;
        TakeAll();
    }
    EXPECT_EQ(Read(whole), 2u);
}

TEST_F(Stream, EachDisorderIsReportedAndEndsThePass) {
    const std::string good = VideoRecord(wire::kZ264, true, 64, 48, "key");
    const struct {
        const char* what;
        std::string bytes;
        int error;
    } cases[] = {
        {"body cut", VideoRecord(wire::kZ264, true, 64, 48, "key").substr(0, 58), kStreamBodyCut},
        {"JPEG cut", VideoRecord(wire::kZIVG, true, 64, 48, "key").substr(0, 58), kStreamBodyCut},
        {"four gigabytes", Head(wire::kZ264, true, 64, 48, 0xFFFFFFFF), kStreamNoBuffer},
        {"four gigabytes with the head", Head(wire::kZ264, true, 64, 48, 0xFFFFFFFF - 55), kStreamNoBuffer},
        {"four gigabytes of JPEG", Head(wire::kZIVG, true, 64, 48, 0xFFFFFFFF), kStreamNoBuffer},
        {"more than its picture can need", Head(wire::kZ264, true, 64, 48, (1u << 20) + 1), kStreamNoBuffer},
        {"more than the key frame's picture can need", Head(wire::kZ264, false, 9999, 9999, (1u << 20) + 1),
         kStreamNoBuffer},
        {"a JPEG of no size beyond all cameras'", Head(wire::kZIVG, true, 0, 0, (16u << 20) + 1),
         kStreamNoBuffer},
        {"unknown code", VideoRecord(wire::FourCC('N', 'O', 'N', 'E'), true, 64, 48, "key"),
         kStreamUnknownCode},
        {"audio code without a block", VideoRecord(wire::kG711, false, 0, 0, "sound"), kStreamUnknownCode},
        {"reserved 4", Head(wire::kZ264, true, 64, 48, 4, 4), kStreamUnknownReserved},
        {"reserved 16", Head(wire::kG711, false, 0, 0, 16, 16), kStreamUnknownReserved},
        {"sound cut", AudioRecord(wire::kG711, 8000, 8, 1, "sound").substr(0, 66), kStreamAudio},
        {"sound smaller than its block", Head(wire::kG711, false, 0, 0, 7, 8) + "12345678", kStreamAudio},
        {"sound of four gigabytes", Head(wire::kG711, false, 0, 0, 0xFFFFFFFF, 8) + "12345678", kStreamAudio},
    };
    for (const auto& test : cases) {
        EXPECT_THAT(ErrorsOf(kNoHeader + good + test.bytes), testing::ElementsAre(test.error)) << test.what;
        const bool cut = std::string(test.what).find("cut") != std::string::npos;
        EXPECT_EQ(Read(kNoHeader + good + test.bytes + (cut ? "" : good)), 1u) << test.what;
    }
}

TEST_F(Stream, AnEndBetweenRecordsIsNoError) {
    EXPECT_THAT(ErrorsOf(kNoHeader + VideoRecord(wire::kZ264, true, 64, 48, "key")), testing::IsEmpty());
    EXPECT_THAT(ErrorsOf(std::string(kNoHeader) + "half of a head"), testing::IsEmpty());
}

TEST_F(Stream, AHeaderWithoutEndIsOne) {
    const auto noHeader = testing::ElementsAre(kStreamLine);
    std::string endless;
    for (int i = 0; i < 100'000; ++i) {
        endless += "X-Header: value\r\n";
    }
    EXPECT_THAT(ErrorsOf(endless), noHeader);
    EXPECT_GT(left, endless.size() / 2);
    EXPECT_THAT(ErrorsOf(std::string(5'000'000, 'x')), noHeader);
    EXPECT_GT(left, 1'000'000u);
    EXPECT_THAT(ErrorsOf("X-Header: value\r\n"), noHeader);
}

TEST_F(Stream, WhatTheUserLeftIsNoFailure) {
    control.abort = 1;
    EXPECT_THAT(ErrorsOf("cut"), testing::IsEmpty());
    EXPECT_EQ(Read(kNoHeader + VideoRecord(wire::kZ264, true, 64, 48, "key")), 0u);
}

TEST_F(Stream, SoundThatNobodyHearsKeepsTheStreamInStep) {
    const std::string sound = AudioRecord(wire::kG711, 8000, 8, 1, std::string(1000, 's'));
    const std::string jpeg = VideoRecord(wire::kZIVG, true, 0, 0, "picture");
    EXPECT_EQ(Read(kNoHeader + sound + jpeg + sound + sound + jpeg), 2u);
    EXPECT_TRUE(played.opened.empty());
    EXPECT_TRUE(played.written.empty());
    // Each of the three switches alone is enough to keep it silent.
    for (auto* const off : {&switches.m_bPlayAudioUI, &switches.m_bSupportAudio, &switches.m_bAudioRight}) {
        ListenToIt();
        *off = false;
        EXPECT_EQ(Read(kNoHeader + sound + jpeg), 1u);
        EXPECT_TRUE(played.written.empty());
    }
}

TEST_F(Stream, SoundOpensTheDeviceOnceAndIsWritten) {
    ListenToIt();
    EXPECT_EQ(Read(kNoHeader + AudioRecord(wire::kZ726, 8000, 4, 1, "one") +
                   AudioRecord(wire::kZ726, 16000, 2, 2, "two") + AudioRecord(wire::kZ726, 8000, 4, 1, "")),
              0u);
    ASSERT_EQ(played.opened.size(), 1u) << "an open device keeps its format";
    WaveFormats expected;
    expected.inSampleBits = 4;
    expected.inWaveType = 63270;
    EXPECT_EQ(played.opened[0], expected);
    EXPECT_THAT(played.written, testing::ElementsAre("one", "two"));
    switches.m_bPlayAudioUI = false;
    Read(kNoHeader + AudioRecord(wire::kZ726, 8000, 4, 1, "three"));
    EXPECT_EQ(played.closed, 0) << "switching the sound off leaves the device open";
}

TEST_F(Stream, FaultsOfTheSoundDoNotEndTheStream) {
    ListenToIt();
    const std::string jpeg = VideoRecord(wire::kZIVG, true, 0, 0, "picture");
    Read(kNoHeader + AudioRecord(wire::kG711, 8000, 8, 1, "one"));
    EXPECT_EQ(Read(kNoHeader + AudioRecord(wire::FourCC('W', 'H', 'A', 'T'), 8000, 8, 1, "x") + jpeg), 1u);
    EXPECT_EQ(played.closed, 1) << "an unknown code closes the device";
    played.refuse = true;
    EXPECT_EQ(Read(kNoHeader + AudioRecord(wire::kG711, 8000, 8, 1, "two") + jpeg), 1u);
    EXPECT_EQ(Read(kNoHeader + AudioRecord(wire::kFAAC, 8000, 16, 1, "aac") + jpeg), 1u);
    EXPECT_THAT(played.written, testing::ElementsAre("one"));
}

TEST(WaveFormats, FollowTheCodeAndTheBlock) {
    const auto typeOf = [](std::uint32_t code, AudioBlock block) {
        const auto formats = WaveFormatsFor(code, block);
        return formats ? formats->inWaveType : 0;
    };
    EXPECT_EQ(typeOf(wire::kG711, {8000, 8, 1}), 7);
    EXPECT_EQ(typeOf(wire::kA711, {8000, 8, 1}), 6);
    EXPECT_EQ(typeOf(wire::kG726, {8000, 4, 1}), 69);
    EXPECT_EQ(typeOf(wire::kG726, {8000, 16, 1}), 1) << "plain sound in spite of its code";
    EXPECT_EQ(typeOf(wire::kG726, {8000, 16, 2}), 69);
    EXPECT_EQ(typeOf(wire::kZ726, {8000, 16, 1}), 63270);
    EXPECT_EQ(typeOf(wire::kFAAC, {8000, 16, 1}), 0);
    EXPECT_EQ(WaveFormatsFor(wire::kPCM, {44100, 16, 2})->outSamplesPerSecond, 44100u);
    EXPECT_EQ(WaveFormatsFor(wire::kG711, {16000, 8, 1})->outSamplesPerSecond, 8000u);
}

}  // namespace
}  // namespace kvmon
