// The event window, the site map, the disk, and the choice of streams, against a recorder that has them.
#include <QtWidgets/QComboBox>
#include <QtWidgets/QLabel>
#include <QtWidgets/QMessageBox>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QTreeWidget>

#include "codec/jpeg_codec.h"
#include "console/events/event_window.h"
#include "console/site/disk_status_dlg.h"
#include "console/site/emap_dlg.h"
#include "console/site/emap_fetch.h"
#include "console_fixture.h"
#include "platform/text.h"
#include "server/kelvara_info.h"
#include "skin/ns_chart_ctrl.h"
#include "skin/plain_text.h"
#include "skin/xskin_static.h"
#include "support/fake_recorder.h"
#include "support/message_log.h"

using namespace kvmon;
using namespace kvtest;

namespace {

std::string LogEntry(int level, int second, const std::string& text) {
    return FormatText(
        "<info>\n<level>%d</level>\n<date_time>2024-05-06 07:08:%02d</date_time>\n<msg>%s</msg>\n</info>\n",
        level, second, text.c_str());
}

std::string LogReply(const std::string& entries) {
    return "HTTP/1.0 200 OK\n\n<num>9</num>\n" + entries;
}

class SiteWindowsTest : public ConsoleTest {
protected:
    QTreeWidget& Rows() { return *console->Parts().events.Window()->findChild<QTreeWidget*>("eventRows"); }
    QStringList Texts() {
        QStringList texts;
        for (int i = 0; i < Rows().topLevelItemCount(); ++i) {
            texts << Rows().topLevelItem(i)->text(3);
        }
        return texts;
    }
    QComboBox& Box(const char* name) {
        return *console->Parts().events.Window()->findChild<QComboBox*>(name);
    }
    // The text of the message box on show, which is closed; empty without one.
    QString TakeBox() {
        for (QMessageBox* const box : console->findChildren<QMessageBox*>()) {
            const QString text = box->text() + "|" + box->windowTitle();
            delete box;
            return text;
        }
        return {};
    }

    FakeRecorder recorder{"Hall", 4};
};

std::string Picture(int width, int height) {
    const BITMAPINFOHEADER info = MakeBitmapInfo(width, height);
    const std::vector<std::uint8_t> bits(info.biSizeImage, 0x40);
    std::vector<std::uint8_t> file;
    EXPECT_EQ(SaveJpegMemory(file, info, bits, 90, true), nullptr);
    return {file.begin(), file.end()};
}

}  // namespace

TEST_F(SiteWindowsTest, EventsAreListedFilteredMarkedAndCleared) {
    recorder.SetDocument("get_log_info.cgi",
                         LogReply(LogEntry(1, 1, "<b>started</b>") + LogEntry(3, 3, "disk lost") +
                                  LogEntry(4, 4, "debug") + LogEntry(2, 2, "stream lost")));
    Open(recorder.Port());
    EXPECT_EQ(recorder.CountHeads("get_log_info.cgi"), 0) << "nobody looks";
    Command(kCmdEvents);
    ASSERT_TRUE(PumpUntil([&] { return Rows().topLevelItemCount() == 3; }));
    EXPECT_EQ(Texts(), (QStringList{"disk lost", "stream lost", "<b>started</b>"}));
    EXPECT_EQ(Rows().topLevelItem(0)->text(1), "Error");
    EXPECT_EQ(Rows().topLevelItem(0)->text(2), "Hall");
    EXPECT_EQ(console->Parts().events.Events().UnreadCount(), 3u);

    Rows().topLevelItem(1)->setSelected(true);
    EXPECT_EQ(console->Parts().events.Events().UnreadCount(), 2u);
    Box("eventLevel").setCurrentIndex(2);
    EXPECT_EQ(Texts(), QStringList{"stream lost"});
    Box("eventLevel").setCurrentIndex(0);
    ASSERT_EQ(Box("eventServer").count(), 2);
    Box("eventServer").setCurrentIndex(1);
    EXPECT_EQ(Texts().size(), 3);

    recorder.SetDocument("get_log_info.cgi",
                         LogReply(LogEntry(3, 3, "disk lost") + LogEntry(1, 9, "back again")));
    console->Parts().events.OnTimer();
    ASSERT_TRUE(PumpUntil([&] { return Rows().topLevelItemCount() == 4; }));
    EXPECT_EQ(Texts().front(), "back again");
    EXPECT_EQ(console->Parts().events.Events().UnreadCount(), 3u) << "what was seen stays seen";

    console->Parts().events.Window()->findChild<QPushButton*>("eventClear")->click();
    EXPECT_EQ(Rows().topLevelItemCount(), 0);
    const int fetches = recorder.CountHeads("get_log_info.cgi");
    console->Parts().events.OnTimer();
    ASSERT_TRUE(PumpUntil([&] { return recorder.CountHeads("get_log_info.cgi") > fetches; }));
    ASSERT_TRUE(PumpUntil([&] {
        recorder.SetDocument("get_log_info.cgi",
                             LogReply(LogEntry(1, 9, "back again") + LogEntry(1, 9, "and more")));
        console->Parts().events.OnTimer();
        return Rows().topLevelItemCount() > 0;
    }));
    EXPECT_EQ(Texts(), QStringList{"and more"}) << "cleared events do not come back";
}

TEST_F(SiteWindowsTest, MapShowsUnderItsTitle) {
    const std::string title(249, 't');
    recorder.SetDocument("emap_show.cgi", HttpReply(200, "OK", "<html><b>" + title + "</b></html>"));
    recorder.SetDocument("/cgi-bin/data/images/emap.jpg", HttpReply(200, "OK", Picture(300, 200)));
    Open(recorder.Port());
    Command(kCmdEMap);
    ASSERT_NE(console->Parts().windows.EMap(), nullptr);
    ASSERT_TRUE(PumpUntil([&] {
        const CEMapDlg* const map = console->Parts().windows.EMap();
        return map != nullptr && map->IsShown();
    }));
    EXPECT_EQ(console->Parts().windows.EMap()->size(), QSize(300, 200));
    EXPECT_TRUE(console->Parts().windows.EMap()->windowTitle().startsWith("tttt"));
    EXPECT_EQ(console->Parts().windows.EMap()->findChild<QLabel*>("EMap Window")->geometry(),
              QRect(0, 0, 300, 200));
    EXPECT_EQ(recorder.RequestLines("emap_show").front(), "GET /cgi-bin/emap_show.cgi HTTP/1.0");
    EXPECT_EQ(recorder.RequestLines("emap.jpg"),
              std::vector<std::string>{"GET /cgi-bin/data/images/emap.jpg HTTP/1.0"});
    EXPECT_EQ(recorder.CountHeads("emap.jpg HTTP/1.0\r\nHost: 127.0.0.1:" + std::to_string(recorder.Port()) +
                                  "\r\nAuthorization: Basic YWRtaW46c2VjcmV0\r\n"),
              1)
        << "with the first request";
    console->Parts().windows.EMap()->close();
    ASSERT_TRUE(PumpUntil([&] { return console->Parts().windows.EMap() == nullptr; }));
    EXPECT_EQ(TakeBox(), "");
}

// A full name of a big network is longer than the 31 letters that an address may have.
TEST_F(SiteWindowsTest, MapComesFromAHostOfALongName) {
    recorder.SetDocument("emap_show.cgi", HttpReply(200, "OK", "<b>Map</b>"));
    recorder.SetDocument("/cgi-bin/data/images/emap.jpg", HttpReply(200, "OK", Picture(30, 20)));
    const auto log = std::make_shared<kvtest::MessageLog>();
    const std::string host = std::string(40, '0') + "177.0.0.1";  // 127.0.0.1
    EMapFetch fetch({host, recorder.Port(), "u", "p"}, WindowHandle(log));
    ASSERT_TRUE(log->WaitFor(1));
    EXPECT_EQ(log->All()[0], (kvtest::Message{kMsgEMapDone, 6, 200}));
    EXPECT_EQ(fetch.Title(), "Map");
    EXPECT_EQ(fetch.Picture().size(), QSize(30, 20));
}

TEST_F(SiteWindowsTest, MapThatIsNoneIsRefusedWithTheText) {
    recorder.SetDocument("/cgi-bin/data/images/emap.jpg", HttpReply(200, "OK", Picture(30, 20)));
    Open(recorder.Port());
    const std::string good = "<b>Map</b>";
    for (const std::string& page : {std::string("no title"), "<b>" + std::string(250, 't') + "</b>",
                                    std::string("</b><b>"), std::string(), std::string(1015, ' ') + good}) {
        recorder.SetDocument("emap_show.cgi", HttpReply(200, "OK", page));
        Command(kCmdEMap);
        ASSERT_TRUE(PumpUntil([&] { return console->Parts().windows.EMap() == nullptr; })) << page;
        EXPECT_EQ(TakeBox(), MarkupOf("Loading E-map failed.") + "|Error") << page;
    }
    EXPECT_EQ(recorder.CountHeads("emap.jpg"), 0);
    recorder.SetDocument("emap_show.cgi", HttpReply(403, "Forbidden", good));
    Command(kCmdEMap);
    ASSERT_TRUE(PumpUntil([&] { return console->Parts().windows.EMap() == nullptr; }));
    EXPECT_NE(TakeBox(), "");
    recorder.SetDocument("emap_show.cgi", HttpReply(200, "OK", good));
    for (const std::string& picture :
         {std::string("GIF89a no JPEG"), Picture(30, 20).substr(0, 40), std::string()}) {
        recorder.SetDocument("/cgi-bin/data/images/emap.jpg", HttpReply(200, "OK", picture));
        Command(kCmdEMap);
        ASSERT_TRUE(PumpUntil([&] { return console->Parts().windows.EMap() == nullptr; }));
        EXPECT_EQ(TakeBox(), MarkupOf("Loading E-map failed.") + "|Error");
    }
}

TEST_F(SiteWindowsTest, DiskFollowsTheRecorder) {
    Open(recorder.Port());
    Command(kCmdDiskStatus);
    CDiskStatusDlg* const dialog = console->Parts().windows.DiskStatus();
    ASSERT_NE(dialog, nullptr);
    const auto state = [&] {
        return dynamic_cast<CXSkinStatic&>(*dialog->FindControl(kCtlDiskState)).GetWindowText();
    };
    auto& chart = dynamic_cast<CNSChartCtrl&>(*dialog->FindControl(kCtlDiskChart));
    EXPECT_EQ(state(), "Status: Normal, Used: 45 %");
    EXPECT_EQ(chart.SliceLabel(0), "Used\n45.0%");
    EXPECT_EQ(chart.SliceLabel(1), "Free\n55.0%");
    EXPECT_EQ(dynamic_cast<CXSkinStatic&>(*dialog->FindControl(kCtlDiskSize)).GetWindowText(),
              "Total size: 1.00 GB");
    ASSERT_TRUE(recorder.WaitForListener());
    recorder.SetDisk("-3   100 1048576");
    recorder.Notify("1\n");
    ASSERT_TRUE(PumpUntil([&] { return state() == "Status: Abnormal, Used: 100 %"; }));
    EXPECT_EQ(chart.SliceLabel(0), "Used\n100.0%");
}

TEST_F(SiteWindowsTest, CellsTakeTheStreamOfTheirSize) {
    std::string channels;
    for (int i = 0; i < 4; ++i) {
        channels += FormatText(
            "<ch%d><stream_no>2</stream_no><stream0><id>0</id><fcc>H264</fcc><resolution>5</resolution></"
            "stream0>"
            "<stream1><id>1</id><fcc>H264</fcc><resolution>1</resolution></stream1></ch%d>",
            i, i);
    }
    recorder.SetDocument("getmultistreaminfo.cgi",
                         HttpReply(200, "OK", "<r><return>0</return>" + channels + "</r>"));
    Open(recorder.Port());
    // Four cells of 380 pixels are larger than the small stream.
    ASSERT_TRUE(PumpUntil(
        [&] { return console->Parts().recorders.GetServer(0)->GetCapabilities(3).streams.size() == 2; }));
    const auto requests = [&](int stream) {
        return recorder.CountHeads(FormatText("stream_id=%d ", stream));
    };
    ASSERT_TRUE(PumpUntil([&] { return requests(0) >= 4; }));
    EXPECT_EQ(requests(1), 0);
    console->Parts().styles.SelectCustomStyle(4);  // 6 x 6
    ASSERT_TRUE(PumpUntil([&] { return requests(1) >= 4; }));
    const int before = requests(0);
    EXPECT_EQ(requests(1), 4) << "one new connection for each cell";
    Command(kCtlFirstStyle);
    ASSERT_TRUE(PumpUntil([&] { return requests(0) > before; }));
    EXPECT_EQ(requests(0), before + 1);
    EXPECT_EQ(requests(1), 4) << "no cell that leaves asks for anything";
}
