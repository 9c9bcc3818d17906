// What the client does when its computer has no more memory or threads: nothing ends, the user is told, and
// all goes on when there is enough again.
#include <gmock/gmock.h>

#include <optional>

#include "audio/wave_out_device.h"
#include "channel/base/own_fault_texts.h"
#include "codec/jpeg_codec.h"
#include "console_fixture.h"
#include "persist/log_file.h"
#include "persist/string_table.h"
#include "platform/diagnostics.h"
#include "server/nvr_event_log.h"
#include "shortage_hooks.h"
#include "skin/paint_threads.h"
#include "support/camera_maker.h"
#include "support/fake_recorder.h"
#include "support/message_log.h"
#include "support/qt_ui_watchdog.h"
#include "support/wait_until.h"
#include "wire/frame_header.h"

using namespace kvmon;
using kvtest::FakeRecorder;
using kvtest::HttpReply;
using kvtest::NoMemoryOn;
using kvtest::NoThreads;
using kvtest::OneNewFails;
using kvtest::PumpUntil;
using kvtest::WaitUntil;

namespace {

// One JPEG picture as a record of a stream.
std::string PictureRecord() {
    const BITMAPINFOHEADER info = MakeBitmapInfo(64, 48);
    const std::vector<std::uint8_t> bits(info.biSizeImage, 0x60);
    std::vector<std::uint8_t> jpeg;
    EXPECT_EQ(SaveJpegMemory(jpeg, info, bits, 80, true), nullptr);
    std::string record(wire::kFrameHeaderSize, '\0');
    const auto put = [&](std::size_t offset, std::uint32_t word) {
        for (int i = 0; i < 4; ++i) {
            record[offset + static_cast<std::size_t>(i)] = static_cast<char>(word >> 8 * i);
        }
    };
    put(wire::kFourccOffset, wire::kZIVG);
    put(wire::kKeyFlagOffset, 1);
    put(wire::kWidthOffset, 64);
    put(wire::kHeightOffset, 48);
    put(wire::kDataSizeOffset, static_cast<std::uint32_t>(jpeg.size()));
    return record + std::string(jpeg.begin(), jpeg.end());
}

kvtest::ScriptedServer::Script Pictures() {
    return [record = PictureRecord()](kvtest::Peer& peer) {
        peer.ReadHead();
        peer.Write(HttpReply(200, "OK", ""));
        while (peer.Write(record)) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    };
}

std::mutex toldMutex;
std::array<char, 4096> told{};  // on no heap

TEST(Shortage, AThreadsExceptionIsToldWithoutMemoryAndEndsItsThreadOnly) {
    LogFile();  // puts its own sink in place
    SetDiagnosticSink([](const char* text) {
        const std::lock_guard lock(toldMutex);
        std::strncat(told.data(), text, told.size() - std::strlen(told.data()) - 1);
    });
    for (const bool bOfTheLibrary : {true, false}) {
        const NoMemoryOn poor("kv-test");
        Worker worker;
        ASSERT_TRUE(worker.Start("kv-test", [bOfTheLibrary] {
            Trace("a line of %s\n", "a thread without memory");
            if (!bOfTheLibrary) {
                throw 1;
            }
            const std::string text(100, 'x');
        }));
        EXPECT_TRUE(worker.Wait(std::chrono::seconds(10)));
        EXPECT_EQ(NoMemoryOn::Failures(), bOfTheLibrary ? 1u : 0u) << "the words were made without memory";
    }
    {
        const NoThreads none;
        Worker worker;
        EXPECT_FALSE(worker.Start("kv-none", [] {}));
        EXPECT_FALSE(worker.IsHeld());
    }
    SetDiagnosticSink([](const char* text) { LogFile().Trace("%s", text); });
    const std::string all = told.data();
    EXPECT_THAT(all, testing::HasSubstr("kv-test ended by an exception: std::bad_alloc"));
    EXPECT_THAT(all, testing::HasSubstr("kv-test ended by an exception: no exception of"));
    EXPECT_THAT(all, testing::HasSubstr("kv-none could not be started: Resource temporarily unavailable"));
}

class ShortageOfAChannel : public testing::Test {
protected:
    void Start() {
        camera->StartCameraThreads();
        camera->StartPlaying(PlaySound::No);
    }
    // As the console does once a second.
    bool Says(OwnFault fault) {
        return WaitUntil([&] {
            camera->KeepThreads();
            return camera->Picture().GetMainCaption() == LoadString(TextOf(fault));
        });
    }
    bool Shows() {
        const std::uint64_t before = camera->GetStatistics().shown;
        return WaitUntil([&] {
            camera->KeepThreads();
            return camera->GetStatistics().shown > before + 1;
        });
    }

    kvtest::ScriptedServer recorder{Pictures(), "getstream.cgi"};
    std::shared_ptr<CBaseCamera> camera = kvtest::MakeCamera(kvtest::SettingsOf(0, recorder.Port()));
};

TEST_F(ShortageOfAChannel, AnExceptionInTheDecodingIsWordsInTheCellAndAnotherTry) {
    {
        const NoMemoryOn poor("kv-decode");
        Start();
        EXPECT_TRUE(Says(OwnFault::NoMemory)) << camera->Picture().GetMainCaption();
        EXPECT_EQ(camera->GetStatistics().shown, 0u);
    }
    EXPECT_TRUE(Shows());
    EXPECT_EQ(camera->Picture().GetMainCaption(), "");
}

TEST_F(ShortageOfAChannel, TheReceptionGoesOnWhenThereIsMemoryAgain) {
    {
        const NoMemoryOn poor("kv-video");
        Start();
        ASSERT_TRUE(WaitUntil([] { return NoMemoryOn::Failures() >= 2; }));
        EXPECT_EQ(camera->GetStatistics().shown, 0u);
    }
    EXPECT_TRUE(Shows());
}

TEST_F(ShortageOfAChannel, WhatACameraCanDoIsReadLater) {
    {
        const NoMemoryOn poor("kv-command");
        Start();
        ASSERT_TRUE(WaitUntil([] { return NoMemoryOn::Failures() > 0; }));
    }
    EXPECT_TRUE(WaitUntil([&] { return camera->IsCameraInfoLoaded(); }));
}

TEST_F(ShortageOfAChannel, ThreadsThatCannotBeStartedAreToldAndStartedLater) {
    {
        const NoThreads none;
        Start();
        EXPECT_EQ(NoThreads::Failures(), 3u);
        EXPECT_TRUE(Says(OwnFault::NoThread)) << camera->Picture().GetMainCaption();
        EXPECT_TRUE(camera->IsVideoRunning()) << "or the layout would take it for paused";
        EXPECT_TRUE(WaitUntil([&] {
            camera->KeepThreads();
            return NoThreads::Failures() >= 6;
        }));
    }
    EXPECT_TRUE(Shows());
    EXPECT_TRUE(camera->StopCameraThreads(StopWait::ToTheEnd));
    camera->KeepThreads();
    EXPECT_FALSE(camera->IsVideoRunning()) << "a stop holds";
}

TEST(ShortageOfSound, ABlockThatCannotBePlayedIsNotTheLast) {
    struct Card final : SoundCard {
        explicit Card(std::atomic<int>& thePlayed) : played(thePlayed) {}
        bool Open(const PcmFormat&) override { return true; }
        bool Play(std::span<const std::uint8_t>) override {
            const std::vector<int> work(100);
            ++played;
            return true;
        }
        void Close() override {}
        void Cancel() override {}
        std::atomic<int>& played;
    };
    std::atomic<int> played{0};
    CWaveOutDevice device([&](const SoundFlag&) { return std::make_unique<Card>(played); });
    ASSERT_TRUE(device.Open({}));
    const std::vector<std::uint8_t> block(1600);
    {
        const NoMemoryOn poor("sound");
        device.Write(block);
        ASSERT_TRUE(WaitUntil([] { return NoMemoryOn::Failures() > 0; }));
        EXPECT_EQ(played, 0);
    }
    EXPECT_TRUE(WaitUntil([&] { return device.Write(block) && played > 0; }));
}

TEST(ShortageOfTheEventLog, AFetchWithoutMemoryIsRepeated) {
    kvtest::TempFolder folder;
    COrvoRegistry registry;
    RegistryApp app;
    app.databasePath = folder.File("settings.db");
    registry.InitRegistry(false, app);
    FakeRecorder recorder;
    recorder.SetDocument("get_log_info.cgi", "HTTP/1.0 200 OK\r\n\r\n<num>0</num>\n");
    const auto window = std::make_shared<kvtest::MessageLog>();
    CGetNVREventLog log(registry);
    log.SetThreadArg(3, "section", "127.0.0.1", recorder.Port(), "u", "p", WindowHandle(window));
    {
        const NoMemoryOn poor("kv-events");
        log.StartWork();
        ASSERT_TRUE(WaitUntil([] { return NoMemoryOn::Failures() >= 2; })) << "the fetch, and the word of it";
        EXPECT_FALSE(log.IsEnded());
    }
    EXPECT_TRUE(window->WaitFor(1));
    EXPECT_THAT(window->All(), testing::ElementsAre(kvtest::Message{WM_GETNVREVENT, 0, 3}));
    EXPECT_TRUE(log.StopWork(StopWait::ToTheEnd));
}

// Once threads come back in time, and once they never do.
TEST(ShortageOfSettings, NothingIsLostWithoutAThreadToWriteIt) {
    for (const bool bLater : {true, false}) {
        const kvtest::TempFolder folder;
        RegistryApp app;
        app.databasePath = folder.File("settings.db");
        {
            COrvoRegistry registry;
            std::optional<NoThreads> none(std::in_place);
            registry.InitRegistry(false, app);
            EXPECT_TRUE(registry.WriteProfileInt("View", "Style", 3));
            EXPECT_GE(NoThreads::Failures(), 2u);
            if (bLater) {
                none.reset();
                EXPECT_TRUE(registry.WriteProfileInt("View", "Page", 7));
                // Written by the thread, not by the end: another program reads it now.
                EXPECT_TRUE(WaitUntil([&] {
                    COrvoRegistry other;
                    other.InitRegistry(false, app);
                    return other.GetProfileInt("View", "Page", 0) == 7;
                }));
            }
            EXPECT_TRUE(registry.Close());
        }
        COrvoRegistry again;
        again.InitRegistry(false, app);
        EXPECT_EQ(again.GetProfileInt("View", "Style", 0), 3u) << bLater;
    }
}

class ShortageOnTheWall : public kvtest::ConsoleTest {
protected:
    QLabel& Line() { return *console->findChild<QLabel*>("statusLine"); }
    bool Says(const std::string& text) {
        const bool bSaid =
            PumpUntil([&] { return Line().text().toStdString().find(text) != std::string::npos; });
        EXPECT_TRUE(bSaid) << Line().text().toStdString();
        return bSaid;
    }
};

TEST_F(ShortageOnTheWall, ARecordersThreadGoesOnWhenThereIsMemoryAgain) {
    FakeRecorder recorder("Lobby", 2);
    {
        const NoMemoryOn poor("server");
        Start(recorder.Port(), SystemClock());
        EXPECT_TRUE(Says(LoadString(kTextNoMemory)));
    }
    EXPECT_TRUE(Says("Connected to Lobby"));
    ASSERT_TRUE(recorder.WaitForListener());

    // In the midst of a session, too.
    {
        const NoMemoryOn poor("server");
        recorder.Notify("2\n");
        EXPECT_TRUE(Says("Connection to Lobby lost - " + LoadString(kTextNoMemory)));
    }
    EXPECT_TRUE(Says("Connected to Lobby"));
}

class ShortageInAnEvent : public ShortageOnTheWall {
protected:
    ShortageInAnEvent() { kvtest::WatchedApplication::Instance().SurviveShortage(true); }
    ~ShortageInAnEvent() override { kvtest::WatchedApplication::Instance().SurviveShortage(false); }
    static bool Inside() { return kvtest::WatchedApplication::Instance().IsHandling(); }
    bool BecomesWhole() {
        return PumpUntil([&] {
            return ShownNames() ==
                       std::vector<std::string>{"Channel 1", "Channel 2", "Channel 3", "Channel 4"} &&
                   Line().text().startsWith("Connected to Lobby");
        });
    }

    FakeRecorder recorder{"Lobby", 4};
};

TEST_F(ShortageInAnEvent, ACellThatThereWasNoMemoryForComesLater) {
    Start(recorder.Port());
    const OneNewFails one(2, Inside, sizeof(CVideoWnd));
    EXPECT_TRUE(BecomesWhole());
    EXPECT_GT(OneNewFails::Asked(), 42u);
}

TEST_F(ShortageOnTheWall, ARecorderWithoutAThreadGetsOneLater) {
    FakeRecorder recorder("Lobby", 2);
    // As the program does at its start: without them the toolkit waits for ever.
    ASSERT_TRUE(HoldPaintThreads());
    {
        const NoThreads none;
        Start(recorder.Port(), SystemClock());
        EXPECT_TRUE(Says(LoadString(kTextNoThread)));
        EXPECT_TRUE(Says("trying again in"));
    }
    EXPECT_TRUE(Says("Connected to Lobby"));
}

}  // namespace
