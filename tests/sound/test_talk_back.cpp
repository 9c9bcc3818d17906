// What a user says is what the recorder keeps.
#include <gmock/gmock.h>

#include <QtWidgets/QLabel>
#include <QtWidgets/QPushButton>
#include <cmath>
#include <future>
#include <numbers>

#include "../console/console_fixture.h"
#include "audio/sound_in.h"
#include "channel/base/channel_messages.h"
#include "channel/sound/talk_back.h"
#include "console/sound/level_meter.h"
#include "console/sound/send_sound_dlg.h"
#include "media/wav_file.h"
#include "skin/wait_dlg.h"
#include "sound_bench.h"
#include "support/camera_maker.h"
#include "support/fake_clock.h"
#include "support/message_log.h"
#include "support/scripted_server.h"

using namespace kvmon;
using kvtest::Decibels;
using kvtest::PumpUntil;
using kvtest::Samples;
using testing::ElementsAre;
using testing::SizeIs;

namespace {

// Gives a sound as fast as it is read, and then says nothing more.
class QuickMicrophone final : public Microphone {
public:
    QuickMicrophone(Samples samples, bool endless) : m_samples(std::move(samples)), m_endless(endless) {}
    bool Open(const PcmFormat& format) override {
        return format.channels == 1 && format.samplesPerSecond == 8000 && format.sampleBits == 16;
    }
    bool Read(std::span<std::int16_t> block) override {
        if (m_next + block.size() > m_samples.size()) {
            if (!m_endless) {
                m_cancel.Wait();
            }
            m_next = 0;
        }
        if (m_cancel.IsSet()) {
            return false;
        }
        std::copy_n(m_samples.begin() + static_cast<std::ptrdiff_t>(m_next), block.size(), block.begin());
        m_next += block.size();
        return true;
    }
    void Close() override {}
    void Cancel() override { m_cancel.Set(); }

private:
    const Samples m_samples;
    const bool m_endless;
    std::size_t m_next = 0;
    Event m_cancel;
};

class NoMicrophone final : public Microphone {
public:
    bool Open(const PcmFormat&) override { return false; }
    bool Read(std::span<std::int16_t>) override { return false; }
    void Close() override {}
    void Cancel() override {}
};

// Gives one block, and then nothing: unplugged, or taken by another program.
class DyingMicrophone final : public Microphone {
public:
    bool Open(const PcmFormat&) override { return true; }
    bool Read(std::span<std::int16_t> block) override {
        std::fill(block.begin(), block.end(), std::int16_t{9000});
        return !std::exchange(m_given, true);
    }
    void Close() override {}
    void Cancel() override {}

private:
    bool m_given = false;
};

Samples Speech(std::size_t count) {
    Samples samples(count);
    for (std::size_t i = 0; i < count; ++i) {
        const double t = static_cast<double>(i) / 8000;
        const double swell = 0.6 + 0.4 * std::sin(2 * std::numbers::pi * 3 * t);
        samples[i] = static_cast<std::int16_t>(swell * (6000 * std::sin(2 * std::numbers::pi * 210 * t) +
                                                        3000 * std::sin(2 * std::numbers::pi * 640 * t)));
    }
    return samples;
}

MicrophoneFactory Says(Samples samples, bool endless = false) {
    return [samples = std::move(samples), endless] {
        return std::make_unique<QuickMicrophone>(samples, endless);
    };
}

std::shared_ptr<CBaseCamera> TalkingCamera(std::uint16_t port, Clock& clock = SystemClock(),
                                           const char* auth = kvtest::kAdminLogin, std::uint32_t type = 1) {
    CameraSettings settings = kvtest::SettingsOf(0, port);
    settings.m_lpszSvrBase64Auth = auth;
    auto camera = kvtest::MakeCamera(settings, clock);
    camera->SetTalkCapability(1, type);
    return camera;
}

std::vector<std::string> Files(const std::string& folder) {
    std::vector<std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

// The dialog deletes itself when it is over.
class TalkDialog : public testing::Test {
protected:
    ~TalkDialog() override {
        if (dialog) {
            dialog->Cancel();
        }
        EXPECT_TRUE(PumpUntil([&] { return dialog.isNull(); })) << "no thread of it stays";
        EXPECT_EQ(Worker::AbandonedCount(), 0);
    }
    void Talk(const std::shared_ptr<CBaseCamera>& camera, MicrophoneFactory microphone) {
        owner.show();
        dialog = new CSendSoundDlg(&owner, camera, std::move(microphone));
        dialog->Open();
    }
    std::string WaitText() {
        const CWaitDlg* const wait = dialog->WaitDialog();
        return wait != nullptr && wait->IsOpen() ? wait->windowTitle().toStdString() : "";
    }

    WindowBase owner;
    QPointer<CSendSoundDlg> dialog;
};

}  // namespace

TEST_F(TalkDialog, TheRecorderKeepsWhatTheMicrophoneHeard) {
    const kvtest::TempFolder kept;
    kvtest::SoundingRecorder recorder(1);
    recorder.config.channels[0].talk = true;
    recorder.config.server.talkFolder = kept.Path();
    recorder.Start();
    const Samples said = Speech(8 * 2000);
    Talk(TalkingCamera(recorder.Port()), Says(said));
    EXPECT_TRUE(PumpUntil([&] { return WaitText() == "Please wait for connecting..."; }));
    EXPECT_TRUE(dialog->isHidden());
    ASSERT_TRUE(PumpUntil([&] { return dialog->isVisible(); }))
        << "the first block tells that the link works";
    EXPECT_EQ(WaitText(), "");
    const int level = TalkLevel(std::span(said).last(2000));
    EXPECT_THAT(level, testing::AllOf(testing::Gt(0), testing::Lt(100)));
    EXPECT_TRUE(PumpUntil([&] { return dialog->Meter().GetPos() == level; }));
    std::vector<std::string> files;
    ASSERT_TRUE(PumpUntil([&] {
        files = Files(kept.Path());
        return files.size() == 1 && std::filesystem::file_size(files[0]) >= 44 + said.size() * 2;
    }));
    recorder.service->Stop();  // the head of the file is put right at the end
    const Samples heard = kvrecorder::ReadWav(files[0], 8000);
    ASSERT_EQ(heard.size(), said.size());
    EXPECT_GT(Decibels(said, heard), 20) << "as well as four bits a sample can";
}

TEST_F(TalkDialog, ARecorderThatReadsNothingIsToldOfAndTriedAgain) {
    kvtest::FakeClock clock(true);
    clock.SetSocketRound(Milliseconds(1));
    kvtest::SoundingRecorder recorder(1);
    recorder.config.channels[0].talk = true;
    recorder.config.server.talkStalls = true;
    recorder.Start();
    Talk(TalkingCamera(recorder.Port(), clock), Says(Speech(2000), true));
    ASSERT_TRUE(PumpUntil([&] { return dialog->isVisible(); }));
    ASSERT_TRUE(PumpUntil([&] { return dialog->IsTimerSet(1100); })) << "the stall is noticed";
    EXPECT_EQ(dialog->Meter().GetPos(), 0);
    EXPECT_TRUE(PumpUntil([&] {
        return dialog->findChild<QLabel*>()->text() == QLatin1String("Disconnected(5:0)");
    })) << "the connection's word first, the recording's last";
    const auto told = std::chrono::steady_clock::now();
    ASSERT_TRUE(PumpUntil([&] { return WaitText() == "Please wait for connecting..."; }));
    const auto again = std::chrono::steady_clock::now() - told;
    EXPECT_GE(again, std::chrono::milliseconds(2800));
    EXPECT_LT(again, std::chrono::milliseconds(4500));
    dialog->Cancel();
    EXPECT_FALSE(dialog->isVisible()) << "gone at once";
    EXPECT_EQ(WaitText(), "");
}

TEST_F(TalkDialog, AMicrophoneThatGivesNothingIsToldOfAndTriedAgain) {
    kvtest::ScriptedServer server([](kvtest::Peer& peer) {
        peer.ReadHead();
        peer.Hold();
    });
    std::atomic<int> opened{0};
    Talk(TalkingCamera(server.Port()), [&] {
        ++opened;
        return std::make_unique<DyingMicrophone>();
    });
    const QString told = QStringLiteral("Disconnected(11:1) - The microphone gives no sound.");
    // The first block has closed the wait, whichever of the two words came first.
    ASSERT_TRUE(PumpUntil([&] { return dialog->isVisible() && dialog->IsTimerSet(1100); }));
    EXPECT_EQ(dialog->findChild<QLabel*>()->text(), told);
    EXPECT_EQ(opened, 1);
    EXPECT_EQ(dialog->Meter().GetPos(), 0) << "no sound goes out";
    EXPECT_TRUE(PumpUntil([&] { return opened == 2; })) << "tried again";
}

TEST_F(TalkDialog, EachFailureHasItsNumbersAndCancelEndsAll) {
    const auto fails = [&](const std::shared_ptr<CBaseCamera>& camera, MicrophoneFactory microphone,
                           const std::string& text) {
        Talk(camera, std::move(microphone));
        EXPECT_TRUE(PumpUntil([&] { return WaitText() == text; })) << text << " and not " << WaitText();
        EXPECT_TRUE(dialog->IsTimerSet(1100));
        dialog->WaitDialog()->findChild<QPushButton*>()->click();
        EXPECT_TRUE(dialog->IsOver()) << "cancelling the wait cancels the dialog";
        EXPECT_TRUE(PumpUntil([&] { return dialog.isNull(); }));
    };
    kvtest::ScriptedServer server([](kvtest::Peer& peer) {
        peer.ReadHead();
        peer.Hold();
    });
    fails(TalkingCamera(kvtest::UnusedPort()), Says(Speech(2000)), "Disconnected(3:0)");
    fails(
        TalkingCamera(server.Port()), [] { return std::make_unique<NoMicrophone>(); },
        "Disconnected(11:0) - No microphone was found.");
    // Its form of sound is none that can be made; the recording tells last.
    fails(TalkingCamera(server.Port(), SystemClock(), "YWRtaW46c2VjcmV0", 2), Says(Speech(2000)),
          "Disconnected(5:0)");
}

TEST(TalkBackWire, OneRequestAndBareSound) {
    std::promise<std::string> read;
    kvtest::ScriptedServer server(
        [&](kvtest::Peer& peer) {
            peer.ReadHead();
            read.set_value(peer.Read(3000));
            peer.Hold();
        },
        "putaudiostream");
    const auto log = std::make_shared<kvtest::MessageLog>();
    const WindowHandle window(log);
    const auto camera = TalkingCamera(server.Port());
    const auto abort = std::make_shared<FlagWord>(0);
    ASSERT_TRUE(camera->PrepareTalking(window, abort));
    const Samples said = Speech(3 * 2000);
    for (std::size_t at = 0; at < said.size(); at += 2000) {
        ASSERT_TRUE(camera->SendTalkingData(window, std::span(said).subspan(at, 2000)));
    }
    const std::string sound = read.get_future().get();
    ASSERT_EQ(sound.size(), 3000u);
    EXPECT_THAT(server.Heads(),
                ElementsAre("GET /cgi-bin/putaudiostream.cgi?ch=0 HTTP/1.0\r\nHost: 127.0.0.1:" +
                            std::to_string(server.Port()) +
                            "\r\nAuthorization: Basic YWRtaW46c2VjcmV0\r\n"
                            "Content-Type: multipart/mixed;boundary=TARENOLIKA_MEDIACGI\r\n\r\n"));
    G726Codec decoder;
    decoder.Open(1, 8000, 32000, G726Packing::LowFirst);
    Samples heard;
    const std::vector<std::uint8_t> bytes(sound.begin(), sound.end());
    decoder.Decode(bytes, heard);
    ASSERT_EQ(heard.size(), said.size());
    EXPECT_GT(Decibels(said, heard), 20);
    EXPECT_THAT(log->All(), SizeIs(0));

    // A type that cannot be coded posts its failure; no capability, nothing at all.
    camera->SetTalkCapability(1, 7);
    EXPECT_EQ(camera->GetTalkingEncodedSize(4000), 0u);
    EXPECT_FALSE(camera->SendTalkingData(window, std::span(said).first(2000)));
    EXPECT_THAT(log->All(), ElementsAre(kvtest::Message{WM_TALKING_NOTIFY, 12, 0}));
    camera->SetTalkCapability(0, 1);
    EXPECT_FALSE(camera->PrepareTalking(window, abort));
    EXPECT_EQ(log->All().size(), 1u);
}

TEST(TalkBackWire, OneTalksToAChannelAndTheSameUserTakesOver) {
    const kvtest::TempFolder kept;
    kvtest::SoundingRecorder recorder(1);
    recorder.config.channels[0].talk = true;
    recorder.config.server.talkFolder = kept.Path();
    recorder.options.lingerTime = std::chrono::milliseconds(50);
    recorder.Start();
    const auto log = std::make_shared<kvtest::MessageLog>();
    const WindowHandle window(log);
    const auto abort = std::make_shared<FlagWord>(0);
    const Samples said = Speech(2000);
    const auto says = [&](CBaseCamera& camera) { return camera.SendTalkingData(window, said); };
    const auto first = TalkingCamera(recorder.Port());
    ASSERT_TRUE(first->PrepareTalking(window, abort));
    ASSERT_TRUE(says(*first));
    ASSERT_TRUE(kvtest::WaitUntil([&] { return Files(kept.Path()).size() == 1; }));
    // Another user's sound goes nowhere: the recorder closes.
    const auto second = TalkingCamera(recorder.Port(), SystemClock(), "c2Vjb25kOnNlY3JldA==");
    ASSERT_TRUE(second->PrepareTalking(window, abort));
    EXPECT_TRUE(kvtest::WaitUntil([&] { return !says(*second); }));
    EXPECT_THAT(Files(kept.Path()), SizeIs(1));
    EXPECT_TRUE(says(*first));
    // The same user, who left the connection open, comes anew.
    const auto third = TalkingCamera(recorder.Port());
    ASSERT_TRUE(third->PrepareTalking(window, abort));
    ASSERT_TRUE(says(*third));
    EXPECT_TRUE(kvtest::WaitUntil([&] { return Files(kept.Path()).size() == 2; }));
    EXPECT_TRUE(kvtest::WaitUntil([&] { return !says(*first); }));
}

TEST(TalkLevelTest, TellsHowTheBlockEnded) {
    EXPECT_LT(TalkLevel(Samples(2000, 0)), -1000000);
    EXPECT_EQ(TalkLevel(Samples(2000, 32767)), 99);
    EXPECT_EQ(TalkLevel(Samples(2000, -328)), 0);
    Samples ends(2000, 20000);
    std::fill(ends.end() - 40, ends.end(), std::int16_t{0});
    EXPECT_LT(TalkLevel(ends), 0) << "the mean follows the last samples";
}

TEST(FileMicrophoneTest, GivesTheFileAtItsPaceAndThenSilence) {
    const kvtest::TempFolder folder;
    const Samples said = Speech(3000);
    kvrecorder::WavWriter(folder.File("said.wav"), 8000).Write(said);
    kvtest::FakeClock clock(true);
    const auto microphone = CreateFileMicrophone(folder.File("said.wav"), clock);
    ASSERT_TRUE(microphone->Open({}));
    const std::uint64_t start = clock.TickMs();
    Samples heard(4000);
    EXPECT_TRUE(microphone->Read(std::span(heard).first(2000)));
    EXPECT_TRUE(microphone->Read(std::span(heard).last(2000)));
    EXPECT_EQ(clock.TickMs() - start, 500u);
    Samples wanted = said;
    wanted.resize(4000);
    EXPECT_EQ(heard, wanted);
    microphone->Cancel();
    EXPECT_FALSE(microphone->Read(heard));
    EXPECT_FALSE(CreateFileMicrophone(folder.File("said.wav"))->Open({2, 16, 8000}));
    EXPECT_FALSE(CreateFileMicrophone(folder.File("none.wav"))->Open({}));
}
