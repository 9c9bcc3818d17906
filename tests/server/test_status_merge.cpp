#include <gtest/gtest.h>

#include "server/server_worker.h"
#include "server/wait_retry.h"
#include "support/fake_clock.h"
#include "support/message_log.h"

using namespace kvmon;
using namespace kvtest;

namespace {

class Merge : public testing::Test {
protected:
    Merge() {
        worker.SetConnectInfo(3, "h", 80, "u", "p");
        worker.SetNotifyWnd(WindowHandle(log));
        status.m_strServerName = "n";
        status.m_VideoSettingList.resize(41);
        status.m_nChannelCount = 41;
        status.m_strDiskSize = "1";
    }
    // The codes posted by one merge; the result goes to `changed`.
    std::vector<int> Codes() {
        const std::size_t before = log->All().size();
        changed = worker.UpdateServerInfo(status);
        std::vector<int> codes;
        const auto all = log->All();
        for (std::size_t i = before; i < all.size(); ++i) {
            EXPECT_EQ(all[i].number, WM_UPDATEVSINFO);
            EXPECT_EQ(all[i].lParam, 3);
            codes.push_back(static_cast<int>(all[i].wParam));
        }
        return codes;
    }
    std::uint32_t Published(std::size_t channel, std::uint32_t mask) {
        return worker.WithStatus(
            [&](const CNvrStatus& s) { return s.m_VideoSettingList.at(channel).Status(mask); });
    }

    FakeClock clock;
    ServerWorker worker{clock};
    std::shared_ptr<MessageLog> log = std::make_shared<MessageLog>();
    CNvrStatus status;
    bool changed = false;
};

using Ints = std::vector<int>;

}  // namespace

TEST_F(Merge, PostsInOrderWhatChangedAndCode3Always) {
    EXPECT_EQ(Codes(), Ints({4, 1, 2, 3}));
    EXPECT_TRUE(changed);
    EXPECT_EQ(Codes(), Ints({3})) << "nothing changed";
    EXPECT_FALSE(changed);
    status.strServerBuild = "b";
    EXPECT_EQ(Codes(), Ints({4, 3}));
    status.m_nDiskUsed = 1;
    EXPECT_EQ(Codes(), Ints({2, 3}));
    status.m_VideoSettingList[5].SetStatus(kStatusMotion, 1);
    EXPECT_EQ(Codes(), Ints({3}));
    EXPECT_EQ(Published(5, kStatusMotion), 1u);
}

TEST_F(Merge, RightsAndEveryFieldOfAChannelRepublishTheList) {
    Codes();
    const std::function<void(CVideoSetting&)> edits[] = {
        [](CVideoSetting& s) { s.SetStatus(kStatusMonitorRight, 1); },
        [](CVideoSetting& s) { s.SetStatus(kStatusControlRight, 1); },
        [](CVideoSetting& s) { s.SetStatus(kStatusAdminRight, 1); },
        [](CVideoSetting& s) {
            s.m_StreamInfo.push_back({0, 7, 1});
        },
        [](CVideoSetting& s) { s.m_NetworkSetting[1].nRtspPort = 1; },
        [](CVideoSetting& s) { s.m_strChannelName = "x"; },
        [](CVideoSetting& s) { s.m_lpszGuestPasswd = "x"; },
        [](CVideoSetting& s) { s.m_szCameraId = "x"; },
    };
    for (const auto& edit : edits) {
        edit(status.m_VideoSettingList[2]);
        EXPECT_EQ(Codes(), Ints({1, 3}));
        EXPECT_TRUE(changed);
        EXPECT_EQ(Codes(), Ints({3}));
    }
    EXPECT_EQ(Published(2, kStatusMonitorRight), 1u);
    status.m_VideoSettingList.resize(2);
    EXPECT_EQ(Codes(), Ints({1, 3})) << "a length alone";
    --status.m_nChannelCount;
    EXPECT_EQ(Codes(), Ints({1, 3})) << "a count alone";
    // The configured word goes with the list, but is not compared.
    status.m_VideoSettingList[0].SetStatus(kStatusConfigured, 1);
    EXPECT_EQ(Codes(), Ints({3}));
    EXPECT_EQ(Published(0, kStatusConfigured), 0u);
}

TEST_F(Merge, ChannelsBeyondTheFortiethAreNotCompared) {
    Codes();
    status.m_VideoSettingList[40].SetStatus(kStatusMonitorRight, 1);
    EXPECT_EQ(Codes(), Ints({3}));
    status.m_VideoSettingList[39].SetStatus(kStatusMonitorRight, 1);
    EXPECT_EQ(Codes(), Ints({1, 3}));
    EXPECT_EQ(Published(40, kStatusMonitorRight), 1u) << "accessors serve it";
}

TEST_F(Merge, AudioAloneIsKeptBack) {
    Codes();
    status.m_VideoSettingList[1].m_nAudioOut = 1;
    EXPECT_EQ(Codes(), Ints({}));
    EXPECT_EQ(Codes(), Ints({})) << "and stays so";
    status.m_VideoSettingList[0].SetStatus(kStatusManual, 1);
    EXPECT_EQ(Codes(), Ints({3})) << "goes out with a status word";
    EXPECT_EQ(Codes(), Ints({3}));
    EXPECT_EQ(worker.WithStatus([](const CNvrStatus& s) { return s.m_VideoSettingList[1].m_nAudioOut; }), 1);
}

TEST_F(Merge, ManyErrorsForceTheList) {
    Codes();
    worker.Query().SetErrorCount(11);
    EXPECT_EQ(Codes(), Ints({3}));
    worker.Query().SetErrorCount(12);
    EXPECT_EQ(Codes(), Ints({1, 3}));
    EXPECT_TRUE(changed);
}

TEST_F(Merge, NoReceiverIsNoTrouble) {
    worker.SetNotifyWnd(WindowHandle());
    EXPECT_EQ(Codes(), Ints({}));
    EXPECT_TRUE(changed);
}

TEST(RetryWait, GrowsWithTheFailures) {
    const std::pair<std::uint32_t, std::size_t> rows[] = {{0, 2}, {2, 2}, {3, 10}, {7, 10}, {8, 30}};
    for (const auto& [count, rounds] : rows) {
        FakeClock clock(true);
        Event exit;
        FlagWord flag{0};
        EXPECT_FALSE(WaitRetry(clock, exit, flag, count));
        std::vector<Milliseconds> expected(rounds, Milliseconds(500));
        expected.insert(expected.begin(), Milliseconds(0));
        EXPECT_EQ(clock.Waits(), expected);
        flag = 1;
        EXPECT_FALSE(WaitRetry(clock, exit, flag, count));
        EXPECT_EQ(clock.Waits().size(), rounds + 2);
        exit.Set();
        EXPECT_TRUE(WaitRetry(clock, exit, flag, count));
    }
}
