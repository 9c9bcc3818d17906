#include <gmock/gmock.h>

#include <condition_variable>
#include <fstream>

#include "audio/wave_out_device.h"
#include "support/fake_clock.h"
#include "support/temp_folder.h"
#include "support/wait_until.h"

namespace kvmon {
namespace {

using testing::ElementsAre;
using Bytes = std::vector<std::uint8_t>;

// What a test sees and steers of the card that a device made for itself.
struct CardState {
    std::mutex mutex;
    std::condition_variable changed;
    Bytes played;
    int opened = 0;
    int closed = 0;
    bool stalled = false;
    bool cancelled = false;
    bool absent = false;
};

class FakeCard final : public SoundCard {
public:
    explicit FakeCard(std::shared_ptr<CardState> state) : m_state(std::move(state)) {}

    bool Open(const PcmFormat&) override {
        const std::lock_guard lock(m_state->mutex);
        ++m_state->opened;
        return !m_state->absent;
    }
    bool Play(std::span<const std::uint8_t> block) override {
        std::unique_lock lock(m_state->mutex);
        m_state->changed.wait(lock, [&] { return !m_state->stalled || m_state->cancelled; });
        if (!m_state->cancelled) {
            m_state->played.insert(m_state->played.end(), block.begin(), block.end());
        }
        return !m_state->cancelled;
    }
    void Close() override {
        const std::lock_guard lock(m_state->mutex);
        ++m_state->closed;
    }
    void Cancel() override {
        const std::lock_guard lock(m_state->mutex);
        m_state->cancelled = true;
        m_state->changed.notify_all();
    }

private:
    std::shared_ptr<CardState> m_state;
};

class WaveOutDeviceTest : public testing::Test {
protected:
    Bytes Played() {
        const std::lock_guard lock(m_card->mutex);
        return m_card->played;
    }
    int Opened() {
        const std::lock_guard lock(m_card->mutex);
        return m_card->opened;
    }
    void Stall(bool bStalled) {
        const std::lock_guard lock(m_card->mutex);
        m_card->stalled = bStalled;
        m_card->changed.notify_all();
    }
    bool WaitPlayed(std::size_t size) {
        return kvtest::WaitUntil([&] { return Played().size() >= size; });
    }
    static WaveFormats Of(std::uint16_t waveType, std::uint16_t bits) {
        WaveFormats formats;
        formats.inWaveType = waveType;
        formats.inSampleBits = bits;
        return formats;
    }

    std::shared_ptr<CardState> m_card = std::make_shared<CardState>();
    kvtest::FakeClock m_clock;
    CWaveOutDevice m_device{[this](const SoundFlag&) { return std::make_unique<FakeCard>(m_card); }, m_clock};
};

TEST_F(WaveOutDeviceTest, ExpandsEachFormatByItsFactor) {
    const struct {
        std::uint16_t waveType;
        std::uint16_t bits;
        std::size_t in, out;
    } cases[] = {{WAVE_FORMAT_PCM, 16, 320, 320},  {WAVE_FORMAT_ALAW, 8, 160, 320},
                 {WAVE_FORMAT_MULAW, 8, 160, 320}, {WAVE_FORMAT_G726_ADPCM, 4, 100, 400},
                 {kWaveFormatZ726, 2, 100, 800},   {kWaveFormatZ726, 5, 100, 320}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.waveType);
        const std::size_t before = Played().size();
        ASSERT_TRUE(m_device.Open(Of(c.waveType, c.bits)));
        EXPECT_TRUE(m_device.Write(Bytes(c.in, 0x5A)));
        EXPECT_TRUE(WaitPlayed(before + c.out));
        EXPECT_EQ(Played().size(), before + c.out);
        m_device.Close();
        m_card->cancelled = false;  // the next opening makes a card anew
    }
}

TEST_F(WaveOutDeviceTest, RefusesWhatItCannotPlay) {
    EXPECT_FALSE(m_device.Write(Bytes(10)));
    EXPECT_FALSE(m_device.Open(Of(WAVE_FORMAT_G726_ADPCM, 8)));
    EXPECT_FALSE(m_device.Open(Of(kWaveFormatZ726, 1)));
    WaveFormats mute;
    mute.outSamplesPerSecond = 0;
    EXPECT_FALSE(m_device.Open(mute));
    WaveFormats endless;
    endless.outSamplesPerSecond = 0xFFFFFFFF;
    EXPECT_FALSE(m_device.Open(endless));
    ASSERT_TRUE(m_device.Open({}));
    EXPECT_FALSE(m_device.Open({}));
    m_device.Close();
    m_device.Close();
    EXPECT_FALSE(m_device.Write(Bytes(10)));
}

TEST_F(WaveOutDeviceTest, AStalledCardCostsTheOldestSoundAndNothingElse) {
    m_card->stalled = true;
    ASSERT_TRUE(m_device.Open({}));
    // A block of 100 ms; the first one is in the card's hands.
    const auto block = [](std::uint8_t number) { return Bytes(1600, number); };
    ASSERT_TRUE(m_device.Write(block(0)));
    ASSERT_TRUE(kvtest::WaitUntil([&] { return Opened() == 1; }));
    for (std::uint8_t i = 1; i <= 100; ++i) {
        EXPECT_TRUE(m_device.Write(block(i)));
    }
    EXPECT_GE(m_device.DroppedBlocks(), 93u);
    Stall(false);
    ASSERT_TRUE(kvtest::WaitUntil([&] { return !Played().empty() && Played().back() == 100; }));
    EXPECT_LE(Played().size(), 1600u * 8);
}

TEST_F(WaveOutDeviceTest, SoundThatComesInBurstsIsPlayedWhole) {
    ASSERT_TRUE(m_device.Open({}));
    // A second of sound in records of 100 ms, while the card has the first of them.
    std::size_t sent = 0;
    const auto burst = [&] {
        Stall(true);
        for (int i = 0; i < 10; ++i) {
            EXPECT_TRUE(m_device.Write(Bytes(1600, 1)));
            sent += 1600;
        }
    };
    for (int i = 0; i < 3; ++i) {
        burst();
        m_clock.Advance(Milliseconds(1000));
        Stall(false);
        ASSERT_TRUE(WaitPlayed(sent));
        m_clock.Advance(Milliseconds(5000));
    }
    EXPECT_EQ(m_device.DroppedBlocks(), 0u);
    burst();
    m_clock.Advance(Milliseconds(2100));
    EXPECT_TRUE(m_device.Write(Bytes(1600, 1)));
    EXPECT_GE(m_device.DroppedBlocks(), 4u) << "it does not go";
}

TEST_F(WaveOutDeviceTest, CloseEndsAStalledCardAtOnce) {
    m_card->stalled = true;
    ASSERT_TRUE(m_device.Open({}));
    ASSERT_TRUE(m_device.Write(Bytes(1600)));
    ASSERT_TRUE(kvtest::WaitUntil([&] { return Opened() == 1; }));
    m_device.Close();
    EXPECT_TRUE(Played().empty());
    EXPECT_EQ(Worker::AbandonedCount(), 0);
}

TEST_F(WaveOutDeviceTest, AnAbsentCardIsTriedAgainWithTheNextBlock) {
    m_card->absent = true;
    ASSERT_TRUE(m_device.Open({}));
    EXPECT_TRUE(m_device.Write(Bytes(320, 1)));
    ASSERT_TRUE(kvtest::WaitUntil([&] { return Opened() == 1; }));
    {
        const std::lock_guard lock(m_card->mutex);
        m_card->absent = false;
    }
    EXPECT_TRUE(m_device.Write(Bytes(4, 2)));
    EXPECT_TRUE(WaitPlayed(4));
    EXPECT_THAT(Played(), ElementsAre(2, 2, 2, 2));
}

TEST_F(WaveOutDeviceTest, AnIdleCardIsGivenBackAndTakenAgain) {
    ASSERT_TRUE(m_device.Open({}));
    EXPECT_TRUE(m_device.Write(Bytes(320)));
    ASSERT_TRUE(WaitPlayed(320));
    ASSERT_TRUE(kvtest::WaitUntil([&] { return !m_clock.Waits().empty(); }));
    m_clock.Advance(CWaveOutDevice::kIdle);
    ASSERT_TRUE(kvtest::WaitUntil([&] {
        const std::lock_guard lock(m_card->mutex);
        return m_card->closed == 1;
    }));
    EXPECT_TRUE(m_device.Write(Bytes(320)));
    EXPECT_TRUE(WaitPlayed(640));
    EXPECT_EQ(Opened(), 2);
}

TEST(SoundCardTest, PlaysIntoAFileSampleBySample) {
    const kvtest::TempFolder folder;
    const std::string path = folder.File("sound.raw");
    ::setenv("SDL_AUDIODRIVER", "disk", 1);
    ::setenv("SDL_DISKAUDIOFILE", path.c_str(), 1);
    ::setenv("SDL_DISKAUDIODELAY", "1", 1);
    Bytes sound(16000);
    for (std::size_t i = 0; i < sound.size(); ++i) {
        sound[i] = static_cast<std::uint8_t>(i % 251 + 1);
    }
    const auto card = CreateSoundCard();
    ASSERT_TRUE(card->Open({}));
    for (std::size_t at = 0; at < sound.size(); at += 1600) {
        ASSERT_TRUE(card->Play(std::span(sound).subspan(at, 1600)));
    }
    // This much lies behind all sound when it is taken.
    ASSERT_TRUE(card->Play(Bytes(16000)));
    ASSERT_TRUE(card->Play(Bytes(2)));
    card->Close();
    std::ifstream file(path, std::ios::binary);
    Bytes bytes(std::istreambuf_iterator<char>(file), {});
    std::erase(bytes, 0);  // silence before and behind
    EXPECT_EQ(bytes, sound);
}

}  // namespace
}  // namespace kvmon
