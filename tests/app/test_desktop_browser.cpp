// The desktop window in its part as the browser around the control.
#include <gmock/gmock.h>

#include <QtCore/QCoreApplication>
#include <QtWidgets/QWidget>

#include "app/desktop_browser.h"

using namespace kvmon;
using testing::ElementsAre;

namespace {

struct DesktopBrowserTest : testing::Test {
    DesktopBrowserTest() {
        window.setGeometry(120, 90, 500, 400);
        window.show();
        QCoreApplication::processEvents();
    }
    bool Has(Qt::WindowType flag) const { return window.windowFlags().testFlag(flag); }

    QWidget window;
    std::vector<std::string> opened;
    DesktopBrowser browser{window,
                           [this](const QUrl& url) { opened.push_back(url.toEncoded().toStdString()); }};
};

}  // namespace

TEST_F(DesktopBrowserTest, DressesTheWindowAndLeavesItWhereItIs) {
    const QRect place = window.geometry();
    browser.RemoveClose();
    browser.RemoveSizing();
    EXPECT_FALSE(Has(Qt::WindowCloseButtonHint) || Has(Qt::WindowMaximizeButtonHint));
    EXPECT_TRUE(Has(Qt::WindowTitleHint) && window.isVisible());
    browser.RestoreSystemMenu();  // all of it
    EXPECT_TRUE(Has(Qt::WindowCloseButtonHint) && Has(Qt::WindowMinimizeButtonHint));
    browser.SetCaption(false);
    EXPECT_TRUE(Has(Qt::FramelessWindowHint));
    browser.SetCaption(true);
    EXPECT_FALSE(Has(Qt::FramelessWindowHint));
    browser.SetAppWindow(false);
    browser.SetToolWindow(true);
    EXPECT_NE(window.windowType(), Qt::Tool);  // not before the update
    browser.UpdateWindow();
    EXPECT_EQ(window.windowType(), Qt::Tool);
    EXPECT_TRUE(window.testAttribute(Qt::WA_QuitOnClose));
    browser.SetAppWindow(true);
    browser.SetToolWindow(false);
    browser.UpdateWindow();
    EXPECT_EQ(window.windowType(), Qt::Window);
    EXPECT_TRUE(window.isVisible());
    EXPECT_EQ(window.geometry(), place);

    browser.ShowWindow(false);
    browser.SetCaption(false);
    EXPECT_FALSE(window.isVisible());
    browser.ShowWindow(true);
    EXPECT_TRUE(window.isVisible());

    browser.SetState(BrowserState::Maximized);
    EXPECT_TRUE(window.isMaximized());
    browser.RemoveSizing();
    EXPECT_TRUE(window.isMaximized());
    browser.SetState(BrowserState::Minimized);
    EXPECT_TRUE(window.isMinimized());
    browser.SetState(BrowserState::Restored);
    EXPECT_FALSE(window.isMaximized() || window.isMinimized());

    browser.FitToControl({700, 500});
    EXPECT_EQ(window.pos(), QPoint(0, 0));
    const QPoint frame = window.geometry().topLeft() - window.frameGeometry().topLeft();
    EXPECT_EQ(window.frameGeometry().size(), FittedBrowserSize({700, 500}, frame));

    browser.Quit();
    EXPECT_TRUE(window.isVisible());  // the caller is not torn down
    QCoreApplication::processEvents();
    EXPECT_FALSE(window.isVisible());
}

TEST_F(DesktopBrowserTest, TitlesAreTextAndPagesAreOfTheWeb) {
    browser.PutTitle("<b>one</b>\n %s[*]");
    EXPECT_EQ(window.windowTitle(), "<b>one</b> %s[*][*]");  // as Qt writes what it shows as [*]
    browser.PutTitle(std::string(5000, 'x'));
    EXPECT_EQ(window.windowTitle().size(), 512);
    browser.SetLocation("http://10.0.0.3:80/");
    browser.PutTitleFromLocation();
    EXPECT_EQ(window.windowTitle(), "http://10.0.0.3:80/");

    browser.OpenPage("http://10.0.0.3:80/?a=b");
    browser.OpenPage("file:///etc/passwd");
    browser.OpenPage("--help");
    const auto help = browser.CreateBrowserWindow();
    help->HideBars();
    help->Navigate("http://h/a");
    help->Navigate("http://h/a");
    EXPECT_THAT(opened, ElementsAre("http://10.0.0.3:80/?a=b"));
    help->Show();
    EXPECT_TRUE(help->IsWindow());
    EXPECT_THAT(opened, ElementsAre("http://10.0.0.3:80/?a=b", "http://h/a"));
}

TEST_F(DesktopBrowserTest, ItsOwnHelpIsTheOnlyFileThatItOpens) {
    const std::string german = browser.OwnHelp("ger");
    ASSERT_THAT(german, testing::EndsWith("/help/ger/help.html"));
    EXPECT_THAT(browser.OwnHelp("jpn"), testing::EndsWith("/help/eng/help.html"));
    EXPECT_EQ(browser.OwnHelp("../ger"), "");
    const auto help = browser.CreateBrowserWindow();
    const std::string folder = german.substr(0, german.size() - std::string("ger/help.html").size());
    for (const std::string& url :
         {german + "#monitor", std::string("file:///etc/passwd"), folder + "../kvmon",
          folder + "%2e%2e/kvmon", "file://other" + german.substr(7), german.substr(7)}) {
        help->Navigate(url);
        help->Show();
    }
    EXPECT_THAT(opened, ElementsAre(german + "#monitor"));
    // As an installed program finds it, from its own folder.
    help->Navigate(folder + "../help/ger/help.html#keys");
    help->Show();
    EXPECT_EQ(opened.size(), 2u);
}
