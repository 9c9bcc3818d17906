// What the client plays is what the recorder sent.
#include <gmock/gmock.h>

#include <cmath>
#include <fstream>
#include <numbers>

// Its headers are not made for our warnings.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wold-style-cast"
#include <spandsp.h>
#pragma GCC diagnostic pop

#include "../console/console_fixture.h"
#include "channel/camera/default_factories.h"
#include "media/wav_file.h"
#include "skin/xskin_od_button.h"
#include "sound_bench.h"
#include "support/camera_maker.h"

using namespace kvmon;
using kvrecorder::SoundFormat;
using kvtest::Cards;
using kvtest::Decibels;
using kvtest::PumpUntil;
using kvtest::Samples;
using kvtest::WaitUntil;

namespace {

constexpr std::chrono::milliseconds kBlock{40};

Cards* cards = nullptr;

// Puts the test's cards in the place of the system's for as long as it lives.
class CardsInPlace {
public:
    CardsInPlace() {
        cards = &all;
        Factories().waveOutput = []() -> std::unique_ptr<WaveOutput> {
            return std::make_unique<CWaveOutDevice>([](const SoundFlag& flag) { return cards->Make(flag); });
        };
    }
    ~CardsInPlace() { Factories().waveOutput = m_before; }

    Cards all;

private:
    const WaveOutputFactory m_before = Factories().waveOutput;
};

struct Case {
    const char* name;
    SoundFormat format;
    int rate;
    int bits;
    double leastDecibels;  // of sound over its error; 0: no error at all
};
// By the codes' own quality for a tone; a wrong packing, law or state gives nothing above 5.
constexpr Case kCases[] = {
    {"PCM 8000", SoundFormat::Pcm, 8000, 4, 0},         {"PCM 16000", SoundFormat::Pcm, 16000, 4, 0},
    {"PCM 44100", SoundFormat::Pcm, 44100, 4, 0},       {"PCM 48000", SoundFormat::Pcm, 48000, 4, 0},
    {"plain G726", SoundFormat::PlainG726, 8000, 4, 0}, {"mu-law", SoundFormat::MuLaw, 8000, 4, 0},
    {"A-law", SoundFormat::ALaw, 8000, 4, 0},           {"G726, 2 bits", SoundFormat::G726, 8000, 2, 9},
    {"G726, 3 bits", SoundFormat::G726, 8000, 3, 16},   {"G726, 4 bits", SoundFormat::G726, 8000, 4, 22},
    {"G726, 5 bits", SoundFormat::G726, 8000, 5, 28},   {"Z726, 2 bits", SoundFormat::Z726, 8000, 2, 9},
    {"Z726, 3 bits", SoundFormat::Z726, 8000, 3, 16},   {"Z726, 4 bits", SoundFormat::Z726, 8000, 4, 22},
    {"Z726, 5 bits", SoundFormat::Z726, 8000, 5, 28},
};

int HertzOf(std::size_t channel) {
    return 300 + 40 * static_cast<int>(channel);
}

// What a channel's samples are when they arrive, by a second implementation of G.711.
Samples Expected(const Case& c, std::size_t channel, std::size_t count) {
    Samples samples(count);
    for (std::size_t i = 0; i < count; ++i) {
        const double turn = 2 * std::numbers::pi * HertzOf(channel) * static_cast<double>(i) / c.rate;
        const auto sample = static_cast<std::int16_t>(std::lround(10000 * std::sin(turn)));
        samples[i] = c.format == SoundFormat::MuLaw  ? ulaw_to_linear(linear_to_ulaw(sample))
                     : c.format == SoundFormat::ALaw ? alaw_to_linear(linear_to_alaw(sample))
                                                     : sample;
    }
    return samples;
}

// At the block from which the first of them was heard.
double BestDecibels(const Samples& wanted, const Samples& heard, std::size_t block) {
    double best = -1000;
    for (std::size_t at = 0; at + heard.size() <= wanted.size(); at += block) {
        best = std::max(best, Decibels(std::span(wanted).subspan(at), heard));
    }
    return best;
}

std::shared_ptr<CBaseCamera> Listen(std::uint16_t port, int channel) {
    CameraSettings settings = kvtest::SettingsOf(channel, port);
    settings.m_lpszSvrBase64Auth = kvtest::kAdminLogin;
    auto camera = kvtest::MakeCamera(settings);
    camera->SetSupportAudio(true);
    camera->StartCameraThreads();
    camera->StartPlaying(PlaySound::Yes);
    return camera;
}

// Sound whose samples tell the channel that it comes from.
std::string NumberFile(const kvtest::TempFolder& folder, int value) {
    const std::string path = folder.File("sound" + std::to_string(value) + ".wav");
    kvrecorder::WavWriter(path, 8000).Write(Samples(8000, static_cast<std::int16_t>(value)));
    return path;
}

}  // namespace

TEST(LiveSound, EachFormArrivesAsItWasSent) {
    kvtest::SoundingRecorder recorder(std::size(kCases));
    const auto clock = std::make_shared<kvtest::StandingClock>();
    recorder.options.mediaClock = clock;
    for (std::size_t i = 0; i < std::size(kCases); ++i) {
        recorder.config.channels[i].audio = true;
        recorder.config.channels[i].sound = {
            kCases[i].format, kCases[i].rate, kCases[i].bits, 0, HertzOf(i), {}};
    }
    recorder.Start();
    for (std::size_t i = 0; i < std::size(kCases); ++i) {
        SCOPED_TRACE(kCases[i].name);
        const CardsInPlace played;
        ASSERT_TRUE(WaitUntil([&] { return recorder.hub->Watchers() == 0; })) << "the one before is gone";
        const auto camera = Listen(recorder.Port(), static_cast<int>(i));
        ASSERT_TRUE(WaitUntil([&] { return recorder.hub->Watchers() == 1; }));
        recorder.ShowPicture();
        const auto block = static_cast<std::size_t>(kCases[i].rate) / 25;
        // Sound that comes before the picture is not played: a slow machine gets more of it.
        constexpr std::size_t kMostEarly = 10;
        const auto isHeard = [&] { return !played.all.Last().empty(); };
        for (std::size_t n = 0; n < kMostEarly && !isHeard(); ++n) {
            clock->Advance(kBlock);
            WaitUntil(isHeard, std::chrono::seconds(1));
        }
        ASSERT_TRUE(isHeard());
        // A block at a time, so that nothing is dropped on a slow machine.
        constexpr std::size_t kBlocks = 40;
        for (std::size_t n = 0; n < kBlocks; ++n) {
            const std::size_t before = played.all.Last().size();
            clock->Advance(kBlock);
            ASSERT_TRUE(WaitUntil([&] { return played.all.Last().size() > before; }));
        }
        const Samples heard = played.all.Last();
        EXPECT_EQ(heard.size() % block, 0u);
        const Samples wanted = Expected(kCases[i], i, heard.size() + kMostEarly * block);
        if (kCases[i].leastDecibels == 0) {
            EXPECT_EQ(BestDecibels(wanted, heard, block), 1000) << "every sample is as it was sent";
        } else {
            // What adapts has done so after a while.
            const Samples late(heard.begin() + 10 * static_cast<std::ptrdiff_t>(block), heard.end());
            EXPECT_GT(BestDecibels(wanted, late, block), kCases[i].leastDecibels);
        }
    }
}

TEST(LiveSound, ASoundCardThatHangsOrIsMissingCostsNoPicture) {
    kvtest::SoundingRecorder recorder(1);
    recorder.config.channels[0].audio = true;
    recorder.Start();
    class HangingCard final : public SoundCard {
    public:
        bool Open(const PcmFormat&) override { return true; }
        bool Play(std::span<const std::uint8_t>) override {
            std::unique_lock lock(m_mutex);
            m_changed.wait(lock, [this] { return m_cancelled; });
            return false;
        }
        void Close() override {}
        void Cancel() override {
            const std::lock_guard lock(m_mutex);
            m_cancelled = true;
            m_changed.notify_all();
        }

    private:
        std::mutex m_mutex;
        std::condition_variable m_changed;
        bool m_cancelled = false;
    };
    const auto before = Factories().waveOutput;
    Factories().waveOutput = []() -> std::unique_ptr<WaveOutput> {
        return std::make_unique<CWaveOutDevice>(
            [](const SoundFlag&) { return std::make_unique<HangingCard>(); });
    };
    const auto camera = Listen(recorder.Port(), 0);
    Factories().waveOutput = before;
    ASSERT_TRUE(WaitUntil([&] { return recorder.hub->Watchers() == 1; }));
    for (std::uint64_t i = 1; i <= 50; ++i) {
        recorder.ShowPicture();
        ASSERT_TRUE(
            WaitUntil([&] { return camera->GetStatistics().received >= i; }, std::chrono::seconds(1)));
    }
    EXPECT_EQ(Worker::AbandonedCount(), 0);
}

class ListeningConsole : public kvtest::ConsoleTest {
protected:
    ~ListeningConsole() override { Close(); }
    static int ThreadCount() {
        const std::filesystem::directory_iterator threads("/proc/self/task");
        return static_cast<int>(std::distance(begin(threads), end(threads)));
    }

    CardsInPlace played;
};

TEST_F(ListeningConsole, AHundredSwitchesPlayOneCameraAtATimeAndLeaveNothing) {
    constexpr int kCameras = 4;
    kvtest::SoundingRecorder recorder(kCameras);
    for (int i = 0; i < kCameras; ++i) {
        kvrecorder::ChannelConfig& channel = recorder.config.channels[static_cast<std::size_t>(i)];
        channel.audio = true;
        channel.sound = {SoundFormat::Pcm, 8000, 4, 0, 0, NumberFile(folder, 1000 + i)};
    }
    recorder.Start();
    Open(recorder.Port());
    ASSERT_TRUE(PumpUntil([&] { return recorder.hub->Watchers() == kCameras; }));
    recorder.ShowPicture();
    for (int i = 0; i < kCameras; ++i) {
        console->Parts().cameras.GetCameraByChannel(i)->SetSupportAudio(true);
    }
    const auto switchTo = [&](int n) {
        console->Parts().view.ActivateWindow(&Cell(n % kCameras));
        kvtest::Pump();
    };
    ASSERT_TRUE(console->Parts().heard.IsAudioChecked()) << "sound is on from the start";
    ASSERT_TRUE(PumpUntil([&] { return played.all.Heard() == 1000; }));
    switchTo(1);
    ASSERT_TRUE(PumpUntil([&] { return played.all.Heard() == 1001; }));
    const int threads = ThreadCount();
    for (int n = 2; n < 102; ++n) {
        switchTo(n);
        if (n % 10 == 0) {
            EXPECT_TRUE(PumpUntil([&] { return played.all.Heard() == 1000 + n % kCameras; })) << n;
        }
    }
    EXPECT_TRUE(PumpUntil([&] { return played.all.Heard() == 1001; })) << "the last one is heard";
    EXPECT_EQ(played.all.MostTogether(), 1);
    EXPECT_TRUE(PumpUntil([&] { return played.all.Open() == 1; }))
        << "the cards of the others are given back";
    EXPECT_LE(ThreadCount(), threads + kCameras) << "one for each device that stands open";

    // The button silences the camera and lets it be heard again; so does a camera that is not shown any more.
    Command(kCtlAudio);
    EXPECT_TRUE(PumpUntil([&] { return played.all.Open() == 0; }));
    played.all.Forget();
    switchTo(2);
    Command(kCtlAudio);
    EXPECT_TRUE(PumpUntil([&] { return played.all.Heard() == 1002; }));
    EXPECT_EQ(console->GetButton(kCtlAudio)->GetCheck(), BST_CHECKED);
    Command(kCtlFirstStyle);  // a single channel: the first one
    EXPECT_TRUE(PumpUntil([&] { return played.all.Open() <= 1; }));
    EXPECT_EQ(played.all.MostTogether(), 1);
}
