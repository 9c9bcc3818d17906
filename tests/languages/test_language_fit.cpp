// Every language that is shipped: there is one for each number, its letters can be drawn, and the texts of
// menus and dialogs fit.
#include <gmock/gmock.h>

#include <QtCore/QJsonDocument>
#include <QtWidgets/QApplication>
#include <QtWidgets/QDialog>
#include <QtWidgets/QLabel>
#include <QtWidgets/QMenu>
#include <QtWidgets/QMessageBox>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QTabWidget>
#include <QtWidgets/QTreeWidget>
#include <memory>
#include <set>

#include "console/admin/cameras_dialog.h"
#include "console/camera/cell_menu.h"
#include "console/camera/snapshot_gallery.h"
#include "console/dialogs/interval_dialog.h"
#include "console/dialogs/message_box.h"
#include "console/dialogs/pip_dialog.h"
#include "console/dialogs/recorder_entry_dialog.h"
#include "console/dialogs/recorder_list_dialog.h"
#include "console/dialogs/recorder_search_dialog.h"
#include "console/dialogs/set_lang_dlg.h"
#include "console/dialogs/settings_dlg.h"
#include "console/dialogs/sign_in_card.h"
#include "console/dialogs/toolkit_language.h"
#include "console/dialogs/unlock_dialog.h"
#include "console/events/event_window.h"
#include "console/settings/fill_pattern.h"
#include "console/sound/send_sound_dlg.h"
#include "console/views/views_dialog.h"
#include "console_fixture.h"
#include "console_windows.h"
#include "control/languages.h"
#include "persist/language_module.h"
#include "persist/string_table.h"
#include "server/documents/nvr_event.h"
#include "skin/dialog_style.h"
#include "skin/wait_dlg.h"
#include "support/camera_api.h"
#include "support/fake_recorder.h"
#include "support/qt_user_input.h"
#include "text_fit.h"

using namespace kvmon;
using kvtest::FakeRecorder;
using kvtest::Pump;
using kvtest::PumpUntil;
using kvtest::TextsThatDoNotFit;
using testing::IsEmpty;

namespace {

constexpr QSize kConsole(1000, 680);  // the smallest

std::vector<LanguageModuleFile> Shipped() {
    return ListLanguageModules({KV_LANGUAGES});
}

QString String(std::uint32_t id) {
    return QString::fromStdString(LoadString(id));
}

// Brings the program into this language.
void Use(const LanguageModuleFile& file) {
    UseLanguageModule(std::make_shared<const LanguageModule>(LoadLanguageModule(file.path).value()));
    UseToolkitLanguage(file.langid);
}

void ExpectFits(QWidget& window) {
    window.show();
    Pump();
    // An answer of the recorder may just have changed a text, and the layout follows.
    PumpUntil([&] { return TextsThatDoNotFit(window).empty(); });
    EXPECT_THAT(TextsThatDoNotFit(window), IsEmpty()) << window.objectName().toStdString();
    EXPECT_LE(window.width(), kConsole.width()) << window.objectName().toStdString();
    EXPECT_LE(window.height(), kConsole.height()) << window.objectName().toStdString();
}

// Checks the window with each text that the label comes to show.
void ExpectFitsWith(QWidget& window, QLabel& label, std::initializer_list<std::uint32_t> texts) {
    for (const std::uint32_t id : texts) {
        label.setText(
            QString::fromStdString(FillPattern(LoadString(id), {"192.168.100.200", "65535", "64"})));
        ExpectFits(window);
    }
}

class LanguageFit : public kvtest::ConsoleTest {
protected:
    LanguageFit() { ApplySkin(*qApp); }
    ~LanguageFit() override {
        Close();
        UseLanguageModule(nullptr);
        UseToolkitLanguage(0);
    }

    void ExpectMenuFits(int key, Qt::KeyboardModifiers modifiers) {
        QMenu* const menu = kvtest::OpenMenu(*console, key, modifiers);
        ASSERT_NE(menu, nullptr);
        ExpectFits(*menu);
        menu->close();
        Pump();
    }
};

}  // namespace

TEST(Languages, EachNumberHasAModule) {
    std::vector<std::uint16_t> shipped;
    for (const LanguageModuleFile& file : Shipped()) {
        shipped.push_back(file.langid);
    }
    std::vector<std::uint16_t> numbered;
    for (int number = 0; number < kLanguageCount; ++number) {
        numbered.push_back(LanguageFromNumber(number));
    }
    EXPECT_THAT(shipped, testing::UnorderedElementsAreArray(numbered));
}

TEST_F(LanguageFit, EveryLetterCanBeDrawn) {
    for (const LanguageModuleFile& file : Shipped()) {
        Use(file);
        const QFontMetrics metrics(QApplication::font());
        std::set<char32_t> missing;
        for (const std::uint32_t id : StringIds()) {
            for (const char32_t letter : String(id).toStdU32String()) {
                if (letter >= 0x20 && !metrics.inFontUcs4(letter)) {
                    missing.insert(letter);
                }
            }
        }
        EXPECT_THAT(missing, IsEmpty()) << file.path;
    }
}

TEST_F(LanguageFit, ARecorderWithoutANameLeavesNoGap) {
    for (const LanguageModuleFile& file : Shipped()) {
        Use(file);
        for (const std::uint32_t id : {5036u, 5037u}) {
            const std::string text = FillPattern(WithoutName(LoadString(id)), {"10.0.0.1", "80", "Gate"});
            EXPECT_THAT(text, testing::HasSubstr("10.0.0.1:80")) << file.path;
            EXPECT_THAT(text,
                        testing::Not(testing::AnyOf(testing::HasSubstr("()"), testing::HasSubstr("Gate"),
                                                    testing::HasSubstr(", )"))))
                << file.path;
        }
    }
}

TEST_F(LanguageFit, TheToolkitsWordsAreOurs) {
    for (const LanguageModuleFile& file : Shipped()) {
        Use(file);
        QMessageBox box(QMessageBox::Warning, {}, {}, QMessageBox::Ok | QMessageBox::Cancel);
        EXPECT_EQ(box.button(QMessageBox::Ok)->text(), String(6120)) << file.path;
        EXPECT_EQ(box.button(QMessageBox::Cancel)->text(), String(6121)) << file.path;
    }
    UseLanguageModule(nullptr);
    UseToolkitLanguage(0);
    EXPECT_EQ(QCoreApplication::translate("QPlatformTheme", "Cancel"), "Cancel");
}

TEST_F(LanguageFit, DialogsOfSettings) {
    FakeRecorder admin;
    kvtest::GiveCameras(admin);
    std::vector<std::uint16_t> languages;
    for (const LanguageModuleFile& file : Shipped()) {
        languages.push_back(file.langid);
    }
    kvtest::NobodySignsIn nobody;
    const SavedServer server{"Gate", "192.168.100.200", 8080, "operator", "secret", 16, true};
    for (const LanguageModuleFile& file : Shipped()) {
        SCOPED_TRACE(file.path);
        Use(file);
        CSettingsDlg settings({}, 0, SnapshotFolder::Chosen, {}, nullptr);
        for (int tab = 0; tab < 3; ++tab) {
            settings.findChild<QTabWidget*>()->setCurrentIndex(tab);
            ExpectFits(settings);
        }
        CSetLangDlg language(languages, file.langid, nullptr);
        ExpectFits(language);
        RecorderListDialog list({server, server, server}, nullptr);
        ExpectFitsWith(list, *list.findChild<QLabel*>(QStringLiteral("message")), {7621, 6158});
        list.findChild<QPushButton*>(QStringLiteral("test"))->setText(String(6146));
        ExpectFits(list);
        RecorderSearchDialog search(
            {"127.0.0.1", 9}, [](const FoundRecorder&) {}, nullptr);
        ExpectFitsWith(search, *search.findChild<QLabel*>(QStringLiteral("message")), {7615, 7452});
        ExpectFitsWith(search, *search.findChild<QLabel*>(QStringLiteral("emptyHint")), {7614, 7616, 7617});
        RecorderEntryDialog entry({}, {}, EntryUse::Add, nullptr);
        ExpectFitsWith(entry, *entry.findChild<QLabel*>(QStringLiteral("message")),
                       {6150, 6151, 6152, 6153, 6154, 6155, 6156, 6157, 6158, 6160, 6161, 6162, 6163, 6164,
                        6165, 6166, 6167});
        const SignInEntry entered{"192.168.100.200", 65535, "operator", "secret", true, true, "Hall"};
        SignInCard card(entered, {{entered}, true, true, true}, languages, file.langid, nobody, nullptr);
        ExpectFitsWith(card, *card.findChild<QLabel*>(QStringLiteral("message")),
                       {6150, 6152, 6153, 6154, 6155, 6156, 6157, 6160, 6161, 6162, 6163, 6164, 6166, 7204,
                        7205, 7210, 7211, 7212, 7213});
        NamedView tour;
        tour.name = "Tour";
        tour.steps = {{"Night shift", 3600}};
        NamedView night;
        night.name = "Night shift";
        night.cameras = {{"192.168.100.200", 8080, 3, "Loading ramp"}};
        ViewsDialog views({tour, night}, night, std::vector<ViewCamera>(), nullptr);
        ExpectFitsWith(views, *views.findChild<QLabel*>(QStringLiteral("message")),
                       {7112, 7113, 7114, 7115, 7116, 7450, 7451, 7452});
        ViewsDialog noViews({}, night, std::nullopt, nullptr);
        ExpectFits(noViews);
        ViewsDialog absent({night, tour}, night, std::vector<ViewCamera>(), nullptr);
        ExpectFits(absent);
        RecorderListDialog noRecorders({server}, nullptr);
        ExpectFits(noRecorders);
        SnapshotGallery gallery("/nonexistent", clock, nullptr);
        ExpectFitsWith(gallery, *gallery.findChild<QLabel*>(QStringLiteral("message")), {7418, 7419, 7420});
        ExpectFitsWith(gallery, *gallery.findChild<QLabel*>(QStringLiteral("emptyHint")), {7415, 7417});
        CamerasDialog cameras({"127.0.0.1", admin.Port(), "admin", "secret"},
                              QJsonDocument::fromJson(kvtest::kCameraInfo).object(), nullptr);
        cameras.show();
        auto* const rows = cameras.findChild<QTreeWidget*>("cameras");
        ASSERT_TRUE(PumpUntil([&] { return rows->topLevelItemCount() == 4; }));
        ExpectFits(cameras);
        cameras.findChild<QPushButton*>("change")->click();
        ASSERT_NE(kvtest::OpenWindow("cameraDialog"), nullptr);
        QWidget& camera = *kvtest::OpenWindow("cameraDialog");
        ExpectFits(camera);
        ExpectFitsWith(
            camera, *camera.findChild<QLabel*>(QStringLiteral("message")),
            {7651, 7652, 7653, 7654, 7655, 7656, 7670, 7681, 7694, 7695, 7700, 7701, 7704, 7705, 7709, 7714});
        kvtest::OpenWindow("cameraDialog")->close();
        cameras.findChild<QPushButton*>("find")->click();
        ASSERT_NE(kvtest::OpenWindow("foundDialog"), nullptr);
        auto* const found = kvtest::OpenWindow("foundDialog")->findChild<QTreeWidget*>("found");
        ASSERT_TRUE(PumpUntil([&] { return found->topLevelItemCount() == 1; }));
        ExpectFits(*kvtest::OpenWindow("foundDialog"));
        kvtest::OpenWindow("foundDialog")->close();
        UnlockDialog unlock(
            "operator", [](const std::string&) { return false; }, [] { return 60; }, nullptr);
        ExpectFits(unlock);
        PipDialog pip({}, {0, 1, 2, 3}, 3, nullptr);
        ExpectFits(pip);
        IntervalDialog interval(3600, nullptr);
        ExpectFits(interval);
    }
}

TEST_F(LanguageFit, MessagesAndWaits) {
    for (const LanguageModuleFile& file : Shipped()) {
        SCOPED_TRACE(file.path);
        Use(file);
        for (const std::uint32_t id : {3566u, 4013u, 4016u, 5036u, 5037u, 6300u, 57349u, 57350u, 57426u}) {
            QWidget owner;
            OpenMessageBox(&owner, FillPattern(LoadString(id), {"192.168.100.200", "65535", "Gate"}), "");
            ExpectFits(*owner.findChild<QMessageBox*>());
        }
        for (const std::uint32_t id : {7405u, 7406u, 7407u, 7408u, 7409u, 7410u}) {
            QWidget owner;
            OpenMessageBox(&owner,
                           FillPattern(LoadString(57426), {"4", "28"}) + "\n\n" +
                               FillPattern(LoadString(id), {"/home/operator/Documents/Snapshot"}),
                           "");
            ExpectFits(*owner.findChild<QMessageBox*>());
        }
        for (const std::uint32_t id : {1103u, 1104u, 1106u, 1107u, 1108u}) {
            CWaitDlg wait(nullptr, CWaitDlg::Place::Above);
            wait.SetText(LoadString(id));
            wait.SetCloseText(LoadString(6121));
            wait.Open(CWaitDlg::Input::Free);
            ExpectFits(wait);
        }
        CSendSoundDlg talk(nullptr, nullptr);
        ExpectFitsWith(talk, *talk.findChild<QLabel*>(), {6500, 6503, 1106, 57423});
        for (const std::uint32_t words : {6912u, 6913u}) {
            const std::string text = FillPattern(LoadString(57423), {"11", "1"}) + " - " + LoadString(words);
            talk.findChild<QLabel*>()->setText(QString::fromStdString(text));
            ExpectFits(talk);
            CWaitDlg wait(nullptr, CWaitDlg::Place::Above);
            wait.SetCloseText(LoadString(6121));
            wait.Open(CWaitDlg::Input::Free);
            wait.SetText(text);  // while it is open
            ExpectFits(wait);
        }
    }
}

TEST_F(LanguageFit, Events) {
    CNvrEventList log;
    for (const std::int32_t level : {kEventInformation, kEventWarning, kEventError}) {
        CNvrEvent event;
        event.m_strServer = "Hall";
        event.m_strContent = "Motion";
        event.m_strTime = "2024-05-06 07:08:09";
        event.m_nLevel = level;
        log.push_back(event);
    }
    for (const LanguageModuleFile& file : Shipped()) {
        SCOPED_TRACE(file.path);
        Use(file);
        EventList events;
        CEventWindow window(nullptr, events);
        ExpectFits(window);
        events.Update("Hall", log);
        window.Refresh();
        ExpectFits(window);
    }
}

TEST_F(LanguageFit, ConsoleMenusAndWindows) {
    FakeRecorder recorder("Hall", 4);
    for (const LanguageModuleFile& file : Shipped()) {
        SCOPED_TRACE(file.path);
        Use(file);
        Open(recorder.Port());
        EXPECT_THAT(TextsThatDoNotFit(*console), IsEmpty());
        ExpectMenuFits(Qt::Key_F10, Qt::NoModifier);
        ExpectMenuFits(Qt::Key_F10, Qt::ShiftModifier);
        kvtest::PressKey(*console, Qt::Key_F1);
        ASSERT_NE(kvtest::OpenWindow("keyboardHelp"), nullptr);
        ExpectFits(*kvtest::OpenWindow("keyboardHelp"));
        kvtest::OpenWindow("keyboardHelp")->close();
        Command(kCmdDiskStatus);
        ASSERT_NE(kvtest::OpenWindow("diskStatus"), nullptr);
        ExpectFits(*kvtest::OpenWindow("diskStatus"));
        for (const QWidget* const part : kvtest::OpenWindow("diskStatus")->findChildren<QWidget*>()) {
            EXPECT_EQ(part->toolTip(), QString()) << "is cut and tells the whole";
        }
        kvtest::OpenWindow("diskStatus")->close();
        Command(kCmdPresetDialog);
        QWidget* const presets = kvtest::OpenWindow("presetDialog");
        ASSERT_NE(presets, nullptr);
        for (QLabel* const label : presets->findChildren<QLabel*>()) {
            if (label->wordWrap()) {
                ExpectFitsWith(*presets, *label, {6409, 6411, 6412, 6911, 6914});
            }
        }
        presets->findChild<QPushButton*>(QStringLiteral("rename"))->setText(String(6910));
        ExpectFits(*presets);
        Close();
        Pump();
    }
}
