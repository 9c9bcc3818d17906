#include <gtest/gtest.h>

#include "persist/orvo_registry.h"
#include "platform/text.h"
#include "server/nvr_event_log.h"
#include "support/fake_clock.h"
#include "support/fake_recorder.h"
#include "support/message_log.h"
#include "support/temp_folder.h"

using namespace kvmon;
using namespace kvtest;

namespace {

const std::string kHead = "HTTP/1.0 200 OK\nX: y\n\n";

std::string EventXml(int level, const std::string& time, const std::string& text) {
    return FormatText("<info>\n<level>%d</level>\n<date_time>%s</date_time>\n<msg>%s</msg>\n</info>\n", level,
                      time.c_str(), text.c_str());
}

std::string At(int second) {
    return FormatText("2024-05-06 07:08:%02d", second);
}

CNvrEvent Entry(int second, const std::string& text, int level = 1) {
    CNvrEvent event;
    event.m_strServer = "Hall";
    event.m_nLevel = level;
    event.m_strTime = At(second);
    event.m_Time = ParseEventTime(event.m_strTime);
    event.m_strContent = text;
    return event;
}

std::vector<std::string> Texts(const CNvrEventList& list) {
    std::vector<std::string> texts;
    for (const CNvrEvent& event : list) {
        texts.push_back(event.m_strContent);
    }
    return texts;
}

using List = std::vector<std::string>;

CNvrEventList Parse(const std::string& body, std::int32_t* count = nullptr, CNvrEventList known = {}) {
    EventLogParser parser("Hall", std::move(known));
    for (std::size_t at = 0; at < body.size();) {
        const std::size_t end = std::min(body.find('\n', at), body.size() - 1);
        parser.AddLine(std::string_view(body).substr(at, end - at + 1));
        at = end + 1;
    }
    if (count != nullptr) {
        *count = parser.GetCount();
    }
    return parser.TakeEvents();
}

}  // namespace

TEST(NvrEvents, TimesAndTags) {
    EXPECT_EQ(ParseEventTime("1970-01-02 00:00:01"), 86401);
    EXPECT_EQ(ParseEventTime("2024-1-2 3:4:5"), ParseEventTime("2024-01-02 03:04:05"));
    for (const char* const bad : {"", "2024-01-02", "2024/01/02 03:04:05", "2024-13-02 03:04:05",
                                  "x-y-z a:b:c", "999999999999-01-02 03:04:05"}) {
        EXPECT_EQ(ParseEventTime(bad), 0) << bad;
    }
    EXPECT_EQ(TagText("a <msg>x < y</msg> b", "msg"), "x < y");
    EXPECT_EQ(TagText("</msg><msg>x", "msg"), std::nullopt);
    EXPECT_EQ(TagText("<msg>" + std::string(2046, 'a') + "</msg>", "msg")->size(), 2046u);
    EXPECT_EQ(TagText("<msg>" + std::string(2047, 'a') + "</msg>", "msg"), std::nullopt);
    const std::string longTag(61, 't');
    EXPECT_EQ(TagText("<" + longTag + ">x</" + longTag + ">", longTag), std::nullopt);
}

TEST(NvrEvents, BodyIsReadEntryByEntry) {
    std::int32_t count = 0;
    EXPECT_EQ(Texts(Parse("<num>3</num>\n" + EventXml(1, At(1), "one") + EventXml(4, At(2), "debug") +
                              EventXml(3, At(3), "three") + EventXml(2, "when?", "timeless"),
                          &count)),
              (List{"three", "one", "timeless"}))
        << "the debug entry's block ends without one";
    EXPECT_EQ(count, 3);
    // A block with a debug triple and another one: the second is taken.
    EXPECT_EQ(Texts(Parse("<num>1</num>\n<info>\n<level>4</level>\n<date_time>" + At(1) +
                          "</date_time>\n<msg>no</msg>\n<level>2</level>\n<msg>yes</msg>\n<date_time>" +
                          At(2) + "</date_time>\n</info>\n")),
              List{"yes"});
    // The first of each field counts; an entry that is cut off does not.
    EXPECT_EQ(Texts(Parse("<info>\n<level>1</level>\n<msg>a</msg>\n<msg>b</msg>\n<date_time>" + At(1) +
                              "</date_time>\n</info>\n<info>\n<level>1</level>\n",
                          &count)),
              List{"a"});
    EXPECT_EQ(count, -1);
}

TEST(NvrEvents, WhatIsKnownIsNotTakenAgain) {
    const CNvrEventList known = {Entry(5, "known")};
    const auto added = Parse("<num>4</num>\n" + EventXml(1, At(4), "older") + EventXml(1, At(5), "known") +
                                 EventXml(1, At(5), "same second") + EventXml(1, At(6), "newer") +
                                 EventXml(1, At(6), "newer"),
                             nullptr, known);
    EXPECT_EQ(Texts(added), (List{"newer", "same second"}));

    CNvrEventList list = {Entry(5, "b"), Entry(5, "a"), Entry(3, "c")};
    CNvrEventList group;
    EXPECT_EQ(TakeLatestGroup(list, &group), 2u);
    MergeEvents(list, {Entry(7, "f"), Entry(5, "e"), Entry(5, "a"), Entry(4, "d")});
    EXPECT_EQ(Texts(list), (List{"f", "e", "b", "a", "c"}));
}

TEST(NvrEvents, FloodKeepsTheNewest) {
    std::string body = "<num>1000</num>\n";
    for (int i = 0; i < 1000; ++i) {
        body += EventXml(1, FormatText("2024-01-01 %02d:%02d:00", i / 60, i % 60), std::to_string(i));
    }
    const auto list = Parse(body);
    ASSERT_EQ(list.size(), kMaxEvents);
    EXPECT_EQ(list.front().m_strContent, "999");
    EXPECT_EQ(list.back().m_strContent, "745");
}

TEST(NvrEvents, SecondsSinceTheLastFetchAlsoAcrossTheWrap) {
    EXPECT_EQ(EventLogSeconds(123456, 0), 6u);
    EXPECT_EQ(EventLogSeconds(15999, 5000), 22u);
    EXPECT_EQ(EventLogSeconds(9000, 0xFFFFFFFF - 999), 15u);
    EXPECT_EQ(EventLogSeconds(5000, 5000), (0xFFFFFFFFu) / 1000 + 6);
}

// --- with the thread

namespace {

class EventLog : public testing::Test {
protected:
    EventLog() {
        RegistryApp app;
        app.databasePath = folder.File("s.db");
        registry.InitRegistry(false, app);
        Arm(log);
    }
    void Arm(CGetNVREventLog& target) {
        target.SetThreadArg(3, "Hall", "127.0.0.1", recorder.Port(), "viewer", "pw", WindowHandle(window));
    }
    void Serve(const std::string& body) { recorder.SetDocument("get_log_info.cgi", kHead + body); }
    // The messages after the next fetch.
    Message Next() {
        EXPECT_TRUE(window->WaitFor(++expected));
        return window->All().at(expected - 1);
    }
    List Known() const {
        CNvrEventList list;
        log.GetEvents(list);
        return Texts(list);
    }
    std::string RequestLine() {
        const std::string head = recorder.Server().Heads().back();
        return head.substr(0, head.find('\r'));
    }

    TempFolder folder;
    COrvoRegistry registry;
    FakeClock clock;
    FakeRecorder recorder;
    std::shared_ptr<MessageLog> window = std::make_shared<MessageLog>();
    std::size_t expected = 0;
    CGetNVREventLog log{registry, clock};
};

}  // namespace

TEST_F(EventLog, FetchesOnRequestWithAnOverlap) {
    Serve("<num>1</num>\n" + EventXml(1, At(1), "one"));
    log.StartWork();
    EXPECT_EQ(Next(), (Message{WM_GETNVREVENT, 0, 3}));
    EXPECT_EQ(recorder.Server().Heads().back(),
              "GET /cgi-bin/get_log_info.cgi?sec=6 HTTP/1.0\r\nUser-Agent: Monitor\r\nHost: 127.0.0.1\r\n"
              "Authorization: Basic dmlld2VyOnB3\r\n\r\n");
    clock.Advance(Milliseconds(20500));
    Serve("<num>2</num>\n" + EventXml(1, At(1), "one") + EventXml(2, At(1), "two"));
    log.DoNow();
    EXPECT_EQ(Next(), (Message{WM_GETNVREVENT, 0, 3}));
    EXPECT_EQ(RequestLine(), "GET /cgi-bin/get_log_info.cgi?sec=32 HTTP/1.0");
    EXPECT_EQ(Known(), (List{"two", "one"}));
    // Nothing new is a good fetch, and the thread then waits for a request.
    Serve("<num>0</num>\n");
    log.DoNow();
    EXPECT_EQ(Next(), (Message{WM_GETNVREVENT, 0, 3}));
    clock.Advance(Milliseconds(60000));
    EXPECT_EQ(log.GetEventCount(), 2u);
    EXPECT_TRUE(log.StopWork(StopWait::ToTheEnd));
    EXPECT_EQ(recorder.Server().Heads().size(), 3u);
}

TEST_F(EventLog, FailuresAreRepeatedAfterThreeSeconds) {
    Serve("<num>1</num>\n" + EventXml(1, At(1), "kept"));
    log.StartWork();
    Next();
    for (const std::string& reply :
         {std::string("HTTP/1.0 404 Not Found\r\n\r\n"), kHead, kHead + EventXml(1, At(9), "uncounted"),
          std::string("garbage\n"), std::string()}) {
        recorder.SetDocument("get_log_info.cgi", reply);
        const auto before = clock.Waits().size();
        expected == 1 ? log.DoNow() : clock.Advance(Milliseconds(3000));
        EXPECT_EQ(Next(), (Message{WM_GETNVREVENT, 1, 0})) << reply;
        while (clock.Waits().size() == before) {
            std::this_thread::yield();
        }
        EXPECT_EQ(clock.Waits().back(), Milliseconds(3000));
    }
    EXPECT_EQ(Known(), List{"kept"});
    // Heads with CR LF are as good.
    recorder.SetDocument("get_log_info.cgi",
                         "HTTP/1.0 200 OK\r\nA: b\r\n\r\n<num>1</num>\r\n" + EventXml(1, At(2), "crlf"));
    clock.Advance(Milliseconds(3000));
    EXPECT_EQ(Next(), (Message{WM_GETNVREVENT, 0, 3}));
    EXPECT_EQ(Known(), (List{"crlf", "kept"}));
}

TEST_F(EventLog, OldestGoBeyond255) {
    std::string body = "<num>1</num>\n";
    CNvrEventList full;
    for (int i = 0; i < 255; ++i) {
        full.push_back(Entry(1, std::to_string(i)));
    }
    log.SetEvents(full);
    Serve("<num>2</num>\n" + EventXml(1, At(2), "x") + EventXml(1, At(3), "y"));
    log.StartWork();
    Next();
    const List known = Known();
    ASSERT_EQ(known.size(), 255u);
    EXPECT_EQ(known[0], "y");
    EXPECT_EQ(known[1], "x");
    EXPECT_EQ(known.back(), "252");
    log.ClearEvents();
    EXPECT_EQ(log.GetEventCount(), 0u);
}

TEST_F(EventLog, ListSurvivesAReloadWithinFiveSeconds) {
    const CNvrEventList list = {Entry(2, "new", 3), Entry(1, "old")};
    log.SetEvents(list);
    const auto reload = [&](int milliseconds) {
        clock.Advance(Milliseconds(milliseconds));
        CGetNVREventLog other(registry, clock);
        other.SetThreadArg(3, "Hall", "127.0.0.1", 1, "u", "p", {});
        other.LoadEvents();
        CNvrEventList loaded;
        other.GetEvents(loaded);
        return loaded;  // its end saves, with a new time
    };
    const CNvrEventList loaded = reload(4999);
    ASSERT_EQ(Texts(loaded), (List{"new", "old"}));
    EXPECT_TRUE(loaded[0].IsSame(list[0]));
    EXPECT_TRUE(reload(5000).empty());
}

TEST_F(EventLog, StopEndsASilentFetch) {
    recorder.On("get_log_info.cgi", [](Peer& peer) { peer.Hold(); });
    log.StartWork();
    ASSERT_TRUE(recorder.Server().WaitForHeads(1));
    EXPECT_TRUE(log.IsFetching());
    EXPECT_TRUE(log.StopWork(StopWait::Brief));
    EXPECT_TRUE(window->All().empty()) << "a stop is no failure";
}
