// The event logs, alone: who is asked, and who is told.
#include <gmock/gmock.h>

#include <mutex>

#include "console/events/event_center.h"
#include "console/ports/console_messages.h"
#include "console/settings/console_settings.h"
#include "platform/text.h"
#include "port_doubles.h"
#include "server/recorder_list.h"
#include "settings_fixture.h"
#include "skin/plain_text.h"
#include "support/fake_clock.h"
#include "support/qt_pump.h"
#include "support/scripted_server.h"

using namespace kvmon;
using kvtest::PumpUntil;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

std::string EntryText(int level, int second, const std::string& text) {
    return FormatText(
        "<info>\n<level>%d</level>\n<date_time>2024-05-06 07:08:%02d</date_time>\n<msg>%s</msg>\n</info>\n",
        level, second, text.c_str());
}

struct Note {
    QString title;
    QString text;
    bool bError;
};

class RecordingNotifier final : public DesktopNotifier {
public:
    explicit RecordingNotifier(std::vector<Note>& notes) : m_notes(notes) {}
    void Notify(const QString& title, const QString& text, bool bError) override {
        m_notes.push_back({title, text, bError});
    }

private:
    std::vector<Note>& m_notes;
};

class EventCenterTest : public kvtest::SettingsTest {
protected:
    EventCenterTest() {
        desk.window.onMessage = [this](std::uint32_t message, WParam code, LParam server) {
            if (message == WM_GETNVREVENT) {
                center.OnGetEvents(code, static_cast<int>(server));
            }
        };
        center.SetNotifier(std::make_unique<RecordingNotifier>(notes));
        // A thread that is refused again and again, and a name as from an answer before.
        recorders.AddServer("127.0.0.1", logServer.Port(), "admin", "secret");
        recorders.GetServer(0)->StartGetKelvaraInfo(StartMode::Anew);
        recorders.GetServer(0)->SetServerName("Hall");
    }
    void SetLog(const std::string& entries) {
        const std::lock_guard lock(mutex);
        log = entries;
    }
    std::string Reply() {
        const std::lock_guard lock(mutex);
        return "HTTP/1.0 200 OK\n\n<num>9</num>\n" + log;
    }
    std::size_t Fetches() const { return logServer.Heads().size(); }
    const CNvrEventList& All() const { return center.Events().All(); }

    std::mutex mutex;
    std::string log = EntryText(1, 1, "only news");
    kvtest::ScriptedServer logServer{[this](kvtest::Peer& peer) {
                                         peer.ReadHead();
                                         peer.Write(Reply());
                                     },
                                     "get_log_info.cgi"};
    kvtest::FakeClock clock;  // never moves: the refused thread rests
    kvtest::FakeDesk desk;
    kvtest::FakeTimers timers;
    ConsoleSettings settings;
    RecorderList recorders{clock};
    std::vector<Note> notes;
    EventCenter center{desk, timers, settings, recorders};
};

}  // namespace

TEST_F(EventCenterTest, TheOptionTellsOfWarningsAndErrorsWithoutAWindow) {
    settings.options.bEnableEventNotify = true;
    center.Start();
    EXPECT_EQ(timers.Period(kTimerEvents), 5000);
    ASSERT_TRUE(PumpUntil([&] { return All().size() == 1; }));
    EXPECT_THAT(notes, IsEmpty());
    SetLog(EntryText(2, 2, "warn") + EntryText(3, 2, "<i>fault</i>") + EntryText(1, 3, "x"));
    ASSERT_TRUE(PumpUntil([&] {
        center.OnTimer();
        return !notes.empty();
    }));
    ASSERT_THAT(notes, SizeIs(1));
    EXPECT_EQ(notes[0].title, "Error - Hall");
    EXPECT_EQ(notes[0].text, "<i>fault</i>\nand 1 more");
    EXPECT_TRUE(notes[0].bError);
    EXPECT_FALSE(NotificationText(notes[0].text).contains('<'));
    // What is told once is not told again.
    const std::size_t before = Fetches();
    ASSERT_TRUE(PumpUntil([&] {
        center.OnTimer();
        return Fetches() > before + 1;
    }));
    EXPECT_THAT(notes, SizeIs(1));
    center.Stop();
    EXPECT_THAT(All(), IsEmpty());
}

TEST_F(EventCenterTest, NobodyIsAskedWhileNobodyLooksOrIsLoggedIn) {
    center.Start();
    desk.loggedIn = false;
    settings.options.bEnableEventNotify = true;
    center.OnTimer();
    EXPECT_FALSE(PumpUntil([&] { return Fetches() > 0; }, std::chrono::milliseconds(100)));
    desk.loggedIn = true;
    center.OnTimer();
    ASSERT_TRUE(PumpUntil([&] { return All().size() == 1; }));
    // A recorder that goes takes its events along.
    recorders.RemoveServer(0);
    center.OnServersChanged();
    EXPECT_THAT(All(), IsEmpty());
}
