// The event log, what is entered in it, and the states that follow.
#include <atomic>
#include <chrono>
#include <future>
#include <thread>

#include "media/scene.h"
#include "media_tools.h"
#include "service_fixture.h"
#include "support/temp_folder.h"

namespace kvtest {
namespace {

TEST(EventLog, KeepsTheLatestAndTellsNoMoreThanAsked) {
    auto now = std::chrono::system_clock::from_time_t(1'700'000'000);
    EventLog log([&] { return now; });
    log.Add(EventLevel::Warning, "<b>\xC3\xA9</b>\n\x01</msg>");
    now += std::chrono::seconds(10);
    log.Add(EventLevel::Error, std::string("\xFF") + std::string(5000, 'x'));
    EXPECT_EQ(log.Latest(std::chrono::seconds(5)).size(), 1u);
    const auto both = log.Latest(std::chrono::seconds(10));
    ASSERT_EQ(both.size(), 2u);
    EXPECT_LT(both[0].text.size(), 1000u);
    EXPECT_EQ(both[0].text[0], '?');
    const std::string body = MakeEventDocument(both);
    EXPECT_TRUE(body.starts_with("\n<num>2</num>\n<info>\n<level>3</level>\n<date_time>2023-11-1")) << body;
    EXPECT_EQ(Lines(body).size(), 2 + 2 * 5u) << "text from outside adds no line";
    EXPECT_EQ(body.find("</msg></msg>"), std::string::npos);

    log.Add(EventLevel::Warning, "again", std::chrono::seconds(30));
    now += std::chrono::seconds(29);
    log.Add(EventLevel::Warning, "again", std::chrono::seconds(30));
    EXPECT_EQ(log.Latest(std::chrono::hours(1)).size(), 3u);
    now += std::chrono::seconds(2);
    for (int i = 0; i < 2000; ++i) {
        log.Add(EventLevel::Information, std::to_string(i));
    }
    const auto latest = log.Latest(std::chrono::hours(1));
    ASSERT_EQ(latest.size(), EventLog::kMostTold);
    EXPECT_EQ(latest[0].text, "1999");
}

class Events : public ServiceTest {
protected:
    std::string Log() { return Ask("/cgi-bin/get_log_info.cgi?sec=60").body; }
    int Count(const std::string& words) {
        const std::string log = Log();
        int count = 0;
        for (auto at = log.find(words); at != std::string::npos; at = log.find(words, at + 1)) {
            ++count;
        }
        return count;
    }
    std::string StatusLine() { return Lines(Ask("/cgi-bin/z_status.cgi").body).at(1); }
};

TEST_F(Events, UsersAreToldOnceForEachStay) {
    Start();
    const std::string login = "Login of admin from 127.0.0.1<";
    EXPECT_EQ(Count("started"), 1);
    EXPECT_EQ(Count(login), 0) << "asking for the log is no login";
    {
        const RecorderClient line = Open("/cgi-bin/notify.cgi");
        for (int i = 0; i < 3; ++i) {
            Ask("/cgi-bin/get_init_info.cgi");
        }
        EXPECT_EQ(Count(login), 1);
    }
    Ask("/cgi-bin/logout.cgi");
    EXPECT_EQ(Count("Logout of admin"), 1);
    Ask("/cgi-bin/get_init_info.cgi");
    EXPECT_EQ(Count(login), 2);
    Ask("/cgi-bin/get_init_info.cgi", "eve<b>:x");
    Ask("/cgi-bin/get_init_info.cgi", "eve<b>:y");
    EXPECT_EQ(Count("Login of eve\xE2\x80\xB9"
                    "b\xE2\x80\xBA from 127.0.0.1 refused"),
              1);
    for (const char* wrong : {"", "?sec=-1", "?sec=x", "?sec=1000001"}) {
        EXPECT_EQ(Ask(std::string("/cgi-bin/get_log_info.cgi") + wrong).status, 400) << wrong;
    }

    Presence presence;
    const Presence::Clock::time_point then{};
    EXPECT_TRUE(presence.Arrive("a", then));
    EXPECT_FALSE(presence.Arrive("a", then + std::chrono::minutes(1)));
    presence.OpenLine("a");
    EXPECT_FALSE(presence.Arrive("a", then + std::chrono::hours(1)));
    presence.CloseLine("a", then + std::chrono::hours(2));
    EXPECT_FALSE(presence.Arrive("a", then + std::chrono::hours(2)));
    EXPECT_TRUE(presence.Arrive("a", then + std::chrono::hours(3)));
}

TEST_F(Events, DigitsFollowSceneSourceAndDisk) {
    Start();
    RecorderClient line = Open("/cgi-bin/notify.cgi");
    hub->Tell(1, MediaEvent::Motion, true);
    EXPECT_EQ(line.ReadLine(), "1\n");
    EXPECT_EQ(StatusLine(), "003888000000010111");
    hub->Tell(1, MediaEvent::Lost, true);
    EXPECT_EQ(StatusLine(), "003888000000030111");
    hub->Tell(1, MediaEvent::Motion, false);
    hub->Tell(1, MediaEvent::Lost, false);
    hub->Tell(99, MediaEvent::Lost, true);
    EXPECT_EQ(StatusLine(), "003888000000000111");
    EXPECT_EQ(Count("Camera 2: motion"), 1);
    EXPECT_EQ(Count("Camera 2: the stream is"), 2);
    model->SetDiskFault(DiskFault::Failed);
    EXPECT_TRUE(Ask("/cgi-bin/z_status.cgi").body.starts_with("  -1 "));
    EXPECT_EQ(Count("The disk cannot be read"), 1);
    model->SetDiskFault(DiskFault::None);
    EXPECT_EQ(Count("The disk is good again"), 1);
}

// Of a listener whose object ends no call is left.
TEST_F(Events, WhoListensNoMoreIsNotCalledAnyMore) {
    std::promise<void> called;
    std::promise<void> goOn;
    std::atomic<bool> isOver{false};
    model->SetListener([&](Change) {
        called.set_value();
        goOn.get_future().wait();
        isOver = true;
    });
    std::thread change([&] { model->SetDiskFault(DiskFault::Failed); });
    called.get_future().wait();
    std::atomic<bool> isAsked{false};
    auto ended = std::async(std::launch::async, [&] {
        isAsked = true;
        model->SetListener(nullptr);
        return isOver.load();
    });
    while (!isAsked) {
        std::this_thread::yield();
    }
    ended.wait_for(std::chrono::milliseconds(50));  // time for one that would not wait
    goOn.set_value();
    EXPECT_TRUE(ended.get());
    change.join();
}

TEST_F(Events, SiteMapHasItsTitleAndPicture) {
    config.server.mapTitle = "Yard <b>" + std::string(237, 'x') + "\xC3\xA9";
    Start();
    const std::string page = Ask("/cgi-bin/emap_show.cgi").body;
    const auto begin = page.find("<b>");
    const auto end = page.find("</b>");
    ASSERT_LT(begin, end);
    EXPECT_LE(end - begin - 3, 249u);
    EXPECT_LT(end, 1020u);
    EXPECT_EQ(page.find('<', begin + 1), end) << "no tag inside the title";
    const HttpAnswer picture = Ask("/cgi-bin/data/images/emap.jpg");
    EXPECT_TRUE(picture.body.starts_with("\xFF\xD8") && picture.body.ends_with("\xFF\xD9"));
    EXPECT_NE(picture.head.find("Content-length: " + std::to_string(picture.body.size())), std::string::npos);
    EXPECT_EQ(Fetch(port, "GET /cgi-bin/data/images/emap.jpg HTTP/1.0\r\n\r\n").status, 401);
}

TEST(MediaEvents, MotionComesAndGoesAndALostFileComesBack) {
    const auto clock = std::make_shared<SelfMovingClock>();
    TempFolder folder;
    const std::string path = folder.File("yard.mkv");
    WriteVideoFile(path, EncodeTestPictures({Codec::H264, 160, 120, 10, 10}, 10), 10, Headers::InHead);
    std::mutex mutex;
    std::vector<std::string> told;
    const auto hub = CreateMediaHub(clock, 1);
    hub->SetListener([&](int channel, MediaEvent event, bool on) {
        const std::lock_guard lock(mutex);
        told.push_back(std::to_string(channel) + (event == MediaEvent::Motion ? "motion" : "lost") +
                       (on ? "+" : "-"));
    });
    const auto has = [&](const std::string& what) {
        return WaitUntil([&] {
            const std::lock_guard lock(mutex);
            return std::find(told.begin(), told.end(), what) != told.end();
        });
    };
    SourceConfig scene;
    scene.scene = "railway";
    scene.watchMotion = true;
    hub->AddChannel("Rail", scene);
    SourceConfig file;
    file.file = path;
    hub->AddChannel("Yard", file);
    std::filesystem::rename(path, path + ".away");
    Collector collector;
    const auto watcher = hub->Subscribe(1, 0, collector.Sink());
    clock->Allow(std::chrono::seconds(2));
    EXPECT_TRUE(has("1lost+"));
    std::filesystem::rename(path + ".away", path);
    clock->Allow(std::chrono::seconds(5));
    EXPECT_TRUE(has("1lost-"));
    EXPECT_GE(collector.WaitFor(5).size(), 5u);
    clock->Allow(std::chrono::seconds(300));
    EXPECT_TRUE(has("0motion+"));
    EXPECT_TRUE(has("0motion-"));
    EXPECT_EQ(hub->Counters(0, 0).encoded, 0u) << "nobody watches, nothing is encoded";
}

}  // namespace
}  // namespace kvtest
