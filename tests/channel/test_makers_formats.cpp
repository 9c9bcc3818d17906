// The formats that have a maker's library, with and without it.
#include <gmock/gmock.h>

#include <cstring>

#include "channel/base/channel_messages.h"
#include "channel/camera/channel_core.h"
#include "channel/decode/decode_loop.h"
#include "channel/decode/open_decoders.h"
#include "channel/stream/stream_reader.h"
#include "codec/jpeg_codec.h"
#include "maker_library/maker_shim.h"
#include "memory_source.h"
#include "persist/string_table.h"
#include "stream_maker.h"
#include "support/message_log.h"
#include "support/wait_until.h"
#include "wave_log.h"

namespace kvmon {
namespace {

using kvtest::MakerPacket;
using kvtest::MakerPicture;
using kvtest::VideoRecord;

const VivotekLibrary& Library() {
    static const VivotekLibrary library = [] {
        const std::string folders[] = {KV_MAKER_LIBRARIES};
        return LoadVivotekLibrary(folders);
    }();
    return library;
}

std::unique_ptr<VivotekDecoder> WithLibrary(const GiveUp& giveUp) {
    return MakeVivotekDecoder(Library(), giveUp);
}

std::unique_ptr<VivotekDecoder> WithoutLibrary(const GiveUp& giveUp) {
    static const VivotekLibrary none{};
    return MakeVivotekDecoder(none, giveUp);
}

// Channels made while it lives take their decoder from here.
struct Site {
    explicit Site(VivotekDecoderFactory factory) {
        Factories() = {};
        Factories().waveOutput = kvtest::WaveLog::Make;
        Factories().mxpegDecoder = MakeOpenMxpegDecoder;
        Factories().vivotekDecoder = factory;
    }
    ~Site() { Factories() = before; }
    const ChannelFactories before = Factories();
};

// A channel whose decode thread the test plays, or starts.
class MakersFormats : public testing::TestWithParam<bool> {
protected:
    MakersFormats() {
        shim.Reset();
        kvtest::played = {};
        core->m_frames.SetPlaying(true);
    }
    ~MakersFormats() override {
        core->m_decodeThread.Stop(StopWait::ToTheEnd);
        EXPECT_THAT(shim.faults, testing::IsEmpty());
        shim.Reset();
    }
    void Queue(std::uint32_t code, bool key, const std::string& payload, int width = 8, int height = 4) {
        const bool bJpeg = code == wire::kZIVG;
        const std::string record = bJpeg ? payload : VideoRecord(code, key, width, height, payload);
        auto frame = core->m_frames.NewDecodeFrame(0, record.size());
        std::memcpy(frame->Begin(), record.data(), record.size());
        frame->SetLength(static_cast<std::uint32_t>(record.size()));
        core->m_frames.AddDecodeFrameToQueue(bJpeg ? FrameType::Jpeg : FrameType::Wrapped, std::move(frame),
                                             &core->m_decodeThread.Control()->run);
    }
    void StartThread() {
        core->m_decodeThread.Start(ChannelThread::First::Run,
                                   {core, [](void* owner, ThreadControl& control) {
                                        auto* const own = static_cast<ChannelCore*>(owner);
                                        DoDecodeLoop(own->GetDecodeParts(), own->m_source, control);
                                    }});
    }
    // What the decode thread makes of all that waits.
    std::uint64_t ShownAfter() {
        const std::uint64_t before = core->m_counters.m_nShown;
        ThreadControl control;
        control.exit.Set();
        while (core->m_frames.GetCount() > 0) {
            DecodeLoop(core->GetDecodeParts(), control).DecodeFrame();
        }
        return core->m_counters.m_nShown - before;
    }
    int Width() { return core->m_picture.GetBitmapInfo().biWidth; }
    bool HasCalled(const std::string& name) {
        const std::lock_guard lock(shim.cs);
        return std::count(shim.calls.begin(), shim.calls.end(), name) > 0;
    }
    std::string Caption() { return core->m_picture.GetMainCaption(); }

    kvtest::MakerShim& shim = *kvtest::FindMakerShim(KV_MAKER_LIBRARIES);
    const Site site{GetParam() ? WithLibrary : WithoutLibrary};
    std::shared_ptr<ChannelCore> core = std::make_shared<ChannelCore>(SystemClock());
};

using WithMakersLibrary = MakersFormats;
using WithoutMakersLibrary = MakersFormats;
INSTANTIATE_TEST_SUITE_P(, WithMakersLibrary, testing::Values(true));
INSTANTIATE_TEST_SUITE_P(, WithoutMakersLibrary, testing::Values(false));

TEST_P(WithMakersLibrary, EachSeriesIsShownAndFollowsItsKeyFrames) {
    Queue(wire::kZV6K, false, MakerPacket(1, MakerPicture(8, 4, 1)));
    Queue(wire::kZV6K, true, MakerPacket(1, MakerPicture(8, 4, 2)));
    Queue(wire::kZV6K, false, MakerPacket(1, "damaged"));
    Queue(wire::kZV6K, false, MakerPacket(1, MakerPicture(8, 4, 3)));
    EXPECT_EQ(ShownAfter(), 2u);
    EXPECT_EQ(core->m_counters.m_nFailed, 1u);
    EXPECT_EQ(core->m_picture.GetBitmapInfo(), MakeBitmapInfo(8, 4, 32));
    // One function has all three codes; a key frame of another one opens the decoder anew.
    Queue(wire::kZV7K, true, MakerPicture(16, 8, 4), 16, 8);
    Queue(wire::kZV7K, false, MakerPicture(16, 8, 5));
    EXPECT_EQ(ShownAfter(), 2u);
    EXPECT_EQ(Width(), 16);
    // The head need not tell a size, since the picture does.
    Queue(wire::kZV6K, true, MakerPacket(1, MakerPicture(32, 16, 6)), 0, 0);
    EXPECT_EQ(ShownAfter(), 1u);
    EXPECT_EQ(Width(), 32);
    EXPECT_EQ(Caption(), "");
}

TEST_P(WithMakersLibrary, TheBrokersPicturesAreShownAndItsSilenceEndsWithTheStream) {
    StartThread();
    Queue(wire::kZV3K, true, MakerPacket(1, MakerPicture(8, 4, 1)));
    ASSERT_TRUE(kvtest::WaitUntil([this] { return core->m_counters.m_nShown == 1; }));

    const auto waitInSilence = [this] {
        const std::lock_guard lock(shim.cs);
        shim.silent = true;
        shim.calls.clear();
    };
    waitInSilence();
    Queue(wire::kZV3K, false, MakerPacket(1, MakerPicture(8, 4, 2)));
    ASSERT_TRUE(kvtest::WaitUntil([this] { return HasCalled("InputPacketEx"); }));
    core->RestartPlaying();
    ASSERT_TRUE(kvtest::WaitUntil([this] { return HasCalled("DataBroker_Release"); }));
    shim.answerLate();
    {
        const std::lock_guard lock(shim.cs);
        shim.silent = false;
    }
    Queue(wire::kZV3K, true, MakerPacket(1, MakerPicture(16, 8, 3)), 16, 8);
    ASSERT_TRUE(kvtest::WaitUntil([this] { return core->m_counters.m_nShown == 2; }));
    EXPECT_EQ(Width(), 16);

    waitInSilence();
    Queue(wire::kZV3K, false, MakerPacket(1, MakerPicture(16, 8, 4)));
    ASSERT_TRUE(kvtest::WaitUntil([this] { return HasCalled("InputPacketEx"); }));
    const int abandoned = Worker::AbandonedCount();
    core->m_decodeThread.Stop(StopWait::ToTheEnd);
    EXPECT_EQ(Worker::AbandonedCount(), abandoned);
    shim.answerLate();
    EXPECT_EQ(core->m_counters.m_nShown, 2u);
}

TEST_P(WithMakersLibrary, ALibraryThatRefusesLeavesTheOpenWay) {
    shim.failing = "CreateDecoderChannel";
    kvtest::StreamMaker maker("mpeg4", 64, 48);
    Queue(wire::kZV7K, true, maker.Next().bytes, 64, 48);
    EXPECT_EQ(ShownAfter(), 1u);
    Queue(wire::kZV6K, true, MakerPacket(1, MakerPicture(8, 4, 2)));
    EXPECT_EQ(ShownAfter(), 0u);
    EXPECT_EQ(Caption(), "") << "the library is there";
    EXPECT_TRUE(HasCalled("AvSynchronizer_Release"));
}

TEST_P(WithoutMakersLibrary, TheCellSaysSoAndBareMpeg4IsShown) {
    kvtest::StreamMaker maker("mpeg4", 64, 48, 2);
    const auto queueBare = [&](int width, int height) {
        const kvtest::Unit unit = maker.Next();
        Queue(wire::kZV7K, unit.key, unit.bytes, width, height);
    };
    const std::string needs = LoadString(6700);
    for (const std::uint32_t code : {wire::kZV3K, wire::kZV6K}) {
        Queue(code, false, "x");
        EXPECT_EQ(ShownAfter(), 0u);
        EXPECT_EQ(Caption(), "");
        Queue(code, true, "x");
        Queue(code, false, "x");
        EXPECT_EQ(ShownAfter(), 0u);
        EXPECT_EQ(Caption(), needs);
        queueBare(64, 48);
        queueBare(64, 48);
        EXPECT_EQ(ShownAfter(), 2u);
        EXPECT_EQ(Caption(), "") << "a picture takes its place";
    }
    EXPECT_EQ(core->m_picture.GetBitmapInfo(), MakeBitmapInfo(64, 48));
    queueBare(0, 0);
    EXPECT_EQ(ShownAfter(), 1u) << "without a size in the head, too";
}

// The function of the code before gives up the first frame of another one's; codes that share a function lose
// none.
TEST_P(WithoutMakersLibrary, AnyCodeMayFollowAnyOther) {
    constexpr int kFrames = 3;
    const std::vector<std::uint8_t> grey(MakeBitmapInfo(64, 48).biSizeImage, 0x50);
    std::vector<std::uint8_t> jpeg;
    ASSERT_EQ(SaveJpegMemory(jpeg, MakeBitmapInfo(64, 48), grey, 100, true), nullptr);
    const std::string whole(jpeg.begin(), jpeg.end());
    const auto coded = [](const char* encoder) { return kvtest::StreamMaker(encoder, 64, 48).Next().bytes; };
    const struct {
        std::uint32_t code;
        int function;
        std::string payload;
    } kinds[] = {{wire::kZ264, 1, coded("libx264")}, {wire::kZMP4, 2, coded("mpeg4")},
                 {wire::kAVM4, 2, coded("mpeg4")},   {wire::kZXPG, 3, whole},
                 {wire::kZV7K, 4, coded("mpeg4")},   {wire::kZIVG, 5, whole}};
    for (const auto& first : kinds) {
        for (const auto& second : kinds) {
            const std::uint64_t before = core->m_counters.m_nDecoded;
            Queue(first.code, true, first.payload, 64, 48);
            for (int i = 0; i < kFrames; ++i) {
                Queue(second.code, true, second.payload, 64, 48);
            }
            ShownAfter();
            EXPECT_EQ(core->m_counters.m_nDecoded - before, first.function == second.function ? 4u : 3u)
                << GetVideoCodeName(first.code) << " " << GetVideoCodeName(second.code);
        }
    }
    EXPECT_EQ(core->m_counters.m_nFailed, 0u);
}

// Reads records of sound as the reception thread does.
struct Listening {
    explicit Listening(ChannelCore& theCore) : core(theCore) { Listen(true); }
    void Listen(bool bOn) {
        core.m_sound.m_bPlayAudioUI = core.m_sound.m_bSupportAudio = core.m_sound.m_bAudioRight = bOn;
    }
    void Read(std::uint32_t code, const std::string& packet) {
        kvtest::MemorySource source("\r\n" + kvtest::AudioRecord(code, 8000, 16, 1, packet));
        StreamReader(core.GetStreamSinks(core.m_pAudio.get(), decode), control, source)
            .ParseImageFromKelvara();
        EXPECT_EQ(source.Left(), 0u);
    }
    ChannelCore& core;
    ThreadControl control;
    ThreadControl decode;
};

TEST_P(WithMakersLibrary, ItsSoundIsPlayedAsDecoded) {
    Listening listening(*core);
    listening.Read(wire::kFAAC, MakerPacket(8, "one"));
    listening.Read(wire::kF729, MakerPacket(1024, "two", 4));
    listening.Read(wire::kFAAC, "damaged");
    listening.Read(wire::kFAAC, MakerPacket(8, std::string(5000, 'x')));
    EXPECT_THAT(kvtest::played.written, testing::ElementsAre("one", "two"));
    ASSERT_EQ(kvtest::played.opened.size(), 1u) << "once for a format that stays";
    EXPECT_EQ(kvtest::played.opened[0].outChannels, 2);
    EXPECT_EQ(kvtest::played.opened[0].outSamplesPerSecond, 16000u);
}

TEST_P(WithoutMakersLibrary, TheCellSaysSoOfItsSoundWheneverThatIsTurnedOn) {
    const auto cell = std::make_shared<kvtest::MessageLog>();
    core->m_windows.SetViewWnd(WindowHandle(cell));
    Listening listening(*core);
    const kvtest::Message message{kMsgShowText, 6701, 0};
    listening.Read(wire::kFAAC, "x");
    listening.Read(wire::kFAAC, "x");
    EXPECT_THAT(cell->All(), testing::ElementsAre(message));
    listening.Listen(false);
    listening.Read(wire::kF729, "x");
    EXPECT_EQ(cell->All().size(), 1u);
    listening.Listen(true);
    listening.Read(wire::kF729, "x");
    EXPECT_THAT(cell->All(), testing::ElementsAre(message, message));
}

}  // namespace
}  // namespace kvmon
