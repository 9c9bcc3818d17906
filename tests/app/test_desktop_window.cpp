// The desktop's window: what it keeps for the next start.
#include <gmock/gmock.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QEventLoop>
#include <QtWidgets/QApplication>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QDialog>
#include <QtWidgets/QDialogButtonBox>
#include <QtWidgets/QMenu>
#include <QtWidgets/QMessageBox>
#include <QtWidgets/QPushButton>
#include <algorithm>
#include <sstream>

#include "app/app_options.h"
#include "app/desktop_window.h"
#include "console/console_parts.h"
#include "console/main_dlg.h"
#include "console/panel/console_controls.h"
#include "page_catcher.h"
#include "persist/orvo_registry.h"
#include "persist/string_table.h"
#include "persist/utilities.h"
#include "skin/xskin_od_button.h"
#include "support/fake_clock.h"
#include "support/fake_recorder.h"
#include "support/file_holder.h"
#include "support/qt_pump.h"
#include "support/qt_ui_watchdog.h"
#include "support/qt_user_input.h"
#include "support/temp_folder.h"

using namespace kvmon;
using kvtest::PumpUntil;

namespace {

constexpr int kGerman = 0x0407;
constexpr int kItalian = 0x0410;
constexpr std::uint32_t kTextLogout = 4003;
constexpr std::uint32_t kTextHelp = 6207;

class DesktopWindowTest : public testing::Test {
protected:
    DesktopWindowTest() {
        SetDataFolder(folder.Path());
        InitSettings();
    }
    ~DesktopWindowTest() override { Registry().Close(); }
    void InitSettings() { Registry().InitRegistry(false, {}); }
    // A start of the program with these options, and its end; between them what `use` does.
    template <typename Use>
    void Run(std::vector<std::string> args, Use use) {
        args.insert(args.end(), {"--port", std::to_string(recorder.Port()), "--auth",
                                 "YWRtaW46aHVudGVyMg==", "--auto-start"});
        std::istringstream none;
        const ParsedCommandLine parsed = ParseCommandLine(args, none);
        ASSERT_TRUE(parsed.options) << parsed.text;
        {
            DesktopWindow window(*parsed.options, clock);
            window.Activate();
            window.show();
            use(window);
        }
        EXPECT_TRUE(Registry().Close());
        InitSettings();
    }
    // As a user does it.
    static void ChooseLanguage(DesktopWindow& window, int langid) {
        auto* const button =
            dynamic_cast<CXSkinODButton*>(window.findChild<QWidget*>(QStringLiteral("Language")));
        ASSERT_NE(button, nullptr);
        ASSERT_TRUE(PumpUntil([&] { return button->isEnabled(); }));
        button->Click();
        QDialog* dialog = nullptr;
        ASSERT_TRUE(PumpUntil([&] {
            dialog = window.findChild<QDialog*>(QStringLiteral("languageDialog"));
            return dialog != nullptr && dialog->isVisible();
        }));
        auto* const combo = dialog->findChild<QComboBox*>();
        combo->setCurrentIndex(combo->findData(static_cast<std::uint16_t>(langid)));
        dialog->findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok)->click();
    }

    kvtest::FakeClock clock{Milliseconds(1)};
    kvtest::TempFolder folder;
    kvtest::FakeRecorder recorder{"Hall", 4};
};

}  // namespace

// The key, and the menu's entry; the system's browser gets the page.
TEST_F(DesktopWindowTest, HelpOpensInTheConsolesLanguage) {
    const std::pair<const char*, const char*> kPages[] = {{"0", "/help/eng/help.html#monitor"},
                                                          {"6", "/help/ger/help.html#monitor"},
                                                          {"7", "/help/eng/help.html#monitor"}};
    for (const auto& shown : kPages) {
        const char* const page = shown.second;
        kvtest::PageCatcher caught;
        Run({"--language", shown.first}, [&](DesktopWindow& window) {
            auto* const console =
                dynamic_cast<CMainDlg*>(window.findChild<QWidget*>(QStringLiteral("console")));
            ASSERT_NE(console, nullptr);
            ASSERT_FALSE(console->GetButton(kCtlHelp)->isVisible());
            kvtest::PressKey(*console, Qt::Key_F2);
            ASSERT_TRUE(PumpUntil([&] { return !caught.urls.empty(); }));
            EXPECT_THAT(caught.urls.back(), testing::EndsWith(page));
            EXPECT_THAT(caught.urls.back(), testing::StartsWith("file:///"));
            kvtest::PressKey(*console, Qt::Key_F10);
            QMenu* menu = nullptr;
            ASSERT_TRUE(PumpUntil([&] {
                menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
                return menu != nullptr;
            }));
            const QList<QAction*> entries = menu->actions();
            const auto entry = std::find_if(entries.begin(), entries.end(), [](const QAction* each) {
                return each->text().toStdString() == LoadString(kTextHelp) + "\tF2";
            });
            ASSERT_NE(entry, entries.end());
            kvtest::ClickAt(*menu, menu->actionGeometry(*entry).center());
            ASSERT_TRUE(PumpUntil([&] { return caught.urls.size() == 2; }));
            EXPECT_EQ(caught.urls[0], caught.urls[1]);
        });
    }
}

TEST_F(DesktopWindowTest, ALanguageOnceChosenStaysAndAnOptionHoldsForItsRun) {
    std::string german;
    Run({}, [&](DesktopWindow& window) {
        const std::string before = LoadString(kTextLogout);
        ChooseLanguage(window, kGerman);
        ASSERT_TRUE(PumpUntil([&] { return LoadString(kTextLogout) != before; }));
        german = LoadString(kTextLogout);
    });
    Run({"--language", "7"}, [&](DesktopWindow&) { EXPECT_NE(LoadString(kTextLogout), german); });
    Run({}, [&](DesktopWindow&) { EXPECT_EQ(LoadString(kTextLogout), german); });
    // What is chosen in such a run counts all the same.
    Run({"--language", "6"}, [&](DesktopWindow& window) {
        ChooseLanguage(window, kItalian);
        ASSERT_TRUE(PumpUntil([&] { return LoadString(kTextLogout) != german; }));
    });
    Run({}, [&](DesktopWindow&) { EXPECT_NE(LoadString(kTextLogout), german); });
    EXPECT_EQ(Registry().GetProfileInt("Desktop", "Language", 99), 7u);
    EXPECT_EQ(Registry().GetProfileInt("Desktop", "ServerPort", 99), 99u);
    EXPECT_EQ(Registry().GetProfileString("Desktop", "Username", "none"), "none");
}

TEST_F(DesktopWindowTest, AViewIsOpenedWithTheWall) {
    const auto console = [](DesktopWindow& window) {
        return dynamic_cast<CMainDlg*>(window.findChild<QWidget*>(QStringLiteral("console")));
    };
    const auto styleOf = [&](DesktopWindow& window) { return console(window)->Parts().view.GetStyle(); };
    Run({}, [&](DesktopWindow& window) {
        ASSERT_TRUE(PumpUntil([&] { return styleOf(window) == VIEW_STYLE_4CH; }));
        ASSERT_TRUE(PumpUntil([&] { return console(window)->SaveView("Night"); }));
        console(window)->Press(kCtlFirstStyle);
        ASSERT_TRUE(PumpUntil([&] { return styleOf(window) == VIEW_STYLE_SINGLE_1CH; }));
    });
    Run({"--view", "Night"}, [&](DesktopWindow& window) {
        EXPECT_EQ(window.findChild<QMessageBox*>(), nullptr);
        EXPECT_TRUE(PumpUntil([&] { return console(window)->Parts().views.Current() == "Night"; }));
        EXPECT_EQ(styleOf(window), VIEW_STYLE_4CH);
    });
    Run({"--view", "Noon"}, [&](DesktopWindow& window) {
        auto* const box = window.findChild<QMessageBox*>();
        ASSERT_NE(box, nullptr);
        EXPECT_THAT(box->text().toStdString(), testing::HasSubstr("Noon"));
    });
}

// Another program has the file, and lets go of it only at the end.
TEST_F(DesktopWindowTest, ALockedSettingsFileHoldsUpNoClick) {
    kvtest::FileHolder holder(folder.File("settings.db"));
    ASSERT_TRUE(holder.IsHeld());
    auto& watchdog = kvtest::WatchedApplication::Instance();
    Run({}, [&](DesktopWindow& window) {
        const std::string before = LoadString(kTextLogout);
        watchdog.ForgetLongest();
        for (const char* const name :
             {"Single Channel", "4 Channels", "View Size", "Full-Screen", "Full-Screen"}) {
            auto* const button = dynamic_cast<CXSkinODButton*>(window.findChild<QWidget*>(QString(name)));
            ASSERT_TRUE(button != nullptr && PumpUntil([&] { return button->isEnabled(); })) << name;
            button->Click();
            QCoreApplication::processEvents();
        }
        ChooseLanguage(window, kGerman);  // the view is stored with that
        ASSERT_TRUE(PumpUntil([&] { return LoadString(kTextLogout) != before; }));
        RecordProperty("LongestWaitMs", std::to_string(watchdog.LongestWaitMs()));
        EXPECT_LE(watchdog.LongestWaitMs(), kvtest::UiWaitLimitMs()) << watchdog.LongestWait();
        holder.Release();
    });
    EXPECT_EQ(Registry().GetProfileInt("Desktop", "Language", 99), 6u);
    EXPECT_EQ(Registry().GetProfileInt("Window", "Width", 0), 1000u);
}
